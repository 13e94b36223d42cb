#include "app/ShowInfo.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <sstream>

#include "motion/Timecode.h"

namespace gs {

namespace {

std::string Timecode(long frame, int32_t frameRate) {
    const int32_t saved = gFrameRate;
    gFrameRate = frameRate;
    char text[32] = {};
    FrameToString(text, frame, false);
    gFrameRate = saved;
    return text;
}

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

std::string Hex6(int32_t colour) {
    // Colours are held as 0x00BBGGRR.
    char text[16];
    std::snprintf(text, sizeof text, "#%02x%02x%02x", colour & 0xFF, (colour >> 8) & 0xFF, (colour >> 16) & 0xFF);
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

EaseInfo DecodeEase(float easeCode) {
    EaseInfo e;
    if (!(easeCode > 0.0f)) return e;
    e.isDefault = false;
    // Codes past what an int holds (up to infinity) read as the largest one.
    easeCode = std::min(easeCode, 2147483520.0f);
    e.code = static_cast<int>(easeCode);
    e.type = static_cast<int>((easeCode - 900.0f) / 1000.0f);
    e.straight = (e.code & 1) != 0;
    e.amount = (e.code % 1000) / 100.0;
    return e;
}

const char* EaseTypeName(int type) {
    switch (type) {
    case 0: return "slow-in & slow-out";
    case 1: return "slow-in";
    case 2: return "slow-out";
    case 3: return "no slows";
    default: return "unknown";
    }
}

std::string ShowInfoText(const ShowBlock& show, const std::string& name, int32_t frameRate) {
    std::ostringstream out;
    char line[512];
    out << "show       " << name << "\n";
    std::snprintf(line, sizeof line, "bytes      %u, %s, serial %u, version stamp %s\n", show.size,
                  show.bigEndian ? "big-endian" : "little-endian", show.serial,
                  Number(show.versionStamp).c_str());
    out << line;
    const long length = show.SavedLength();
    std::snprintf(line, sizeof line, "frame rate %s fps (timecodes below)\n", Number(frameRate / 100.0).c_str());
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
                      Hex6(t.matteColor).c_str(), t.matteBorder, t.preBlur, t.videoColors,
                      t.contrastRead ? (std::string("\"") + t.contrast + "\"").c_str() : "not stored");
        out << line;
    } else {
        out << "trailer    not stored (version stamp 90 or below)\n";
    }
    return out.str();
}

std::string JsonString(const std::string& text) {
    std::string out = "\"";
    const auto* s = reinterpret_cast<const unsigned char*>(text.data());
    const size_t n = text.size();
    for (size_t i = 0; i < n;) {
        const unsigned char c = s[i];
        if (c < 0x80) {
            switch (c) {
            case '"': out += "\\\""; break;
            case '\\': out += "\\\\"; break;
            case '\n': out += "\\n"; break;
            case '\r': out += "\\r"; break;
            case '\t': out += "\\t"; break;
            default:
                if (c < 0x20) {
                    char esc[8];
                    std::snprintf(esc, sizeof esc, "\\u%04x", c);
                    out += esc;
                } else {
                    out += static_cast<char>(c);
                }
            }
            i++;
            continue;
        }
        // Copy a well-formed UTF-8 sequence; replace anything else.
        int extra = c >= 0xF0 && c < 0xF5 ? 3 : c >= 0xE0 ? 2 : c >= 0xC2 && c < 0xE0 ? 1 : -1;
        bool ok = extra > 0 && i + static_cast<size_t>(extra) < n;
        for (int k = 1; ok && k <= extra; k++) ok = (s[i + static_cast<size_t>(k)] & 0xC0) == 0x80;
        if (ok) {
            out.append(text, i, static_cast<size_t>(extra) + 1);
            i += static_cast<size_t>(extra) + 1;
        } else {
            out += "\xEF\xBF\xBD";
            i++;
        }
    }
    return out + "\"";
}

std::string ShowInfoJson(const ShowBlock& show, const std::string& name, int32_t frameRate) {
    std::ostringstream out;
    out << "{\n";
    out << "  \"infoVersion\": " << kInfoJsonVersion << ",\n";
    out << "  \"file\": " << JsonString(name) << ",\n";
    out << "  \"bytes\": " << show.size << ",\n";
    out << "  \"byteOrder\": \"" << (show.bigEndian ? "big-endian" : "little-endian") << "\",\n";
    out << "  \"serial\": " << show.serial << ",\n";
    out << "  \"versionStamp\": " << Number(show.versionStamp) << ",\n";
    out << "  \"frameRate\": " << Number(frameRate / 100.0) << ",\n";
    const long length = show.SavedLength();
    if (length > 0)
        out << "  \"length\": {\"frames\": " << length << ", \"timecode\": " << JsonString(Timecode(length, frameRate))
            << "},\n";
    else
        out << "  \"length\": null,\n";
    out << "  \"pictures\": [";
    for (size_t p = 0; p < show.pictures.size(); p++) {
        const ShowPicture& picture = show.pictures[p];
        out << (p ? ",\n" : "\n");
        out << "    {\n";
        out << "      \"index\": " << p << ",\n";
        out << "      \"reference\": " << JsonString(picture.reference) << ",\n";
        out << "      \"path\": " << JsonString(picture.path) << ",\n";
        out << "      \"found\": " << (picture.found ? "true" : "false") << ",\n";
        out << "      \"keys\": [";
        for (size_t k = 0; k < picture.keys.size(); k++) {
            const KeyStruct& key = picture.keys[k];
            const long frame = ShowFrame(show, p, key);
            const EaseInfo ease = DecodeEase(key.easeCode);
            out << (k ? ",\n" : "\n");
            out << "        {\"index\": " << k << ", \"frame\": " << frame << ", \"time\": " << key.time
                << ", \"timecode\": " << JsonString(Timecode(frame, frameRate)) << ", \"x\": "
                << Number(key.horizontalPos) << ", \"y\": " << Number(key.verticalPos)
                << ", \"width\": " << Number(key.width) << ", \"rotation\": {\"tilt\": " << Number(key.rotation1)
                << ", \"turn\": " << Number(key.rotation2) << ", \"roll\": " << Number(key.rotation3)
                << "}, \"ease\": ";
            if (ease.isDefault)
                out << "{\"code\": 0, \"default\": true}";
            else
                out << "{\"code\": " << ease.code << ", \"default\": false, \"type\": " << ease.type
                    << ", \"typeName\": " << JsonString(EaseTypeName(ease.type)) << ", \"amount\": "
                    << Number(ease.amount) << ", \"straight\": " << (ease.straight ? "true" : "false") << "}";
            out << "}";
        }
        out << (picture.keys.empty() ? "]\n" : "\n      ]\n");
        out << "    }";
    }
    out << (show.pictures.empty() ? "],\n" : "\n  ],\n");
    out << "  \"extraReference\": " << (show.hasExtra ? JsonString(show.extraReference) : "null") << ",\n";
    const ShowTrailer& t = show.trailer;
    if (t.read) {
        out << "  \"trailer\": {\"matteColor\": " << JsonString(Hex6(t.matteColor)) << ", \"matteBorder\": "
            << t.matteBorder << ", \"preBlur\": " << t.preBlur << ", \"videoColors\": " << t.videoColors
            << ", \"contrast\": " << (t.contrastRead ? JsonString(t.contrast) : "null") << "}\n";
    } else {
        out << "  \"trailer\": null\n";
    }
    out << "}\n";
    return out.str();
}

}  // namespace gs
