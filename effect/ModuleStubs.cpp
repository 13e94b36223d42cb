// SPDX-License-Identifier: GPL-2.0-or-later
// Routines that shared code calls and that the effect does not offer: movie
// export and sound belong to the stand-alone program.
#include "host/EffectEntry.h"

int SaveFlashMovie(FSpec* file, int quality, long frames, int flags) {
    (void)file;
    (void)quality;
    (void)frames;
    (void)flags;
    return -1;
}

int MakeMovieFile(bool create) {
    (void)create;
    return 0;
}

void StartAudioStream(long frame) { (void)frame; }
void StopAudioStream() {}
void QTCloseMovies() {}
