// SPDX-License-Identifier: GPL-2.0-or-later
// Storing decoded picture rows into a buffer's bottom-up 24-bit rows with an
// EXIF orientation applied. Shared by the JPEG reader and the codec module,
// which sees no CDIB: it gets the rows as a base pointer and a row length.
#pragma once

#include <cstdint>

// Where a picture goes: storage row 0 (the bottom row) and the row length.
struct PictureRows {
    uint8_t* bits;
    long rowBytes;
};

// Stores source rows y0..y1-1 of a w x h picture (`chunk`, top-down, `channels`
// bytes a pixel) into `rows` as shown under EXIF orientation `o` (1 to 8); the
// rows are already made at the shown size. `store(in, out)` writes one pixel's
// three bytes blue, green, red from the source pixel at `in`.
template <typename Store>
void PlaceRows(const PictureRows& rows, const uint8_t* chunk, long y0, long y1, long w, long h, int channels, int o,
               Store store) {
    const long srcRow = w * channels;
    const long shownH = o >= 5 ? w : h;
    // Top-down shown row y lives in storage row shownH - 1 - y.
    auto shownRow = [&](long y) { return rows.bits + rows.rowBytes * (shownH - 1 - y); };
    if (o < 5) {
        // Source rows stay rows, mirrored left to right (2, 3) and/or top to
        // bottom (3, 4).
        const bool mirrorX = o == 2 || o == 3, mirrorY = o == 3 || o == 4;
        for (long sy = y0; sy < y1; ++sy) {
            const uint8_t* in = chunk + (sy - y0) * srcRow;
            uint8_t* out = shownRow(mirrorY ? h - 1 - sy : sy);
            if (mirrorX) {
                for (long sx = 0; sx < w; ++sx) store(in + sx * channels, out + 3 * (w - 1 - sx));
            } else {
                for (long sx = 0; sx < w; ++sx) store(in + sx * channels, out + 3 * sx);
            }
        }
        return;
    }
    // Quarter turns: source columns become shown rows (sx -> y, sy -> x). The
    // chunk's rows are walked across for each column, so that the writes run
    // along one shown row while the chunk stays in the cache.
    const bool flipRows = o == 7 || o == 8;  // shown y = w - 1 - sx
    const bool flipCols = o == 6 || o == 7;  // shown x = h - 1 - sy
    for (long sx = 0; sx < w; ++sx) {
        uint8_t* out = shownRow(flipRows ? w - 1 - sx : sx);
        const uint8_t* in = chunk + sx * channels;
        for (long sy = y0; sy < y1; ++sy, in += srcRow) store(in, out + 3 * (flipCols ? h - 1 - sy : sy));
    }
}
