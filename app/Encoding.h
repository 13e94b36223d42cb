// SPDX-License-Identifier: GPL-2.0-or-later
// The encoder choices of a video output (--codec, --crf, --preset, --hwaccel)
// and the ffmpeg arguments they give.
#pragma once

#include <string>
#include <vector>

#include "app/Options.h"

namespace gs {

struct VideoEncoding {
    std::string codec;    // "h264", "hevc", "prores"; empty: h264, or ProRes for .mov
    int crf = -1;         // 0..51; -1: 18
    std::string preset;   // an x264/x265 preset; empty: medium
    std::string hwaccel;  // "none" or empty, "nvenc", "vaapi", "qsv", "v4l2m2m"
};

// Each checks one option's text; false with a line for the user.
bool ParseCodec(const std::string& text, std::string& codec, std::string& error);
bool ParseCrf(const std::string& text, int& crf, std::string& error);
bool ParsePreset(const std::string& text, std::string& preset, std::string& error);
bool ParseHwaccel(const std::string& text, std::string& hwaccel, std::string& error);

// The codec a video of `format` gets.
std::string ChosenCodec(VideoFormat format, const VideoEncoding& encoding);
// False when the choices do not go together (ProRes in .mp4, --crf with
// ProRes...).
bool CheckEncoding(VideoFormat format, const VideoEncoding& encoding, std::string& error);
// The ffmpeg encoder name ("libx264", "h264_nvenc", "prores_ks").
std::string EncoderName(VideoFormat format, const VideoEncoding& encoding);
// Output arguments from "-c:v" up to the container's "-f NAME".
std::vector<std::string> EncoderArgs(VideoFormat format, const VideoEncoding& encoding);
// Arguments that go before the input (a hardware device), may be empty.
std::vector<std::string> DeviceArgs(const VideoEncoding& encoding);
// The filter that ends the -vf chain (hardware upload), may be empty.
std::string UploadFilter(const VideoEncoding& encoding);
// Whether the ffmpeg at `ffmpeg` lists `encoder` among its encoders.
bool FfmpegHasEncoder(const std::string& ffmpeg, const std::string& encoder);

}  // namespace gs
