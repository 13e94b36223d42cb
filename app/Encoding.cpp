// SPDX-License-Identifier: GPL-2.0-or-later
#include "app/Encoding.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace gs {

namespace {

constexpr const char* kCodecs[] = {"h264", "hevc", "prores"};
constexpr const char* kPresets[] = {"ultrafast", "superfast", "veryfast", "faster", "fast",
                                    "medium",    "slow",      "slower",   "veryslow"};
constexpr const char* kHwaccels[] = {"none", "nvenc", "vaapi", "qsv", "v4l2m2m"};

template <size_t N>
bool OneOf(const std::string& text, const char* const (&names)[N], const char* option, std::string& error) {
    std::string list;
    for (const char* name : names) {
        if (text == name) return true;
        list += list.empty() ? name : std::string(", ") + name;
    }
    error = std::string(option) + " " + text + ": expected " + list;
    return false;
}

constexpr int kDefaultCrf = 18;
constexpr const char* kDefaultPreset = "medium";
constexpr const char* kVaapiDevice = "/dev/dri/renderD128";

}  // namespace

bool ParseCodec(const std::string& text, std::string& codec, std::string& error) {
    if (!OneOf(text, kCodecs, "--codec", error)) return false;
    codec = text;
    return true;
}

bool ParseCrf(const std::string& text, int& crf, std::string& error) {
    char* end = nullptr;
    const long value = text.empty() || text.size() > 3 ? -1 : std::strtol(text.c_str(), &end, 10);
    if (!end || *end || value < 0 || value > 51) {
        error = "--crf " + text + ": expected a quality from 0 (best) to 51";
        return false;
    }
    crf = static_cast<int>(value);
    return true;
}

bool ParsePreset(const std::string& text, std::string& preset, std::string& error) {
    if (!OneOf(text, kPresets, "--preset", error)) return false;
    preset = text;
    return true;
}

bool ParseHwaccel(const std::string& text, std::string& hwaccel, std::string& error) {
    if (!OneOf(text, kHwaccels, "--hwaccel", error)) return false;
    hwaccel = text == "none" ? "" : text;
    return true;
}

std::string ChosenCodec(VideoFormat format, const VideoEncoding& encoding) {
    if (!encoding.codec.empty()) return encoding.codec;
    return format == VideoFormat::Mov ? "prores" : "h264";
}

bool CheckEncoding(VideoFormat format, const VideoEncoding& encoding, std::string& error) {
    const std::string codec = ChosenCodec(format, encoding);
    if (codec == "prores") {
        if (format == VideoFormat::Mp4) {
            error = "--codec prores: ProRes goes into .mov or .mkv, not .mp4";
            return false;
        }
        if (encoding.crf >= 0 || !encoding.preset.empty() || !encoding.hwaccel.empty()) {
            error = "--crf, --preset and --hwaccel apply to h264 and hevc, not to ProRes";
            return false;
        }
    }
    return true;
}

std::string EncoderName(VideoFormat format, const VideoEncoding& encoding) {
    const std::string codec = ChosenCodec(format, encoding);
    if (codec == "prores") return "prores_ks";
    if (!encoding.hwaccel.empty()) return codec + "_" + encoding.hwaccel;
    return codec == "hevc" ? "libx265" : "libx264";
}

std::vector<std::string> EncoderArgs(VideoFormat format, const VideoEncoding& encoding) {
    const std::string codec = ChosenCodec(format, encoding);
    const std::string encoder = EncoderName(format, encoding);
    std::vector<std::string> args = {"-c:v", encoder};
    if (codec == "prores") {
        // ProRes 422 HQ.
        args.insert(args.end(), {"-profile:v", "3", "-vendor", "apl0", "-pix_fmt", "yuv422p10le"});
    } else {
        const std::string crf = std::to_string(encoding.crf >= 0 ? encoding.crf : kDefaultCrf);
        const std::string& hw = encoding.hwaccel;
        if (hw.empty()) {
            args.insert(args.end(), {"-preset", encoding.preset.empty() ? kDefaultPreset : encoding.preset, "-crf",
                                     crf, "-pix_fmt", "yuv420p"});
            if (codec == "hevc") args.insert(args.end(), {"-tag:v", "hvc1"});
        } else if (hw == "nvenc") {
            args.insert(args.end(), {"-rc", "vbr", "-cq", crf, "-pix_fmt", "yuv420p"});
        } else if (hw == "qsv") {
            args.insert(args.end(), {"-global_quality", crf, "-pix_fmt", "nv12"});
        } else if (hw == "vaapi") {
            args.insert(args.end(), {"-qp", crf});  // frames arrive uploaded as nv12
        } else {
            args.insert(args.end(), {"-pix_fmt", "yuv420p"});
        }
    }
    switch (format) {
    case VideoFormat::Mp4: args.insert(args.end(), {"-movflags", "+faststart", "-f", "mp4"}); break;
    case VideoFormat::Mkv: args.insert(args.end(), {"-f", "matroska"}); break;
    case VideoFormat::Mov: args.insert(args.end(), {"-f", "mov"}); break;
    }
    return args;
}

std::vector<std::string> DeviceArgs(const VideoEncoding& encoding) {
    if (encoding.hwaccel == "vaapi") return {"-vaapi_device", kVaapiDevice};
    return {};
}

std::string UploadFilter(const VideoEncoding& encoding) {
    return encoding.hwaccel == "vaapi" ? ",format=nv12,hwupload" : "";
}

bool FfmpegHasEncoder(const std::string& ffmpeg, const std::string& encoder) {
    // Only names of our own tables and a path without quotes reach the shell.
    if (ffmpeg.find('\'') != std::string::npos) return false;
    const std::string command = "'" + ffmpeg + "' -hide_banner -encoders 2>/dev/null";
    FILE* pipe = popen(command.c_str(), "r");
    if (!pipe) return false;
    char line[512];
    bool found = false;
    while (std::fgets(line, sizeof line, pipe)) {
        // " V....D libx264              libx264 H.264 ..."
        char flags[16], name[128];
        if (std::sscanf(line, " %15s %127s", flags, name) == 2 && encoder == name) found = true;
    }
    pclose(pipe);
    return found;
}

}  // namespace gs
