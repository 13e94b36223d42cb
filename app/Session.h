// SPDX-License-Identifier: GPL-2.0-or-later
// The render path shared by the command-line tool and the frei0r plug-ins: put a
// show into a document, fit the camera to the frame's shape, and render one frame
// as RGBA bytes, top row first. The tool and both plug-ins go through these
// functions only, so that the same show, size and rate give the same bytes in
// every one of them.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "app/Options.h"
#include "app/ShowBlock.h"
#include "image/CDIB.h"

class CDoc;

namespace gs {

// Puts `show` into `doc` (CDoc::LoadShow), with the show's own length so that
// a long show is not cut at the document's default. Loads the show's picture
// as the document does (its messages go through ErrorBox). False only when
// the document refuses the block.
bool PutShow(CDoc& doc, const ShowBlock& show, std::string& error);

// The camera's aspect for a frame of `width` x `height` under `choice`:
// FollowFrame uses height / width; letterbox uses a 4:3 camera and bars.
void FitCamera(CDoc& doc, int width, int height, AspectChoice choice);

// Renders `frame` into `rgba` (width x height x 4 bytes, top row first, every
// pixel opaque) through `work`, the document's 32-bit work image. False when
// the renderer draws nothing (no picture, picture not loadable).
bool RenderRGBA(CDoc& doc, long frame, int fieldMode, int width, int height, CDIB& work,
                uint8_t* rgba);

// Converts a 32-bit work image (blue, green, red, alpha; rows bottom-up) to
// RGBA top row first, with alpha 255.
void WorkImageToRGBA(CDIB& work, int width, int height, uint8_t* rgba);

// A run of frames rendered by RenderFrames.
struct FrameRun {
    long first = 0, last = 0;
    int fieldMode = 0;
    int width = 0, height = 0;
    int threads = 1;        // drawing threads; 1 with the two-band worker
    bool bottomUp = false;  // hand on the work image's rows (blue, green, red,
                            // alpha, bottom row first) instead of RGBA top row first
};

// Renders frames first..last of `doc` as RenderRGBA does, byte for byte, with
// `threads` frames drawn at once over the document's one picture, and hands
// each to `take` in frame order. Stops early, keeping the frames under way,
// when `stop` says so. False with `error` when a frame cannot be rendered or
// `take` fails.
using TakeFrame = std::function<bool(long frame, const uint8_t* pixels, std::string& error)>;
bool RenderFrames(CDoc& doc, const FrameRun& run, const TakeFrame& take, const std::function<bool()>& stop,
                  std::string& error, bool& stopped);

}  // namespace gs
