// SPDX-License-Identifier: GPL-2.0-or-later
// A one-line progress bar on standard error: frames done, frames a second and
// the time left. Drawn only when standard error is a terminal and the user did
// not ask for quiet; redrawn at most ten times a second.
#pragma once

#include <chrono>
#include <cstdio>
#include <string>

namespace gs {

class Progress {
public:
    Progress(long total, bool enabled, std::FILE* out = stderr);
    ~Progress();

    // `done` frames of the total are finished.
    void Update(long done);
    // Draws the last state and ends the line (only if anything was drawn).
    void Finish();
    // Removes the bar's line, so that an error message starts on a clean line.
    void Clear();

    // The bar's text for a state, `columns` characters wide at most; separate
    // from drawing so that its layout can be checked.
    static std::string Line(long done, long total, double seconds, int columns);

private:
    using Clock = std::chrono::steady_clock;

    void Draw(long done);

    long total_;
    bool enabled_;
    std::FILE* out_;
    Clock::time_point start_;
    Clock::time_point lastDraw_;
    bool drawn_ = false;
    long lastDone_ = 0;
};

// "1:05" or "1:02:03" from seconds.
std::string FormatDuration(double seconds);

}  // namespace gs
