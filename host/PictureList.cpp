// SPDX-License-Identifier: GPL-2.0-or-later
// Loading a new picture file into the show: read it, prepare it for the camera
// (matte border, pre-blur, tint, contrast, video-safe colours) in the picture
// buffer, and frame it with key 0 when the camera has not been placed yet. It
// lives beside the picture effects it runs; the slot bookkeeping and the buffer
// refills are in doc/PictureList.cpp.
#include <algorithm>
#include <cstring>
#include <utility>

#include "doc/CDoc.h"
#include "doc/PictureJob.h"
#include "doc/PictureLookup.h"
#include "platform/Platform.h"

namespace {

// Contrast codes whose two bytes are both digits 1 to 3 leave the picture alone.
bool NeutralContrast(const char code[2]) {
    return code[0] >= '1' && code[0] <= '3' && code[1] >= '1' && code[1] <= '3';
}

}  // namespace

void CDoc::LoadPicture(FSpec* file, int slot, long start) {
    if (!file || std::strlen(file->name) < 3) return;  // no picture
    slot = std::clamp(slot, 0, 0);                     // only slot 0 is loaded here

    FSpec folder;
    FolderSpec(folder, altImageFolder);
    CDIB picture(1, 1, 24);
    // Loaded from where the lookup finds it; the slot keeps the stored reference.
    FSpec located = LocatedSpec(*file, showFolder, altImageFolder);
    picLoadStatus = picture.Load(&located, &folder, showPicError != 0);
    if (!picLoadStatus) return;

    pictureCount = std::max(pictureCount, static_cast<int32_t>(slot + 1));
    loadedPicture = slot;
    if (&pictureFile[slot] != file) std::memcpy(&pictureFile[slot], file, sizeof(FSpec));
    pictureFile[slot].name[sizeof pictureFile[slot].name - 1] = 0;
    if (start >= 0) keys[0][0].picStart = 0.0f;

    const long border = MatteBorderPixels(matteBorder, picture.GetWid());
    const int depth = ignoreAlpha ? 24 : PreparedDepth(picture.GetBitCount(), depthLimit);
    if (border == 0 && depth == picture.GetBitCount()) {
        // No frame and no change of depth: the copy would be the loaded
        // picture byte for byte, so its buffer is taken over instead.
        std::swap(header, picture.header);
        std::swap(bits, picture.bits);
        std::swap(widthCopy, picture.widthCopy);
        std::swap(heightCopy, picture.heightCopy);
    } else {
        if (!Create(picture.GetWid() + 2 * border, picture.GetHgt() + 2 * border, depth)) {
            ErrorBox("Not Enough Memory to load Image", -9999);
            return;
        }
        picture.CopyScale(this, matteColor, static_cast<int>(border));
    }
    if (preBlur > 0) Blur(0);
    if (matteBorder < 0) Tint(matteColor);
    if (!NeutralContrast(contrastCode))
        Contrast(static_cast<unsigned char>(contrastCode[0]), static_cast<unsigned char>(contrastCode[1]));
    if (videoColors) VideoColors();

    if (keyCount[slot] < 2) {
        // Frame the whole picture.
        KeyStruct& key = keys[slot][0];
        const long width = GetWid(), height = GetHgt();
        key.horizontalPos = static_cast<float>(width / 2);
        key.verticalPos = static_cast<float>(height / 2);
        key.width = static_cast<float>(width);
        if (tessmarine && static_cast<float>(width) * aspect < static_cast<float>(height))
            key.width = static_cast<float>(height) / aspect;
        key.rotation1 = key.rotation2 = key.rotation3 = 0.0f;
    }
    modified = 1;
}
