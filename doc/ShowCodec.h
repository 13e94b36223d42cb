// SPDX-License-Identifier: GPL-2.0-or-later
// The show block, taken apart into a plain description of the show and put
// together again. Every reader and writer of show blocks goes through here: the
// document's LoadShow and SaveShow, the tool's `info`, `export` and `import`.
//
//   header   0  magic 0x1234 (read as 0x3412 in the other byte order)
//            2  show identifier, 16 bits
//            4  total size of the block, unsigned 32 bits
//   pictures 8  per picture: FSpec (262 bytes, never swapped), key count (32 bits),
//               then the keys as 56-byte KeyStruct records
//   extra       the optional extra file reference: FSpec and a key count of 0
//   trailer     20 bytes at total - 20: matte colour, matte border, pre-blur
//               (32 bits each), video colours flag (16 bits), contrast code
//               (two characters, the same bytes in either byte order), 4 unused
//
// The version stamp lives in key 0 of the first picture (formatVersion): above
// 90 the trailer holds values, above 105 its contrast code too.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "motion/Types.h"
#include "platform/Files.h"

namespace gs {

constexpr uint16_t kShowMagic = 0x1234;
constexpr long kShowHeaderBytes = 8;
constexpr long kShowSpecBytes = static_cast<long>(sizeof(FSpec));  // 262
constexpr long kShowRecordBytes = kShowSpecBytes + 4;              // reference and key count
constexpr long kShowKeyBytes = static_cast<long>(sizeof(KeyStruct));  // 56
constexpr long kShowTrailerBytes = 20;
constexpr long kShowFirstKeys = kShowHeaderBytes + kShowRecordBytes;  // 274
constexpr int kShowRecordKeys = 64;  // key slots of a picture: the most a record may hold
constexpr float kShowFormatVersion = 110.0f;
constexpr float kShowTrailerVersion = 90.0f;   // stamps above this have a trailer
constexpr float kShowContrastVersion = 105.0f; // ... and above this its contrast code
constexpr uint32_t kShowMaxBytes = 1u << 20;   // no show comes near this

// The trailer's fields as stored, whatever the version stamp says of them.
struct ShowTrailerData {
    int32_t matteColor = 0;   // 0x00BBGGRR
    int32_t matteBorder = 0;
    int32_t preBlur = 0;
    int16_t videoColors = 1;
    char contrast[2] = {'2', '2'};
    // The last four bytes; none: left as the buffer holds them.
    std::optional<std::array<uint8_t, 4>> unused;
};

struct ShowRecord {
    FSpec file{};
    std::vector<KeyStruct> keys;  // host byte order, as stored (ease codes explicit)
};

// A show block as plain data, in host byte order.
struct ShowDescription {
    bool bigEndian = false;  // the byte order of the block
    uint16_t serial = 0;
    std::vector<ShowRecord> pictures;
    std::optional<FSpec> extra;  // the extra file reference
    ShowTrailerData trailer;

    // Key 0's formatVersion of the first picture; 0 without pictures.
    float VersionStamp() const;
    // The block's size in bytes.
    uint32_t Size() const;
    // Key 0's copy of the show length in whole frames, 0 when there is none.
    long SavedLength() const;
    // The frames a render covers by default: the saved length, or up to the
    // last key when the show has none.
    long DefaultLength() const;
};

bool HostIsBigEndian();

// Fields of a block of either byte order, read one by one and never past the
// stated size or the bytes given.
class ShowBlockReader {
public:
    // False for a null block, fewer than 8 bytes, an unknown magic, or a stated
    // size below the header or beyond `available` (when that is 0 or more).
    bool Open(const char* block, long available);

    bool Swapped() const { return swapped; }
    bool BigEndian() const;
    uint16_t Serial() const { return U16(2); }
    uint32_t StatedSize() const { return stated; }

    bool Has(long offset, long count) const {
        return offset >= 0 && count >= 0 && offset <= size && count <= size - offset;
    }
    uint16_t U16(long offset) const;
    int32_t I32(long offset) const;
    FSpec StoredFile(long offset) const;        // a stored reference, as bytes
    KeyStruct Key(long offset) const;     // a key, turned to host order
    // The trailer at `offset`: all of its 20 bytes when `Has(offset, 20)`, else
    // the first 16 (the unused bytes then stay unknown).
    ShowTrailerData Trailer(long offset) const;

private:
    const char* data = nullptr;
    long size = 0;
    uint32_t stated = 0;
    bool swapped = false;
};

// Checks and takes apart a whole block: every record up to the trailer, in
// order, pictures first and at most one extra reference last. False with a
// one-line reason naming `origin` ("x.gsx is not a Glimmerstroll show (.gsx)",
// "... is truncated", "... is damaged: ...").
bool DecodeShow(const char* block, long available, const std::string& origin,
                ShowDescription& show, std::string& error);

// Writes `show` in the order `bigEndian` into `out`, which holds show.Size()
// bytes. The trailer's unused bytes are written only when the description has
// them.
void EncodeShow(const ShowDescription& show, bool bigEndian, char* out);
std::vector<char> EncodeShow(const ShowDescription& show, bool bigEndian);

// The explicit code of a default ease mode: 1000 x (type + 1), plus 1 for a
// straight path.
float DefaultEaseCode(int32_t easeType);

}  // namespace gs
