// SPDX-License-Identifier: GPL-2.0-or-later
// libFuzzer target: the JSON form of shows. Any text must be read or refused
// with a message; what is read must make a block that reads back to the same
// show and the same JSON.
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "doc/ShowCodec.h"
#include "doc/ShowJson.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    gs::ShowDescription show;
    std::string error;
    if (!gs::ShowFromJson(text, show, error)) {
        if (error.empty()) std::abort();  // every refusal says why
        return 0;
    }
    const std::vector<char> block = gs::EncodeShow(show, show.bigEndian);
    gs::ShowDescription again;
    if (!gs::DecodeShow(block.data(), static_cast<long>(block.size()), "fuzz", again, error)) std::abort();
    const gs::ShowJsonContext context;
    if (gs::EncodeShow(again, again.bigEndian) != block) std::abort();
    gs::ShowDescription third;
    if (!gs::ShowFromJson(gs::ShowToJson(again, context), third, error)) std::abort();
    if (gs::EncodeShow(third, third.bigEndian) != block) std::abort();
    return 0;
}
