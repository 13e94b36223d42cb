#include "editor/CTime.h"

#include "doc/CDoc.h"
#include "editor/EditorState.h"
#include "motion/Timecode.h"
#include "platform/Settings.h"

CTime::CTime(CPWnd* parentWindow) {
    timeScale = static_cast<int32_t>(GetIniItem("TimeScale", (gFrameRate + 50) / 100));
    parent = parentWindow;
    Create(parentWindow, 35, nullptr);
    Show(1);
    pTime = this;
}

CTime::~CTime() {
    if (pTime == this) pTime = nullptr;
}

long CTime::HandleEvent(unsigned int msg, long wParam, long lParam) {
    (void)wParam;
    (void)lParam;
    if (msg == kMsgPaint) OnDraw();
    return 1;
}

void CTime::OnDraw() {}
void CTime::Refresh() { OnDraw(); }
