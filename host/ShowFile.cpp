// The show's byte form: one self-contained block, used for show files and for
// the effect's 4096-byte sequence handle.
//
//   header   0  magic 0x1234 (read as 0x3412 in the other byte order)
//            2  show identifier, 16 bits
//            4  total size of the block, unsigned 32 bits
//   pictures 8  per picture: FSpec (262 bytes, never swapped), key count (32 bits),
//               then the keys as 56-byte KeyStruct records
//   extra       the optional extra file reference: FSpec and a key count of 0
//   trailer     20 bytes at total - 20: matte colour, matte border, pre-blur
//               (32 bits each), video colours flag (16 bits), contrast code
//               (two bytes, handled as one 16-bit field), 4 unused bytes
//
// Blocks are written in this machine's byte order; the reader recognises the
// other order by the magic and swaps every multi-byte number. The version stamp
// lives in key 0 of the first picture (formatVersion): above 90 the trailer is
// read, above 105 its contrast code too.
#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "doc/CDoc.h"
#include "doc/EditorLink.h"
#include "motion/Timecode.h"
#include "platform/Endian.h"
#include "platform/Settings.h"

namespace {

constexpr uint16_t kShowMagic = 0x1234;
constexpr uint16_t kShowMagicSwapped = 0x3412;
constexpr long kHeaderSize = 8;
constexpr long kSpecSize = static_cast<long>(sizeof(FSpec));        // 262
constexpr long kRecordHead = kSpecSize + 4;                          // 266
constexpr long kKeySize = static_cast<long>(sizeof(KeyStruct));      // 56
constexpr long kTrailerSize = 20;
constexpr long kEmptyShowSize = kHeaderSize + kTrailerSize;          // 28
constexpr long kFirstKeys = kHeaderSize + kRecordHead;               // 274
constexpr float kFormatVersion = 110.0f;
constexpr float kTrailerVersion = 90.0f;
constexpr float kContrastVersion = 105.0f;
// The largest float below 2^31: frame numbers are 32-bit.
constexpr float kLargestFrame = 2147483520.0f;

// The explicit code of the show's default ease: 1000 x (type + 1), plus 1
// for a straight path.
float DefaultEaseCode(int32_t easeType) {
    return 1000.0f * static_cast<float>((easeType & 15) + 1) + ((easeType & 16) ? 1.0f : 0.0f);
}

long MilliTime() {
    using namespace std::chrono;
    return static_cast<long>(
        duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count());
}

// Truncates toward zero; values that are no frame count at all (not a number,
// beyond 32 bits) come out as 0.
long FloatToFrames(float value) {
    if (!(std::fabs(value) <= kLargestFrame)) return 0;
    return static_cast<long>(value);
}

template <typename T>
void Put(char* at, T value) {
    std::memcpy(at, &value, sizeof value);
}

// Reads fields of a block of either byte order, never past `limit` bytes.
class BlockReader {
public:
    BlockReader(const char* block, long limit, bool swapped)
        : data(block), size(limit), swap(swapped) {}

    bool Has(long offset, long count) const {
        return offset >= 0 && count >= 0 && offset <= size && count <= size - offset;
    }
    uint32_t U32(long offset) const { return Get<uint32_t>(offset); }
    int32_t I32(long offset) const { return Get<int32_t>(offset); }
    uint16_t U16(long offset) const { return Get<uint16_t>(offset); }
    void Bytes(long offset, void* out, long count) const { std::memcpy(out, data + offset, count); }

    // One key record, every multi-byte field turned around when swapped.
    KeyStruct Key(long offset) const {
        KeyStruct key;
        std::memcpy(&key, data + offset, sizeof key);
        if (swap) {
            for (int w = 0; w < 12; w++) FlopEndian(&KeyWord(key, w), 4);
            FlopEndian(&key.time, 4);
            FlopEndian(&key.undoPicture, 2);
            FlopEndian(&key.undoAction, 2);
        }
        return key;
    }

private:
    template <typename T>
    T Get(long offset) const {
        T value;
        std::memcpy(&value, data + offset, sizeof value);
        if (swap) FlopEndian(&value, sizeof value);
        return value;
    }

    const char* data;
    long size;
    bool swap;
};

}  // namespace

long CDoc::SaveShow(FSpec* file, char* block, long capacity) {
    (void)file;  // writing the file is the caller's
    const int pictures = std::clamp(pictureCount, 0, static_cast<int32_t>(kPictureSlots));

    // A picture never goes out with a single key: the second one is a copy of
    // the first, one second later. This happens even when only sizing.
    for (int p = 0; p < pictures; p++) {
        if (keyCount[p] != 1) continue;
        keys[p][1] = keys[p][0];
        keys[p][1].time = (gFrameRate + 50) / 100;
        keyCount[p] = 2;
    }

    long size = kEmptyShowSize;
    for (int p = 0; p < pictures; p++)
        size += kRecordHead + kKeySize * std::clamp(keyCount[p], 0, kAddKeyLimit);
    const bool extra = extraFile.name[0] != 0;
    if (extra) size += kRecordHead;

    keys[0][0].formatVersion = kFormatVersion;
    if (!block) return size;
    if (capacity >= 0 && size > capacity) return 0;

    const float defaultCode = DefaultEaseCode(easeType);
    long at = kHeaderSize;
    for (int p = 0; p < pictures; p++) {
        const int32_t count = std::clamp(keyCount[p], 0, kAddKeyLimit);
        std::memcpy(block + at, &pictureFile[p], kSpecSize);
        Put<int32_t>(block + at + kSpecSize, count);
        at += kRecordHead;
        keys[p][0].showLengthCopy = tessmarine ? aspect : static_cast<float>(showLength);
        for (int k = 0; k < count; k++) {
            KeyStruct key = keys[p][k];
            if (key.easeCode < 1.0f) key.easeCode = defaultCode;
            std::memcpy(block + at, &key, kKeySize);
            at += kKeySize;
        }
    }
    if (extra) {
        std::memcpy(block + at, &extraFile, kSpecSize);
        Put<int32_t>(block + at + kSpecSize, 0);
        at += kRecordHead;
    }

    // The trailer's last four bytes are left as the buffer held them.
    char* trailer = block + size - kTrailerSize;
    Put<int32_t>(trailer, matteColor);
    Put<int32_t>(trailer + 4, matteBorder);
    Put<int32_t>(trailer + 8, preBlur);
    Put<int16_t>(trailer + 12, static_cast<int16_t>(videoColors));
    std::memcpy(trailer + 14, contrastCode, 2);

    std::srand(static_cast<unsigned>(MilliTime() % 65535));
    const uint16_t serial = static_cast<uint16_t>(std::rand());
    Put<uint16_t>(block, kShowMagic);
    Put<uint16_t>(block + 2, serial);
    Put<uint32_t>(block + 4, static_cast<uint32_t>(size));

    showSerial = serial;
    modified = 0;
    return size;
}

int CDoc::LoadShow(FSpec* file, char* block, bool refresh, long available) {
    (void)file;  // the block is already in memory
    if (!block) return 0;
    if (available >= 0 && available < kHeaderSize) return 0;

    uint16_t magic;
    std::memcpy(&magic, block, 2);
    bool swapped;
    if (magic == kShowMagic)
        swapped = false;
    else if (magic == kShowMagicSwapped)
        swapped = true;
    else
        return 0;

    // Everything is read within the stated size; a block that states more
    // bytes than were given, or less than its header, is damaged.
    const BlockReader head(block, kHeaderSize, swapped);
    const uint32_t statedSize = head.U32(4);
    if (statedSize < static_cast<uint32_t>(kHeaderSize)) return 0;
    if (available >= 0 && statedSize > static_cast<unsigned long>(available)) return 0;
    const long total = static_cast<long>(statedSize);
    const BlockReader in(block, total, swapped);
    const uint16_t serial = in.U16(2);

    // First pass: take the block apart without touching the document, so that
    // a damaged block leaves it as it was.
    const bool record = total > kHeaderSize + kSpecSize;  // room for a picture record
    FSpec fileSpec;
    int32_t count = 0;
    KeyStruct incoming[kAddKeyLimit];
    long trailerAt = kHeaderSize;
    float version = keys[0][0].formatVersion;
    if (record) {
        if (!in.Has(kHeaderSize, kRecordHead)) return 0;
        in.Bytes(kHeaderSize, &fileSpec, kSpecSize);
        count = in.I32(kHeaderSize + kSpecSize);
        if (count < 0 || count > kAddKeyLimit) return 0;
        if (count > 0) {
            if (!in.Has(kFirstKeys, kKeySize * count)) return 0;
            for (int k = 0; k < count; k++) incoming[k] = in.Key(kFirstKeys + kKeySize * k);
            // The picture's start is a frame number; a start that is no number
            // of frames at all marks a damaged block.
            if (!(std::fabs(incoming[0].picStart) <= kLargestFrame)) return 0;
            version = incoming[0].formatVersion;
            trailerAt = total - kTrailerSize;
        } else {
            trailerAt = kFirstKeys;
        }
    }
    const bool readTrailer = version > kTrailerVersion;
    const bool readContrast = version > kContrastVersion;
    if (readTrailer && !in.Has(trailerAt, 16)) return 0;

    // Second pass: the block is sound; fill the document.
    matteBorder = 0;
    preBlur = 0;
    contrastCode[0] = '2';
    contrastCode[1] = '2';

    if (record && count > 0) {
        pictureFile[0] = fileSpec;
        const float defaultCode = DefaultEaseCode(easeType);
        for (int k = 0; k < count; k++) {
            keys[0][k] = incoming[k];
            if (keys[0][k].easeCode == defaultCode) keys[0][k].easeCode = 0.0f;
        }
        keyCount[0] = count;
        // The sister product keeps the aspect ratio where the show length goes.
        const float ratio = keys[0][0].showLengthCopy;
        if (tessmarine && ratio > 0.0f && ratio < 10.0f) {
            aspect = ratio;
            SetIniItem("AspectMode", static_cast<long>(ratio * 10000.0f + 0.5f));
            GetEditorLink()->Refresh(gCurFrame);
        }
    } else if (record) {
        // A record without keys is the extra file reference.
        extraFile = fileSpec;
        std::memset(&pictureFile[0], 0, sizeof(FSpec));
    }

    if (readTrailer) {
        matteColor = in.I32(trailerAt);
        matteBorder = std::clamp(in.I32(trailerAt + 4), -1, 100);
        preBlur = in.I32(trailerAt + 8);
        if (readContrast) {
            in.Bytes(trailerAt + 14, contrastCode, 2);
            if (swapped) std::swap(contrastCode[0], contrastCode[1]);
        }
    }

    if (record && count > 0) LoadPicture(&pictureFile[0], 0, -1);

    showSerial = serial;
    undoCount = 0;
    redoCount = 0;
    undoHead = -1;
    modified = 0;

    if (refresh) GotoFrame(0, true);

    useRotation = HasRotationInShow(0);

    // Follow a change of the show's length: scale the key times to it.
    const long saved = FloatToFrames(keys[0][0].showLengthCopy);
    const long current = showLength;
    if (rescaleShow && saved != 0 && current != 0 && std::labs(current - saved) >= 2) {
        const float scale = static_cast<float>(current) / static_cast<float>(saved);
        const int n = std::clamp(keyCount[0], 0, kMaxKeys);
        for (int k = 1; k < n; k++)
            keys[0][k].time = static_cast<int32_t>(
                FloatToFrames(static_cast<float>(keys[0][k].time) * scale));
        keys[0][0].showLengthCopy = static_cast<float>(showLength);
    }

    ChopShow(showLength);
    return 1;
}
