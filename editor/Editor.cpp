// SPDX-License-Identifier: GPL-2.0-or-later
#include "editor/Editor.h"

#include <sys/stat.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "doc/CDoc.h"
#include "editor/CMain.h"
#include "editor/EditorState.h"
#include "host/EffectEntry.h"
#include "motion/Timecode.h"
#include "platform/Env.h"
#include "platform/Platform.h"
#include "platform/Settings.h"
#include "platform/window/CPWnd.h"
#include "platform/window/Headless.h"

namespace {

// The menu position of `command`: false when no item has it.
bool FindMenuItem(CPMenu& menu, int command, int& menuId, int& item) {
    for (int m = 0; m < menu.menuCount && m < kMenuCount; ++m) {
        for (int i = 0; i < kMenuItems; ++i) {
            if (menu.commands[m][i] == command) {
                menuId = kFirstMenuId + m;
                item = i + 1;
                return true;
            }
        }
    }
    return false;
}

// One character, or "#code".
bool ParseKey(const std::string& text, int& key) {
    if (text.size() == 1) {
        key = static_cast<unsigned char>(text[0]);
        return true;
    }
    if (text.size() < 2 || text[0] != '#') return false;
    char* end = nullptr;
    const long code = std::strtol(text.c_str() + 1, &end, 10);
    if (*end != '\0' || code < 1 || code > 255) return false;
    key = static_cast<int>(code);
    return true;
}

int RunEditorFor(EditorHost* host, const char* showPath) {
    gShowRotation = pDoc->HasRotationInShow(0);
    CMain* frame = new CMain(host);
    if (const char* script = std::getenv(kEditorScriptVariable)) {
        HeadlessBackend* headless = dynamic_cast<HeadlessBackend*>(GetWindowBackend());
        std::string error;
        if (headless && !QueueEditorScript(*headless, *frame, script, error)) {
            std::fprintf(stderr, "glimmerstroll: %s: %s\n", kEditorScriptVariable, error.c_str());
            delete frame;
            return -1;
        }
    }
    if (showPath && showPath[0]) {
        FSpec file;
        MakePathSpec(file, showPath);
        struct stat info;
        if (stat(showPath, &info) == 0) {
            // Named and drawn first, so that a message about the file stands
            // in front of a painted editor, not an empty window.
            frame->SetShowTitle(file.name);
            PostAMessage(nullptr, kMsgPaint, 0, 0);
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
    if (result < 0) {
        // Without a display nobody saw the editor's last message: it says why.
        const HeadlessBackend* headless = dynamic_cast<HeadlessBackend*>(GetWindowBackend());
        for (size_t i = headless ? headless->asked.size() : 0; i-- > 0;) {
            if (headless->asked[i].kind != "error") continue;
            std::fprintf(stderr, "glimmerstroll edit: %s\n", headless->asked[i].text.c_str());
            break;
        }
        return -1;
    }
    return static_cast<int>(result);
}

}  // namespace

bool QueueEditorScript(HeadlessBackend& backend, CMain& frame, const char* script,
                       std::string& error) {
    struct Step {
        std::string verb;
        std::string value;
        int menuId = 0;
        int item = 0;
        int key = 0;
    };
    // Every token is checked before anything is queued.
    std::vector<Step> steps;
    const std::string text(script);
    size_t at = 0;
    for (;;) {
        const size_t start = text.find_first_not_of(" \t\r\n", at);
        if (start == std::string::npos) break;
        at = std::min(text.find_first_of(" \t\r\n", start), text.size());
        const std::string token = text.substr(start, at - start);
        const size_t colon = token.find(':');
        const bool bare = colon == std::string::npos;
        Step step{token.substr(0, colon), bare ? "" : token.substr(colon + 1)};
        bool ok = false;
        if (step.verb == "menu" && !bare) {
            char* last = nullptr;
            const long command = std::strtol(step.value.c_str(), &last, 10);
            ok = !step.value.empty() && *last == '\0' &&
                 FindMenuItem(*frame.GetMenu(), static_cast<int>(command), step.menuId, step.item);
        } else if ((step.verb == "key" || step.verb == "cmd") && !bare) {
            ok = ParseKey(step.value, step.key);
        } else if (step.verb == "close" || step.verb == "yes" || step.verb == "no") {
            ok = bare;
        } else if (step.verb == "open" || step.verb == "save") {
            ok = !bare;
        }
        if (!ok) {
            error = "\"" + token + "\" is not a step this editor understands";
            return false;
        }
        steps.push_back(step);
    }
    for (const Step& step : steps) {
        const char* path = step.value.empty() ? nullptr : step.value.c_str();
        if (step.verb == "menu")
            backend.MenuChoice(step.menuId, step.item);
        else if (step.verb == "key" || step.verb == "cmd")
            backend.Key(&frame, step.key, step.verb == "cmd" ? kModCommand : 0);
        else if (step.verb == "close")
            backend.CloseBox(&frame);
        else if (step.verb == "yes" || step.verb == "no")
            backend.AnswerYesNo(step.verb == "yes" ? 1 : 0);
        else if (step.verb == "open")
            backend.AnswerOpenFile(path);
        else
            backend.AnswerSaveFile(path);
    }
    return true;
}

int RunEditor() { return RunEditorFor(nullptr, nullptr); }

void InstallEditor() { gRunEditor = RunEditor; }

int32_t EditorFrameRate(const char* text) {
    static const struct {
        const char* name;
        int32_t rate;
    } kRates[] = {
        {"25", 2500},         {"29.97", 2997},   {"30000/1001", 2997},
        {"23.976", 2397},     {"23.98", 2397},   {"24000/1001", 2397},
    };
    for (const auto& row : kRates)
        if (text && std::strcmp(text, row.name) == 0) return row.rate;
    return 0;
}

int EditShowFile(const char* path, int32_t frameRate) {
    InitEnvironment(nullptr, "Glimmerstroll", 0);
    const bool ownDocument = pDoc == nullptr;
    if (ownDocument) pDoc = new CDoc;
    // Frames are counted at the tool's rate unless the user chose another.
    gFrameRate = frameRate > 0 ? frameRate
                               : static_cast<int32_t>(GetIniItem("FrameRate", kEditorFrameRate));
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
