// SPDX-License-Identifier: GPL-2.0-or-later
// Helpers every test suite may use: a scratch folder, reading a file whole,
// running a shell command with its output captured, waiting on a child.
#pragma once

#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <thread>
#include <vector>

// A fresh folder under /tmp for one test, removed with everything in it.
struct ScratchFolder {
    std::string path;
    explicit ScratchFolder(const char* prefix = "gs_test") {
        std::string pattern = std::string("/tmp/") + prefix + "_XXXXXX";
        if (mkdtemp(pattern.data())) path = pattern;
    }
    ~ScratchFolder() {
        std::error_code ec;
        if (!path.empty()) std::filesystem::remove_all(path, ec);
    }
    ScratchFolder(const ScratchFolder&) = delete;
    ScratchFolder& operator=(const ScratchFolder&) = delete;
    std::string operator/(const std::string& name) const { return path + "/" + name; }
    // Names in the folder, sorted.
    std::vector<std::string> List() const {
        std::vector<std::string> names;
        for (const auto& e : std::filesystem::directory_iterator(path)) names.push_back(e.path().filename().string());
        std::sort(names.begin(), names.end());
        return names;
    }
};

template <class T = char>
std::vector<T> ReadBytes(const std::filesystem::path& path) {
    std::ifstream in(path, std::ios::binary);
    return std::vector<T>(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

inline std::string ReadFile(const std::filesystem::path& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

// Runs `command` through the shell; its standard output, and its exit status
// (-1 when it did not exit) in `status`.
inline std::string Capture(const std::string& command, int* status = nullptr) {
    std::string out;
    FILE* pipe = popen(command.c_str(), "r");
    if (!pipe) {
        if (status) *status = -1;
        return out;
    }
    char buffer[512];
    size_t n;
    while ((n = std::fread(buffer, 1, sizeof buffer, pipe)) > 0) out.append(buffer, n);
    const int code = pclose(pipe);
    if (status) *status = WIFEXITED(code) ? WEXITSTATUS(code) : -1;
    return out;
}

// The same with standard error folded into the output.
inline std::string Shell(const std::string& command, int* status = nullptr) {
    return Capture(command + " 2>&1", status);
}

// Waits up to `seconds` for the child `pid` to end: its exit status (and
// `pid` set to -1), or -1 while it still runs.
inline int WaitChild(pid_t& pid, int seconds) {
    for (int i = 0; i < seconds * 10; ++i) {
        int status = 0;
        if (waitpid(pid, &status, WNOHANG) == pid) {
            pid = -1;
            return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
    return -1;
}

#ifdef GS_BINARY_DIR
// The start of a test host command line: gs_testhost loading the effect
// `module` and writing its files into `out`; the host's commands follow.
inline std::string TestHostCommand(const std::string& out,
                                   const std::string& module = std::string(GS_BINARY_DIR) + "/effect/Glimmerstroll.so") {
    std::string line = "'" GS_BINARY_DIR "/tools/gs_testhost' '";
    return line.append(module).append("' --out '").append(out).append("' ");
}
#endif
