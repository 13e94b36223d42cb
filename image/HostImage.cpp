// SPDX-License-Identifier: GPL-2.0-or-later
#include "image/HostImage.h"

bool gGetImageFromTimeline = false;

namespace {
SourceImageFetch gFetch = nullptr;
}  // namespace

int GetSourceImage(CDIB* dib) { return gFetch ? gFetch(dib) : 0; }

SourceImageFetch SetSourceImageFetch(SourceImageFetch fetch) {
    SourceImageFetch previous = gFetch;
    gFetch = fetch;
    return previous;
}
