// SPDX-License-Identifier: GPL-2.0-or-later
// A cleared test document and a camera key, for the suites that build shows.
#pragma once

#include <cstdio>
#include <memory>

#include "doc/CDoc.h"
#include "motion/Interp.h"
#include "platform/Env.h"
#include "platform/Settings.h"

// A key at `time` with the camera centred on (x, y) and `width` wide; the
// other fields as KeyIdentity leaves them.
inline KeyStruct CameraKey(int time, float x, float y = 0, float width = 10) {
    KeyStruct key;
    KeyIdentity(key);
    key.time = time;
    key.horizontalPos = x;
    key.verticalPos = y;
    key.width = width;
    return key;
}

// Points the settings at an empty section plus `lines` ("Key=value\r\n"
// each), so every other option has its default, and goes to frame 0.
inline void ClearTestSettings(const char* lines = "") {
    std::snprintf(gEnv.programName, sizeof gEnv.programName, "Glimmerstroll");
    std::snprintf(gIniString, sizeof gIniString, "[Glimmerstroll]\r\n%s", lines);
    gCurFrame = 0;
}

// A document built from those settings.
inline std::unique_ptr<CDoc> DocWithSettings(const char* lines = "") {
    ClearTestSettings(lines);
    return std::make_unique<CDoc>();
}
