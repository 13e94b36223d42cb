// SPDX-License-Identifier: GPL-2.0-or-later
#include "app/ShowBlock.h"

#include <cerrno>
#include <cstring>
#include <fstream>
#include <sys/stat.h>

#include "doc/PictureLookup.h"
#include "platform/Files.h"
#include "platform/Settings.h"

namespace gs {

namespace {

bool IsReadableFile(const std::string& path) {
    struct stat st;
    return !path.empty() && stat(path.c_str(), &st) == 0 && S_ISREG(st.st_mode);
}

}  // namespace

std::string ReferencePath(const char* spec262) {
    FSpec fileSpec;
    std::memcpy(&fileSpec, spec262, sizeof fileSpec);
    fileSpec.name[sizeof fileSpec.name - 1] = '\0';
    PlatformPath path;
    CopyToMacFSSpec(&path, &fileSpec);
    // A path-form reference to a missing file comes back empty: report the
    // stored name itself then.
    if (path.path[0] == '\0') return fileSpec.name;
    return path.path;
}

PictureLocation LocateShowPicture(const FSpec& file, const std::string& showPath) {
    // The same lookup, in the same order, as the picture loading of a render:
    // the stored reference where it is good (a relative one from the show's
    // folder first), then the same name beside the show, then in
    // "AltImageFolder".
    const std::string stored(file.name, strnlen(file.name, sizeof file.name));
    const std::string showFolder = ShowFolderOf(showPath);
    PictureLocation where;
    where.path = ReferencePath(reinterpret_cast<const char*>(&file));
    const bool fromShow = !stored.empty() && stored[0] != '/' && !showFolder.empty();
    if (!fromShow && IsReadableFile(where.path)) {
        where.found = true;
        return where;
    }
    char altFolder[256] = {};
    GetIniString("AltImageFolder", "", altFolder, 255);
    const PictureLocation located = ::LocatePicture(stored, showFolder, altFolder);
    if (located.found) return located;
    return where;
}

long ShowBlock::SavedLength() const { return description.SavedLength(); }

long ShowBlock::DefaultLength() const { return description.DefaultLength(); }

bool ParseShowBlock(std::vector<char> bytes, const std::string& origin, ShowBlock& show,
                    std::string& error) {
    show = ShowBlock{};
    ShowDescription& d = show.description;
    if (!DecodeShow(bytes.data(), static_cast<long>(bytes.size()), origin, d, error)) return false;
    show.bigEndian = d.bigEndian;
    show.serial = d.serial;
    show.size = d.Size();
    show.versionStamp = d.VersionStamp();
    for (const ShowRecord& record : d.pictures) {
        ShowPicture picture;
        picture.reference = std::string(record.file.name, strnlen(record.file.name, sizeof record.file.name));
        const PictureLocation where = LocateShowPicture(record.file, origin);
        picture.path = where.path;
        picture.found = where.found;
        picture.keys = record.keys;
        show.pictures.push_back(std::move(picture));
    }
    if (d.extra) {
        show.hasExtra = true;
        show.extraReference = ReferencePath(reinterpret_cast<const char*>(&*d.extra));
    }
    ShowTrailer& t = show.trailer;
    if (show.versionStamp > kShowTrailerVersion) {
        t.read = true;
        t.matteColor = d.trailer.matteColor;
        t.matteBorder = d.trailer.matteBorder;
        t.preBlur = d.trailer.preBlur;
        t.videoColors = d.trailer.videoColors;
        if (show.versionStamp > kShowContrastVersion) {
            t.contrastRead = true;
            t.contrast[0] = d.trailer.contrast[0];
            t.contrast[1] = d.trailer.contrast[1];
        }
    }
    show.bytes = std::move(bytes);
    return true;
}

bool ReadShowFile(const std::string& path, ShowBlock& show, std::string& error) {
    struct stat st;
    if (stat(path.c_str(), &st) != 0) {
        error = "cannot open show " + path + ": " + std::strerror(errno);
        return false;
    }
    if (S_ISDIR(st.st_mode)) {
        error = "cannot open show " + path + ": it is a folder";
        return false;
    }
    // A device or a FIFO would never end, or block before the first byte.
    if (!S_ISREG(st.st_mode)) {
        error = "cannot open show " + path + ": it is not a file";
        return false;
    }
    if (static_cast<size_t>(st.st_size) > kShowMaxBytes) {
        error = path + " is not a Glimmerstroll show (.gsx): it is too large";
        return false;
    }
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        error = "cannot open show " + path + ": " + std::strerror(errno);
        return false;
    }
    std::vector<char> bytes(static_cast<size_t>(st.st_size));
    if (!bytes.empty() && !file.read(bytes.data(), static_cast<std::streamsize>(bytes.size()))) {
        error = "cannot read show " + path;
        return false;
    }
    return ParseShowBlock(std::move(bytes), path, show, error);
}

}  // namespace gs
