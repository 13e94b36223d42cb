// SPDX-License-Identifier: GPL-2.0-or-later
#include "app/Demo.h"
#include "app/FrameSink.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>
#include <vector>

#include "doc/CDoc.h"
#include "image/CDIB.h"
#include "motion/Interp.h"
#include "platform/Files.h"

namespace gs {

namespace {

struct Colour {
    float r, g, b;
};

Colour Mix(Colour a, Colour b, float t) {
    t = std::clamp(t, 0.0f, 1.0f);
    return {a.r + (b.r - a.r) * t, a.g + (b.g - a.g) * t, a.b + (b.b - a.b) * t};
}

Colour Scale(Colour c, float k) { return {c.r * k, c.g * k, c.b * k}; }
Colour Add(Colour a, Colour b) { return {a.r + b.r, a.g + b.g, a.b + b.b}; }

// A repeatable pseudo-random value in 0..1 for a grid cell.
float Hash(int x, int y) {
    uint32_t h = static_cast<uint32_t>(x) * 374761393u + static_cast<uint32_t>(y) * 668265263u;
    h = (h ^ (h >> 13)) * 1274126177u;
    return static_cast<float>((h ^ (h >> 16)) & 0xFFFFFF) / 16777216.0f;
}

constexpr float kHorizon = 760.0f;
constexpr float kSunX = 1150.0f;
constexpr float kSunY = 610.0f;
constexpr float kSunRadius = 70.0f;

float FarRidge(float x) {
    return 640.0f + 40.0f * std::sin(x / 130.0f) + 25.0f * std::sin(x / 53.0f + 1.0f) + 12.0f * std::sin(x / 21.0f);
}

float NearRidge(float x) {
    return 705.0f + 50.0f * std::sin(x / 210.0f + 2.0f) + 20.0f * std::sin(x / 77.0f) +
           8.0f * std::sin(x / 17.0f + 0.5f);
}

// The land and sky above the horizon.
Colour Sky(float x, float y) {
    const Colour top{12, 20, 62};
    const Colour middle{84, 62, 138};
    const Colour low{252, 150, 78};
    const float t = y / kHorizon;
    Colour c = t < 0.55f ? Mix(top, middle, t / 0.55f) : Mix(middle, low, (t - 0.55f) / 0.45f);

    // Stars fade out where the sky brightens.
    const int cell = 14;
    const int cx = static_cast<int>(x) / cell;
    const int cy = static_cast<int>(y) / cell;
    const float chance = Hash(cx, cy);
    if (chance > 0.82f && y < 480.0f) {
        const float sx = (static_cast<float>(cx) + Hash(cx + 7, cy)) * cell;
        const float sy = (static_cast<float>(cy) + Hash(cx, cy + 7)) * cell;
        const float d = std::hypot(x - sx, y - sy);
        const float size = 0.6f + 1.4f * Hash(cx + 3, cy + 5);
        const float glow = std::max(0.0f, 1.0f - d / size) * (1.0f - y / 480.0f);
        c = Mix(c, Colour{255, 250, 235}, glow);
    }

    // The sun and its glow.
    const float d = std::hypot(x - kSunX, y - kSunY);
    c = Add(c, Scale(Colour{255, 150, 70}, 0.55f * std::exp(-d / 140.0f)));
    if (d < kSunRadius) {
        // Faint bands across the disc, so that a close camera sees detail.
        const float band = 0.93f + 0.07f * std::sin(y / 3.0f);
        c = Mix(c, Scale(Colour{255, 232, 172}, band), std::min(1.0f, (kSunRadius - d) / 1.5f));
    }

    // Two ranges of hills, the far one hazy.
    if (y > FarRidge(x)) {
        // Lighter towards the ridge, as if in haze.
        const float haze = 0.35f * (1.0f - std::min(1.0f, (y - FarRidge(x)) / 120.0f));
        c = Mix(Colour{98, 70, 120}, Colour{168, 104, 124}, haze);
    }
    if (y > NearRidge(x)) {
        const float shade = 0.8f + 0.2f * std::sin(x / 9.0f + y / 13.0f);
        c = Scale(Colour{38, 30, 62}, shade);
    }
    return c;
}

Colour Scene(float x, float y) {
    if (y < kHorizon) return Sky(x, y);
    // The lake mirrors the sky with ripples and darkens away from the shore.
    const float depth = y - kHorizon;
    const float ripple = 5.0f * std::sin(y / 4.0f + std::sin(x / 40.0f)) * (0.3f + depth / 440.0f);
    Colour c = Sky(x + ripple, kHorizon - depth * 0.92f - 1.0f);
    c = Scale(Mix(c, Colour{20, 40, 70}, 0.25f + depth / 900.0f), 0.78f);
    // The sun's glitter path.
    const float path = std::exp(-std::fabs(x - kSunX) / (25.0f + depth * 0.35f));
    const float sparkle = std::max(0.0f, std::sin(x / 3.0f + y * 1.7f) * std::sin(y / 2.0f));
    return Add(c, Scale(Colour{255, 200, 120}, 0.6f * path * sparkle));
}

uint8_t Byte(float v) { return static_cast<uint8_t>(std::clamp(std::lround(v), 0L, 255L)); }


}  // namespace

bool DrawDemoPicture(CDIB& picture) {
    const int w = kDemoPictureWidth;
    const int h = kDemoPictureHeight;
    if (!picture.Create(w, h, 24)) return false;
    for (int y = 0; y < h; y++) {
        // Storage rows run bottom-up.
        uint8_t* row = picture.GetBitsAdd(h - 1 - y);
        for (int x = 0; x < w; x++) {
            // Four samples a pixel smooth the edges of the sun and the hills.
            Colour sum{0, 0, 0};
            for (int s = 0; s < 4; s++)
                sum = Add(sum, Scene(static_cast<float>(x) + 0.25f + 0.5f * static_cast<float>(s & 1),
                                     static_cast<float>(y) + 0.25f + 0.5f * static_cast<float>(s >> 1)));
            row[3 * x] = Byte(sum.b / 4.0f);
            row[3 * x + 1] = Byte(sum.g / 4.0f);
            row[3 * x + 2] = Byte(sum.r / 4.0f);
        }
    }
    return true;
}

long DemoLength(int32_t frameRate) { return 7 * ((frameRate + 50) / 100); }

void BuildDemoShow(CDoc& doc, const std::string& picturePath, int32_t frameRate) {
    doc.ClearShow();
    MakePathSpec(doc.pictureFile[0], picturePath.c_str());
    doc.pictureCount = 1;

    const float second = static_cast<float>((frameRate + 50) / 100);
    struct Move {
        float seconds, x, y, width, roll, ease;
    };
    // Ease codes: 0 follows the show's default (slow-in & slow-out);
    // 1000 x (type + 1) + amount otherwise, the amount in hundredths.
    const Move moves[] = {
        {0.0f, 800.0f, 600.0f, 1600.0f, 0.0f, 0.0f},      // the whole picture
        {2.0f, 1150.0f, 600.0f, 520.0f, 0.0f, 2050.0f},   // zoom onto the sun; slow-in, half at speed
        {4.0f, 560.0f, 690.0f, 760.0f, -10.0f, 0.0f},     // pan across the hills with a roll
        {6.4f, 800.0f, 600.0f, 1560.0f, 0.0f, 0.0f},      // back out
    };
    const int count = static_cast<int>(sizeof moves / sizeof moves[0]);
    for (int i = 0; i < count; i++) {
        KeyStruct key;
        KeyIdentity(key);
        key.horizontalPos = moves[i].x;
        key.verticalPos = moves[i].y;
        key.width = moves[i].width;
        key.rotation3 = moves[i].roll;
        key.easeCode = moves[i].ease;
        key.time = static_cast<int32_t>(std::lround(moves[i].seconds * second));
        doc.keys[0][i] = key;
    }
    doc.keyCount[0] = count;
    doc.showLength = static_cast<int32_t>(DemoLength(frameRate));
    doc.keys[0][0].showLengthCopy = static_cast<float>(doc.showLength);
    doc.modified = 1;
}

namespace {

bool WriteThroughTemporary(const std::string& path, std::string& error,
                           bool (*write)(int fd, void* context), void* context) {
    std::vector<char> name(path.size() + 32);
    const int fd = CreateTempBeside(path.c_str(), name.data(), name.size());
    if (fd < 0) {
        error = "cannot write " + path + ": " + std::strerror(errno);
        return false;
    }
    const std::string part = name.data();
    const bool ok = write(fd, context) && fsync(fd) == 0;
    const int savedErrno = errno;
    ::close(fd);
    if (!ok || std::rename(part.c_str(), path.c_str()) != 0) {
        error = "cannot write " + path + ": " + std::strerror(ok ? errno : savedErrno);
        ::unlink(part.c_str());
        return false;
    }
    return true;
}

}  // namespace

bool WriteShowFile(CDoc& doc, const std::string& path, std::string& error) {
    const long size = doc.SaveShow(nullptr, nullptr);
    if (size <= 0) {
        error = "the document could not save the show";
        return false;
    }
    std::vector<char> block(static_cast<size_t>(size));
    if (doc.SaveShow(nullptr, block.data(), size) != size) {
        error = "the document could not save the show";
        return false;
    }
    return WriteThroughTemporary(
        path, error,
        [](int fd, void* context) {
            auto* bytes = static_cast<std::vector<char>*>(context);
            return WriteAll(fd, bytes->data(), bytes->size());
        },
        &block);
}

bool WriteTarga(CDIB& picture, const std::string& path, std::string& error) {
    return WriteThroughTemporary(
        path, error,
        [](int fd, void* context) {
            // Through the program's own Targa writer; CPFile takes a duplicate
            // descriptor because it closes what it holds.
            const int own = dup(fd);
            if (own < 0) return false;
            CPFile file;
            file.SetFileNum(own);
            const bool ok = static_cast<CDIB*>(context)->Save(&file, 1) != 0;
            file.Close();
            return ok;
        },
        &picture);
}

}  // namespace gs
