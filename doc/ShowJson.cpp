// SPDX-License-Identifier: GPL-2.0-or-later
#include "doc/ShowJson.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <set>

#include <nlohmann/json.hpp>

#include "motion/Timecode.h"

namespace gs {

namespace {

using Json = nlohmann::ordered_json;

// The largest float below 2^31: frame numbers are 32-bit.
constexpr float kLargestFrame = 2147483520.0f;

uint32_t FloatBits(float value) {
    uint32_t bits;
    std::memcpy(&bits, &value, 4);
    return bits;
}

// A float as the shortest number that reads back as the same float; whole
// numbers as integers. Values JSON has no number for (not a number,
// infinities) go out as their bits, "0x7fc00000".
Json FloatJson(float value) {
    if (!std::isfinite(value)) {
        char text[16];
        std::snprintf(text, sizeof text, "0x%08x", FloatBits(value));
        return text;
    }
    if (value == std::trunc(value) && std::fabs(value) < 1e15f && !(value == 0.0f && std::signbit(value)))
        return static_cast<int64_t>(value);
    char text[40];
    for (int digits = 6; digits <= 9; digits++) {
        std::snprintf(text, sizeof text, "%.*g", digits, static_cast<double>(value));
        if (static_cast<float>(std::strtod(text, nullptr)) == value) break;
    }
    return std::strtod(text, nullptr);
}

std::string Hex(const void* bytes, size_t count) {
    static const char digits[] = "0123456789abcdef";
    std::string out;
    const auto* b = static_cast<const uint8_t*>(bytes);
    for (size_t i = 0; i < count; i++) {
        out += digits[b[i] >> 4];
        out += digits[b[i] & 15];
    }
    return out;
}

bool FromHex(const std::string& text, uint8_t* out, size_t count) {
    if (text.size() != 2 * count) return false;
    for (size_t i = 0; i < count; i++) {
        unsigned value = 0;
        for (int h = 0; h < 2; h++) {
            const char c = text[2 * i + h];
            const int digit = c >= '0' && c <= '9' ? c - '0' : c >= 'a' && c <= 'f' ? c - 'a' + 10
                              : c >= 'A' && c <= 'F' ? c - 'A' + 10 : -1;
            if (digit < 0) return false;
            value = value * 16 + static_cast<unsigned>(digit);
        }
        out[i] = static_cast<uint8_t>(value);
    }
    return true;
}

bool ValidUtf8(const std::string& text) {
    const auto* s = reinterpret_cast<const unsigned char*>(text.data());
    const size_t n = text.size();
    for (size_t i = 0; i < n;) {
        const unsigned char c = s[i];
        if (c < 0x80) {
            i++;
            continue;
        }
        const int extra = c >= 0xF0 && c < 0xF5 ? 3 : c >= 0xE0 && c < 0xF0 ? 2 : c >= 0xC2 && c < 0xE0 ? 1 : -1;
        if (extra < 0 || i + static_cast<size_t>(extra) >= n) return false;
        for (int k = 1; k <= extra; k++)
            if ((s[i + static_cast<size_t>(k)] & 0xC0) != 0x80) return false;
        i += static_cast<size_t>(extra) + 1;
    }
    return true;
}

// The stored name: the bytes up to the first zero.
std::string SpecName(const FSpec& file) { return std::string(file.name, strnlen(file.name, sizeof file.name)); }

// The reference a name alone stands for: the path form, zeros after the name.
FSpec NameSpec(const std::string& name) {
    FSpec file;
    std::memset(&file, 0, sizeof file);
    file.volume = kPathFormId;
    file.parent = kPathFormId;
    std::memcpy(file.name, name.data(), std::min(name.size(), sizeof file.name - 1));
    return file;
}

// The name, and the stored bytes when the name alone does not give them back.
void PutReference(Json& into, const FSpec& file) {
    const std::string name = SpecName(file);
    const FSpec plain = NameSpec(name);
    into["reference"] = name;
    if (!ValidUtf8(name) || std::memcmp(&plain, &file, sizeof file) != 0)
        into["referenceBytes"] = Hex(&file, sizeof file);
}

// Contrast characters as text: each byte is the character of that number
// (Latin-1), so any two bytes are written and read back.
std::string ContrastText(const char (&code)[2]) {
    std::string out;
    for (char c : code) {
        const auto b = static_cast<uint8_t>(c);
        if (b < 0x80) {
            out += static_cast<char>(b);
        } else {
            out += static_cast<char>(0xC0 | (b >> 6));
            out += static_cast<char>(0x80 | (b & 0x3F));
        }
    }
    return out;
}

// The trailer with its numbers big-endian, so that the text is the same
// whatever order the block is written in.
std::string TrailerHex(const ShowTrailerData& t) {
    uint8_t b[20] = {};
    const uint32_t words[3] = {static_cast<uint32_t>(t.matteColor), static_cast<uint32_t>(t.matteBorder),
                               static_cast<uint32_t>(t.preBlur)};
    for (int w = 0; w < 3; w++)
        for (int i = 0; i < 4; i++) b[4 * w + i] = static_cast<uint8_t>(words[w] >> (24 - 8 * i));
    b[12] = static_cast<uint8_t>(static_cast<uint16_t>(t.videoColors) >> 8);
    b[13] = static_cast<uint8_t>(t.videoColors);
    std::memcpy(b + 14, t.contrast, 2);
    if (t.unused) std::memcpy(b + 16, t.unused->data(), 4);
    return Hex(b, sizeof b);
}

void TrailerFromBytes(const uint8_t (&b)[20], ShowTrailerData& t) {
    auto word = [&](int at) {
        return static_cast<int32_t>(static_cast<uint32_t>(b[at]) << 24 | static_cast<uint32_t>(b[at + 1]) << 16 |
                                    static_cast<uint32_t>(b[at + 2]) << 8 | b[at + 3]);
    };
    t.matteColor = word(0);
    t.matteBorder = word(4);
    t.preBlur = word(8);
    t.videoColors = static_cast<int16_t>(static_cast<uint16_t>(b[12] << 8 | b[13]));
    std::memcpy(t.contrast, b + 14, 2);
    std::array<uint8_t, 4> rest;
    std::memcpy(rest.data(), b + 16, 4);
    t.unused = rest;
}

Json EaseJson(float code) {
    Json ease;
    const EaseInfo e = DecodeEase(code);
    ease["code"] = FloatBits(code) == 0 ? Json(0) : FloatJson(code);
    ease["default"] = e.isDefault;
    if (e.isDefault) return ease;
    ease["type"] = e.type;
    ease["typeName"] = EaseTypeName(e.type);
    ease["amount"] = FloatJson(static_cast<float>(e.amount));
    ease["straight"] = e.straight;
    return ease;
}

long PictureStart(const ShowDescription& show, size_t picture) {
    // Only the first picture carries a start frame.
    if (picture != 0 || show.pictures.empty() || show.pictures[0].keys.empty()) return 0;
    const float start = show.pictures[0].keys[0].picStart;
    return std::fabs(start) <= kLargestFrame ? static_cast<long>(start) : 0;
}

// ---- Reading ---------------------------------------------------------------

// Reads fields of the JSON form; the first problem found is kept, with the
// path of the field it is about.
class Reader {
public:
    std::string error;

    bool Fail(const std::string& where, const std::string& what) {
        if (error.empty()) error = (where.empty() ? "" : where + ": ") + what;
        return false;
    }

    // Only the fields of `names` may be in `object`.
    bool Object(const Json& object, const std::string& where, std::initializer_list<const char*> names) {
        if (!object.is_object()) return Fail(where, "expected an object");
        const std::set<std::string> known(names.begin(), names.end());
        for (auto it = object.begin(); it != object.end(); ++it)
            if (!known.count(it.key())) return Fail(Field(where, it.key()), "unknown field");
        return true;
    }

    static std::string Field(const std::string& where, const std::string& name) {
        return where.empty() ? name : where + "." + name;
    }
    static std::string Item(const std::string& where, size_t index) {
        return where + "[" + std::to_string(index) + "]";
    }

    // A float as a number, or as its bits ("0x7fc00000").
    bool Float(const Json& value, const std::string& where, float& out) {
        if (value.is_number()) {
            const double d = value.get<double>();
            if (!(std::fabs(d) <= std::numeric_limits<float>::max()))
                return Fail(where, "out of range for a 32-bit float");
            out = static_cast<float>(d);
            return true;
        }
        if (value.is_string()) {
            const std::string text = value.get<std::string>();
            uint8_t b[4];
            if (text.size() == 10 && text.compare(0, 2, "0x") == 0 && FromHex(text.substr(2), b, 4)) {
                const uint32_t bits = static_cast<uint32_t>(b[0]) << 24 | static_cast<uint32_t>(b[1]) << 16 |
                                      static_cast<uint32_t>(b[2]) << 8 | b[3];
                std::memcpy(&out, &bits, 4);
                return true;
            }
        }
        return Fail(where, "expected a number");
    }

    bool Integer(const Json& value, const std::string& where, int64_t low, int64_t high, int64_t& out) {
        double d = 0;
        if (value.is_number_integer())
            d = static_cast<double>(value.get<int64_t>());
        else if (value.is_number_float())
            d = value.get<double>();
        else
            return Fail(where, "expected a whole number");
        if (d != std::trunc(d)) return Fail(where, "expected a whole number");
        if (d < static_cast<double>(low) || d > static_cast<double>(high))
            return Fail(where, "must be from " + std::to_string(low) + " to " + std::to_string(high));
        out = static_cast<int64_t>(d);
        return true;
    }

    template <typename T>
    bool IntegerAs(const Json& value, const std::string& where, T& out) {
        int64_t v = 0;
        if (!Integer(value, where, std::numeric_limits<T>::min(), std::numeric_limits<T>::max(), v)) return false;
        out = static_cast<T>(v);
        return true;
    }

    bool String(const Json& value, const std::string& where, std::string& out) {
        if (!value.is_string()) return Fail(where, "expected a string");
        out = value.get<std::string>();
        return true;
    }

    bool Bool(const Json& value, const std::string& where, bool& out) {
        if (!value.is_boolean()) return Fail(where, "expected true or false");
        out = value.get<bool>();
        return true;
    }

    // A reference: "referenceBytes" (the stored bytes in hex) or "reference"
    // (a name, up to 255 bytes).
    bool Reference(const Json& object, const std::string& where, FSpec& out) {
        if (object.contains("referenceBytes")) {
            std::string hex;
            if (!String(object["referenceBytes"], Field(where, "referenceBytes"), hex)) return false;
            if (!FromHex(hex, reinterpret_cast<uint8_t*>(&out), sizeof out))
                return Fail(Field(where, "referenceBytes"), "expected 524 hexadecimal digits");
            return true;
        }
        if (!object.contains("reference")) return Fail(Field(where, "reference"), "missing");
        std::string name;
        if (!String(object["reference"], Field(where, "reference"), name)) return false;
        if (name.size() > sizeof out.name - 1) return Fail(Field(where, "reference"), "longer than 255 bytes");
        if (name.find('\0') != std::string::npos) return Fail(Field(where, "reference"), "holds a zero character");
        out = NameSpec(name);
        return true;
    }

    bool Ease(const Json& value, const std::string& where, float& out) {
        if (value.is_number()) return Float(value, where, out);
        if (value.is_string()) {
            const std::string name = value.get<std::string>();
            if (name == "default") {
                out = 0.0f;
                return true;
            }
            const int type = EaseTypeFromName(name);
            if (type < 0) return Fail(where, "unknown ease \"" + name + "\"");
            out = EncodeEase(type, 0.0, false);
            return true;
        }
        if (!Object(value, where, {"code", "default", "type", "typeName", "amount", "straight"})) return false;
        if (value.contains("code")) return Float(value["code"], Field(where, "code"), out);
        bool byDefault = false;
        if (value.contains("default") && !Bool(value["default"], Field(where, "default"), byDefault)) return false;
        if (byDefault || (!value.contains("type") && !value.contains("typeName"))) {
            out = 0.0f;
            return true;
        }
        int64_t type = -1;
        if (value.contains("type")) {
            if (!Integer(value["type"], Field(where, "type"), 0, 3, type)) return false;
        } else {
            std::string name;
            if (!String(value["typeName"], Field(where, "typeName"), name)) return false;
            type = EaseTypeFromName(name);
            if (type < 0) return Fail(Field(where, "typeName"), "unknown ease \"" + name + "\"");
        }
        double amount = 0.0;
        if (value.contains("amount")) {
            if (!value["amount"].is_number()) return Fail(Field(where, "amount"), "expected a number");
            amount = value["amount"].get<double>();
            if (!(amount >= 0.0 && amount < 8.995)) return Fail(Field(where, "amount"), "must be from 0 to 8.99");
        }
        bool straight = false;
        if (value.contains("straight") && !Bool(value["straight"], Field(where, "straight"), straight)) return false;
        out = EncodeEase(static_cast<int>(type), amount, straight);
        return true;
    }

    // One key. `first` is key 0 of the first picture: its stamp and length
    // may come from the show's own fields.
    bool Key(const Json& value, const std::string& where, long start, const float* stamp, const float* length,
             KeyStruct& key) {
        if (!Object(value, where,
                    {"index", "frame", "time", "timecode", "x", "y", "width", "rotation", "ease", "formatVersion",
                     "verticalSize", "picStart", "reservedB", "showLengthCopy", "undoPicture", "undoAction"}))
            return false;
        key = KeyStruct{};
        const struct {
            const char* name;
            float* field;
            bool required;
        } words[] = {{"x", &key.horizontalPos, true},        {"y", &key.verticalPos, true},
                     {"width", &key.width, true},            {"formatVersion", &key.formatVersion, false},
                     {"verticalSize", &key.verticalSize, false}, {"picStart", &key.picStart, false},
                     {"reservedB", &key.reservedB, false},   {"showLengthCopy", &key.showLengthCopy, false}};
        for (const auto& w : words) {
            if (!value.contains(w.name)) {
                if (w.required) return Fail(Field(where, w.name), "missing");
                continue;
            }
            if (!Float(value[w.name], Field(where, w.name), *w.field)) return false;
        }
        if (stamp && !value.contains("formatVersion")) key.formatVersion = *stamp;
        if (length && !value.contains("showLengthCopy")) key.showLengthCopy = *length;
        if (value.contains("rotation")) {
            const Json& r = value["rotation"];
            const std::string at = Field(where, "rotation");
            if (!Object(r, at, {"tilt", "turn", "roll"})) return false;
            if (r.contains("tilt") && !Float(r["tilt"], Field(at, "tilt"), key.rotation1)) return false;
            if (r.contains("turn") && !Float(r["turn"], Field(at, "turn"), key.rotation2)) return false;
            if (r.contains("roll") && !Float(r["roll"], Field(at, "roll"), key.rotation3)) return false;
        }
        if (value.contains("ease") && !Ease(value["ease"], Field(where, "ease"), key.easeCode)) return false;
        if (value.contains("time")) {
            if (!IntegerAs(value["time"], Field(where, "time"), key.time)) return false;
        } else if (value.contains("frame")) {
            int64_t frame = 0;
            if (!Integer(value["frame"], Field(where, "frame"), INT32_MIN + static_cast<int64_t>(start),
                         INT32_MAX + static_cast<int64_t>(start), frame))
                return false;
            key.time = static_cast<int32_t>(frame - start);
        } else {
            return Fail(Field(where, "time"), "missing");
        }
        if (value.contains("undoPicture") && !IntegerAs(value["undoPicture"], Field(where, "undoPicture"), key.undoPicture))
            return false;
        if (value.contains("undoAction") && !IntegerAs(value["undoAction"], Field(where, "undoAction"), key.undoAction))
            return false;
        return true;
    }

    bool Trailer(const Json& root, ShowTrailerData& t) {
        t = ShowTrailerData{};
        t.unused = std::array<uint8_t, 4>{};
        if (root.contains("trailerBytes")) {
            std::string hex;
            uint8_t b[20];
            if (!String(root["trailerBytes"], "trailerBytes", hex)) return false;
            if (!FromHex(hex, b, sizeof b)) return Fail("trailerBytes", "expected 40 hexadecimal digits");
            TrailerFromBytes(b, t);
        }
        if (!root.contains("trailer") || root["trailer"].is_null()) return true;
        const Json& v = root["trailer"];
        if (!Object(v, "trailer", {"matteColor", "matteBorder", "preBlur", "videoColors", "contrast"})) return false;
        if (v.contains("matteColor")) {
            const Json& c = v["matteColor"];
            uint8_t rgb[3];
            if (c.is_string()) {
                const std::string text = c.get<std::string>();
                if (text.size() != 7 || text[0] != '#' || !FromHex(text.substr(1), rgb, 3))
                    return Fail("trailer.matteColor", "expected \"#rrggbb\" or a number 0x00BBGGRR");
                t.matteColor = rgb[0] | rgb[1] << 8 | rgb[2] << 16;
            } else if (!IntegerAs(c, "trailer.matteColor", t.matteColor)) {
                return false;
            }
        }
        if (v.contains("matteBorder") && !IntegerAs(v["matteBorder"], "trailer.matteBorder", t.matteBorder)) return false;
        if (v.contains("preBlur") && !IntegerAs(v["preBlur"], "trailer.preBlur", t.preBlur)) return false;
        if (v.contains("videoColors") && !IntegerAs(v["videoColors"], "trailer.videoColors", t.videoColors)) return false;
        if (v.contains("contrast") && !v["contrast"].is_null()) {
            std::string text;
            if (!String(v["contrast"], "trailer.contrast", text)) return false;
            // Two characters, each one byte (U+0000 to U+00FF).
            char code[2];
            size_t n = 0, i = 0;
            for (; i < text.size() && n < 3; n++) {
                const auto c = static_cast<uint8_t>(text[i]);
                if (c < 0x80) {
                    if (n < 2) code[n] = static_cast<char>(c);
                    i++;
                } else if ((c == 0xC2 || c == 0xC3) && i + 1 < text.size()) {
                    if (n < 2) code[n] = static_cast<char>(((c & 3) << 6) | (text[i + 1] & 0x3F));
                    i += 2;
                } else {
                    break;
                }
            }
            if (n != 2 || i != text.size())
                return Fail("trailer.contrast", "expected two characters (each U+0000 to U+00FF)");
            std::memcpy(t.contrast, code, 2);
        }
        return true;
    }

    bool Show(const Json& root, ShowDescription& show) {
        if (!Object(root, "",
                    {"infoVersion", "file", "bytes", "byteOrder", "serial", "versionStamp", "frameRate", "length",
                     "pictures", "extraReference", "extra", "trailer", "trailerBytes"}))
            return error.empty() ? Fail("", "expected a JSON object") : false;
        show = ShowDescription{};
        show.bigEndian = HostIsBigEndian();
        if (root.contains("byteOrder")) {
            std::string order;
            if (!String(root["byteOrder"], "byteOrder", order)) return false;
            if (order == "big-endian" || order == "big")
                show.bigEndian = true;
            else if (order == "little-endian" || order == "little")
                show.bigEndian = false;
            else
                return Fail("byteOrder", "expected \"little-endian\" or \"big-endian\"");
        }
        if (root.contains("serial") && !IntegerAs(root["serial"], "serial", show.serial)) return false;
        float stamp = kShowFormatVersion;
        if (root.contains("versionStamp") && !Float(root["versionStamp"], "versionStamp", stamp)) return false;
        float length = 0.0f;
        if (root.contains("length") && !root["length"].is_null()) {
            const Json& l = root["length"];
            int32_t frames = 0;
            if (l.is_object()) {
                if (!Object(l, "length", {"frames", "timecode"})) return false;
                if (!l.contains("frames")) return Fail("length.frames", "missing");
                if (!IntegerAs(l["frames"], "length.frames", frames)) return false;
            } else if (!IntegerAs(l, "length", frames)) {
                return false;
            }
            length = static_cast<float>(frames);
        }

        if (root.contains("pictures")) {
            const Json& pictures = root["pictures"];
            if (!pictures.is_array()) return Fail("pictures", "expected an array");
            for (size_t p = 0; p < pictures.size(); p++) {
                const std::string where = Item("pictures", p);
                const Json& picture = pictures[p];
                if (!Object(picture, where, {"index", "reference", "referenceBytes", "path", "found", "keys"}))
                    return false;
                ShowRecord record;
                if (!Reference(picture, where, record.file)) return false;
                const std::string at = Field(where, "keys");
                if (!picture.contains("keys")) return Fail(at, "missing");
                const Json& keys = picture["keys"];
                if (!keys.is_array()) return Fail(at, "expected an array");
                if (keys.empty()) return Fail(at, "a picture needs at least one key");
                if (keys.size() > static_cast<size_t>(kShowRecordKeys))
                    return Fail(at, "more than " + std::to_string(kShowRecordKeys) + " keys");
                long start = 0;
                for (size_t k = 0; k < keys.size(); k++) {
                    const bool first = p == 0 && k == 0;
                    KeyStruct key;
                    if (!Key(keys[k], Item(at, k), start, first ? &stamp : nullptr, first ? &length : nullptr, key))
                        return false;
                    // Only the first picture carries a start frame.
                    if (first && std::fabs(key.picStart) <= kLargestFrame) start = static_cast<long>(key.picStart);
                    record.keys.push_back(key);
                }
                show.pictures.push_back(std::move(record));
                if (show.Size() > kShowMaxBytes) return Fail("pictures", "too many pictures for one show");
            }
        }

        if (root.contains("extra") && !root["extra"].is_null()) {
            if (!Object(root["extra"], "extra", {"reference", "referenceBytes", "path", "found"})) return false;
            FSpec file;
            if (!Reference(root["extra"], "extra", file)) return false;
            show.extra = file;
        } else if (root.contains("extraReference") && !root["extraReference"].is_null()) {
            std::string name;
            if (!String(root["extraReference"], "extraReference", name)) return false;
            if (name.empty() || name.size() > 255 || name.find('\0') != std::string::npos)
                return Fail("extraReference", "expected a name of 1 to 255 bytes");
            show.extra = NameSpec(name);
        }
        if (show.Size() > kShowMaxBytes) return Fail("pictures", "too many pictures for one show");
        return Trailer(root, show.trailer);
    }
};

}  // namespace

std::string Timecode(long frame, int32_t frameRate) {
    const int32_t saved = gFrameRate;
    gFrameRate = frameRate;
    char text[32] = {};
    FrameToString(text, frame, false);
    gFrameRate = saved;
    return text;
}

std::string ColourText(int32_t colour) {
    // Colours are held as 0x00BBGGRR.
    char text[16];
    std::snprintf(text, sizeof text, "#%02x%02x%02x", colour & 0xFF, (colour >> 8) & 0xFF, (colour >> 16) & 0xFF);
    return text;
}

EaseInfo DecodeEase(float easeCode) {
    EaseInfo e;
    e.code = easeCode;
    if (!(easeCode > 0.0f)) return e;
    e.isDefault = false;
    const long code = easeCode < 2147483520.0f ? static_cast<long>(easeCode) : 0;
    e.type = static_cast<int>(std::fmax(std::fmin((easeCode - 900.0f) / 1000.0f, 1e9f), -1e9f));
    e.straight = (code & 1) != 0;
    e.amount = static_cast<double>(code % 1000) / 100.0;
    return e;
}

float EncodeEase(int type, double amount, bool straight) {
    long n = std::lround(amount * 100.0);
    n = std::clamp(n, 0L, 899L);
    if (((n & 1) != 0) != straight) n += straight ? 1 : -1;
    return static_cast<float>(1000 * (type + 1) + n);
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

int EaseTypeFromName(const std::string& name) {
    static const struct {
        const char* name;
        int type;
    } names[] = {{"slow-in & slow-out", 0}, {"both", 0}, {"in-out", 0}, {"slow-in", 1}, {"in", 1},
                 {"slow-out", 2},           {"out", 2},  {"no slows", 3}, {"none", 3},  {"linear", 3}};
    for (const auto& n : names)
        if (name == n.name) return n.type;
    return -1;
}

std::string ShowToJson(const ShowDescription& show, const ShowJsonContext& context) {
    Json root;
    root["infoVersion"] = kShowJsonVersion;
    root["file"] = context.file;
    root["bytes"] = show.Size();
    root["byteOrder"] = show.bigEndian ? "big-endian" : "little-endian";
    root["serial"] = show.serial;
    root["versionStamp"] = FloatJson(show.VersionStamp());
    root["frameRate"] = FloatJson(static_cast<float>(context.frameRate / 100.0));
    const long length = show.SavedLength();
    if (length > 0)
        root["length"] = Json{{"frames", length}, {"timecode", Timecode(length, context.frameRate)}};
    else
        root["length"] = nullptr;

    root["pictures"] = Json::array();
    for (size_t p = 0; p < show.pictures.size(); p++) {
        const ShowRecord& record = show.pictures[p];
        Json picture;
        picture["index"] = p;
        PutReference(picture, record.file);
        const PictureLocation where = p < context.pictures.size() ? context.pictures[p] : PictureLocation{};
        picture["path"] = where.path;
        picture["found"] = where.found;
        picture["keys"] = Json::array();
        const long start = PictureStart(show, p);
        for (size_t k = 0; k < record.keys.size(); k++) {
            const KeyStruct& key = record.keys[k];
            const long frame = start + key.time;
            Json j;
            j["index"] = k;
            j["frame"] = frame;
            j["time"] = key.time;
            j["timecode"] = Timecode(frame, context.frameRate);
            j["x"] = FloatJson(key.horizontalPos);
            j["y"] = FloatJson(key.verticalPos);
            j["width"] = FloatJson(key.width);
            j["rotation"] = Json{{"tilt", FloatJson(key.rotation1)},
                                 {"turn", FloatJson(key.rotation2)},
                                 {"roll", FloatJson(key.rotation3)}};
            j["ease"] = EaseJson(key.easeCode);
            // The words the camera does not use, when they hold anything; key
            // 0's stamp is the show's "versionStamp".
            const struct {
                const char* name;
                float value;
                bool shown;
            } words[] = {{"formatVersion", key.formatVersion, !(p == 0 && k == 0)},
                         {"verticalSize", key.verticalSize, true},
                         {"picStart", key.picStart, true},
                         {"reservedB", key.reservedB, true},
                         {"showLengthCopy", key.showLengthCopy, true}};
            for (const auto& w : words)
                if (w.shown && FloatBits(w.value) != 0) j[w.name] = FloatJson(w.value);
            if (key.undoPicture) j["undoPicture"] = key.undoPicture;
            if (key.undoAction) j["undoAction"] = key.undoAction;
            picture["keys"].push_back(std::move(j));
        }
        root["pictures"].push_back(std::move(picture));
    }

    if (show.extra) {
        root["extraReference"] = context.extraPath;
        Json extra;
        PutReference(extra, *show.extra);
        root["extra"] = std::move(extra);
    } else {
        root["extraReference"] = nullptr;
        root["extra"] = nullptr;
    }

    const ShowTrailerData& t = show.trailer;
    const float stamp = show.VersionStamp();
    if (stamp > kShowTrailerVersion) {
        Json trailer;
        if (t.matteColor & 0xFF000000)
            trailer["matteColor"] = t.matteColor;
        else
            trailer["matteColor"] = ColourText(t.matteColor);
        trailer["matteBorder"] = t.matteBorder;
        trailer["preBlur"] = t.preBlur;
        trailer["videoColors"] = t.videoColors;
        if (stamp > kShowContrastVersion)
            trailer["contrast"] = ContrastText(t.contrast);
        else
            trailer["contrast"] = nullptr;
        root["trailer"] = std::move(trailer);
    } else {
        root["trailer"] = nullptr;
    }
    root["trailerBytes"] = TrailerHex(t);
    return root.dump(2, ' ', false, Json::error_handler_t::replace) + "\n";
}

bool ShowFromJson(const std::string& text, ShowDescription& show, std::string& error) {
    Json root;
    try {
        root = Json::parse(text);
    } catch (const Json::exception& e) {
        // "[json.exception.parse_error.101] parse error at line 3, column 5: ...",
        // "[json.exception.out_of_range.406] number overflow parsing '1e999'"
        std::string what = e.what();
        const size_t at = what.find("] ");
        if (at != std::string::npos) what = what.substr(at + 2);
        error = "malformed JSON: " + what;
        return false;
    }
    Reader reader;
    if (reader.Show(root, show)) return true;
    error = reader.error;
    return false;
}

}  // namespace gs
