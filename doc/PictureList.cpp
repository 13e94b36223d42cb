// SPDX-License-Identifier: GPL-2.0-or-later
// The picture slots and the picture buffer: slot copies and exchanges, the
// picture buffer kept filled with the picture of the current frame, and the
// second buffer holding the next picture ahead of time. Loading a new picture
// file with its full preparation is CDoc::LoadPicture (host/PictureList.cpp).
#include <algorithm>
#include <chrono>
#include <cstring>
#include <thread>

#include "doc/CDoc.h"
#include "doc/PictureJob.h"
#include "doc/PictureLookup.h"

long MatteBorderPixels(long level, long width) {
    if (level <= 0) return 0;
    return static_cast<long>(static_cast<double>(level) / 200.0 * static_cast<double>(width));
}

int PreparedDepth(int fileDepth, int limit) { return fileDepth <= limit ? std::max(fileDepth, 24) : limit; }

void FolderSpec(FSpec& fileSpec, const char* folder) {
    std::memset(&fileSpec, 0, sizeof fileSpec);
    fileSpec.volume = kPathFormId;
    fileSpec.parent = kPathFormId;
    std::strncpy(fileSpec.name, folder ? folder : "", sizeof fileSpec.name - 1);
}

void lbThreadFunc(void* arg) {
    PictureJob* job = static_cast<PictureJob*>(arg);
    job->busy->store(1);
    int result = 0;
    CDIB picture(1, 1, 24);
    result = picture.Load(job->file, job->folder, job->report != 0);
    if (result) {
        const long border = MatteBorderPixels(job->matteBorder, picture.GetWid());
        const int depth = PreparedDepth(picture.GetBitCount(), job->depth);
        if (job->target->Create(picture.GetWid() + 2 * border, picture.GetHgt() + 2 * border, depth))
            picture.CopyScale(job->target, job->matteColour, static_cast<int>(border));
        else
            result = 0;
    }
    if (job->result) *job->result = result;
    job->busy->store(0);
    delete job;
}

int CDoc::LoadPictureBuffer(int picture, bool noPrefetch) {
    if (picture < 0 || picture >= kPictureSlots) return 0;  // slots this build holds

    FSpec folder;
    FolderSpec(folder, altImageFolder);
    const int limit = ignoreAlpha ? 24 : depthLimit;

    if (loadedPicture != picture) {
        if (prefetchedPicture == picture) {
            // Wait for the prefetch should it still be running elsewhere.
            while (pictureBusy.load()) std::this_thread::sleep_for(std::chrono::milliseconds(1));
            picLoadStatus = nextPicture.Copy(this, true) ? prefetchStatus : 0;
        } else {
            std::atomic<int32_t> busy{0};
            int result = 0;
            FSpec located = LocatedSpec(pictureFile[picture], showFolder, altImageFolder);
            lbThreadFunc(new PictureJob{this, &located, &busy, matteColor, matteBorder, limit, &folder, showPicError,
                                        &result});
            picLoadStatus = result;
        }
        loadedPicture = picture;
    }

    if (picture < pictureCount - 1 && !noPrefetch && picture + 1 < kPictureSlots) {
        // The second buffer is reused only when the job before has finished.
        while (pictureBusy.load()) std::this_thread::sleep_for(std::chrono::milliseconds(1));
        prefetchedPicture = -1;
        FSpec located = LocatedSpec(pictureFile[picture + 1], showFolder, altImageFolder);
        lbThreadFunc(new PictureJob{&nextPicture, &located, &pictureBusy, matteColor, matteBorder, limit, &folder,
                                    showPicError, &prefetchStatus});
        prefetchedPicture = picture + 1;
    }

    useRotation = HasRotationInShow(picture);
    return picLoadStatus;
}

void CDoc::CopyPic(int to, int from) {
    if (to < 0 || to > 1 || from < 0 || from > 1 || to == from) return;
    keyCount[to] = keyCount[from];
    std::memcpy(keys[to], keys[from], sizeof(keys[to]));
    pictureFile[to] = pictureFile[from];
}

void CDoc::FlopPic(int a, int b) {
    if (a < 0 || a > 1 || b < 0 || b > 1) return;
    const float start = keys[0][0].picStart;
    // Through slot 1: with two slots, exchanging 0 and 1 leaves both equal to
    // the former slot 0.
    CopyPic(1, b);
    CopyPic(b, a);
    CopyPic(a, 1);
    keys[0][0].picStart = start;
    loadedPicture = -1;
    prefetchedPicture = -1;
}

int CDoc::DeletePic(int picture) {
    if (picture != 0) return 0;
    if (pictureCount <= 1) {
        ClearShow();
        return 1;
    }
    const float start = keys[0][0].picStart;
    pictureCount--;
    for (int i = picture; i < pictureCount; i++) CopyPic(i, i + 1);
    keys[0][0].picStart = start;
    loadedPicture = -1;
    modified = 1;
    return 1;
}
