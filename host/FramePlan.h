// SPDX-License-Identifier: GPL-2.0-or-later
// A frame of the show taken apart into what the document decides (which
// picture, which cameras, blur and bars) and the drawing itself, so that the
// drawing of several frames can run on several threads at once over the one
// picture in the document. CDoc::PlanFrame fills a plan on the document's
// thread; DrawFramePlan draws it anywhere, reading the picture only.
#pragma once

class CDIB;

// One resampling pass: a camera on the picture and the rows it draws.
struct FramePass {
    float left = 0, bottom = 0, width = 0, height = 0;  // source pixels, rows bottom-up
    float angle = 0, tilt1 = 0, tilt2 = 0;              // degrees
    int fieldSelector = 0;                              // 0 every row, 10 / 11 one field
};

// One picture's worth of drawing: the missing-picture image, or one or two
// passes, then the letterbox bars.
struct FrameDraw {
    bool placeholder = false;
    int passCount = 0;
    FramePass passes[2];
    bool letterbox = false;
};

struct FramePlan {
    // Set when the frame needs the document between its steps (its blur
    // moment lies on another picture): draw it with CDoc::RenderFrame.
    bool direct = false;
    int width = 0, height = 0;
    int quality = 100;   // 0 draft, 100 filtered
    bool exact = false;  // the exact area filter instead of the kept one
    bool bands = false;  // the two-band worker may draw half of each pass
    FrameDraw frame;
    bool blur = false;   // mixed half and half with `earlier`
    FrameDraw earlier;
};

// Draws `plan` into `dest` (a 32-bit image of the plan's size) from `picture`,
// with `scratch` (a 32-bit image of the same size) for the blur. Reads the
// picture only; `dest` and `scratch` belong to the caller's thread.
bool DrawFramePlan(const FramePlan& plan, CDIB* picture, CDIB* dest, CDIB* scratch);
