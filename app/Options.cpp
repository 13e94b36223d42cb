// SPDX-License-Identifier: GPL-2.0-or-later
#include "app/Options.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <numeric>

namespace gs {

namespace {

// A whole decimal number with nothing around it; false on anything else or
// on overflow of `long`.
bool ParseWhole(const std::string& text, long& value) {
    if (text.empty() || text.size() > 12) return false;
    for (char c : text)
        if (!std::isdigit(static_cast<unsigned char>(c))) return false;
    value = std::strtol(text.c_str(), nullptr, 10);
    return true;
}

// A plain positive decimal number ("25", "29.97", ".5"): no sign, no exponent.
bool ParseDecimal(const std::string& text, double& value) {
    if (text.empty() || text.size() > 20) return false;
    int dots = 0;
    int digits = 0;
    for (char c : text) {
        if (c == '.') dots++;
        else if (std::isdigit(static_cast<unsigned char>(c))) digits++;
        else return false;
    }
    if (dots > 1 || digits == 0) return false;
    value = std::strtod(text.c_str(), nullptr);
    return true;
}

std::string Lower(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return text;
}

}  // namespace

bool ParseSize(const std::string& text, FrameSize& out, std::string& error) {
    const size_t cut = text.find_first_of("xX*");
    long width = 0;
    long height = 0;
    if (cut == std::string::npos || !ParseWhole(text.substr(0, cut), width) ||
        !ParseWhole(text.substr(cut + 1), height)) {
        error = "--size " + text + ": expected WIDTHxHEIGHT, for example 1920x1080";
        return false;
    }
    if (width < 1 || height < 1 || width > kMaxFrameSide || height > kMaxFrameSide) {
        error = "--size " + text + ": each side must be 1 to " + std::to_string(kMaxFrameSide) + " pixels";
        return false;
    }
    out.width = static_cast<int>(width);
    out.height = static_cast<int>(height);
    return true;
}

bool ParseFrameRate(const std::string& text, int32_t& hundredths, std::string& error) {
    double rate = 0.0;
    const size_t slash = text.find('/');
    bool ok;
    if (slash != std::string::npos) {
        long num = 0;
        long den = 0;
        ok = ParseWhole(text.substr(0, slash), num) && ParseWhole(text.substr(slash + 1), den) && den > 0;
        if (ok) rate = static_cast<double>(num) / static_cast<double>(den);
    } else {
        ok = ParseDecimal(text, rate);
    }
    if (!ok) {
        error = "--fps " + text + ": expected a frame rate such as 25, 29.97 or 30000/1001";
        return false;
    }
    if (!(rate >= 1.0 && rate <= 240.0)) {
        error = "--fps " + text + ": the frame rate must be 1 to 240 frames a second";
        return false;
    }
    hundredths = static_cast<int32_t>(std::lround(rate * 100.0));
    // The video rates N x 1000/1001 are held as their hundredths cut down
    // (2397, 2997, 5994, 11988), however they were typed (24000/1001, 23.976,
    // 23.98), so that videos get the exact ratio back.
    for (const int whole : {24, 30, 60, 120}) {
        const double video = whole * 1000.0 / 1001.0;
        if (std::fabs(rate - video) < 0.005) hundredths = static_cast<int32_t>(whole * 100000L / 1001L);
    }
    return true;
}

std::string FrameRateRatio(int32_t hundredths) {
    switch (hundredths) {
    case 2397: return "24000/1001";
    case 2997: return "30000/1001";
    case 5994: return "60000/1001";
    case 11988: return "120000/1001";
    default: break;
    }
    const long divisor = std::gcd(static_cast<long>(hundredths), 100L);
    return std::to_string(hundredths / divisor) + "/" + std::to_string(100 / divisor);
}

bool ParseFrameRange(const std::string& text, FrameRange& out, std::string& error) {
    const size_t dash = text.find('-');
    long first = 0;
    long last = 0;
    bool ok;
    if (dash == std::string::npos) {
        ok = ParseWhole(text, first);
        last = first;
    } else {
        ok = ParseWhole(text.substr(0, dash), first) && ParseWhole(text.substr(dash + 1), last);
    }
    if (!ok) {
        error = "--frames " + text + ": expected FIRST-LAST (frame numbers from 0), for example 0-249";
        return false;
    }
    if (first > 0x7FFFFFFFL || last > 0x7FFFFFFFL) {
        error = "--frames " + text + ": frame numbers must stay below 2147483648";
        return false;
    }
    if (last < first) {
        error = "--frames " + text + ": the last frame comes before the first";
        return false;
    }
    out.first = first;
    out.last = last;
    out.given = true;
    return true;
}

bool ParseAspect(const std::string& text, AspectChoice& out, std::string& error) {
    const std::string t = Lower(text);
    if (t == "4:3") out = AspectChoice::FourThree;
    else if (t == "16:9") out = AspectChoice::SixteenNine;
    else if (t == "letterbox") out = AspectChoice::LetterBox;
    else if (t == "frame") out = AspectChoice::FollowFrame;
    else {
        error = "--aspect " + text + ": expected 4:3, 16:9, letterbox or frame";
        return false;
    }
    return true;
}

bool ParseFields(const std::string& text, int& fieldMode, std::string& error) {
    const std::string t = Lower(text);
    if (t == "none") fieldMode = 0;
    else if (t == "upper") fieldMode = 1;
    else if (t == "lower") fieldMode = 2;
    else if (t == "both") fieldMode = 3;
    else {
        error = "--fields " + text + ": expected upper, lower, both or none";
        return false;
    }
    return true;
}

std::string Extension(const std::string& path) {
    const size_t slash = path.find_last_of('/');
    const size_t dot = path.find_last_of('.');
    if (dot == std::string::npos || (slash != std::string::npos && dot < slash)) return "";
    return Lower(path.substr(dot));
}

namespace {

// Counts the integer conversions of a printf pattern; false when it holds any
// other conversion or a malformed one.
bool CountConversions(const std::string& pattern, int& count) {
    count = 0;
    for (size_t i = 0; i < pattern.size(); i++) {
        if (pattern[i] != '%') continue;
        if (i + 1 < pattern.size() && pattern[i + 1] == '%') {
            i++;
            continue;
        }
        size_t j = i + 1;
        if (j < pattern.size() && pattern[j] == '0') j++;
        size_t widthDigits = 0;
        while (j < pattern.size() && std::isdigit(static_cast<unsigned char>(pattern[j]))) {
            j++;
            widthDigits++;
        }
        if (widthDigits > 2 || j >= pattern.size() || pattern[j] != 'd') return false;
        count++;
        i = j;
    }
    return true;
}

}  // namespace

bool ParseOutput(const std::string& path, OutputTarget& out, std::string& error) {
    out.path = path;
    if (path.empty()) {
        error = "-o: the output path is empty";
        return false;
    }
    if (path == "-") {
        out.kind = OutputKind::Raw;
        return true;
    }
    const std::string ext = Extension(path);
    if (path.find('%') != std::string::npos) {
        int conversions = 0;
        if (!CountConversions(path, conversions) || conversions != 1) {
            error = "-o " + path + ": a picture pattern needs exactly one frame number such as %05d";
            return false;
        }
        out.kind = OutputKind::Sequence;
        if (ext == ".tga") out.picture = PictureFormat::Targa;
        else if (ext == ".bmp") out.picture = PictureFormat::Bmp;
        else if (ext == ".png") out.picture = PictureFormat::Png;
        else {
            error = "-o " + path + ": pictures are written as .tga, .bmp or .png";
            return false;
        }
        return true;
    }
    out.kind = OutputKind::Video;
    if (ext == ".mp4") out.video = VideoFormat::Mp4;
    else if (ext == ".mov") out.video = VideoFormat::Mov;
    else if (ext == ".mkv") out.video = VideoFormat::Mkv;
    else {
        error = "-o " + path +
                ": unknown output type; use .mp4, .mov or .mkv, a picture pattern such as "
                "frames/f_%05d.png, or - for raw RGBA on standard output";
        return false;
    }
    return true;
}

std::string FormatFramePath(const std::string& pattern, long frame) {
    std::string out;
    for (size_t i = 0; i < pattern.size(); i++) {
        if (pattern[i] != '%') {
            out += pattern[i];
            continue;
        }
        if (i + 1 < pattern.size() && pattern[i + 1] == '%') {
            out += '%';
            i++;
            continue;
        }
        size_t j = i + 1;
        bool zero = false;
        if (j < pattern.size() && pattern[j] == '0') {
            zero = true;
            j++;
        }
        int width = 0;
        while (j < pattern.size() && std::isdigit(static_cast<unsigned char>(pattern[j])))
            width = width * 10 + (pattern[j++] - '0');
        char number[64];
        std::snprintf(number, sizeof number, zero ? "%0*ld" : "%*ld", width, frame);
        out += number;
        i = j;  // the 'd'
    }
    return out;
}

}  // namespace gs
