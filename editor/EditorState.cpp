// SPDX-License-Identifier: GPL-2.0-or-later
#include "editor/EditorState.h"

CMain* gMainWindowPtr = nullptr;
CStage* pStage = nullptr;
CTime* pTime = nullptr;
CView* pViewer = nullptr;

int gSelectedKey = -1;
KeyStruct gClipKey = {};
int gShowRotation = 0;
