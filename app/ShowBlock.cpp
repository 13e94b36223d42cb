#include "app/ShowBlock.h"

#include <algorithm>
#include <bit>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <fstream>
#include <sys/stat.h>

#include "platform/Files.h"

namespace gs {

namespace {

// Anything larger is no show: 63 keys in each of a few records is a few kB.
constexpr size_t kMaxShowFileBytes = 1 << 20;

class BlockReader {
public:
    BlockReader(const std::vector<char>& bytes, bool swapped) : bytes_(bytes), swapped_(swapped) {}

    uint16_t U16(size_t at) const {
        uint16_t v;
        std::memcpy(&v, bytes_.data() + at, 2);
        return swapped_ ? static_cast<uint16_t>((v >> 8) | (v << 8)) : v;
    }
    uint32_t U32(size_t at) const {
        uint32_t v;
        std::memcpy(&v, bytes_.data() + at, 4);
        return swapped_ ? __builtin_bswap32(v) : v;
    }
    int32_t I32(size_t at) const { return static_cast<int32_t>(U32(at)); }
    float F32(size_t at) const {
        const uint32_t v = U32(at);
        float f;
        std::memcpy(&f, &v, 4);
        return f;
    }
    KeyStruct Key(size_t at) const {
        KeyStruct k{};
        for (int w = 0; w < 12; w++) KeyWord(k, w) = F32(at + 4 * w);
        k.time = I32(at + 48);
        k.undoPicture = U16(at + 52);
        k.undoAction = U16(at + 54);
        return k;
    }

private:
    const std::vector<char>& bytes_;
    bool swapped_;
};

bool IsReadableFile(const std::string& path) {
    struct stat st;
    return !path.empty() && stat(path.c_str(), &st) == 0 && S_ISREG(st.st_mode);
}

long Frames(float value) {
    if (!(std::fabs(value) < 2147483520.0f)) return 0;
    return static_cast<long>(value);
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

long ShowBlock::SavedLength() const {
    if (pictures.empty() || pictures[0].keys.empty()) return 0;
    const long length = Frames(pictures[0].keys[0].showLengthCopy);
    return length > 0 ? length : 0;
}

long ShowBlock::DefaultLength() const {
    const long saved = SavedLength();
    if (saved > 0) return saved;
    long last = 0;
    for (const ShowPicture& p : pictures)
        for (const KeyStruct& k : p.keys) last = std::max(last, static_cast<long>(k.time));
    return last + 1;
}

bool ParseShowBlock(std::vector<char> bytes, const std::string& origin, ShowBlock& show,
                    std::string& error) {
    show = ShowBlock{};
    const auto* u = reinterpret_cast<const unsigned char*>(bytes.data());
    const std::string notShow = origin + " is not a Glimmerstroll show (.gsx)";
    if (bytes.size() < kShowHeaderBytes) {
        error = notShow;
        return false;
    }
    if (u[0] == 0x12 && u[1] == 0x34) show.bigEndian = true;
    else if (u[0] == 0x34 && u[1] == 0x12) show.bigEndian = false;
    else {
        error = notShow;
        return false;
    }
    constexpr bool hostBig = std::endian::native == std::endian::big;
    const BlockReader in(bytes, show.bigEndian != hostBig);
    show.serial = in.U16(2);
    show.size = in.U32(4);
    if (show.size < kShowHeaderBytes + kShowTrailerBytes || show.size > kMaxShowFileBytes) {
        error = notShow + " (its size field reads " + std::to_string(show.size) + ")";
        return false;
    }
    if (show.size > bytes.size()) {
        error = origin + " is truncated: the show has " + std::to_string(show.size) +
                " bytes, the file " + std::to_string(bytes.size());
        return false;
    }

    // Records up to the trailer: pictures, then at most one extra reference
    // (a record with no keys), which is always the last.
    const size_t end = show.size - kShowTrailerBytes;
    size_t at = kShowHeaderBytes;
    while (at + kShowRecordBytes <= end) {
        const int32_t count = in.I32(at + kShowSpecBytes);
        if (count < 0 || count > kShowMaxKeys) {
            error = origin + " is damaged: a picture record holds " + std::to_string(count) + " keys";
            return false;
        }
        const size_t next = at + kShowRecordBytes + 56 * static_cast<size_t>(count);
        if (next > end) {
            error = origin + " is damaged: its keys run into the trailer";
            return false;
        }
        if (count == 0) {
            if (show.hasExtra) {
                error = origin + " is damaged: it holds two extra references";
                return false;
            }
            show.hasExtra = true;
            show.extraReference = ReferencePath(bytes.data() + at);
        } else {
            if (show.hasExtra) {
                error = origin + " is damaged: a picture record follows the extra reference";
                return false;
            }
            ShowPicture picture;
            char name[257] = {};
            std::memcpy(name, bytes.data() + at + 6, 256);
            picture.reference = name;
            picture.path = ReferencePath(bytes.data() + at);
            picture.found = IsReadableFile(picture.path);
            for (int k = 0; k < count; k++)
                picture.keys.push_back(in.Key(at + kShowRecordBytes + 56 * static_cast<size_t>(k)));
            show.pictures.push_back(std::move(picture));
        }
        at = next;
    }
    if (at != end) {
        error = origin + " is damaged: " + std::to_string(end - at) + " stray bytes before the trailer";
        return false;
    }

    if (!show.pictures.empty()) show.versionStamp = show.pictures[0].keys[0].formatVersion;
    if (show.versionStamp > 90.0f) {
        ShowTrailer& t = show.trailer;
        t.read = true;
        t.matteColor = in.I32(end);
        t.matteBorder = in.I32(end + 4);
        t.preBlur = in.I32(end + 8);
        t.videoColors = static_cast<int16_t>(in.U16(end + 12));
        if (show.versionStamp > 105.0f) {
            t.contrastRead = true;
            t.contrast[0] = bytes[end + 14];
            t.contrast[1] = bytes[end + 15];
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
    if (static_cast<size_t>(st.st_size) > kMaxShowFileBytes) {
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
