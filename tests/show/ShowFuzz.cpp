// SPDX-License-Identifier: GPL-2.0-or-later
// libFuzzer target: CDoc::LoadShow on arbitrary bytes, then a save of whatever
// was loaded. Any block must be read or refused without touching memory
// outside it.
//
// The picture reference inside a block is opaque to the format; the harness
// points it at a file that does not exist, so that fuzzing never opens real
// files (a block naming a device could block the run).
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <vector>

#include "doc/CDoc.h"
#include "platform/Env.h"
#include "platform/Files.h"
#include "platform/Platform.h"
#include "platform/Settings.h"

namespace {

CDoc* Document() {
    static CDoc* doc = [] {
        std::snprintf(gEnv.programName, sizeof gEnv.programName, "Glimmerstroll");
        std::snprintf(gIniString, sizeof gIniString, "[Glimmerstroll]\r\nShowPicError=0\r\nRescaleShow=1\r\n");
        // The missing-picture image and its preparation are no part of the
        // block: with no memory for pictures each input is the block alone.
        SetMemBlockLimit(4096);
        return new CDoc;
    }();
    return doc;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    CDoc* doc = Document();
    std::vector<char> block(data, data + size);
    constexpr size_t kSpecAt = 8;
    if (block.size() >= kSpecAt + sizeof(FSpec)) {
        FSpec missing;
        MakePathSpec(missing, "/nonexistent/glimmerstroll-fuzz.tga");
        std::memcpy(block.data() + kSpecAt, &missing, sizeof missing);
    }
    if (doc->LoadShow(nullptr, block.data(), false, static_cast<long>(block.size()))) {
        std::vector<char> out(static_cast<size_t>(doc->SaveShow(nullptr, nullptr)));
        doc->SaveShow(nullptr, out.data(), static_cast<long>(out.size()));
    }
    return 0;
}
