#include "editor/CView.h"

#include "doc/CDoc.h"
#include "editor/EditorState.h"
#include "platform/Settings.h"

CView::CView(CPWnd* parentWindow) {
    tvSafe = static_cast<int32_t>(GetIniItem("ShowTVSafe", 0));
    dualScreen = static_cast<int32_t>(GetIniItem("DualScreenViewer", 0));
    parent = parentWindow;
    Create(parentWindow, 14, nullptr);
    SetTitle("Viewer");
    pViewer = this;
    Show(1);
}

CView::~CView() {
    if (pViewer == this) pViewer = nullptr;
}

long CView::HandleEvent(unsigned int msg, long wParam, long lParam) {
    (void)wParam;
    (void)lParam;
    if (msg == kMsgPaint) OnDraw();
    return 1;
}

void CView::OnDraw() {}
void CView::SetSpeed(int s) { speed = s; }
void CView::Refresh(bool full) { (void)full; }
void CView::ShowCode(long frame) { (void)frame; }
