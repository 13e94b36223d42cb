// SPDX-License-Identifier: GPL-2.0-or-later
// The platform importer of the portable plug-ins: there is none. Linked ahead
// of the image library, this stands in for the OpenImageIO importer, so that
// the portable plug-ins read pictures with the built-in readers only (BMP,
// Targa, TIFF, Photoshop) and load no OpenImageIO, nor the libraries it
// brings, into the host. The filter needs no reader for its frames: they come
// from the host.
#include "image/ImageFiles.h"

int MacLoadPict(void*, void*) { return kPicNoHeader; }
