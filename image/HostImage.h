// SPDX-License-Identifier: GPL-2.0-or-later
// Pictures that come from the host instead of a file. When the host asks for
// the source image to come from its own timeline, CDIB::Load(FSpec*, FSpec*,
// bool) fetches it through GetSourceImage and touches no file.
#pragma once

class CDIB;

// Set by the effect entry when the host provides the picture itself.
extern bool gGetImageFromTimeline;

// Fills `dib` with the host's picture; returns what Load(FSpec*, FSpec*, bool)
// returns (1 loaded, 0 failed). Without an installed fetch it does nothing and
// returns 0.
int GetSourceImage(CDIB* dib);

// The effect entry installs its fetch here; null restores the default. Returns
// the previous one.
using SourceImageFetch = int (*)(CDIB* dib);
SourceImageFetch SetSourceImageFetch(SourceImageFetch fetch);
