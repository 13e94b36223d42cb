#include "app/Session.h"

#include <cmath>
#include <cstring>

#include "doc/CDoc.h"

namespace gs {

namespace {

constexpr int32_t kLetterBoxMode = 5626;  // "AspectMode" of "LetterBox 16:9"

}  // namespace

bool PutShow(CDoc& doc, const ShowBlock& show, std::string& error) {
    // LoadShow cuts the show at the document's length: give it the show's own.
    doc.showLength = static_cast<int32_t>(show.DefaultLength());
    std::vector<char> block = show.bytes;  // LoadShow reads a mutable block
    if (!doc.LoadShow(nullptr, block.data(), false)) {
        error = "the document refused the show";
        return false;
    }
    return true;
}

void FitCamera(CDoc& doc, int width, int height, AspectChoice choice) {
    switch (choice) {
    case AspectChoice::FourThree:
        doc.aspect = 0.75f;
        doc.aspectMode = 7500;
        return;
    case AspectChoice::SixteenNine:
        doc.aspect = 0.5625f;
        doc.aspectMode = 5625;
        return;
    case AspectChoice::LetterBox:
        doc.aspect = 0.75f;
        doc.aspectMode = kLetterBoxMode;
        return;
    case AspectChoice::FollowFrame:
        break;
    }
    doc.aspect = static_cast<float>(height) / static_cast<float>(width);
    // The raw mode only tells the renderer whether to letterbox; a frame whose
    // shape happens to round to the letterbox value must not get bars.
    int32_t mode = static_cast<int32_t>(std::lround(doc.aspect * 10000.0f));
    if (mode == kLetterBoxMode) mode = kLetterBoxMode - 1;
    doc.aspectMode = mode;
}

void WorkImageToRGBA(CDIB& work, int width, int height, uint8_t* rgba) {
    for (int r = 0; r < height; r++) {
        // Storage rows run bottom-up: the picture's top row is the last one.
        const uint8_t* src = work.GetBitsAdd(height - 1 - r);
        uint8_t* dst = rgba + static_cast<size_t>(r) * width * 4;
        for (int x = 0; x < width; x++) {
            dst[0] = src[2];
            dst[1] = src[1];
            dst[2] = src[0];
            dst[3] = 0xFF;
            src += 4;
            dst += 4;
        }
    }
}

bool RenderRGBA(CDoc& doc, long frame, int fieldMode, int width, int height, CDIB& work,
                uint8_t* rgba) {
    if (!work.Create(width, height, 32)) return false;
    // The renderer may leave pixels outside the camera's view alone: start
    // every frame from black so that no earlier frame shows through.
    std::memset(work.GetBitsAdd(0), 0, static_cast<size_t>(work.GetRowBytes() * height));
    if (frame < 0) frame = 0;
    if (!doc.RenderFrame(frame, fieldMode, fieldMode != 2, width, height, &work, false)) return false;
    WorkImageToRGBA(work, width, height, rgba);
    return true;
}

}  // namespace gs
