// SPDX-License-Identifier: GPL-2.0-or-later
// Test pictures written by ImageMagick, Pillow and ffmpeg (make_pictures.py),
// each with the pixels its tool decodes from it, and helpers to load them and
// compare.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "image/CDIB.h"
#include "tests/common/TestKit.h"
#include "platform/Files.h"
#include "platform/Platform.h"

// A folder under /tmp, removed with everything in it.
using TestFolder = ScratchFolder;

// Runs the generator once per process into its own folder; empty on failure.
inline const TestFolder& GeneratedPictures() {
    static TestFolder folder("gs_testpictures");
    static bool made = [] {
        const std::string cmd = std::string("/usr/bin/python3 ") + GS_SOURCE_DIR +
                                "/tests/imagefiles/make_pictures.py " + folder.path;
        return std::system(cmd.c_str()) == 0;
    }();
    if (!made) {
        static TestFolder none("gs_nopictures");
        return none;
    }
    return folder;
}

inline std::string PicturePath(const std::string& name) { return GeneratedPictures() / name; }

inline FSpec SpecFor(const std::string& path) {
    FSpec fileSpec;
    MakePathSpec(fileSpec, path.c_str());
    return fileSpec;
}

inline std::vector<uint8_t> ReadBytes(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::vector<uint8_t>(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

inline void WriteBytes(const std::string& path, const std::vector<uint8_t>& bytes) {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
}

// Loads a file through the format recognition; returns the reader's code.
inline int LoadCode(const std::string& path, CDIB& dib) {
    FSpec fileSpec = SpecFor(path);
    CPFile file;
    if (!file.Open(&fileSpec, kFileRead)) return -1;
    return dib.Load(&file);
}

// Pixel (x, y), y from the top, as red, green, blue, alpha (alpha 255 when the
// buffer has none); 8-bit buffers through their palette.
struct Rgba {
    int r, g, b, a;
};
inline Rgba PixelAt(CDIB& dib, long x, long y) {
    const uint8_t* row = dib.GetBitsAdd(static_cast<int>(dib.GetHgt() - 1 - y));
    switch (dib.GetBitCount()) {
    case 8: {
        const uint8_t* e = dib.GetPalette() + 4 * row[x];
        return {e[2], e[1], e[0], 255};
    }
    case 32:
        return {row[4 * x + 2], row[4 * x + 1], row[4 * x], row[4 * x + 3]};
    default:
        return {row[3 * x + 2], row[3 * x + 1], row[3 * x], 255};
    }
}

// Largest difference between the buffer and a top-down reference of `channels`
// (3 or 4) bytes a pixel; 1000 when the reference is too short.
inline int MaxDifference(CDIB& dib, const std::vector<uint8_t>& ref, int channels) {
    const long w = dib.GetWid(), h = dib.GetHgt();
    if (static_cast<long>(ref.size()) < w * h * channels) return 1000;
    int worst = 0;
    for (long y = 0; y < h; ++y)
        for (long x = 0; x < w; ++x) {
            const Rgba p = PixelAt(dib, x, y);
            const uint8_t* q = &ref[static_cast<size_t>((y * w + x) * channels)];
            const int got[4] = {p.r, p.g, p.b, p.a};
            for (int c = 0; c < channels; ++c) worst = std::max(worst, std::abs(got[c] - q[c]));
        }
    return worst;
}

// Records the messages that would be shown.
struct MessageRecorder : PlatformBackend {
    std::vector<std::string> messages;
    PlatformBackend* previous;
    MessageRecorder() { previous = SetPlatformBackend(this); }
    ~MessageRecorder() override { SetPlatformBackend(previous); }
    void ShowError(const char* text) override { messages.emplace_back(text); }
};
