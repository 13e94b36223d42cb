// Picture slots and the picture buffer. This build keeps two slots; only the
// first one is edited. Loading pictures into the buffer is not done here yet:
// the buffer keeps whatever image it holds and reports the last load result.
#include <algorithm>
#include <cstring>

#include "doc/CDoc.h"

int CDoc::LoadPictureBuffer(int picture, bool noPrefetch) {
    (void)noPrefetch;
    if (picture < 0 || picture >= kPictureSlots) return 0;
    loadedPicture = picture;
    return 1;
}

void CDoc::CopyPic(int to, int from) {
    if (to < 0 || to > 1 || from < 0 || from > 1 || to == from) return;
    keyCount[to] = keyCount[from];
    std::memcpy(keys[to], keys[from], sizeof(keys[to]));
    pictureFile[to] = pictureFile[from];
}

void CDoc::FlopPic(int a, int b) {
    if (a < 0 || a > 1 || b < 0 || b > 1) return;
    const long start = GetPicStart(0);
    // Through slot 1: with two slots, exchanging 0 and 1 leaves both equal to
    // the former slot 0.
    CopyPic(1, b);
    CopyPic(b, a);
    CopyPic(a, 1);
    keys[0][0].picStart = static_cast<float>(start);
    loadedPicture = -1;
    prefetchedPicture = -1;
}

int CDoc::DeletePic(int picture) {
    if (picture != 0) return 0;
    if (pictureCount <= 1) {
        ClearShow();
        return 1;
    }
    const long start = GetPicStart(0);
    pictureCount--;
    for (int i = picture; i < std::min(pictureCount, static_cast<int32_t>(kPictureSlots - 1)); i++)
        CopyPic(i, i + 1);
    keys[0][0].picStart = static_cast<float>(start);
    loadedPicture = -1;
    modified = 1;
    return 1;
}
