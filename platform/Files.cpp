// SPDX-License-Identifier: GPL-2.0-or-later
#include "platform/Files.h"

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/Platform.h"
#include "platform/Settings.h"

namespace {

bool IsSeparator(char c) { return c == '/' || c == '\\' || c == ':'; }

// `name` made absolute against the current directory into `out`; 0 when it
// does not fit.
int AbsolutePath(const char* name, char* out, size_t size) {
    if (name[0] == '/' || name[0] == '\0') {
        int n = std::snprintf(out, size, "%s", name);
        return n >= 0 && static_cast<size_t>(n) < size;
    }
    char cwd[1024];
    if (!getcwd(cwd, sizeof cwd)) return 0;
    int n = std::snprintf(out, size, "%s/%s", cwd, name);
    return n >= 0 && static_cast<size_t>(n) < size;
}

bool Exists(const char* path, bool* isFolder) {
    struct stat st;
    if (stat(path, &st) != 0) return false;
    if (isFolder) *isFolder = S_ISDIR(st.st_mode);
    return true;
}

// True when the folder that would hold `path` exists.
bool FolderExists(const char* path) {
    char folder[1024];
    std::snprintf(folder, sizeof folder, "%s", path);
    char* slash = std::strrchr(folder, '/');
    if (!slash) return false;
    if (slash == folder) return true;  // the root
    *slash = '\0';
    bool isFolder = false;
    return Exists(folder, &isFolder) && isFolder;
}

// Small codes of SetFileType / SetCreatorType; anything else is the code itself.
struct CodeRow {
    uint32_t type;
    uint32_t creator;
};
constexpr CodeRow kCodes[] = {
    {FourCC("GSXF"), FourCC("KVLB")},  // show file, the program itself
    {FourCC("TPIC"), FourCC("ogle")},  // Targa picture, the picture viewer
    {FourCC("GSXS"), FourCC("KVLP")},
};

// Mode 0 asks for whatever access the file allows: read and write when
// possible, else read (see CPFile::Open).
int OpenFlags(int mode) {
    switch (mode & kFileReadWrite) {
        case kFileReadWrite: return O_RDWR | O_CREAT;
        case kFileWrite: return O_WRONLY | O_CREAT;
        case kFileRead: return O_RDONLY;
        default: return O_RDWR;
    }
}

// Bytes left before the injected write failure; negative: none is injected.
std::atomic<long> gWriteFaultAfter{-1};

// How many of `count` bytes a write may pass before the injected failure.
size_t AllowedByFault(size_t count) {
    long left = gWriteFaultAfter.load();
    if (left < 0) return count;
    return count < static_cast<size_t>(left) ? count : static_cast<size_t>(left);
}

void UseFaultBytes(size_t n) {
    if (gWriteFaultAfter.load() >= 0) gWriteFaultAfter -= static_cast<long>(n);
}

// Anything but a regular file (a folder, a device, a FIFO, a socket) that is at
// `path` now. A missing path is not refused: opening for writing creates it.
bool IsOtherThanFile(const char* path) {
    struct stat st;
    return stat(path, &st) == 0 && !S_ISREG(st.st_mode);
}

}  // namespace

void SetWriteFaultAfter(long bytes) { gWriteFaultAfter = bytes < 0 ? -1 : bytes; }

void MakePathSpec(FSpec& fileSpec, const char* path) {
    std::memset(&fileSpec, 0, sizeof fileSpec);
    if (!path) return;
    fileSpec.volume = kPathFormId;
    fileSpec.parent = kPathFormId;
    char full[1024];
    if (!AbsolutePath(path, full, sizeof full)) std::snprintf(full, sizeof full, "%s", path);
    std::snprintf(fileSpec.name, sizeof fileSpec.name, "%.255s", full);
}

bool IsEmptySpec(const FSpec& fileSpec) { return fileSpec.volume == 0 && fileSpec.parent == 0; }

int CopyToMacFSSpec(PlatformPath* out, const FSpec* in) {
    out->path[0] = '\0';
    if (!in || IsEmptySpec(*in)) return 0;
    char name[sizeof in->name];
    std::memcpy(name, in->name, sizeof name);
    name[sizeof name - 1] = '\0';
    if (in->volume == kPathFormId && in->parent == kPathFormId) return GetFSSpecFromPath(name, out);
    // Platform form: a name for a file that does not exist yet is valid too.
    if (!AbsolutePath(name, out->path, sizeof out->path)) out->path[0] = '\0';
    return 1;
}

int CopyFromMacFSSpec(FSpec* out, const PlatformPath* in) {
    int ok = GetPathFromFSSpec(in, out->name);
    out->volume = kPathFormId;
    out->parent = kPathFormId;
    return ok;
}

int GetPathFromFSSpec(const PlatformPath* fileSpec, char* path) {
    path[0] = '\0';
    char full[1024];
    if (!AbsolutePath(fileSpec->path, full, sizeof full) || full[0] == '\0') return 0;
    bool isFolder = false;
    bool exists = Exists(full, &isFolder);
    if (!exists && !FolderExists(full)) return 0;
    size_t length = std::strlen(full);
    bool addSlash = isFolder && full[length - 1] != '/';
    if (length + addSlash > 255) return 0;
    std::memcpy(path, full, length + 1);
    if (addSlash) std::strcat(path, "/");
    return 1;
}

int GetFSSpecFromPath(const char* path, PlatformPath* out) {
    out->path[0] = '\0';
    if (!path || !AbsolutePath(path, out->path, sizeof out->path)) {
        out->path[0] = '\0';
        return 0;
    }
    return out->path[0] != '\0' && Exists(out->path, nullptr);
}

CPFile::CPFile() : fileType(kCodes[0].type), creator(kCodes[0].creator) {
    std::memset(&fileSpec, 0, sizeof fileSpec);
}

CPFile::CPFile(FSpec* file, int mode) : CPFile() { Open(file, mode); }

CPFile::~CPFile() { Close(); }

int CPFile::Open(FSpec* file, int mode) {
    Close();
    PlatformPath target;
    bool converted = CopyToMacFSSpec(&target, file) != 0;
    if (!converted && !(mode & kFileWrite)) return 0;
    // The object's own FSpec: the opened file's full path.
    if (!GetPathFromFSSpec(&target, fileSpec.name))
        std::snprintf(fileSpec.name, sizeof fileSpec.name, "%.255s", target.path);
    fileSpec.volume = kPathFormId;
    fileSpec.parent = kPathFormId;
    if (target.path[0] == '\0') return 0;
    // Checked by name first: opening a FIFO would block until a writer comes.
    if (IsOtherThanFile(target.path)) return 0;
    // Linux files carry no type or creator: they stay in this object only.
    int fd = open(target.path, OpenFlags(mode) | O_CLOEXEC | O_NONBLOCK, 0666);
    if (fd < 0 && (mode & kFileReadWrite) == 0) fd = open(target.path, O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (fd < 0) return 0;
    // And again on what was opened, in case the name changed in between.
    struct stat st;
    if (fstat(fd, &st) != 0 || !S_ISREG(st.st_mode)) {
        close(fd);
        return 0;
    }
    fcntl(fd, F_SETFL, fcntl(fd, F_GETFL) & ~O_NONBLOCK);
    fileRef = fd;
    writeFailed = false;
    return 1;
}

void CPFile::Close() {
    // Forget the descriptor so that a second close cannot hit a reused one.
    if (fileRef >= 0) close(fileRef);
    fileRef = -1;
}

long CPFile::Read(char* buffer, long count) {
    if (fileRef < 0 || !buffer || count < 0) return 0;
    long done = 0;
    while (done < count) {
        ssize_t n = read(fileRef, buffer + done, static_cast<size_t>(count - done));
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) return 0;  // an error, or the end of the file before `count` bytes
        done += n;
    }
    return done & 0xFFFF;
}

long CPFile::Write(char* buffer, long count) {
    if (fileRef < 0 || !buffer) {
        if (count > 0) writeFailed = true;
        return count;
    }
    long done = 0;
    while (done < count) {
        const size_t want = AllowedByFault(static_cast<size_t>(count - done));
        ssize_t n = want ? write(fileRef, buffer + done, want) : -1;
        if (!want) errno = ENOSPC;
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) {
            writeFailed = true;
            break;
        }
        UseFaultBytes(static_cast<size_t>(n));
        done += n;
    }
    return count;
}

int CPFile::Commit() {
    if (fileRef < 0) return 0;
    bool ok = !writeFailed && fsync(fileRef) == 0;
    ok = close(fileRef) == 0 && ok;
    fileRef = -1;
    return ok ? 1 : 0;
}

int CPFile::Seek(long offset, int origin) {
    int whence = origin == 1 ? SEEK_END : origin == 2 ? SEEK_CUR : SEEK_SET;
    if (fileRef >= 0) lseek(fileRef, offset, whence);
    return 1;
}

long CPFile::GetFileLength() {
    struct stat st;
    if (fileRef < 0 || fstat(fileRef, &st) != 0) return 0;
    return static_cast<long>(st.st_size);
}

void CPFile::SetFileNum(int reference) {
    fileRef = reference;
    writeFailed = false;
}

void CPFile::SetFileType(unsigned long code) {
    fileType = code < 3 ? kCodes[code].type : static_cast<uint32_t>(code);
}

void CPFile::SetCreatorType(unsigned long code) {
    creator = code < 3 ? kCodes[code].creator : static_cast<uint32_t>(code);
}

int CreateTempBeside(const char* path, char* temp, size_t size) {
    const int n = std::snprintf(temp, size, "%s.XXXXXX.part", path ? path : "");
    if (!path || !path[0] || n < 0 || static_cast<size_t>(n) >= size) {
        if (size) temp[0] = '\0';
        errno = ENAMETOOLONG;
        return -1;
    }
    const int fd = mkostemps(temp, 5, O_CLOEXEC);
    if (fd < 0) {
        temp[0] = '\0';
        return -1;
    }
    // mkostemps makes the file private; give it what any new file gets.
    const mode_t mask = umask(0);
    umask(mask);
    fchmod(fd, 0666 & ~mask);
    return fd;
}

int SaveFileSafely(const FSpec* fileSpec, const char* data, long count) {
    PlatformPath target;
    CopyToMacFSSpec(&target, fileSpec);  // a file about to be created still has its path
    if (target.path[0] == '\0' || !data || count < 0) return kSaveNoFile;
    char temp[sizeof target.path + 16];
    const int fd = CreateTempBeside(target.path, temp, sizeof temp);
    // A disk too full for even an empty file is a failed write, not a folder
    // that takes no files.
    if (fd < 0) return errno == ENOSPC || errno == EDQUOT || errno == EIO ? kSaveFailed : kSaveNoFile;
    // A file that is there already keeps its permissions.
    struct stat old;
    if (stat(target.path, &old) == 0 && S_ISREG(old.st_mode)) fchmod(fd, old.st_mode & 07777);

    CPFile file;
    file.SetFileNum(fd);
    file.Write(const_cast<char*>(data), count);
    bool ok = file.Commit() == 1;
    ok = ok && rename(temp, target.path) == 0;
    if (!ok) {
        const int saved = errno;
        unlink(temp);
        errno = saved;
        return kSaveFailed;
    }
    // The rename itself reaches the disk with the folder.
    char folder[sizeof target.path];
    std::snprintf(folder, sizeof folder, "%s", target.path);
    char* slash = std::strrchr(folder, '/');
    if (slash) {
        slash[slash == folder ? 1 : 0] = '\0';
        const int dir = open(folder, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        if (dir >= 0) {
            fsync(dir);
            close(dir);
        }
    }
    return kSaveDone;
}

int CopyToPascal(unsigned char* out, const char* in) {
    size_t length = in ? std::strlen(in) : 0;
    size_t copied = length < 256 ? length : 256;
    if (copied) std::memcpy(out + 1, in, copied);
    if (copied < 256) out[1 + copied] = '\0';
    out[0] = static_cast<unsigned char>(length < 255 ? length : 255);
    return out[0];
}

void CopyFromPascal(char* out, const unsigned char* in) {
    std::memcpy(out, in + 1, in[0]);
    out[in[0]] = '\0';
}

void StripFileExt(char* name) {
    if (!name) return;
    char* dot = std::strchr(name, '.');
    if (dot) *dot = '\0';
}

void StripFilePath(char* path) {
    if (!path) return;
    size_t length = strnlen(path, 1022);
    for (size_t i = length; i-- > 1;) {
        if (!IsSeparator(path[i])) continue;
        size_t rest = length - i - 1;
        std::memmove(path, path + i + 1, rest);
        path[rest] = '\0';
        return;
    }
}

void StripFileName(char* path) {
    if (!path || !path[0]) return;
    size_t i = std::strlen(path);
    while (--i > 0 && !IsSeparator(path[i])) {}
    path[i > 0 ? i + 1 : 0] = '\0';
}

int LookForFile(CPWnd* parent, FSpec* result) {
    if (!parent) {
        ErrorBox("Can't open file!", -9999);
        return 0;
    }
    if (!YesNoBox("Do you want to look for it?", "Can't Open File!")) return 0;
    FSpec start;
    std::memset(&start, 0, sizeof start);
    GetIniString("InitialFolder", "", start.name, 255);
    start.volume = static_cast<int16_t>(GetIniItem("InitialVrefnum", 0));
    start.parent = static_cast<int32_t>(GetIniItem("InitialParID", 0));
    FSpec chosen;
    std::memset(&chosen, 0, sizeof chosen);
    if (!OpenFileDialog(parent, &chosen, "All Files (*.*)|*.*|", "", &start, false)) return 0;
    std::memcpy(result, &chosen, sizeof chosen);
    char folder[sizeof chosen.name];
    std::memcpy(folder, chosen.name, sizeof folder);
    folder[sizeof folder - 1] = '\0';
    StripFileName(folder);
    SetIniItem("InitialFolder", folder);
    SetIniItem("InitialVrefnum", static_cast<long>(chosen.volume));
    SetIniItem("InitialParID", static_cast<long>(chosen.parent));
    return 1;
}
