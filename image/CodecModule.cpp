// SPDX-License-Identifier: GPL-2.0-or-later
// Finding and loading the codec module. It is looked for relative to the
// program or plug-in that holds this code, so that an installed tree, an
// unpacked package and the build tree each find their own:
//   <prefix>/bin/glimmerstroll           -> <prefix>/lib/[<arch>/]glimmerstroll/
//   <prefix>/lib/[<arch>/]frei0r-1/*.so  -> ../glimmerstroll/
//   <prefix>/lib/glimmerstroll/*.so      -> the same folder
//   <prefix>/libexec/glimmerstroll/*     -> <prefix>/lib/[<arch>/]glimmerstroll/
//   build/bin, build/frei0r-1, build/effect, build/tests/<suite>
//                                        -> build/glimmerstroll/
// and last in the folder it was installed to.
#include "image/CodecModule.h"

#include <dlfcn.h>

#include <string>
#include <vector>

#ifndef GS_CODEC_MODULE_FILE
#define GS_CODEC_MODULE_FILE "glimmerstroll-codecs.so"
#endif
#ifndef GS_CODEC_INSTALL_DIR
#define GS_CODEC_INSTALL_DIR "/usr/lib/glimmerstroll"
#endif
#ifndef GS_LIBRARY_ARCH
#define GS_LIBRARY_ARCH ""
#endif

namespace {

// The folder of the loaded object (program or shared module) that holds this
// function; empty when the loader cannot say.
std::string OwnFolder() {
    Dl_info info{};
    if (!dladdr(reinterpret_cast<void*>(&OwnFolder), &info) || !info.dli_fname) return {};
    const std::string file = info.dli_fname;
    const size_t slash = file.find_last_of('/');
    return slash == std::string::npos ? std::string(".") : file.substr(0, slash);
}

std::vector<std::string> Candidates() {
    std::vector<std::string> folders;
    const std::string own = OwnFolder();
    if (!own.empty()) {
        const std::string arch = GS_LIBRARY_ARCH;
        folders.push_back(own);
        folders.push_back(own + "/../glimmerstroll");
        folders.push_back(own + "/../lib/glimmerstroll");
        if (!arch.empty()) folders.push_back(own + "/../lib/" + arch + "/glimmerstroll");
        folders.push_back(own + "/../../glimmerstroll");
        folders.push_back(own + "/../../lib/glimmerstroll");
        if (!arch.empty()) folders.push_back(own + "/../../lib/" + arch + "/glimmerstroll");
    }
    folders.push_back(GS_CODEC_INSTALL_DIR);
    return folders;
}

struct Loaded {
    const GsCodecTable* table = nullptr;
    std::string why;
};

Loaded Load() {
    Loaded result;
    std::string tried;
    for (const std::string& folder : Candidates()) {
        const std::string path = folder + "/" GS_CODEC_MODULE_FILE;
        void* module = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
        if (!module) {
            const char* error = dlerror();
            // A module that is there but does not load says more than the
            // folders where there is none.
            if (error && std::string(error).find("No such file") == std::string::npos) {
                result.why = error;
                return result;
            }
            tried += (tried.empty() ? "" : ", ") + folder;
            continue;
        }
        using Entry = const GsCodecTable* (*)();
        auto entry = reinterpret_cast<Entry>(dlsym(module, "GsCodecModuleTable"));
        const GsCodecTable* table = entry ? entry() : nullptr;
        if (!table || table->abi != kGsCodecAbi) {
            result.why = path + " is not this version's codec module";
            dlclose(module);
            return result;
        }
        result.table = table;  // stays loaded for the life of the process
        return result;
    }
    result.why = "the codec module " GS_CODEC_MODULE_FILE " is not in " + tried;
    return result;
}

}  // namespace

const GsCodecTable* CodecModule(std::string* why) {
    static const Loaded loaded = Load();
    if (!loaded.table && why) *why = loaded.why;
    return loaded.table;
}
