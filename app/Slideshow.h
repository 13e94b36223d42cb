// SPDX-License-Identifier: GPL-2.0-or-later
// `glimmerstroll slideshow`: an ordered list of photos and shows made into one
// film. A photo gets an automatic move (AutoMove.h); a show moves as it says.
// Items follow each other with a cross-fade, a fade through black or a cut.
//
// Frames stream to the output in order. Each item lives in one of two
// documents: while one item renders alone, the next one is read into the
// other document on a second thread, so that at most two pictures are in
// memory whatever the number of items.
#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "app/AutoMove.h"
#include "app/Options.h"
#include "app/RenderJob.h"
#include "app/ShowBlock.h"

class CDoc;

namespace gs {

enum class ItemKind { Photo, Show, JsonShow };
enum class TransitionKind { Crossfade, FadeBlack, Cut };

struct SlideItem {
    std::string path;
    ItemKind kind = ItemKind::Photo;
    double seconds = -1;            // below 0: the film's photo duration, or the show's own length
    int transition = -1;            // into the next item: a TransitionKind, -1 the film's
    double transitionSeconds = -1;  // below 0: the film's
};

struct SlideshowRequest {
    std::vector<SlideItem> items;
    OutputTarget output;
    bool hasOutput = true;          // false: only the MLT project and the shows are written
    FrameSize size;
    int32_t frameRate = 2500;       // hundredths
    double seconds = 5.0;           // each photo
    TransitionKind transition = TransitionKind::Crossfade;
    double transitionSeconds = 1.0;
    std::string music;
    bool fitMusic = false;          // spread the photos over the music's length
    uint32_t seed = 1;
    MoveLimits limits;
    std::string saveShows;          // folder for the automatic moves, empty for none
    std::string mlt;                // MLT XML project to write, empty for none
    bool skipBad = false;           // leave out photos that cannot be read, with a warning
    bool exact = true;              // the exact area filter (false: the kept one)
    int threads = 0;                // frames drawn at once; 0 one per processor
    bool quiet = false;
    bool overwrite = false;
};

// Where each item lies in the film, in frames.
struct Placement {
    long start = 0;
    long length = 0;
    long fadeOut = 0;  // frames shared with the next item (its transition)
};

// Lays the items end to end, each overlapping the next by its transition,
// shortened where needed so that no frame belongs to more than two items.
// The film's length is the sum of the lengths minus the overlaps.
std::vector<Placement> LayOut(const std::vector<long>& lengths, const std::vector<long>& transitions);

// The weight of the outgoing item in frame `k` (0-based) of a transition of
// `frames` frames, as CDIB::Dissolve takes it: falls from near 1 to near 0.
float OutgoingWeight(long k, long frames);

// Decides what kind of item `path` is from its extension: .gsx a show, .json
// a show in JSON form, anything else a photo.
ItemKind KindOf(const std::string& path);

// A reel file (JSON): {"items": [...], "size": "1280x720", ...}. Each item
// is a path or {"path", "duration", "transition", "transition_duration"};
// relative paths are taken from the reel's folder. The film's settings come
// back as text under their option names without dashes ("size", "fps",
// "duration", "transition", "transition-duration", "music", "fit-music",
// "seed", "min-zoom", "max-zoom"), for the command line to read as if typed.
struct Reel {
    std::vector<SlideItem> items;
    std::vector<std::pair<std::string, std::string>> settings;
};

// True when `path` is a reel file rather than an item.
bool IsReel(const std::string& path);

// Reads a reel. False with a one-line reason.
bool ReadReel(const std::string& path, Reel& reel, std::string& error);

// Reads a show in JSON form (the form `export` writes) as the block the
// document loads. False with a reason.
bool ReadJsonShow(const std::string& path, ShowBlock& show, std::string& error);

// Makes the film. The environment must have been started (StartTool).
RenderResult RunSlideshow(const SlideshowRequest& request);

}  // namespace gs
