// SPDX-License-Identifier: GPL-2.0-or-later
// `glimmerstroll new`: a show for one picture from options in a user's terms.
// Camera rectangles are given by their centre and width in picture pixels (y
// from the top), the way keys hold them; the height follows the camera's
// aspect. "full" is the largest camera of that shape inside the picture.
#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <sstream>

#include "app/Options.h"
#include "app/RenderJob.h"
#include "app/ShowCommands.h"
#include "doc/CDoc.h"
#include "doc/ShowJson.h"
#include "image/CDIB.h"
#include "motion/Interp.h"
#include "motion/Timecode.h"

namespace gs {

namespace {

constexpr int kExitFailed = 1;
constexpr int kExitUsage = 2;
constexpr float kPanShare = 0.6f;   // a pan's camera, as a share of the full width
constexpr float kZoomShare = 0.5f;  // where a zoom ends (or starts), likewise
constexpr float kEdgeSlack = 0.01f; // pixels a corner may stray for rounding

struct Camera {
    float x = 0, y = 0, width = 0, roll = 0;
    bool hasRoll = false;
};

struct PlacedKey {
    long frame = 0;
    Camera camera;
    std::string option;  // the option that asked for it, for messages
};

// The picture and the camera's shape.
struct Frame {
    float width = 0, height = 0, aspect = 0.5625f;
    float FullWidth() const { return std::min(width, height / aspect); }
};

bool ParseNumber(const std::string& text, float& out) {
    if (text.empty()) return false;
    char* end = nullptr;
    const double value = std::strtod(text.c_str(), &end);
    if (*end != '\0' || !std::isfinite(value) || std::fabs(value) > 1e9) return false;
    out = static_cast<float>(value);
    return true;
}

std::vector<std::string> Split(const std::string& text, char by) {
    std::vector<std::string> parts;
    std::stringstream in(text);
    std::string part;
    while (std::getline(in, part, by)) parts.push_back(part);
    if (!text.empty() && text.back() == by) parts.push_back("");
    return parts;
}

// "full", "center", "F@X,Y" (a share of the full width at shares of the
// picture's size) or "x,y,width"; each may end with ",ROLL" when `rollAllowed`.
bool ParseCamera(const std::string& text, const Frame& f, bool rollAllowed, Camera& out) {
    std::vector<std::string> parts = Split(text, ',');
    if (parts.empty()) return false;
    size_t used = 0;
    if (parts[0] == "full" || parts[0] == "center" || parts[0] == "centre") {
        out.x = f.width / 2;
        out.y = f.height / 2;
        out.width = parts[0] == "full" ? f.FullWidth() : f.FullWidth() * kZoomShare;
        used = 1;
    } else if (parts[0].find('@') != std::string::npos) {
        const size_t at = parts[0].find('@');
        float share = 0, sx = 0, sy = 0;
        if (parts.size() < 2 || !ParseNumber(parts[0].substr(0, at), share) ||
            !ParseNumber(parts[0].substr(at + 1), sx) || !ParseNumber(parts[1], sy) || share <= 0)
            return false;
        out.x = sx * f.width;
        out.y = sy * f.height;
        out.width = share * f.FullWidth();
        used = 2;
    } else {
        if (parts.size() < 3 || !ParseNumber(parts[0], out.x) || !ParseNumber(parts[1], out.y) ||
            !ParseNumber(parts[2], out.width) || out.width <= 0)
            return false;
        used = 3;
    }
    if (parts.size() == used) return true;
    if (!rollAllowed || parts.size() != used + 1 || !ParseNumber(parts[used], out.roll)) return false;
    out.hasRoll = true;
    return true;
}

// "6s", "2.5s" or frames ("150", "150f").
bool ParseTime(const std::string& text, int32_t rate, long& frames) {
    if (text.empty()) return false;
    const char unit = text.back();
    float value;
    if (unit == 's') {
        if (!ParseNumber(text.substr(0, text.size() - 1), value) || value < 0) return false;
        frames = std::lround(value * static_cast<float>(rate) / 100.0f);
        return true;
    }
    const std::string number = unit == 'f' ? text.substr(0, text.size() - 1) : text;
    if (!ParseNumber(number, value) || value < 0 || value != std::trunc(value)) return false;
    frames = static_cast<long>(value);
    return true;
}

bool ParseAspectRatio(const std::string& text, float& aspect) {
    const size_t colon = text.find(':');
    float w, h;
    if (colon == std::string::npos || !ParseNumber(text.substr(0, colon), w) ||
        !ParseNumber(text.substr(colon + 1), h) || w <= 0 || h <= 0)
        return false;
    aspect = h / w;
    return true;
}

// The camera's corners, rolled about its centre, all inside the picture.
bool Inside(const KeyStruct& key, const Frame& f) {
    const float halfW = key.width / 2, halfH = key.width * f.aspect / 2;
    const double turn = key.rotation3 * 3.14159265358979 / 180.0;
    const double c = std::cos(turn), s = std::sin(turn);
    for (int corner = 0; corner < 4; corner++) {
        const double dx = (corner & 1) ? halfW : -halfW, dy = (corner & 2) ? halfH : -halfH;
        const double x = key.horizontalPos + dx * c - dy * s, y = key.verticalPos + dx * s + dy * c;
        if (x < -kEdgeSlack || y < -kEdgeSlack || x > f.width + kEdgeSlack || y > f.height + kEdgeSlack)
            return false;
    }
    return true;
}

std::string SizeText(const Frame& f) {
    return std::to_string(std::lround(f.width)) + "x" + std::to_string(std::lround(f.height));
}

}  // namespace

int BuildNewShow(const NewShowText& t, int width, int height, CDoc& doc, std::string& error) {
    auto usage = [&](const std::string& option, const std::string& what) {
        error = option + ": " + what;
        return kExitUsage;
    };
    int32_t rate = 2500;
    if (!ParseFrameRate(t.fps, rate, error)) return kExitUsage;
    Frame f;
    f.width = static_cast<float>(width);
    f.height = static_cast<float>(height);
    if (!ParseAspectRatio(t.aspect, f.aspect)) return usage("--aspect " + t.aspect, "expected W:H, such as 16:9");
    long frames = 0;
    if (!ParseTime(t.duration, rate, frames) || frames < 2 || frames > 24L * 3600 * 240)
        return usage("--duration " + t.duration, "expected seconds (6s) or frames (150), at least 2 frames");
    const long last = frames - 1;

    float easeCode = 0.0f;  // the show's default
    if (!t.ease.empty() && t.ease != "default") {
        const int type = EaseTypeFromName(t.ease);
        if (type < 0)
            return usage("--ease " + t.ease, "expected slow-in-out (both), slow-in, slow-out, none or default");
        easeCode = EncodeEase(type, 0.0, false);
    }

    std::vector<PlacedKey> placed;
    Camera from, to;
    bool haveFrom = false, haveTo = false;
    if (!t.move.empty()) {
        const float full = f.FullWidth(), pan = full * kPanShare, panH = pan * f.aspect;
        const Camera whole{f.width / 2, f.height / 2, full};
        const Camera middle{f.width / 2, f.height / 2, full * kZoomShare};
        const Camera right{f.width - pan / 2, f.height / 2, pan}, left{pan / 2, f.height / 2, pan};
        const Camera bottom{f.width / 2, f.height - panH / 2, pan}, top{f.width / 2, panH / 2, pan};
        const struct {
            const char* name;
            Camera from, to;
        } moves[] = {{"zoom-in", whole, middle}, {"zoom-out", middle, whole},   {"pan-left", right, left},
                     {"pan-right", left, right}, {"pan-up", bottom, top},       {"pan-down", top, bottom}};
        bool known = false;
        for (const auto& m : moves) {
            if (t.move != m.name) continue;
            from = m.from;
            to = m.to;
            known = true;
        }
        if (!known)
            return usage("--move " + t.move, "expected zoom-in, zoom-out, pan-left, pan-right, pan-up or pan-down");
        haveFrom = haveTo = true;
    }
    if (!t.from.empty()) {
        if (!ParseCamera(t.from, f, false, from))
            return usage("--from " + t.from, "expected x,y,width in picture pixels, center, full or W@X,Y");
        haveFrom = true;
    }
    if (!t.to.empty()) {
        if (!ParseCamera(t.to, f, false, to))
            return usage("--to " + t.to, "expected x,y,width in picture pixels, center, full or W@X,Y");
        haveTo = true;
    }
    if (!t.roll.empty()) {
        if (!ParseNumber(t.roll, to.roll)) return usage("--roll " + t.roll, "expected degrees");
        if (!haveTo) return usage("--roll " + t.roll, "the camera rolls on its way to --to (or --move)");
        to.hasRoll = true;
    }
    if (haveFrom) placed.push_back({0, from, t.move.empty() || !t.from.empty() ? "--from " + t.from : "--move " + t.move});
    for (const std::string& text : t.keys) {
        const std::string option = "--key " + text;
        const size_t colon = text.find(':');
        PlacedKey key;
        key.option = option;
        if (colon == std::string::npos || !ParseTime(text.substr(0, colon), rate, key.frame))
            return usage(option, "expected TIME:x,y,width[,roll], such as 2s:400,300,800");
        if (!ParseCamera(text.substr(colon + 1), f, true, key.camera))
            return usage(option, "expected TIME:x,y,width[,roll], such as 2s:400,300,800");
        if (key.frame > last) return usage(option, "lies after the show's end (--duration " + t.duration + ")");
        placed.push_back(key);
    }
    if (haveTo)
        placed.push_back({last, to,
                          (t.move.empty() || !t.to.empty() ? "--to " + t.to : "--move " + t.move) +
                              (t.roll.empty() ? "" : " --roll " + t.roll)});
    if (placed.empty()) {
        error = "say how the camera moves: --move, --from and --to, or --key (see glimmerstroll new --help)";
        return kExitUsage;
    }
    std::stable_sort(placed.begin(), placed.end(),
                     [](const PlacedKey& a, const PlacedKey& b) { return a.frame < b.frame; });
    if (placed[0].frame != 0) return usage(placed[0].option, "the first key must be at 0 (or give --from)");
    for (size_t i = 1; i < placed.size(); i++)
        if (placed[i].frame == placed[i - 1].frame)
            return usage(placed[i].option, "two keys at frame " + std::to_string(placed[i].frame));
    if (placed.size() > static_cast<size_t>(kAddKeyLimit))
        return usage("--key", "a show holds at most " + std::to_string(kAddKeyLimit) + " keys");

    doc.ClearShow();
    gFrameRate = rate;
    doc.pictureCount = 1;
    for (size_t i = 0; i < placed.size(); i++) {
        KeyStruct key;
        KeyIdentity(key);
        key.horizontalPos = placed[i].camera.x;
        key.verticalPos = placed[i].camera.y;
        key.width = placed[i].camera.width;
        key.rotation3 = placed[i].camera.roll;
        key.easeCode = easeCode;
        key.time = static_cast<int32_t>(placed[i].frame);
        doc.keys[0][i] = key;
        if (!t.allowOutside && !Inside(key, f))
            return usage(placed[i].option, "the camera leaves the picture (" + SizeText(f) +
                                               "); add --allow-outside to allow it");
    }
    doc.keyCount[0] = static_cast<int32_t>(placed.size());
    doc.showLength = static_cast<int32_t>(frames);
    // The keys are inside; the path between them must be too.
    for (long frame = 0; frame < frames && !t.allowOutside; frame++) {
        KeyStruct camera;
        doc.QueueKey(&camera, 0, frame, 0);
        if (!Inside(camera, f)) {
            error = "the camera leaves the picture (" + SizeText(f) + ") at frame " + std::to_string(frame) +
                    ", between keys; add --allow-outside to allow it";
            return kExitUsage;
        }
    }
    return 0;
}

int RunNew(const NewShowText& t, std::string& error) {
    StartTool();
    CDIB picture(1, 1, 24);
    FSpec file;
    MakePathSpec(file, t.photo.c_str());
    const int loaded = picture.Load(&file, nullptr, false);
    TakeToolMessages();
    int code = 0;
    if (loaded != 1 || picture.GetWid() < 1 || picture.GetHgt() < 1) {
        error = "cannot read picture " + t.photo;
        code = kExitFailed;
    }
    std::string bytes;
    if (code == 0) code = BuildNewShow(t, static_cast<int>(picture.GetWid()), static_cast<int>(picture.GetHgt()), *pDoc, error);
    if (code == 0) {
        pDoc->pictureFile[0] = file;
        std::vector<char> block(static_cast<size_t>(pDoc->SaveShow(nullptr, nullptr)));
        pDoc->SaveShow(nullptr, block.data(), static_cast<long>(block.size()));
        bytes.assign(block.begin(), block.end());
        code = WriteWholeFile(t.output, bytes, t.overwrite, error);
    }
    StopTool();
    return code;
}

}  // namespace gs
