// SPDX-License-Identifier: GPL-2.0-or-later
// The built-in example: a picture the program draws itself (a lake at sunset
// under a starry sky) and a show of a few keys over it, with ease, a zoom and
// a roll. `glimmerstroll demo` writes both beside its output and renders them.
#pragma once

#include <cstdint>
#include <string>

class CDIB;
class CDoc;

namespace gs {

constexpr int kDemoPictureWidth = 1600;
constexpr int kDemoPictureHeight = 1200;
constexpr long kDemoLength = 175;  // frames of the demo show (7 s at 25 fps)

// Draws the example picture into `picture` (24 bits, the size above).
bool DrawDemoPicture(CDIB& picture);

// Empties `doc` and builds the example show over the picture at `picturePath`
// (a file of the size above). Key times are in frames at `frameRate`
// (hundredths), so that the moves last as long at any rate.
void BuildDemoShow(CDoc& doc, const std::string& picturePath, int32_t frameRate);

// Writes the document's show to `path` (through a temporary name). False with
// a reason in `error`.
bool WriteShowFile(CDoc& doc, const std::string& path, std::string& error);

// Writes `picture` as a Targa file at `path` (through a temporary name).
bool WriteTarga(CDIB& picture, const std::string& path, std::string& error);

// Frames of the demo show at `frameRate`.
long DemoLength(int32_t frameRate);

}  // namespace gs
