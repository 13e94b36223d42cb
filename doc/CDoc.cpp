// SPDX-License-Identifier: GPL-2.0-or-later
// CDoc: construction, clearing, key access, key editing and the frame cursor.
#include "doc/CDoc.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "doc/EditorLink.h"
#include "image/ImageFiles.h"
#include "motion/Interp.h"
#include "motion/Timecode.h"
#include "platform/Env.h"
#include "platform/Platform.h"
#include "platform/Settings.h"

CDoc* pDoc = nullptr;
long gCurFrame = 0;

namespace {

bool ValidSlot(int picture) { return picture >= 0 && picture < kPictureSlots; }

// Frames in one second at the current frame rate.
long OneSecond() { return (gFrameRate + 50) / 100; }

}  // namespace

CDoc::CDoc() : CDIB(8, 8, 24), nextPicture(0, 0, 24) {
    // Without a host duration the frame cursor is bounded only by the type.
    totalFrames = INT32_MAX;

    // "AspectMode" is the aspect x 10000, rounded down to a multiple of 5.
    aspectMode = static_cast<int32_t>(GetIniItem("AspectMode", 7500));
    aspect = static_cast<float>(aspectMode / 5 * 5) / 10000.0f;
    easeType = static_cast<int32_t>(GetIniItem("EaseType", 0));
    gFrameRate = static_cast<int32_t>(GetIniItem("FrameRate", 2997));
    GetIniString("RootVolume", "C:\\", rootVolume, 255);

    fieldSwap = static_cast<int32_t>(GetIniItem("FieldSwap", 0));
    draftRender = static_cast<int32_t>(GetIniItem("DraftRender", 0));
    exactRender = static_cast<int32_t>(GetIniItem("ExactRender", 0));
    rescaleShow = static_cast<int32_t>(GetIniItem("RescaleShow", 0));
    videoColors = static_cast<int32_t>(GetIniItem("VideoColors", 1));
    flopTopField = static_cast<int32_t>(GetIniItem("FlopTopField", 0));
    alwaysUseRotation = static_cast<int32_t>(GetIniItem("AlwaysUseRotation", 0));
    jpegAvailable = JP_DllInstalled();
    blurFrames = static_cast<int32_t>(GetIniItem("BlurFrames", 0));
    preBlur = static_cast<int32_t>(GetIniItem("PreBlur", 0));
    matteColor = static_cast<int32_t>(GetIniItem("MatteColor", 0));
    matteBorder = 0;
    contrastCode[0] = '2';
    contrastCode[1] = '2';
    depthLimit = 32;
    showPicError = static_cast<int32_t>(GetIniItem("ShowPicError", 1));
    GetIniString("AltImageFolder", "", altImageFolder, 255);
    autoAddKey = static_cast<int32_t>(GetIniItem("AutoAddKey", 1));
    ignoreAlpha = static_cast<int32_t>(GetIniItem("IgnoreAlpha", 1));
    gMultiProcess = static_cast<int>(GetIniItem("MultiProcess", 0));
    gMultiProcOffset = static_cast<int>(GetIniItem("MultiProcOffset", 0));

    tessmarine = std::strstr(gEnv.programName, "Tessmarine") != nullptr ? 1 : 0;

    ClearShow();
}

CDoc::~CDoc() = default;

// ---- Key access -----------------------------------------------------------

void CDoc::GetKey(int index, KeyStruct& out, int picture) {
    if (index < 0 || index > 63 || picture < 0 || picture > 0) return;
    out = keys[picture][index];
}

void CDoc::SetKey(int index, KeyStruct& key, int picture) {
    if (index < 0 || index >= 65 || picture < 0 || picture >= 1) return;
    // The bound above admits index 64, one past the last slot. No such slot
    // exists, so that store is dropped and the count stays as it is.
    if (index >= kMaxKeys) return;
    keys[picture][index] = key;
    if (index >= keyCount[picture]) keyCount[picture]++;
    modified = 1;
}

void CDoc::SortKeys(int picture) {
    if (!ValidSlot(picture)) return;
    KeyStruct* list = keys[picture];
    const int count = std::clamp(keyCount[picture], 0, kMaxKeys);
    for (int p = 0; p < count; p++) {
        // The first of equal times wins, so equal keys keep their order here.
        int32_t best = 0x0FFFFFFF;
        int at = p;
        for (int i = p; i < count; i++) {
            if (list[i].time < best) {
                best = list[i].time;
                at = i;
            }
        }
        if (at != p) std::swap(list[p], list[at]);
    }
}

int CDoc::FindKey(long frame) {
    const int picture = FindCurPic(frame);
    const long rel = frame - GetPicStart(picture);
    const int count = std::clamp(keyCount[picture], 0, kMaxKeys);
    for (int k = 0; k < count; k++) {
        if (std::labs(keys[picture][k].time - rel) <= 3) return k;
    }
    return -1;
}

void CDoc::QueueKey(KeyStruct* out, int picture, long frame, int halfFrame) {
    if (!out) return;
    KeyIdentity(*out);
    if (!ValidSlot(picture)) return;
    const int n = std::min(keyCount[picture], kMaxKeys);
    if (n < 1) return;
    const KeyStruct* list = keys[picture];
    const long rel = frame - GetPicStart(picture);
    const int straight = easeType | EASE_STRAIGHT;
    out->horizontalPos = CurveFit(n, list, 0, rel, halfFrame, easeType);
    out->verticalPos = CurveFit(n, list, 2, rel, halfFrame, easeType);
    out->width = CurveFit(n, list, 3, rel, halfFrame, easeType);
    out->rotation3 = CurveFit(n, list, 7, rel, halfFrame, straight);
    out->rotation1 = CurveFit(n, list, 5, rel, halfFrame, straight);
    out->rotation2 = CurveFit(n, list, 6, rel, halfFrame, straight);
    out->easeCode = CurveFit(n, list, 8, rel, halfFrame, EASE_HOLD);
}

// ---- Picture timing -------------------------------------------------------

long CDoc::GetPicStart(int picture) {
    if (picture != 0) return 0;
    // Toward zero. A start that is no frame number at all (NaN, or beyond the
    // 32-bit frame range) can only come from a damaged block; it counts as 0
    // rather than overflowing the conversion.
    const float start = keys[0][0].picStart;
    if (!(start > -2147483648.0f && start < 2147483648.0f)) return 0;
    return static_cast<long>(start);
}

void CDoc::SetPicStart(long frame, int picture) {
    if (picture != 0) return;
    keys[0][0].picStart = static_cast<float>(frame);
    modified = 1;
}

int CDoc::FindCurPic(long frame) {
    const int count = std::min(pictureCount, static_cast<int32_t>(kPictureSlots));
    if (count < 2) return 0;
    for (int i = 0; i <= count - 2; i++) {
        if (GetPicStart(i) <= frame && frame < GetPicStart(i + 1)) return i;
    }
    return count - 1;
}

// ---- Key editing ----------------------------------------------------------

int CDoc::AddKey() {
    const long frame = std::min(gCurFrame, static_cast<long>(showLength) - 1);
    gCurFrame = frame;
    const int picture = FindCurPic(frame);
    const long start = GetPicStart(picture);

    long tolerance = 4;
    long zoom = 0;
    if (GetEditorLink()->GetTimelineZoom(zoom) && zoom < 8) tolerance = zoom / 2;

    // The key's content: the stage's camera, or without a stage the camera
    // at this frame, taken before the key list changes.
    KeyStruct key;
    if (!GetEditorLink()->GetStageKey(key)) QueueKey(&key, picture, frame, 0);

    const int count = std::clamp(keyCount[picture], 0, kMaxKeys);
    int index = -1;
    for (int k = 0; k < count; k++) {
        if (std::labs(frame - start - keys[picture][k].time) < tolerance) {
            index = k;
            break;
        }
    }
    const bool isNew = index < 0;
    int action = index;
    if (isNew) {
        index = count;
        if (index > kAddKeyLimit - 1) return 0;
        keyCount[picture] = count + 1;
        action = ACTION_KEY_ADDED;
    }

    // The undo record is key 0 as it was, moved to the time of the new key.
    KeyStruct record = keys[picture][0];

    key.time = index == 0 ? 0 : static_cast<int32_t>(frame - start);
    key.picStart = keys[picture][0].picStart;
    key.undoAction = 0;
    if (isNew) {
        key.easeCode = 0.0f;
        key.reservedB = 0.0f;
    }
    keys[picture][index] = key;
    modified = 1;

    record.time = key.time;
    record.picStart = static_cast<float>(start);
    Do(record, action, picture);
    SortKeys(picture);

    if (!autoAddKey || isNew) Sound(2);
    if ((isNew || index == 0) && !autoAddKey)
        GotoFrame(gCurFrame + OneSecond(), true);
    else
        GotoFrame(gCurFrame, true);
    return isNew ? 1 : 0;
}

void CDoc::DeleteKey(int index, int picture) {
    if (index < 0 || index >= kMaxKeys || picture < 0 || picture >= 1) return;
    KeyStruct* list = keys[picture];
    const int count = std::clamp(keyCount[picture], 0, kMaxKeys);
    // The index is not compared with the count; the count never goes below 0.
    keyCount[picture] = std::max(count - 1, 0);
    Do(list[index], ACTION_KEY_DELETED, picture);
    for (int i = index; i + 1 < count; i++) list[i] = list[i + 1];
    modified = 1;
}

int CDoc::ShiftKeys(long frame, long delta) {
    const int picture = FindCurPic(frame);
    if (!ValidSlot(picture)) return 0;
    const long rel = frame - GetPicStart(picture);
    const int count = std::clamp(keyCount[picture], 0, kMaxKeys);
    for (int k = 0; k < count; k++) {
        KeyStruct& key = keys[picture][k];
        if (key.time <= rel) continue;
        // Recorded under code 0, so undoing a shift writes the record into key 0.
        Do(key, 0, picture);
        long moved = key.time + delta;
        if (moved < 0) moved = 0;
        if (moved > showLength) moved = showLength;
        key.time = static_cast<int32_t>(moved);
        modified = 1;
    }
    // The pictures that follow start later or earlier by the same amount.
    const int pictures = std::min(pictureCount, static_cast<int32_t>(kPictureSlots));
    for (int i = picture + 1; i < pictures; i++) SetPicStart(GetPicStart(i) + delta, i);
    return 1;
}

int CDoc::ChangePicTiming(long frame, int picture) {
    const int current = FindCurPic(frame);
    if (picture == 0) {
        if (current != 0) return 0;
        Do(keys[0][0], 0, 0);
        SetPicStart(frame, 0);
        return 1;
    }
    const int pictures = std::min(pictureCount, static_cast<int32_t>(kPictureSlots));
    if (picture < 0 || picture >= pictures) return 0;
    // A later picture may start no sooner than 8 frames after the one before.
    if (frame - GetPicStart(picture - 1) <= 7) return 0;
    Do(keys[picture][0], 0, picture);
    SetPicStart(frame, picture);
    return 1;
}

int CDoc::RescaleShow(long oldLength, long newLength) {
    if (oldLength == 0 || newLength == 0) return 0;
    // Differences of -1, 0 and 1 are not worth moving keys for.
    if (static_cast<unsigned long>(oldLength - newLength + 1) <= 2) return 0;
    const float ratio = static_cast<float>(newLength) / static_cast<float>(oldLength);
    const int count = std::clamp(keyCount[0], 0, kMaxKeys);
    for (int k = 1; k < count; k++)
        keys[0][k].time = static_cast<int32_t>(static_cast<float>(keys[0][k].time) * ratio);
    keys[0][0].showLengthCopy = static_cast<float>(showLength);
    modified = 1;
    return 1;
}

void CDoc::RescaleMoves(int picture, int oldWidth, int oldHeight, int newWidth, int newHeight) {
    if (!ValidSlot(picture) || oldWidth == 0 || oldHeight == 0) return;
    const float sx = static_cast<float>(newWidth) / static_cast<float>(oldWidth);
    const float sy = static_cast<float>(newHeight) / static_cast<float>(oldHeight);
    const int count = std::clamp(keyCount[picture], 0, kMaxKeys);
    for (int k = 0; k < count; k++) {
        KeyStruct& key = keys[picture][k];
        key.horizontalPos *= sx;
        key.width *= sx;
        key.verticalPos *= sy;
        key.verticalSize *= sy;
    }
    modified = 1;
}

int CDoc::ChopShow(long frame) {
    if (frame < 0) return 0;
    for (int i = std::min(pictureCount, static_cast<int32_t>(kPictureSlots)) - 1; i >= 0; i--) {
        if (GetPicStart(i) > frame) DeletePic(i);
    }
    const int pictures = std::min(pictureCount, static_cast<int32_t>(kPictureSlots));
    for (int i = 0; i < pictures; i++) {
        const long start = GetPicStart(i);
        KeyStruct cut;
        QueueKey(&cut, i, frame, 0);
        const int count = std::clamp(keyCount[i], 0, kMaxKeys);
        for (int k = 0; k < count; k++) {
            if (keys[i][k].time + start <= frame) continue;
            // The camera ends exactly where it was at the cut.
            cut.time = static_cast<int32_t>(frame - start);
            keys[i][k] = cut;
            keyCount[i] = std::max(k + 1, 1);
            modified = 1;
            break;
        }
    }
    keys[0][0].showLengthCopy = static_cast<float>(showLength);
    return 1;
}

namespace {

// Length of the camera centre's path from frame `from` to frame `to` - 1,
// summed frame by frame (the last step, into `to`, is left out).
float PathLength(int count, const KeyStruct* list, long from, long to, int easeMode) {
    float length = 0.0f;
    float x = CurveFit(count, list, 0, from, 0, easeMode);
    float y = CurveFit(count, list, 2, from, 0, easeMode);
    for (long f = from + 1; f < to; f++) {
        const float nx = CurveFit(count, list, 0, f, 0, easeMode);
        const float ny = CurveFit(count, list, 2, f, 0, easeMode);
        const float dx = nx - x;
        const float dy = ny - y;
        length += static_cast<float>(std::sqrt(static_cast<double>(dx * dx + dy * dy)));
        x = nx;
        y = ny;
    }
    return length;
}

}  // namespace

void CDoc::ConstantMotion(int picture) {
    if (!ValidSlot(picture)) return;
    const int count = std::min(keyCount[picture], kMaxKeys);
    if (count <= 1) return;
    KeyStruct* list = keys[picture];
    const long last = list[count - 1].time;
    if (last <= 0) return;
    const float speed = PathLength(count, list, 0, last, easeType) / static_cast<float>(last);
    if (speed == 0.0f) return;
    // Each segment is measured on the list as already retimed up to it.
    for (int k = 1; k < count; k++) {
        const float length = PathLength(count, list, list[k - 1].time, list[k].time, easeType);
        Do(list[k], k, picture);
        int32_t time = list[k - 1].time + static_cast<int32_t>(length / speed);
        if (time <= 0) time = 5;
        list[k].time = time;
    }
    modified = 1;
}

void CDoc::DefaultEase() {
    for (int p = 0; p < kPictureSlots; p++) {
        const int count = std::clamp(keyCount[p], 0, kMaxKeys);
        for (int k = 0; k < count; k++) keys[p][k].easeCode = 0.0f;
    }
    modified = 1;
}

void CDoc::ClearShow() {
    Create(8, 8, 24);
    keyCount[0] = 1;
    for (KeyStruct& key : keys[0]) KeyIdentity(key);
    keys[0][0].horizontalPos = 200.0f;
    keys[0][0].verticalPos = 200.0f;
    keys[0][0].width = 100.0f;
    keys[0][0].time = 0;
    std::memset(&pictureFile[0], 0, sizeof(FSpec));
    std::memset(&extraFile, 0, sizeof(FSpec));
    showSerial = 0;
    modified = 0;
    pictureCount = 0;
    matteBorder = 0;
    picLoadStatus = 1;
    undoHead = -1;
    undoCount = 0;
    redoCount = 0;
    loadedPicture = 0;
    prefetchedPicture = -1;
}

int CDoc::HasRotationInShow(int picture) {
    if (alwaysUseRotation) return 1;
    if (!ValidSlot(picture)) return 0;
    const int count = std::clamp(keyCount[picture], 0, kMaxKeys);
    for (int k = 0; k < count; k++) {
        const KeyStruct& key = keys[picture][k];
        if (key.rotation1 != 0.0f || key.rotation2 != 0.0f || key.rotation3 != 0.0f) return 1;
    }
    return 0;
}

// ---- Frame cursor ---------------------------------------------------------

void CDoc::GotoFrame(long frame, bool redraw) {
    frame = std::max(frame, 0L);
    gCurFrame = frame;
    frame = std::min(frame, totalFrames);
    gCurFrame = frame;

    const int picture = FindCurPic(frame);
    if (!LoadPictureBuffer(picture, false)) return;

    KeyStruct camera;
    QueueKey(&camera, picture, frame, 0);
    CEditorLink* link = GetEditorLink();
    link->SetStageKey(camera);
    if (redraw) link->Refresh(frame);
}
