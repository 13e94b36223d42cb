// SPDX-License-Identifier: GPL-2.0-or-later
// gs_testhost: plays the compositing host for the effect module. It loads the
// module, finds its entry `main`, and sends it the host's commands in the order
// given on the command line, reporting what came back on standard output.
//
//   gs_testhost MODULE [options and commands, in order]
//
// Options hold for the commands after them:
//   --scale N          time scale (units a second), default 25
//   --step N           time step, default 1
//   --total N          total time, default 1500
//   --field N          0 whole frames, 1 upper field first, 2 lower field first
//   --size WxH         output size, default 64x48
//   --pad N            bytes of padding after each output row, default 0
//   --out DIR          folder for rendered frames, default "."
//   --no-handles       offer no handle callbacks (the module's own handles are used)
//   --no-strings       offer no string callbacks
//   --refuse-params N  answer every parameter added with error N
// Commands:
//   about  setup  params  dialog  setdown
//   load=FILE          put the bytes of FILE into a new 4096-byte sequence handle
//   save=FILE          write the bytes of the sequence handle to FILE
//   serial=N           store N as the 16-bit show serial at byte 2 of the handle
//   render=T0[..T1]    render host times T0 to T1 (current time = t x step)
//   cmd=N              send command code N with no output world
//
// Each rendered frame goes to DIR/t<T>.argb (the host's buffer exactly as the
// module left it, padding included; padding bytes start as 0xA5) and DIR/t<T>.pam
// (the picture, for viewing). Exit status 0 when every command ran.
#include <dlfcn.h>

#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "host/AE_Effect.h"

#if defined(__SANITIZE_ADDRESS__)
#include <sanitizer/lsan_interface.h>
#endif

namespace {

constexpr long kSequenceSize = 4096;
constexpr uint8_t kPaddingByte = 0xA5;

struct Options {
    A_u_long scale = 25;
    A_long step = 1;
    A_long total = 1500;
    A_long field = PF_Field_FRAME;
    int width = 64;
    int height = 48;
    int pad = 0;
    std::string out = ".";
    bool handles = true;
    bool strings = true;
    PF_Err refuseParams = PF_Err_NONE;
};

struct Counters {
    int created = 0;
    int locked = 0;
    int unlocked = 0;
    int disposed = 0;
    int paramsAdded = 0;
} gCount;

Options gOptions;

// ---- Host handles -------------------------------------------------------------
// With callbacks, a handle is a small record whose first word points at a data
// block of exactly the requested size, so that reads past its end are caught by
// the sanitizers. Without callbacks the module's own layout is used: one block,
// the data pointer, the size, then the data.
struct HostHandle {
    void* data;
    A_u_longlong size;
    int locks;
};

struct ModuleHandle {
    void* data;
    long size;
};

PF_Handle HostNewHandle(A_u_longlong size) {
    gCount.created++;
    auto* h = static_cast<HostHandle*>(std::calloc(1, sizeof(HostHandle)));
    if (!h) return nullptr;
    h->data = std::malloc(size ? size : 1);
    h->size = size;
    return &h->data;
}

void* HostLockHandle(PF_Handle handle) {
    gCount.locked++;
    auto* h = reinterpret_cast<HostHandle*>(handle);
    h->locks++;
    return h->data;
}

void HostUnlockHandle(PF_Handle handle) {
    gCount.unlocked++;
    reinterpret_cast<HostHandle*>(handle)->locks--;
}

void HostDisposeHandle(PF_Handle handle) {
    if (!handle) return;
    gCount.disposed++;
    auto* h = reinterpret_cast<HostHandle*>(handle);
    std::free(h->data);
    std::free(h);
}

A_u_longlong HostGetHandleSize(PF_Handle handle) { return reinterpret_cast<HostHandle*>(handle)->size; }

PF_Handle NewSequence(long size) {
    if (gOptions.handles) return HostNewHandle(static_cast<A_u_longlong>(size));
    auto* block = static_cast<ModuleHandle*>(std::malloc(sizeof(ModuleHandle) + static_cast<size_t>(size)));
    if (!block) return nullptr;
    block->data = block + 1;
    block->size = size;
    return &block->data;
}

long SequenceSize(PF_Handle handle) {
    if (gOptions.handles) return static_cast<long>(HostGetHandleSize(handle));
    return reinterpret_cast<ModuleHandle*>(handle)->size;
}

void DisposeSequence(PF_Handle handle) {
    if (!handle) return;
    if (gOptions.handles)
        HostDisposeHandle(handle);
    else
        std::free(handle);
}

// ---- Other callbacks ------------------------------------------------------------

PF_Err HostAddParam(PF_ProgPtr, PF_ParamIndex index, PF_ParamDefPtr def) {
    if (gOptions.refuseParams != PF_Err_NONE) return gOptions.refuseParams;
    gCount.paramsAdded++;
    const PF_SliderDef& sd = def->u.sd;
    std::printf("param: index=%d type=%d id=%d name=%s value=%d default=%d valid=%d..%d "
                "slider=%d..%d value_str=\"%s\" value_desc=\"%s\"\n",
                static_cast<int>(index), static_cast<int>(def->param_type), static_cast<int>(def->uu.id),
                def->name, static_cast<int>(sd.value), static_cast<int>(sd.dephault),
                static_cast<int>(sd.valid_min), static_cast<int>(sd.valid_max),
                static_cast<int>(sd.slider_min), static_cast<int>(sd.slider_max), sd.value_str,
                sd.value_desc);
    return PF_Err_NONE;
}

A_char* HostStrcpy(A_char* to, const A_char* from) { return std::strcpy(to, from); }

int HostSprintf(A_char* to, const A_char* format, ...) {
    va_list args;
    va_start(args, format);
    const int n = std::vsnprintf(to, PF_MAX_EFFECT_MSG_LEN + 1, format, args);
    va_end(args);
    return n;
}

// ---- Host state -------------------------------------------------------------------

struct Host {
    PF_EffectEntry entry = nullptr;
    PF_UtilCallbacks utils{};
    PF_InData in{};
    PF_OutData out{};
    PF_Handle sequence = nullptr;
    int effectRef = 0;  // any address serves as the effect reference

    void Prepare(A_long currentTime) {
        std::memset(&utils, 0, sizeof utils);
        if (gOptions.handles) {
            utils.host_new_handle = HostNewHandle;
            utils.host_lock_handle = HostLockHandle;
            utils.host_unlock_handle = HostUnlockHandle;
            utils.host_dispose_handle = HostDisposeHandle;
            utils.host_get_handle_size = HostGetHandleSize;
        }
        if (gOptions.strings) {
            utils.ansi.strcpy = HostStrcpy;
            utils.ansi.sprintf = HostSprintf;
        }
        std::memset(&in, 0, sizeof in);
        in.inter.add_param = HostAddParam;
        in.utils = &utils;
        in.effect_ref = reinterpret_cast<PF_ProgPtr>(&effectRef);
        in.quality = 1;
        in.version.major = 13;
        in.current_time = currentTime;
        in.time_step = gOptions.step;
        in.local_time_step = gOptions.step;
        in.total_time = gOptions.total;
        in.time_scale = gOptions.scale;
        in.field = gOptions.field;
        in.width = gOptions.width;
        in.height = gOptions.height;
        in.num_params = 2;
        in.sequence_data = sequence;
        // The output record keeps what the module set in earlier commands
        // except for the handle, which is the host's current one.
        out.sequence_data = sequence;
        out.return_msg[0] = 0;
    }

    PF_Err Send(PF_Cmd cmd, PF_LayerDef* world, A_long currentTime = 0) {
        Prepare(currentTime);
        PF_ParamDef input{};
        PF_ParamDef quality{};
        PF_ParamDef* params[2] = {&input, &quality};
        const PF_Err err = entry(cmd, &in, &out, params, world, nullptr);
        sequence = out.sequence_data;  // the module may have made one
        return err;
    }
};

bool ReadFile(const std::string& path, std::vector<char>& bytes) {
    FILE* f = std::fopen(path.c_str(), "rb");
    if (!f) return false;
    bytes.clear();
    char buffer[4096];
    size_t n;
    while ((n = std::fread(buffer, 1, sizeof buffer, f)) > 0) bytes.insert(bytes.end(), buffer, buffer + n);
    std::fclose(f);
    return true;
}

bool WriteFile(const std::string& path, const void* data, size_t size) {
    FILE* f = std::fopen(path.c_str(), "wb");
    if (!f) return false;
    const bool ok = std::fwrite(data, 1, size, f) == size;
    return std::fclose(f) == 0 && ok;
}

// The picture as a PAM file (RGB_ALPHA), from the host's ARGB rows.
bool WritePam(const std::string& path, const uint8_t* rows, int width, int height, long rowBytes) {
    FILE* f = std::fopen(path.c_str(), "wb");
    if (!f) return false;
    std::fprintf(f, "P7\nWIDTH %d\nHEIGHT %d\nDEPTH 4\nMAXVAL 255\nTUPLTYPE RGB_ALPHA\nENDHDR\n", width, height);
    std::vector<uint8_t> line(static_cast<size_t>(width) * 4);
    for (int y = 0; y < height; y++) {
        const uint8_t* p = rows + rowBytes * y;
        for (int x = 0; x < width; x++) {
            line[4 * x + 0] = p[4 * x + 1];
            line[4 * x + 1] = p[4 * x + 2];
            line[4 * x + 2] = p[4 * x + 3];
            line[4 * x + 3] = p[4 * x + 0];
        }
        std::fwrite(line.data(), 1, line.size(), f);
    }
    return std::fclose(f) == 0;
}

bool Render(Host& host, long first, long last) {
    const long rowBytes = static_cast<long>(gOptions.width) * 4 + gOptions.pad;
    std::vector<uint8_t> buffer(static_cast<size_t>(rowBytes) * static_cast<size_t>(gOptions.height));
    for (long t = first; t <= last; t++) {
        std::fill(buffer.begin(), buffer.end(), kPaddingByte);
        PF_LayerDef world{};
        world.data = reinterpret_cast<PF_PixelPtr>(buffer.data());
        world.rowbytes = static_cast<A_long>(rowBytes);
        world.width = gOptions.width;
        world.height = gOptions.height;
        world.extent_hint = {0, 0, gOptions.width, gOptions.height};
        const PF_Err err = host.Send(PF_Cmd_RENDER, &world, static_cast<A_long>(t * gOptions.step));
        const std::string base = gOptions.out + "/t" + std::to_string(t);
        const bool written = WriteFile(base + ".argb", buffer.data(), buffer.size()) &&
                             WritePam(base + ".pam", buffer.data(), gOptions.width, gOptions.height, rowBytes);
        std::printf("render: t=%ld err=%d file=%s.argb\n", t, static_cast<int>(err), base.c_str());
        if (!written) {
            std::fprintf(stderr, "gs_testhost: cannot write %s\n", base.c_str());
            return false;
        }
    }
    return true;
}

// "a" or "a..b".
bool ParseRange(const char* text, long& first, long& last) {
    char* end;
    first = std::strtol(text, &end, 10);
    if (end == text) return false;
    if (*end == 0) {
        last = first;
        return true;
    }
    if (std::strncmp(end, "..", 2) != 0) return false;
    const char* second = end + 2;
    last = std::strtol(second, &end, 10);
    return end != second && *end == 0;
}

bool ParseLong(const char* text, long& value) {
    char* end;
    value = std::strtol(text, &end, 10);
    return end != text && *end == 0;
}

std::string Escaped(const char* text) {
    std::string s;
    for (const char* p = text; *p; p++) {
        if (*p == '\r')
            s += "\\r";
        else if (*p == '\n')
            s += "\\n";
        else
            s += *p;
    }
    return s;
}

int Usage() {
    std::fprintf(stderr, "usage: gs_testhost MODULE [options and commands]; see tools/TestHost.cpp\n");
    return 2;
}

// Runs one option (consuming its value) or command; false on failure.
bool Step(Host& host, int argc, char** argv, int& i) {
    const std::string arg = argv[i];
    auto value = [&](long& v) {
        if (i + 1 >= argc || !ParseLong(argv[i + 1], v)) return false;
        i++;
        return true;
    };
    long v;
    if (arg == "--scale") {
        if (!value(v)) return false;
        gOptions.scale = static_cast<A_u_long>(v);
    } else if (arg == "--step") {
        if (!value(v)) return false;
        gOptions.step = static_cast<A_long>(v);
    } else if (arg == "--total") {
        if (!value(v)) return false;
        gOptions.total = static_cast<A_long>(v);
    } else if (arg == "--field") {
        if (!value(v)) return false;
        gOptions.field = static_cast<A_long>(v);
    } else if (arg == "--pad") {
        if (!value(v) || v < 0) return false;
        gOptions.pad = static_cast<int>(v);
    } else if (arg == "--refuse-params") {
        if (!value(v)) return false;
        gOptions.refuseParams = static_cast<PF_Err>(v);
    } else if (arg == "--size") {
        if (i + 1 >= argc || std::sscanf(argv[i + 1], "%dx%d", &gOptions.width, &gOptions.height) != 2 ||
            gOptions.width < 0 || gOptions.height < 0)
            return false;
        i++;
    } else if (arg == "--out") {
        if (i + 1 >= argc) return false;
        gOptions.out = argv[++i];
    } else if (arg == "--no-handles") {
        gOptions.handles = false;
    } else if (arg == "--no-strings") {
        gOptions.strings = false;
    } else if (arg == "about") {
        const PF_Err err = host.Send(PF_Cmd_ABOUT, nullptr);
        std::printf("about: err=%d text=%s\n", static_cast<int>(err), Escaped(host.out.return_msg).c_str());
    } else if (arg == "setup") {
        const PF_Err err = host.Send(PF_Cmd_GLOBAL_SETUP, nullptr);
        std::printf("setup: err=%d version=0x%x flags=0x%x\n", static_cast<int>(err),
                    static_cast<unsigned>(host.out.my_version), static_cast<unsigned>(host.out.out_flags));
    } else if (arg == "params") {
        const PF_Err err = host.Send(PF_Cmd_PARAMS_SETUP, nullptr);
        std::printf("params: err=%d num_params=%d\n", static_cast<int>(err), static_cast<int>(host.out.num_params));
    } else if (arg == "dialog") {
        const PF_Err err = host.Send(PF_Cmd_DO_DIALOG, nullptr);
        std::printf("dialog: err=%d sequence=%ld\n", static_cast<int>(err),
                    host.sequence ? SequenceSize(host.sequence) : -1L);
    } else if (arg == "setdown") {
        const PF_Err err = host.Send(PF_Cmd_GLOBAL_SETDOWN, nullptr);
        std::printf("setdown: err=%d\n", static_cast<int>(err));
    } else if (arg.rfind("load=", 0) == 0) {
        std::vector<char> bytes;
        if (!ReadFile(arg.substr(5), bytes) || static_cast<long>(bytes.size()) > kSequenceSize) return false;
        DisposeSequence(host.sequence);
        host.sequence = NewSequence(kSequenceSize);
        if (!host.sequence) return false;
        std::memset(*host.sequence, 0, kSequenceSize);
        std::memcpy(*host.sequence, bytes.data(), bytes.size());
        std::printf("load: bytes=%zu\n", bytes.size());
    } else if (arg.rfind("save=", 0) == 0) {
        if (!host.sequence) return false;
        if (!WriteFile(arg.substr(5), *host.sequence, static_cast<size_t>(SequenceSize(host.sequence))))
            return false;
        std::printf("save: bytes=%ld\n", SequenceSize(host.sequence));
    } else if (arg.rfind("serial=", 0) == 0) {
        if (!host.sequence || !ParseLong(arg.c_str() + 7, v)) return false;
        const int16_t serial = static_cast<int16_t>(v);
        std::memcpy(static_cast<char*>(*host.sequence) + 2, &serial, 2);
        std::printf("serial: %d\n", static_cast<int>(serial));
    } else if (arg.rfind("cmd=", 0) == 0) {
        if (!ParseLong(arg.c_str() + 4, v)) return false;
        const PF_Err err = host.Send(static_cast<PF_Cmd>(v), nullptr);
        std::printf("cmd: %ld err=%d\n", v, static_cast<int>(err));
    } else if (arg.rfind("render=", 0) == 0) {
        long first, last;
        if (!ParseRange(arg.c_str() + 7, first, last)) return false;
        return Render(host, first, last);
    } else {
        std::fprintf(stderr, "gs_testhost: unknown argument %s\n", arg.c_str());
        return false;
    }
    return true;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 2) return Usage();
    void* module = dlopen(argv[1], RTLD_NOW | RTLD_LOCAL);
    if (!module) {
        std::fprintf(stderr, "gs_testhost: %s\n", dlerror());
        return 1;
    }
    Host host;
    host.entry = reinterpret_cast<PF_EffectEntry>(dlsym(module, "main"));
    if (!host.entry) {
        std::fprintf(stderr, "gs_testhost: the module has no entry main\n");
        dlclose(module);
        return 1;
    }
    using Counter = long (*)();
    auto loads = reinterpret_cast<Counter>(dlsym(module, "GlimmerstrollShowLoads"));

    int status = 0;
    for (int i = 2; i < argc; i++) {
        if (!Step(host, argc, argv, i)) {
            std::fprintf(stderr, "gs_testhost: failed at %s\n", argv[i]);
            status = 1;
            break;
        }
    }
    if (loads) std::printf("show_loads: %ld\n", loads());
    std::printf("handles: new=%d lock=%d unlock=%d params_added=%d\n", gCount.created, gCount.locked,
                gCount.unlocked, gCount.paramsAdded);
    std::fflush(stdout);
    DisposeSequence(host.sequence);
#if defined(__SANITIZE_ADDRESS__)
    // Leaks are looked for while the module and the libraries it brought are
    // still loaded: what the text libraries (Pango, fontconfig) keep from
    // their start-up for the life of the process counts as reachable then,
    // and anything the module itself let go of is found all the same. After
    // the unload those libraries' blocks would have no owner left to name.
    __lsan_do_leak_check();
#endif
    dlclose(module);
    return status;
}
