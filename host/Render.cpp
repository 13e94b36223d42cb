// SPDX-License-Identifier: GPL-2.0-or-later
// The frame renderer: one frame of the show drawn through the camera into a
// 32-bit image, with field handling, motion blur, the letterbox bars and the
// hand-over between consecutive pictures.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>

#include "doc/CDoc.h"
#include "host/FramePlan.h"
#include "host/Resample.h"
#include "image/CDIB.h"
#include "image/ImageFiles.h"
#include "motion/Timecode.h"

namespace {

constexpr int kMaxRenderSide = 0x2000;
constexpr int32_t kLetterBoxMode = 5626;  // "AspectMode" of "LetterBox 16:9"
constexpr float kLetterBoxCamera = 0.75f;  // the camera keeps a 4:3 frame
// Field selectors of the resampler.
constexpr int kAllRows = 0;
constexpr int kFirstFieldRows = 10;
constexpr int kSecondFieldRows = 11;

// Key words that count frames, truncated toward zero. Values that are no frame
// count at all (not a number, beyond 32 bits) count as 0.
long Frames(float value) {
    if (!(std::fabs(value) < 2147483520.0f)) return 0;
    return static_cast<long>(value);
}

// Rows 0..bar-1 and the same number at the other end, opaque dark grey.
void DrawLetterBox(CDIB* dest, int width, int height) {
    const float w = static_cast<float>(width);
    const float h = static_cast<float>(height);
    const long bar = static_cast<long>(((h / (w * 0.75f)) * w * -0.5625f + h) * 0.5f + 0.5f);
    const long rows = dest->GetHgt();
    const long rowBytes = dest->GetRowBytes();
    const bool alpha = dest->GetBitCount() == 32;
    const long pixels = dest->GetWid();
    for (long i = 0; i < bar; i++) {
        const long pair[2] = {i, height - 1 - i};
        for (long row : pair) {
            if (row < 0 || row >= rows) continue;
            uint8_t* p = dest->GetBitsAdd(static_cast<int>(row));
            std::memset(p, 0x11, static_cast<size_t>(rowBytes));
            if (alpha)
                for (long x = 0; x < pixels; x++) p[4 * x + 3] = 0xFF;
        }
    }
}

// One camera pass into `dest`: the exact area filter when asked for and the
// quality is the filtered one, else the kept filters, on both bands when
// `bands` allows the worker and the settings turn it on.
void DrawPass(CDIB* dest, CDIB* picture, const FramePass& p, int quality, bool exact, bool bands) {
    if (exact && quality > 50) {
        FilterExact(dest, picture, p.left, p.bottom, p.width, p.height, p.angle, p.tilt1, p.tilt2,
                    p.fieldSelector);
    } else if (bands) {
        dest->FilterCropMulti(picture, p.left, p.bottom, p.width, p.height, p.angle, p.tilt1, p.tilt2, quality,
                              p.fieldSelector);
    } else {
        dest->FilterCrop(picture, p.left, p.bottom, p.width, p.height, p.angle, p.tilt1, p.tilt2, 0, quality,
                         p.fieldSelector);
    }
}

void DrawPlaceholder(CDIB* dest) {
    CDIB missing(16, 16, 8);
    BitmapToDIB(&missing, kMissingPicture);
    missing.CopyScale(dest, 0, 0);
}

// Draws one picture's part of a plan (passes, then bars) into `dest`.
void DrawPart(const FrameDraw& draw, const FramePlan& plan, CDIB* picture, CDIB* dest) {
    if (draw.placeholder) {
        DrawPlaceholder(dest);
        return;
    }
    for (int i = 0; i < draw.passCount; i++)
        DrawPass(dest, picture, draw.passes[i], plan.quality, plan.exact, plan.bands);
    if (draw.letterbox) DrawLetterBox(dest, plan.width, plan.height);
}

}  // namespace

bool DrawFramePlan(const FramePlan& plan, CDIB* picture, CDIB* dest, CDIB* scratch) {
    if (!dest || !picture) return false;
    DrawPart(plan.frame, plan, picture, dest);
    if (!plan.blur) return true;
    if (!scratch || !scratch->HasImage()) return false;
    DrawPart(plan.earlier, plan, picture, scratch);
    dest->Dissolve(scratch, 0.5f);
    if (plan.frame.letterbox) DrawLetterBox(dest, plan.width, plan.height);
    return true;
}

bool CDoc::PlanPicture(long frame, int fieldMode, int width, int height, bool handOver, FrameDraw& draw,
                       void (*beforeLoad)(void*), void* context) {
    draw = FrameDraw{};
    if (picLoadStatus == 2 && showPicError == 0) {
        draw.placeholder = true;
        return true;
    }
    if (width > kMaxRenderSide || height > kMaxRenderSide || width <= 0 || height <= 0) return false;
    int pic = FindCurPic(frame);
    if (pic < 0 || pic >= kPictureSlots) return false;

    // The hand-over exactly as RenderFrame does it.
    const int pictures = std::min(pictureCount, static_cast<int32_t>(kPictureSlots));
    long lead = 0;
    int leadKey = -1;
    if (pictures > 1) {
        lead = Frames(keys[pic][0].reservedB);
        const long start0 = pic == 0 ? Frames(keys[0][0].picStart) : 0;
        if (start0 + lead <= frame || pic == 0 || !handOver) {
            if (pic < pictures - 1) lead = Frames(keys[pic + 1][0].reservedB);
        } else {
            pic--;
        }
        const int last = std::min(keyCount[pic], kMaxKeys) - 1;
        if (last >= 0) {
            leadKey = last;
            keys[pic][leadKey].time = static_cast<int32_t>(keys[pic][leadKey].time + lead);
        }
    }

    // Another picture replaces the one that frames in flight may be reading:
    // the caller lets them finish first. The same picture is not loaded again
    // (which would only write its flags once more).
    if (loadedPicture != pic) {
        if (beforeLoad) beforeLoad(context);
        if (!LoadPictureBuffer(pic, true)) return false;
    } else if (!picLoadStatus) {
        return false;
    }

    int parity = fieldMode == 2 ? 1 : 0;
    if (fieldSwap) parity = 1 - parity;
    if (gFrameRate < 2401 || gFrameRate > 4000) parity = 0;
    frame = std::max(frame, 0L);

    const float a = aspectMode == kLetterBoxMode ? kLetterBoxCamera : aspect;
    const float pictureHeight = static_cast<float>(GetHgt(0));
    auto plan = [&](int half, int selector) {
        KeyStruct camera;
        QueueKey(&camera, pic, frame, half);
        const float w = camera.width;
        FramePass& p = draw.passes[draw.passCount++];
        p.left = camera.horizontalPos - w / 2.0f;
        p.bottom = a * (-w / 2.0f) + (pictureHeight - camera.verticalPos);
        p.width = w;
        p.height = a * w;
        p.angle = camera.rotation3;
        p.tilt1 = camera.rotation1;
        p.tilt2 = camera.rotation2;
        p.fieldSelector = selector;
    };
    if (fieldMode == 3) {
        plan(parity, kFirstFieldRows);
        plan(1 - parity, kSecondFieldRows);
    } else {
        plan(parity, kAllRows);
    }
    if (leadKey >= 0)
        keys[pic][leadKey].time = static_cast<int32_t>(keys[pic][leadKey].time - lead);
    draw.letterbox = aspectMode == kLetterBoxMode;
    return true;
}

bool CDoc::PlanFrame(long frame, int fieldMode, int width, int height, bool handOver, FramePlan& plan,
                     void (*beforeLoad)(void*), void* context) {
    plan = FramePlan{};
    plan.width = width;
    plan.height = height;
    plan.quality = draftRender ? 0 : 100;
    plan.exact = exactRender != 0;
    if (!PlanPicture(frame, fieldMode, width, height, handOver, plan.frame, beforeLoad, context)) return false;
    if (plan.frame.placeholder || !blurFrames) return true;

    // The blur's moment, as RenderFrame chooses it; a failure turns the blur
    // off as it does there.
    const int picture = loadedPicture;
    const int32_t blur = blurFrames;
    blurFrames = 0;
    long earlierFrame = std::max(frame, 0L);
    int earlierMode = fieldMode;
    if (fieldMode == 2) {
        earlierMode = 1;
    } else if (fieldMode != 3) {
        earlierFrame = earlierFrame - 1;
        earlierMode = 2;
    }
    earlierFrame = std::max(earlierFrame, 0L);
    if (!PlanPicture(earlierFrame, earlierMode, width, height, handOver, plan.earlier, beforeLoad, context))
        return false;
    blurFrames = blur;
    plan.blur = true;
    // Both moments must come from the one picture now in the buffer.
    if (loadedPicture != picture && !plan.earlier.placeholder) plan.direct = true;
    return true;
}

bool CDoc::RenderFrame(long frame, int fieldMode, bool upperFirst, int width, int height,
                       CDIB* dest, bool handOver) {
    // A picture that could not be loaded, with its message turned off, shows
    // the missing-picture image over the whole frame.
    if (picLoadStatus == 2 && showPicError == 0) {
        if (dest) DrawPlaceholder(dest);
        return true;
    }

    const int quality = draftRender ? 0 : 100;
    if (width > kMaxRenderSide || height > kMaxRenderSide || width <= 0 || height <= 0 || !dest)
        return false;
    int pic = FindCurPic(frame);
    if (pic < 0 || pic >= kPictureSlots) return false;

    // Hand-over: a picture's lead-in (reservedB of its key 0, in frames) may be
    // drawn from the previous picture, whose camera then runs on past its last
    // key. The last key's time is moved for the drawing and put back after it.
    const int pictures = std::min(pictureCount, static_cast<int32_t>(kPictureSlots));
    long lead = 0;
    int leadKey = -1;
    if (pictures > 1) {
        lead = Frames(keys[pic][0].reservedB);
        const long start0 = pic == 0 ? Frames(keys[0][0].picStart) : 0;
        if (start0 + lead <= frame || pic == 0 || !handOver) {
            if (pic < pictures - 1) lead = Frames(keys[pic + 1][0].reservedB);
        } else {
            pic--;
        }
        const int last = std::min(keyCount[pic], kMaxKeys) - 1;
        if (last >= 0) {
            leadKey = last;
            keys[pic][leadKey].time = static_cast<int32_t>(keys[pic][leadKey].time + lead);
        }
    }

    // A failed load leaves the moved key time as it is.
    if (!LoadPictureBuffer(pic, true)) return false;

    // Fields exist only from 24.01 to 40 frames a second.
    int parity = fieldMode == 2 ? 1 : 0;
    if (fieldSwap) parity = 1 - parity;
    if (gFrameRate < 2401 || gFrameRate > 4000) parity = 0;
    frame = std::max(frame, 0L);

    const float a = aspectMode == kLetterBoxMode ? kLetterBoxCamera : aspect;
    const float pictureHeight = static_cast<float>(GetHgt(0));
    auto drawPass = [&](int half, int selector) {
        KeyStruct camera;
        QueueKey(&camera, pic, frame, half);
        const float x = camera.horizontalPos;
        const float y = camera.verticalPos;  // from the picture's top
        const float w = camera.width;
        const float left = x - w / 2.0f;
        const float bottom = a * (-w / 2.0f) + (pictureHeight - y);  // bottom-up rows
        const FramePass pass{left, bottom, w, a * w, camera.rotation3, camera.rotation1, camera.rotation2, selector};
        DrawPass(dest, this, pass, quality, exactRender != 0, true);
    };
    if (fieldMode == 3) {
        drawPass(parity, kFirstFieldRows);
        drawPass(1 - parity, kSecondFieldRows);
    } else {
        drawPass(parity, kAllRows);
    }

    if (leadKey >= 0)
        keys[pic][leadKey].time = static_cast<int32_t>(keys[pic][leadKey].time - lead);

    // Motion blur: an equal mix with the moment half a frame earlier. The
    // second render must not blur again, so the option is off meanwhile; when
    // that render fails the option stays off until the settings are read again.
    if (blurFrames) {
        const int32_t blur = blurFrames;
        blurFrames = 0;
        CDIB earlier(width, height, 32);
        if (!earlier.HasImage()) return false;
        long earlierFrame = frame;
        int earlierMode = fieldMode;
        if (fieldMode == 2) {
            earlierMode = 1;
        } else if (fieldMode != 3) {
            earlierFrame = frame - 1;
            earlierMode = 2;
        }
        earlierFrame = std::max(earlierFrame, 0L);
        if (!RenderFrame(earlierFrame, earlierMode, upperFirst, width, height, &earlier, handOver))
            return false;
        dest->Dissolve(&earlier, 0.5f);
        blurFrames = blur;
    }

    if (aspectMode == kLetterBoxMode) DrawLetterBox(dest, width, height);
    return true;
}
