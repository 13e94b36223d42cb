// SPDX-License-Identifier: GPL-2.0-or-later
#include "doc/PictureLookup.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <vector>

namespace {

bool IsReadableFile(const std::string& path) {
    struct stat st;
    return !path.empty() && stat(path.c_str(), &st) == 0 && S_ISREG(st.st_mode) && access(path.c_str(), R_OK) == 0;
}

// The file name of a reference, cut from its folders as the picture reader
// cuts it ("/", "\\" and ":" separate folders).
std::string LastComponent(const std::string& path) {
    std::vector<char> name(path.begin(), path.end());
    name.resize(std::max<size_t>(name.size() + 1, 1024), '\0');
    StripFilePath(name.data());
    return name.data();
}

// `path` made absolute against the working directory, with "." and ".."
// taken out; links are left as the user named them.
std::string Absolute(const std::string& path) {
    std::error_code error;
    const std::filesystem::path full = std::filesystem::absolute(path, error);
    if (error) return path;
    std::string text = full.lexically_normal().string();
    while (text.size() > 1 && text.back() == '/') text.pop_back();
    return text;
}

std::string Join(const std::string& folder, const std::string& name) {
    if (folder.empty() || folder.back() == '/') return folder + name;
    return folder + "/" + name;
}

}  // namespace

PictureLocation LocatePicture(const std::string& stored, const std::string& showFolder, const std::string& altFolder) {
    std::vector<std::string> candidates;
    const bool relative = !stored.empty() && stored[0] != '/';
    if (relative && !showFolder.empty()) candidates.push_back(Join(showFolder, stored));
    candidates.push_back(stored);
    const std::string name = LastComponent(stored);
    if (!name.empty()) {
        if (!showFolder.empty()) candidates.push_back(Join(showFolder, name));
        if (!altFolder.empty()) {
            // The folder's text with the file name after it, as the picture
            // reader builds it; then with a separator, for a folder typed
            // without its closing "/".
            candidates.push_back((altFolder + name).substr(0, 255));
            candidates.push_back(Join(altFolder, name));
        }
    }
    PictureLocation location;
    location.path = stored;
    for (const std::string& candidate : candidates) {
        if (!IsReadableFile(candidate)) continue;
        location.found = true;
        location.path = Absolute(candidate);
        break;
    }
    return location;
}

FSpec LocatedSpec(const FSpec& stored, const char* showFolder, const char* altFolder) {
    char name[sizeof stored.name + 1] = {};
    std::memcpy(name, stored.name, sizeof stored.name);
    // The stored reference where it is still good, exactly as before.
    // A relative one is looked for from the show's folder first.
    const bool fromShow = name[0] != '/' && showFolder && showFolder[0];
    PlatformPath here;
    if (!fromShow && CopyToMacFSSpec(&here, &stored) && IsReadableFile(here.path)) return stored;
    const PictureLocation location = LocatePicture(name, showFolder ? showFolder : "", altFolder ? altFolder : "");
    if (!location.found || location.path.size() > 255) return stored;
    FSpec found;
    MakePathSpec(found, location.path.c_str());
    return found;
}

std::string ShowFolderOf(const std::string& showPath) {
    if (showPath.empty()) return "";
    const size_t slash = showPath.find_last_of('/');
    return Absolute(slash == std::string::npos ? "." : showPath.substr(0, slash + 1));
}
