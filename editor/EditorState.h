// SPDX-License-Identifier: GPL-2.0-or-later
// State shared by the editor's windows: the pointers through which the main
// frame, the stage, the timeline and the viewer reach one another, and the few
// editing values that belong to the session rather than to the show file.
//
// Each window sets its own pointer in its constructor and clears it in its
// destructor; a null pointer means the window does not exist (the editor is
// closed, or only part of it was built).
#pragma once

#include "motion/Types.h"

class CMain;
class CStage;
class CTime;
class CView;

extern CMain* gMainWindowPtr;  // the editor frame
extern CStage* pStage;
extern CTime* pTime;
extern CView* pViewer;

// The key that the timeline marks at the current frame (its index in the
// current picture), or -1. The timeline sets it each time it draws its keys;
// Cut, Copy, Paste and Delete act on it.
extern int gSelectedKey;
// The key that Copy and Cut put aside and Paste gives back (its camera values).
extern KeyStruct gClipKey;
// Rotation display: when on, the stage offers roll and tilt handles and the
// status area shows the rotations. Turned on when a show with rotation is
// opened or a key is rotated.
extern int gShowRotation;
