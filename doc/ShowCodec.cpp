// SPDX-License-Identifier: GPL-2.0-or-later
#include "doc/ShowCodec.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>

#include "platform/Endian.h"

namespace gs {

namespace {

constexpr uint16_t kShowMagicSwapped = 0x3412;
// The largest float below 2^31: frame numbers are 32-bit.
constexpr float kLargestFrame = 2147483520.0f;

long Frames(float value) {
    if (!(std::fabs(value) <= kLargestFrame)) return 0;
    return static_cast<long>(value);
}

// Writes fields in one byte order.
class BlockWriter {
public:
    BlockWriter(char* block, bool swap) : out(block), swapped(swap) {}

    template <typename T>
    void Put(long offset, T value) const {
        if (swapped) FlopEndian(&value, sizeof value);
        std::memcpy(out + offset, &value, sizeof value);
    }
    void Bytes(long offset, const void* from, long count) const { std::memcpy(out + offset, from, count); }
    void Key(long offset, const KeyStruct& key) const {
        for (int w = 0; w < 12; w++) Put<float>(offset + 4 * w, KeyWord(key, w));
        Put<int32_t>(offset + 48, key.time);
        Put<uint16_t>(offset + 52, key.undoPicture);
        Put<uint16_t>(offset + 54, key.undoAction);
    }

private:
    char* out;
    bool swapped;
};

}  // namespace

bool HostIsBigEndian() { return std::endian::native == std::endian::big; }

float DefaultEaseCode(int32_t easeType) {
    return 1000.0f * static_cast<float>((easeType & 15) + 1) + ((easeType & 16) ? 1.0f : 0.0f);
}

float ShowDescription::VersionStamp() const {
    if (pictures.empty() || pictures[0].keys.empty()) return 0.0f;
    return pictures[0].keys[0].formatVersion;
}

uint32_t ShowDescription::Size() const {
    size_t size = kShowHeaderBytes + kShowTrailerBytes;
    for (const ShowRecord& p : pictures) size += kShowRecordBytes + kShowKeyBytes * p.keys.size();
    if (extra) size += kShowRecordBytes;
    return static_cast<uint32_t>(size);
}

long ShowDescription::SavedLength() const {
    if (pictures.empty() || pictures[0].keys.empty()) return 0;
    const long length = Frames(pictures[0].keys[0].showLengthCopy);
    return length > 0 ? length : 0;
}

long ShowDescription::DefaultLength() const {
    const long saved = SavedLength();
    if (saved > 0) return saved;
    long last = 0;
    for (const ShowRecord& p : pictures)
        for (const KeyStruct& k : p.keys) last = std::max(last, static_cast<long>(k.time));
    // Key times count from the picture's start: the show runs on to the frame
    // of its last key.
    const long start = pictures.empty() || pictures[0].keys.empty() ? 0 : Frames(pictures[0].keys[0].picStart);
    return std::max(1L, start + last + 1);
}

bool ShowBlockReader::Open(const char* block, long available) {
    if (!block || (available >= 0 && available < kShowHeaderBytes)) return false;
    uint16_t magic;
    std::memcpy(&magic, block, 2);
    if (magic == kShowMagic)
        swapped = false;
    else if (magic == kShowMagicSwapped)
        swapped = true;
    else
        return false;
    data = block;
    size = kShowHeaderBytes;
    uint32_t value;
    std::memcpy(&value, block + 4, 4);
    if (swapped) FlopEndian(&value, 4);
    stated = value;
    if (stated < static_cast<uint32_t>(kShowHeaderBytes)) return false;
    if (available >= 0 && stated > static_cast<unsigned long>(available)) return false;
    size = static_cast<long>(stated);
    return true;
}

bool ShowBlockReader::BigEndian() const { return swapped != HostIsBigEndian(); }

uint16_t ShowBlockReader::U16(long offset) const {
    uint16_t value;
    std::memcpy(&value, data + offset, 2);
    if (swapped) FlopEndian(&value, 2);
    return value;
}

int32_t ShowBlockReader::I32(long offset) const {
    int32_t value;
    std::memcpy(&value, data + offset, 4);
    if (swapped) FlopEndian(&value, 4);
    return value;
}

FSpec ShowBlockReader::StoredFile(long offset) const {
    FSpec file;
    std::memcpy(&file, data + offset, sizeof file);
    return file;
}

KeyStruct ShowBlockReader::Key(long offset) const {
    KeyStruct key;
    std::memcpy(&key, data + offset, sizeof key);
    if (swapped) {
        for (int w = 0; w < 12; w++) FlopEndian(&KeyWord(key, w), 4);
        FlopEndian(&key.time, 4);
        FlopEndian(&key.undoPicture, 2);
        FlopEndian(&key.undoAction, 2);
    }
    return key;
}

ShowTrailerData ShowBlockReader::Trailer(long offset) const {
    ShowTrailerData t;
    t.matteColor = I32(offset);
    t.matteBorder = I32(offset + 4);
    t.preBlur = I32(offset + 8);
    t.videoColors = static_cast<int16_t>(U16(offset + 12));
    // Two characters: the same bytes whichever order the numbers are in.
    std::memcpy(t.contrast, data + offset + 14, 2);
    if (Has(offset, kShowTrailerBytes)) {
        std::array<uint8_t, 4> rest;
        std::memcpy(rest.data(), data + offset + 16, 4);
        t.unused = rest;
    }
    return t;
}

bool DecodeShow(const char* block, long available, const std::string& origin,
                ShowDescription& show, std::string& error) {
    show = ShowDescription{};
    const std::string notShow = origin + " is not a Glimmerstroll show (.gsx)";
    ShowBlockReader in;
    // Open refuses a stated size beyond the bytes given: look at the header
    // first to tell a truncated show from something else.
    if (!block || available < kShowHeaderBytes || !in.Open(block, -1)) {
        error = notShow;
        return false;
    }
    const uint32_t size = in.StatedSize();
    if (size < static_cast<uint32_t>(kShowHeaderBytes + kShowTrailerBytes) || size > kShowMaxBytes) {
        error = notShow + " (its size field reads " + std::to_string(size) + ")";
        return false;
    }
    if (size > static_cast<unsigned long>(available)) {
        error = origin + " is truncated: the show has " + std::to_string(size) + " bytes, the file " +
                std::to_string(available);
        return false;
    }
    in.Open(block, available);
    show.bigEndian = in.BigEndian();
    show.serial = in.Serial();

    // Records up to the trailer: pictures, then at most one extra reference
    // (a record with no keys), which is always the last.
    const long end = static_cast<long>(size) - kShowTrailerBytes;
    long at = kShowHeaderBytes;
    while (at + kShowRecordBytes <= end) {
        const int32_t count = in.I32(at + kShowSpecBytes);
        if (count < 0 || count > kShowRecordKeys) {
            error = origin + " is damaged: a picture record holds " + std::to_string(count) + " keys";
            return false;
        }
        const long next = at + kShowRecordBytes + kShowKeyBytes * count;
        if (next > end) {
            error = origin + " is damaged: its keys run into the trailer";
            return false;
        }
        if (show.extra) {
            error = origin + (count == 0 ? " is damaged: it holds two extra references"
                                         : " is damaged: a picture record follows the extra reference");
            return false;
        }
        if (count == 0) {
            show.extra = in.StoredFile(at);
        } else {
            ShowRecord record;
            record.file = in.StoredFile(at);
            for (int k = 0; k < count; k++) record.keys.push_back(in.Key(at + kShowRecordBytes + kShowKeyBytes * k));
            show.pictures.push_back(std::move(record));
        }
        at = next;
    }
    if (at != end) {
        error = origin + " is damaged: " + std::to_string(end - at) + " stray bytes before the trailer";
        return false;
    }
    show.trailer = in.Trailer(end);
    return true;
}

void EncodeShow(const ShowDescription& show, bool bigEndian, char* out) {
    const BlockWriter w(out, bigEndian != HostIsBigEndian());
    const long size = static_cast<long>(show.Size());
    long at = kShowHeaderBytes;
    for (const ShowRecord& p : show.pictures) {
        w.Bytes(at, &p.file, kShowSpecBytes);
        w.Put<int32_t>(at + kShowSpecBytes, static_cast<int32_t>(p.keys.size()));
        at += kShowRecordBytes;
        for (const KeyStruct& key : p.keys) {
            w.Key(at, key);
            at += kShowKeyBytes;
        }
    }
    if (show.extra) {
        w.Bytes(at, &*show.extra, kShowSpecBytes);
        w.Put<int32_t>(at + kShowSpecBytes, 0);
    }
    const long trailer = size - kShowTrailerBytes;
    const ShowTrailerData& t = show.trailer;
    w.Put<int32_t>(trailer, t.matteColor);
    w.Put<int32_t>(trailer + 4, t.matteBorder);
    w.Put<int32_t>(trailer + 8, t.preBlur);
    w.Put<int16_t>(trailer + 12, t.videoColors);
    w.Bytes(trailer + 14, t.contrast, 2);
    if (t.unused) w.Bytes(trailer + 16, t.unused->data(), 4);

    w.Put<uint16_t>(0, kShowMagic);
    w.Put<uint16_t>(2, show.serial);
    w.Put<uint32_t>(4, static_cast<uint32_t>(size));
}

std::vector<char> EncodeShow(const ShowDescription& show, bool bigEndian) {
    std::vector<char> block(show.Size(), 0);
    EncodeShow(show, bigEndian, block.data());
    return block;
}

}  // namespace gs
