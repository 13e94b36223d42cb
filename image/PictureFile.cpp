// SPDX-License-Identifier: GPL-2.0-or-later
#include "image/PictureFile.h"

#include <algorithm>

namespace {
// Pieces small enough for CPFile::Read's 16-bit count.
constexpr long kPiece = 32768;
}  // namespace

PictureFile::PictureFile(CPFile* f) : file(f), length(f ? f->GetFileLength() : 0) {
    if (length < 0) length = 0;
    if (file) file->Seek(0, 0);
}

void PictureFile::SeekTo(long offset) {
    position = offset < 0 ? 0 : offset;
    if (file) file->Seek(position, 0);
}

void PictureFile::Skip(long count) {
    // Positions stay far from overflow: counts come from 32-bit fields.
    SeekTo(position + count);
}

bool PictureFile::Read(void* buffer, long count) {
    if (count <= 0) return true;
    if (!file || count > Remaining()) {
        // Take what is there, as the file itself would, and report the shortfall.
        ReadUpTo(buffer, count);
        return false;
    }
    char* out = static_cast<char*>(buffer);
    long done = 0;
    while (done < count) {
        const long piece = std::min(kPiece, count - done);
        if (file->Read(out + done, piece) != piece) {
            position += done;
            SeekTo(position);
            return false;
        }
        done += piece;
    }
    position += count;
    return true;
}

long PictureFile::ReadUpTo(void* buffer, long count) {
    const long n = std::min(count, Remaining());
    if (n <= 0 || !file) return 0;
    char* out = static_cast<char*>(buffer);
    long done = 0;
    while (done < n) {
        const long piece = std::min(kPiece, n - done);
        if (file->Read(out + done, piece) != piece) break;
        done += piece;
    }
    position += done;
    if (done < n) SeekTo(position);
    return done;
}
