// SPDX-License-Identifier: GPL-2.0-or-later
// Loading a picture file: recognising the format from its first bytes, the
// entry point that the picture list uses, and the messages for the reader
// result codes.
#include <algorithm>
#include <cstdio>
#include <cstring>

#include "image/CDIB.h"
#include "image/HostImage.h"
#include "image/ImageFiles.h"
#include "platform/Files.h"
#include "platform/Platform.h"

void ReportPictureError(int code) {
    char text[80];
    switch (code) {
    case kPicLoaded:
        return;
    case kPicCompressed:
        ErrorBox("Can't read compressed images", -9999);
        return;
    case kPicTooLarge:
        std::snprintf(text, sizeof text, "Images must be smaller than %d pixels", static_cast<int>(kMaxPictureSide));
        ErrorBox(text, -9999);
        return;
    case kPicFewColours:
        ErrorBox("Images must have 256 colors or more", -9999);
        return;
    case kPicNoMemory:
        ErrorBox("Not enough memory to load image", -9999);
        return;
    default:  // 3, 4 and anything else carry their code
        ErrorBox("Can't read image file", code);
        return;
    }
}

int CDIB::Load(CPFile* file) {
    char first[14] = {};
    file->Seek(0, 0);
    file->Read(first, sizeof first);  // a shorter file leaves zeros

    if (std::memcmp(first, "8BPS", 4) == 0) return LoadPsd(file);
    if (std::memcmp(first, "II", 2) == 0 || std::memcmp(first, "MM", 2) == 0) return LoadTif(file);
    if (std::memcmp(first, "BM", 2) == 0 || std::memcmp(first, "MB", 2) == 0) return LoadBmp(file);

    if (gWin32) {
        const char* path = file->GetFSpec()->name;
        if (std::memcmp(first + 6, "JFIF", 4) == 0 || std::strstr(path, ".jp") || std::strstr(path, ".JP"))
            return LoadJpeg(file);
        return LoadTga(file);
    }
    // Targa has no signature: it is tried first, and whatever it refuses goes to
    // the platform importer.
    if (LoadTga(file) == kPicLoaded) return kPicLoaded;
    return MacLoadPict(this, file->GetFSpec());
}

int CDIB::Load(FSpec* file, FSpec* folder, bool report) {
    if (!header) return 0;  // the caller makes the buffer first, at any size
    if (gGetImageFromTimeline) return GetSourceImage(this);

    CPFile in;
    int open = in.Open(file, kFileRead);
    if (!open && folder && folder->name[0]) {
        // A picture whose folder moved together with the show: look for its name
        // in the given folder.
        FSpec moved;
        std::memcpy(&moved, folder, sizeof moved);
        char name[1024];
        std::snprintf(name, sizeof name, "%s", file->name);
        StripFilePath(name);
        moved.name[sizeof moved.name - 1] = 0;
        const size_t used = std::strlen(moved.name);
        const size_t added = std::min(std::strlen(name), sizeof moved.name - 1 - used);
        std::memcpy(moved.name + used, name, added);
        moved.name[used + added] = 0;
        open = in.Open(&moved, kFileRead);
    }
    if (!open) {
        if (report) {
            ErrorBox("Can't open graphics file", -9999);
            return 0;
        }
        BitmapToDIB(this, kMissingPicture);
        return 2;
    }

    const int code = Load(&in);
    if (code == kPicLoaded) {
        in.Close();
        return 1;
    }
    if (report) {
        ReportPictureError(code);
        in.Close();
        return 0;
    }
    BitmapToDIB(this, kMissingPicture);
    return 2;
}

int CDIB::LoadJpeg(CPFile* file) {
    if (!JP_DllInstalled()) return kPicUnreadable;
    return JP_JpegToDIB(this, file->GetFSpec());
}

int JP_DllInstalled() { return 0; }
int JP_JpegToDIB(CDIB*, FSpec*) { return 0; }
int JP_JpegToMem(CDIB*, long*, int) { return 0; }
int JP_JpegFromDIB(CDIB*, FSpec*, int) { return 0; }
