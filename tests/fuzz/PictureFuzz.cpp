// Feeds arbitrary bytes to CDIB::Load(CPFile*) as a picture file: format
// recognition, the BMP, Targa, TIFF and Photoshop readers, and the importer for
// whatever they refuse. Any crash, overread or leak is a finding.
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "image/CDIB.h"
#include "platform/Files.h"

namespace {

const std::string& InputPath() {
    static const std::string path = [] {
        std::atexit([] { std::remove(InputPath().c_str()); });
        return "/tmp/gs_picture_fuzz_" + std::to_string(getpid());
    }();
    return path;
}

bool WriteInput(const uint8_t* data, size_t size) {
    FILE* f = std::fopen(InputPath().c_str(), "wb");
    if (!f) return false;
    const bool ok = std::fwrite(data, 1, size, f) == size;
    return std::fclose(f) == 0 && ok;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (!WriteInput(data, size)) return 0;
    FSpec fileSpec;
    MakePathSpec(fileSpec, InputPath().c_str());
    CPFile file;
    if (!file.Open(&fileSpec, kFileRead)) return 0;
    CDIB dib(8, 8, 24);
    dib.Load(&file);
    return 0;
}
