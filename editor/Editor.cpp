#include "editor/Editor.h"

#include <sys/stat.h>

#include <cstdio>
#include <cstring>
#include <string>

#include "doc/CDoc.h"
#include "editor/CMain.h"
#include "editor/EditorState.h"
#include "host/EffectEntry.h"
#include "platform/Env.h"
#include "platform/Platform.h"
#include "platform/Settings.h"
#include "platform/window/CPWnd.h"

namespace {

int RunEditorFor(EditorHost* host, const char* showPath) {
    CMain* frame = new CMain(host);
    if (showPath && showPath[0]) {
        FSpec file;
        MakePathSpec(file, showPath);
        struct stat info;
        if (stat(showPath, &info) == 0) {
            if (!frame->OpenDocumentFile(&file, true)) {
                delete frame;
                return -1;
            }
        } else {
            // A show that does not exist yet: its first save creates the file.
            frame->showFile = file;
            frame->SetShowTitle(file.name);
            pDoc->GotoFrame(0, true);
        }
    } else if (host) {
        frame->SetShowTitle(nullptr);
        pDoc->GotoFrame(0, true);
    } else {
        pDoc->GotoFrame(0, true);
    }
    const long result = MessageLoop(true);
    delete frame;
    return static_cast<int>(result);
}

}  // namespace

int RunEditor() { return RunEditorFor(nullptr, nullptr); }

void InstallEditor() { gRunEditor = RunEditor; }

int EditShowFile(const char* path) {
    InitEnvironment(nullptr, "Glimmerstroll", 0);
    const bool ownDocument = pDoc == nullptr;
    if (ownDocument) pDoc = new CDoc;
    EditorHost host;
    const int result = RunEditorFor(&host, path);
    if (ownDocument) {
        delete pDoc;
        pDoc = nullptr;
    }
    CloseEnvironment();
    if (result < 0) return kEditFailed;
    return result == 1 ? kEditDropped : kEditApplied;
}
