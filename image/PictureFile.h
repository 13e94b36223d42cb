// SPDX-License-Identifier: GPL-2.0-or-later
// Reading side of the picture readers: a CPFile with its length and the current
// position kept beside it, so that every read can be bounded by what the file
// still holds. CPFile::Read reports its count modulo 65536, so large reads are
// made in pieces whose result can be trusted.
#pragma once

#include "platform/Files.h"

class PictureFile {
public:
    explicit PictureFile(CPFile* file);

    long Length() const { return length; }
    long Position() const { return position; }
    // Bytes between the position and the end of the file (0 past the end).
    long Remaining() const { return position < length ? length - position : 0; }

    // Moves to `offset` from the start of the file; a negative offset is 0.
    void SeekTo(long offset);
    // Moves `count` bytes on from the position.
    void Skip(long count);

    // Reads exactly `count` bytes; false when the file ends first (the bytes
    // that were there are read) or reports an error. A count of 0 is true.
    bool Read(void* buffer, long count);
    // Reads min(count, Remaining()) bytes and returns how many were read.
    long ReadUpTo(void* buffer, long count);

private:
    CPFile* file;
    long length;
    long position = 0;
};
