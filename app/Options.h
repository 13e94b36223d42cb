// SPDX-License-Identifier: GPL-2.0-or-later
// Parsing and checking the values the command line gives as text: frame sizes,
// frame rates, frame ranges, the camera's aspect, the field order and the kind of
// output a path asks for. Each parser returns false and fills `error` with one
// line fit for the user when the text is not acceptable.
#pragma once

#include <cstdint>
#include <string>

namespace gs {

constexpr int kMaxFrameSide = 8192;  // the renderer's limit on either side

struct FrameSize {
    int width = 1920;
    int height = 1080;
};

// "WxH" (also "W*H" or "WXH"), each side 1 to 8192.
bool ParseSize(const std::string& text, FrameSize& out, std::string& error);

// A frame rate as a number ("25", "29.97") or a ratio ("30000/1001"), as
// hundredths of a frame a second: 25 gives 2500, 29.97 and 30000/1001 give 2997.
// Accepted from 1 to 240 frames a second.
bool ParseFrameRate(const std::string& text, int32_t& hundredths, std::string& error);

// Exact rate for ffmpeg from hundredths: the NTSC family (2397, 2997, 5994,
// 11988) becomes N*1000/1001, anything else N/100 reduced ("25/1").
std::string FrameRateRatio(int32_t hundredths);

// Frames per second as a double: 2997 -> 29.97.
inline double FramesPerSecond(int32_t hundredths) { return hundredths / 100.0; }

struct FrameRange {
    long first = 0;
    long last = -1;  // -1: up to the show's end
    bool given = false;
};

// "A-B" (both inclusive, A <= B) or a single frame "A".
bool ParseFrameRange(const std::string& text, FrameRange& out, std::string& error);

// How the camera's aspect (height / width) is chosen.
enum class AspectChoice {
    FollowFrame,  // the output's own shape
    FourThree,    // 0.75
    SixteenNine,  // 0.5625
    LetterBox,    // a 4:3 camera with bars that make a 16:9 picture
};

// "4:3", "16:9", "letterbox" or "frame".
bool ParseAspect(const std::string& text, AspectChoice& out, std::string& error);

// Field modes of the renderer: 0 whole frames, 1 upper field, 2 lower field,
// 3 both fields interleaved. Text: "none", "upper", "lower", "both".
bool ParseFields(const std::string& text, int& fieldMode, std::string& error);

enum class OutputKind {
    Video,     // .mp4, .mov, .mkv through the ffmpeg program
    Sequence,  // one picture a frame from a printf pattern
    Raw,       // "-": raw RGBA on standard output
};

enum class VideoFormat { Mp4, Mov, Mkv };
enum class PictureFormat { Targa, Bmp, Png };

struct OutputTarget {
    OutputKind kind = OutputKind::Raw;
    VideoFormat video = VideoFormat::Mp4;
    PictureFormat picture = PictureFormat::Png;
    std::string path;  // the path or pattern as given
};

// Decides what `path` asks for. A sequence pattern holds exactly one integer
// conversion (%d, %5d, %05d); "%%" stands for a percent sign.
bool ParseOutput(const std::string& path, OutputTarget& out, std::string& error);

// Fills a sequence pattern with a frame number.
std::string FormatFramePath(const std::string& pattern, long frame);

// Lower-case extension with its dot ("x/y.MP4" -> ".mp4"), empty when none.
std::string Extension(const std::string& path);

}  // namespace gs
