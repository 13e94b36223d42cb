// SPDX-License-Identifier: GPL-2.0-or-later
// The document's side of the show block (SaveShow, LoadShow): the block's
// layout and byte orders are doc/ShowCodec's; this file decides what of the
// document goes out and what a block changes in it. Only the first record is
// read into the document; later picture records are skipped.
#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "doc/CDoc.h"
#include "doc/EditorLink.h"
#include "doc/ShowCodec.h"
#include "motion/Timecode.h"
#include "platform/Settings.h"

namespace {

using gs::kShowFirstKeys;
using gs::kShowHeaderBytes;
using gs::kShowKeyBytes;
using gs::kShowRecordBytes;
using gs::kShowSpecBytes;
using gs::kShowTrailerBytes;

// The largest float below 2^31: frame numbers are 32-bit.
constexpr float kLargestFrame = 2147483520.0f;

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

    long size = kShowHeaderBytes + kShowTrailerBytes;
    for (int p = 0; p < pictures; p++)
        size += kShowRecordBytes + kShowKeyBytes * std::clamp(keyCount[p], 0, kAddKeyLimit);
    const bool extra = extraFile.name[0] != 0;
    if (extra) size += kShowRecordBytes;

    keys[0][0].formatVersion = gs::kShowFormatVersion;
    if (!block) return size;
    if (capacity >= 0 && size > capacity) return 0;

    gs::ShowDescription show;
    show.bigEndian = gs::HostIsBigEndian();
    const float defaultCode = gs::DefaultEaseCode(easeType);
    for (int p = 0; p < pictures; p++) {
        const int32_t count = std::clamp(keyCount[p], 0, kAddKeyLimit);
        gs::ShowRecord record;
        record.file = pictureFile[p];
        keys[p][0].showLengthCopy = tessmarine ? aspect : static_cast<float>(showLength);
        for (int k = 0; k < count; k++) {
            KeyStruct key = keys[p][k];
            if (key.easeCode < 1.0f) key.easeCode = defaultCode;
            record.keys.push_back(key);
        }
        show.pictures.push_back(std::move(record));
    }
    if (extra) show.extra = extraFile;
    // The trailer's last four bytes are left as the buffer held them.
    show.trailer.matteColor = matteColor;
    show.trailer.matteBorder = matteBorder;
    show.trailer.preBlur = preBlur;
    show.trailer.videoColors = static_cast<int16_t>(videoColors);
    std::memcpy(show.trailer.contrast, contrastCode, 2);

    std::srand(static_cast<unsigned>(MilliTime() % 65535));
    show.serial = static_cast<uint16_t>(std::rand());
    gs::EncodeShow(show, show.bigEndian, block);

    showSerial = show.serial;
    modified = 0;
    return size;
}

int CDoc::LoadShow(FSpec* file, char* block, bool refresh, long available) {
    (void)file;  // the block is already in memory
    // Everything is read within the stated size; a block that states more
    // bytes than were given, or less than its header, is damaged.
    gs::ShowBlockReader in;
    if (!in.Open(block, available)) return 0;
    const long total = static_cast<long>(in.StatedSize());
    const uint16_t serial = in.Serial();

    // First pass: take the block apart without touching the document, so that
    // a damaged block leaves it as it was.
    const bool record = total > kShowHeaderBytes + kShowSpecBytes;  // room for a picture record
    FSpec fileSpec;
    int32_t count = 0;
    KeyStruct incoming[kAddKeyLimit];
    long trailerAt = kShowHeaderBytes;
    float version = keys[0][0].formatVersion;
    if (record) {
        if (!in.Has(kShowHeaderBytes, kShowRecordBytes)) return 0;
        fileSpec = in.StoredFile(kShowHeaderBytes);
        count = in.I32(kShowHeaderBytes + kShowSpecBytes);
        if (count < 0 || count > kAddKeyLimit) return 0;
        if (count > 0) {
            if (!in.Has(kShowFirstKeys, kShowKeyBytes * count)) return 0;
            for (int k = 0; k < count; k++) incoming[k] = in.Key(kShowFirstKeys + kShowKeyBytes * k);
            // The picture's start is a frame number; a start that is no number
            // of frames at all marks a damaged block.
            if (!(std::fabs(incoming[0].picStart) <= kLargestFrame)) return 0;
            version = incoming[0].formatVersion;
            trailerAt = total - kShowTrailerBytes;
        } else {
            trailerAt = kShowFirstKeys;
        }
    }
    const bool readTrailer = version > gs::kShowTrailerVersion;
    const bool readContrast = version > gs::kShowContrastVersion;
    if (readTrailer && !in.Has(trailerAt, 16)) return 0;

    // Second pass: the block is sound; fill the document.
    matteBorder = 0;
    preBlur = 0;
    contrastCode[0] = '2';
    contrastCode[1] = '2';

    if (record && count > 0) {
        pictureFile[0] = fileSpec;
        const float defaultCode = gs::DefaultEaseCode(easeType);
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
        const gs::ShowTrailerData trailer = in.Trailer(trailerAt);
        matteColor = trailer.matteColor;
        matteBorder = std::clamp(trailer.matteBorder, -1, 100);
        preBlur = trailer.preBlur;
        if (readContrast) std::memcpy(contrastCode, trailer.contrast, 2);
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
