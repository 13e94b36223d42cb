#include "editor/CStage.h"

#include "doc/CDoc.h"
#include "editor/EditorState.h"
#include "platform/Settings.h"

CStage::CStage(CPWnd* parentWindow) {
    scale = static_cast<float>(GetIniItem("StageScale", 50)) / 100.0f;
    showPath = static_cast<int32_t>(GetIniItem("ShowCameraPath", 0));
    centerPic = static_cast<int32_t>(GetIniItem("CenterPic", 0));
    parent = parentWindow;
    Create(parentWindow, 99, nullptr);
    Show(1);
    dragMode = kStageNoDrag;
    if (pDoc) pDoc->GetKey(0, workingKey, 0);
    pStage = this;
}

CStage::~CStage() {
    if (pStage == this) pStage = nullptr;
}

long CStage::HandleEvent(unsigned int msg, long wParam, long lParam) {
    (void)wParam;
    (void)lParam;
    if (msg == kMsgPaint) OnDraw();
    return 1;
}

void CStage::OnDraw() {}
