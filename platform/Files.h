// SPDX-License-Identifier: GPL-2.0-or-later
// File names (FSpec), the portable file object, and the file-name helpers.
//
// An FSpec names a file in one of two forms:
//  - path form: volume and parent are both kPathFormId (9991) and name holds an
//    absolute path. On Linux that is a POSIX path ("/home/me/Pics/a.jpg").
//  - platform form: any other volume/parent pair with a bare or relative name.
//    Linux has no volume or directory numbers, so the name is taken relative to
//    the current working directory (an absolute name is used as it stands).
// An FSpec whose volume and parent are both 0 is empty: it names no file.
//
// Path separators: "/", "\\" and ":" are all accepted by the string helpers, so
// folders stored by any platform's settings still split correctly.
#pragma once

#include <cstddef>
#include <cstdint>

class CPWnd;

// Volume and parent of a path-form FSpec.
constexpr int16_t kPathFormId = 9991;

#pragma pack(push, 2)
// A plain 262-byte record: copied with memcpy and stored in show files.
struct FSpec {
    int16_t volume;
    int32_t parent;
    char name[256];
};
#pragma pack(pop)
static_assert(sizeof(FSpec) == 262, "FSpec is a 262-byte record");

// The platform's own way to name a file: an absolute POSIX path.
struct PlatformPath {
    char path[1024];
};

// Fills `fileSpec` in path form with `path` (cut to 255 characters). A relative path
// is made absolute against the current directory. A null path gives an empty fileSpec.
void MakePathSpec(FSpec& fileSpec, const char* path);
// True when `fileSpec` is empty (volume and parent both 0).
bool IsEmptySpec(const FSpec& fileSpec);

// FSpec -> platform path. Empty fileSpec: 0. Path form: 1 when the path exists (the
// path is written either way, so a file about to be created can still be opened
// for writing). Platform form: the name against the current directory, always 1.
int CopyToMacFSSpec(PlatformPath* out, const FSpec* in);
// Platform path -> path-form FSpec; returns the success of GetPathFromFSSpec.
int CopyFromMacFSSpec(FSpec* out, const PlatformPath* in);
// Writes the full path of `fileSpec` into `path` (256 bytes): a folder gets a
// trailing "/". 1 when the item exists or its folder does (so paths can be
// made for files about to be created); 0 otherwise or when the path does not
// fit in 255 characters (then `path` is left empty).
int GetPathFromFSSpec(const PlatformPath* fileSpec, char* path);
// Absolute form of `path` in `out`; 1 when the file exists, else 0.
int GetFSSpecFromPath(const char* path, PlatformPath* out);

// Four-character codes as stored in a 32-bit word.
constexpr uint32_t FourCC(const char (&c)[5]) {
    return (uint32_t(uint8_t(c[0])) << 24) | (uint32_t(uint8_t(c[1])) << 16) |
           (uint32_t(uint8_t(c[2])) << 8) | uint32_t(uint8_t(c[3]));
}

// Open modes: bit flags.
enum : int { kFileRead = 1, kFileWrite = 2, kFileReadWrite = 3 };

// A file opened by FSpec over a POSIX file descriptor. Opening for writing
// creates a missing file and never truncates an existing one: writing a shorter
// file over a longer one leaves the old tail. Only regular files open: a
// folder, a device or a FIFO is refused as if it were missing, so that no read
// blocks or runs for ever.
class CPFile {
public:
    CPFile();
    // Opens at once; the result is not kept (check it by other means).
    CPFile(FSpec* fileSpec, int mode);
    ~CPFile();
    CPFile(const CPFile&) = delete;
    CPFile& operator=(const CPFile&) = delete;

    // 1 when the file is open, 0 otherwise.
    int Open(FSpec* fileSpec, int mode);
    // Closing twice is harmless.
    void Close();
    // 0 on any error, including end of file before `count` bytes (the bytes that
    // were there are still read); otherwise the count modulo 65536.
    long Read(char* buffer, long count);
    // Returns `count` whatever happened; a failure is kept for WriteFailed.
    long Write(char* buffer, long count);
    // True once a write since Open failed or stopped short.
    bool WriteFailed() const { return writeFailed; }
    // Flushes what was written to the disk and closes the file: 1 when every
    // write, the flush and the close succeeded, else 0.
    int Commit();
    // origin 0 start, 1 end, 2 current position; anything else is 0. Returns 1.
    int Seek(long offset, int origin);
    long GetFileLength();
    // Adopts an already open file descriptor.
    void SetFileNum(int reference);
    // 0 show file, 1 Targa picture, 2 "GSXS"; any other value is the code itself.
    void SetFileType(unsigned long code);
    // 0 the program, 1 the picture viewer, 2 "KVLP"; any other value is the code.
    void SetCreatorType(unsigned long code);

    uint32_t GetFileType() const { return fileType; }
    uint32_t GetCreatorType() const { return creator; }
    int GetFileNum() const { return fileRef; }
    // After Open: the opened file in path form.
    FSpec* GetFSpec() { return &fileSpec; }

private:
    int fileRef = -1;  // file descriptor, -1 when none is open
    bool writeFailed = false;
    uint32_t fileType;
    uint32_t creator;
    FSpec fileSpec;
};

// Creates a new, empty file beside `path` under a name that cannot be anyone
// else's: `path` with a random part and ".part" added ("show.gsx.k3Xq9a.part"),
// made exclusively with the permissions a new file gets. Its name goes to
// `temp` (`size` bytes); returns its descriptor, or -1 with errno set.
int CreateTempBeside(const char* path, char* temp, size_t size);

// Results of SaveFileSafely.
enum : int {
    kSaveDone = 1,
    kSaveFailed = 0,   // writing, flushing or renaming failed (or the disk is full):
                       // the old file is as it was
    kSaveNoFile = -1,  // the folder takes no new file (missing, not writable)
};
// Replaces the content of the file that `fileSpec` names with `count` bytes of
// `data`, in one step: the bytes go to a temporary file beside it, which is
// flushed to disk and renamed over the old file. Whatever fails, the old file
// stays as it was and the temporary is removed.
int SaveFileSafely(const FSpec* fileSpec, const char* data, long count);

// For tests: once `bytes` more bytes have been written through CPFile, every
// further write fails as on a full disk (ENOSPC). Negative: never (the default).
void SetWriteFaultAfter(long bytes);

// Length-prefixed strings. `out` holds 257 bytes; returns the length byte
// (the string's length, at most 255).
int CopyToPascal(unsigned char* out, const char* in);
// `out` holds 256 bytes.
void CopyFromPascal(char* out, const unsigned char* in);

// Cuts at the first "." (a.b.jpg becomes a).
void StripFileExt(char* name);
// Keeps what follows the last separator at position 1 or later (the first
// 1022 characters are considered); without one the string is kept whole.
void StripFilePath(char* path);
// Keeps the folder with its trailing separator; empty when there is none at
// position 1 or later.
void StripFileName(char* path);

// Lets the user find a file that could not be opened; 1 with `result` filled
// when a file was chosen. The chosen folder is remembered in the settings.
int LookForFile(CPWnd* parent, FSpec* result);
