// SPDX-License-Identifier: GPL-2.0-or-later
// The film's music, through the ffmpeg programs: the length of a track, and
// the finished video with the track laid under it, faded out at the film's end.
#pragma once

#include <string>

namespace gs {

// Seconds of sound in `path` (ffprobe). False with a one-line reason.
bool ProbeSeconds(const std::string& path, double& seconds, std::string& error);

// Writes `output` from the silent `video` and `music`: the video stream as it
// is, the music cut at `filmSeconds` and faded out over its last seconds.
// `output` is written as "OUTPUT.part" and renamed when ffmpeg has finished.
bool MuxMusic(const std::string& video, const std::string& music, double filmSeconds, const std::string& output,
              std::string& error);

// The fade-out at the end of a film of `filmSeconds`: 3 s, at most a quarter
// of the film.
double MusicFadeSeconds(double filmSeconds);

}  // namespace gs
