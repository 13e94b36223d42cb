// SPDX-License-Identifier: GPL-2.0-or-later
// Automatic camera moves for photos: find what matters in the picture (faces,
// else the most salient region, else the centre) and plan one gentle move that
// runs toward or away from it, then write that move into a document as keys,
// so that it is an ordinary show the editor can open and refine.
//
// Only the command-line tool uses this (it is the one part of the system that
// links OpenCV).
#pragma once

#include <cstdint>
#include <string>

class CDIB;
class CDoc;

namespace gs {

// A rectangle in picture pixels, y measured from the picture's top.
struct Region {
    double x = 0, y = 0, width = 0, height = 0;
    double CentreX() const { return x + width / 2; }
    double CentreY() const { return y + height / 2; }
};

enum class SubjectKind { Faces, Salient, Centre };

struct Subject {
    SubjectKind kind = SubjectKind::Centre;
    Region box;       // all faces together, the salient region, or the centre third
    int faces = 0;    // faces found
};

// Looks at `picture` (24- or 32-bit, rows bottom-up) through a small copy, so
// that a picture of any size costs only a few megabytes more.
Subject FindSubject(CDIB& picture);

// The camera as a key holds it: centre and width in picture pixels.
struct Camera {
    double x = 0, y = 0, width = 0;
};

enum class PictureShape { Ordinary, Portrait, Panorama };

struct MoveLimits {
    double minZoom = 1.1;      // the least change of width between the ends
    double maxZoom = 1.4;      // the most
    bool allowUpscale = false; // may the camera see fewer pixels than the output has
};

struct MovePlan {
    Camera from, to;
    PictureShape shape = PictureShape::Ordinary;
    bool zoomIn = true;
};

// The shape class of a picture for frames of camera aspect `aspect` (height /
// width): taller than wide pans vertically, much wider than the frame pans
// horizontally.
PictureShape ShapeOf(double width, double height, double aspect);

// Plans the move over a picture of `width` x `height` for an output
// `outWidth` pixels wide. `zoomIn`: toward the subject (else away from it);
// `amount` in 0..1 picks the zoom between the limits. Either way the last
// frame holds the subject: a zoom ends on it or on a wider frame around it, a
// pan toward it ends on it, a pan away stops while it is still in frame.
MovePlan PlanMove(double width, double height, double aspect, int outWidth, const Subject& subject,
                  const MoveLimits& limits, bool zoomIn, double amount);

// Empties `doc`'s keys but keeps its loaded picture, and writes the plan as
// two keys, `length` frames apart, at constant speed.
void ApplyMove(CDoc& doc, const MovePlan& plan, long length);

// Names for messages: "2 faces", "the salient region", "the centre".
std::string DescribeSubject(const Subject& subject);

}  // namespace gs
