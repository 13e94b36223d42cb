// SPDX-License-Identifier: GPL-2.0-or-later
// A show file (.gsx) as it lies on disk: its bytes, checked and taken apart by
// the show codec (doc/ShowCodec), with where its picture references point.
// The document reads the same bytes with CDoc::LoadShow; this view only looks,
// so that `info` can report a show without loading its pictures and `render`
// can refuse a file that is no show before the document sees it.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "doc/ShowCodec.h"
#include "doc/ShowJson.h"
#include "motion/Types.h"

namespace gs {

struct ShowPicture {
    std::string reference;  // the name stored in the reference
    std::string path;       // where the document will look for it
    bool found = false;     // a readable file is there
    std::vector<KeyStruct> keys;  // in host byte order
};

struct ShowTrailer {
    int32_t matteColor = 0;
    int32_t matteBorder = 0;
    int32_t preBlur = 0;
    int32_t videoColors = 0;
    char contrast[3] = {'2', '2', 0};
    bool read = false;          // false: the version stamp says there is none
    bool contrastRead = false;  // the contrast code is read from stamp 105 on
};

struct ShowBlock {
    std::vector<char> bytes;  // the block as stored (native to its writer)
    bool bigEndian = false;   // the writer's byte order
    uint16_t serial = 0;
    uint32_t size = 0;        // the header's total size
    float versionStamp = 0.0f;
    std::vector<ShowPicture> pictures;
    bool hasExtra = false;
    std::string extraReference;
    ShowTrailer trailer;
    ShowDescription description;  // the block as plain data

    // Key 0's copy of the show length in frames, or 0 when the show has none.
    long SavedLength() const;
    // The frames a render covers by default: the saved length, or, when the
    // show has none, the picture's start plus the last key's time plus one.
    long DefaultLength() const;
};

// Reads and checks `path`. False with a one-line reason ("is not a
// Glimmerstroll show", "is truncated", ...) in `error`.
bool ReadShowFile(const std::string& path, ShowBlock& show, std::string& error);

// Checks and decodes a block already in memory; `origin` names it in messages.
bool ParseShowBlock(std::vector<char> bytes, const std::string& origin, ShowBlock& show,
                    std::string& error);

// Where the document looks for a stored picture reference of 262 bytes.
std::string ReferencePath(const char* spec262);

// Where a stored reference points and whether a readable file is there: the
// one place `info`, `export` and `render` ask.
PictureLocation LocateShowPicture(const FSpec& file, const std::string& showPath);

}  // namespace gs
