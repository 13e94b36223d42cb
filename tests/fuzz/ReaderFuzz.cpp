// SPDX-License-Identifier: GPL-2.0-or-later
// Feeds arbitrary bytes to one built-in picture reader, named at build time by
// GS_FUZZ_READER (LoadBmp, LoadTga, LoadTif, LoadPsd). The bytes lie in a file
// in memory, so that no input ever reaches the platform importer or the disk.
// Any crash, overread or leak is a finding.
#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>

#include "image/CDIB.h"
#include "platform/Files.h"
#include "platform/Platform.h"

namespace {

int InputFile() {
    static const int fd = [] {
        const int made = memfd_create("gs_reader_fuzz", MFD_CLOEXEC);
        if (made < 0) std::abort();
        // Pictures of up to 64 kB (128 x 128 at 32 bits) are enough to reach
        // every branch of a reader; a header that claims more takes the
        // out-of-memory path at once instead of converting megabytes of
        // pixels for every input.
        SetMemBlockLimit(64L << 10);
        return made;
    }();
    return fd;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const int fd = InputFile();
    if (ftruncate(fd, 0) != 0 || pwrite(fd, data, size, 0) != static_cast<ssize_t>(size)) return 0;
    lseek(fd, 0, SEEK_SET);
    // The file object closes what it holds: give it a duplicate.
    CPFile file;
    file.SetFileNum(dup(fd));
    CDIB dib(8, 8, 24);
    dib.GS_FUZZ_READER(&file);
    return 0;
}
