// SPDX-License-Identifier: GPL-2.0-or-later
#include "app/ShowInfo.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <sstream>

#include "motion/Timecode.h"

namespace gs {

namespace {

// Shortest text that reads back as the same single-precision value.
std::string Number(double value) {
    if (!std::isfinite(value)) return "null";
    char text[40];
    for (int digits = 6; digits <= 9; digits++) {
        std::snprintf(text, sizeof text, "%.*g", digits, value);
        if (static_cast<float>(std::strtod(text, nullptr)) == static_cast<float>(value)) break;
    }
    return text;
}

std::string EaseText(const EaseInfo& e) {
    if (e.isDefault) return "show default";
    std::string text = EaseTypeName(e.type);
    if (e.straight) text += ", no curves";
    char amount[32];
    std::snprintf(amount, sizeof amount, ", amount %.2f", e.amount);
    text += amount;
    return text;
}

long ShowFrame(const ShowBlock& show, size_t picture, const KeyStruct& key) {
    // Only the first picture carries a start frame.
    long start = 0;
    if (picture == 0 && !show.pictures.empty()) {
        const float s = show.pictures[0].keys[0].picStart;
        if (std::fabs(s) < 2147483520.0f) start = static_cast<long>(s);
    }
    return start + key.time;
}

}  // namespace

std::string ShowInfoText(const ShowBlock& show, const std::string& name, int32_t frameRate) {
    std::ostringstream out;
    char line[512];
    out << "show       " << name << "\n";
    std::snprintf(line, sizeof line, "bytes      %u, %s, serial %u, version stamp %s\n", show.size,
                  show.bigEndian ? "big-endian" : "little-endian", show.serial,
                  Number(show.versionStamp).c_str());
    out << line;
    const long length = show.SavedLength();
    std::snprintf(line, sizeof line, "frame rate %s fps (--fps: frames and timecodes below are counted at it)\n",
                  Number(frameRate / 100.0).c_str());
    out << line;
    if (length > 0)
        out << "length     " << length << " frames (" << Timecode(length, frameRate) << ")\n";
    else
        out << "length     not saved (" << show.DefaultLength() << " frames up to the last key)\n";

    out << "pictures   " << show.pictures.size() << "\n";
    for (size_t p = 0; p < show.pictures.size(); p++) {
        const ShowPicture& picture = show.pictures[p];
        out << "  picture " << p << "  " << picture.path << "  " << (picture.found ? "found" : "MISSING") << "\n";
        out << "    key  timecode     frame        x        y    width   tilt   turn   roll  ease\n";
        for (size_t k = 0; k < picture.keys.size(); k++) {
            const KeyStruct& key = picture.keys[k];
            const long frame = ShowFrame(show, p, key);
            std::snprintf(line, sizeof line, "    %3zu  %-11s %6ld %8.1f %8.1f %8.1f %6.1f %6.1f %6.1f  %s\n", k,
                          Timecode(frame, frameRate).c_str(), frame, key.horizontalPos, key.verticalPos,
                          key.width, key.rotation1, key.rotation2, key.rotation3,
                          EaseText(DecodeEase(key.easeCode)).c_str());
            out << line;
        }
    }
    if (show.hasExtra) out << "extra file " << show.extraReference << "\n";
    const ShowTrailer& t = show.trailer;
    if (t.read) {
        std::snprintf(line, sizeof line,
                      "trailer    matte colour %s, matte border %d, pre-blur %d, video colours %d, contrast %s\n",
                      ColourText(t.matteColor).c_str(), t.matteBorder, t.preBlur, t.videoColors,
                      t.contrastRead ? (std::string("\"") + t.contrast + "\"").c_str() : "not stored");
        out << line;
    } else {
        out << "trailer    not stored (version stamp 90 or below)\n";
    }
    return out.str();
}

std::string ShowInfoJson(const ShowBlock& show, const std::string& name, int32_t frameRate) {
    ShowJsonContext context;
    context.file = name;
    context.frameRate = frameRate;
    for (const ShowPicture& picture : show.pictures) context.pictures.push_back({picture.found, picture.path});
    context.extraPath = show.extraReference;
    return ShowToJson(show.description, context);
}

}  // namespace gs
