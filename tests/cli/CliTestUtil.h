// SPDX-License-Identifier: GPL-2.0-or-later
// Helpers for the tests that run the glimmerstroll tool and the frei0r hosts:
// a temporary folder, running a program with its output captured, a small test
// picture and show written through the program's own document and writers.
#pragma once

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "app/Demo.h"
#include "app/FrameSink.h"
#include "doc/CDoc.h"
#include "image/CDIB.h"
#include "motion/Interp.h"
#include "platform/Files.h"
#include "tests/common/TestKit.h"

extern char** environ;

namespace gstest {

inline std::string ToolPath() { return std::string(GS_BINARY_DIR) + "/bin/glimmerstroll"; }
inline std::string PluginFolder() { return std::string(GS_BINARY_DIR) + "/frei0r-1"; }

using TempDir = ScratchFolder;
using ::ReadFile;

inline bool Exists(const std::string& path) {
    struct stat st;
    return stat(path.c_str(), &st) == 0;
}

struct RunResult {
    int exitCode = -1;  // the exit status, or 128 + signal
    std::string out;
    std::string err;
};

// Starts `argv` with standard output and error going to files in `dir`, and
// `env` ("NAME=value") added to (or replacing in) this process's environment.
class Process {
public:
    Process(const std::vector<std::string>& argv, const std::string& dir, const std::vector<std::string>& env = {})
        : outPath_(dir + "/.stdout"), errPath_(dir + "/.stderr") {
        std::vector<std::string> vars;
        for (char** e = environ; *e; e++) {
            const std::string var = *e;
            bool replaced = false;
            for (const std::string& mine : env)
                if (var.substr(0, var.find('=') + 1) == mine.substr(0, mine.find('=') + 1)) replaced = true;
            if (!replaced) vars.push_back(var);
        }
        vars.insert(vars.end(), env.begin(), env.end());
        std::vector<char*> envp;
        for (std::string& v : vars) envp.push_back(v.data());
        envp.push_back(nullptr);
        std::vector<std::string> args = argv;
        std::vector<char*> argp;
        for (std::string& a : args) argp.push_back(a.data());
        argp.push_back(nullptr);

        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
        posix_spawn_file_actions_addopen(&actions, 1, outPath_.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
        posix_spawn_file_actions_addopen(&actions, 2, errPath_.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
        if (posix_spawnp(&pid_, argp[0], &actions, nullptr, argp.data(), envp.data()) != 0) pid_ = -1;
        posix_spawn_file_actions_destroy(&actions);
    }

    pid_t Pid() const { return pid_; }

    // Waits at most `seconds`; a program that is still running then is killed
    // and reported with exit code -2, so that a hanging host fails its test
    // instead of stopping the run.
    RunResult Wait(int seconds = 180) {
        RunResult r;
        int status = 0;
        for (int waited = 0; pid_ > 0; waited += 20) {
            const pid_t done = waitpid(pid_, &status, WNOHANG);
            if (done == pid_) {
                r.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
                break;
            }
            if (done < 0) break;
            if (waited >= seconds * 1000) {
                kill(pid_, SIGKILL);
                waitpid(pid_, &status, 0);
                r.exitCode = -2;
                break;
            }
            usleep(20000);
        }
        pid_ = -1;
        r.out = ReadFile(outPath_);
        r.err = ReadFile(errPath_);
        if (r.exitCode == -2) r.err += "\n(killed after " + std::to_string(seconds) + " s)";
        std::remove(outPath_.c_str());
        std::remove(errPath_.c_str());
        return r;
    }

private:
    std::string outPath_;
    std::string errPath_;
    pid_t pid_ = -1;
};

inline RunResult RunProgram(const std::vector<std::string>& argv, const std::string& dir,
                     const std::vector<std::string>& env = {}) {
    return Process(argv, dir, env).Wait();
}

// Lines of `text` (without their line ends).
inline std::vector<std::string> Lines(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) lines.push_back(line);
    return lines;
}

inline bool HaveProgram(const char* name) { return !gs::FindProgram(name).empty(); }

// A picture with detail everywhere (gradients and a checker), 24 bits.
inline void DrawTestPicture(CDIB& picture, int width, int height) {
    picture.Create(width, height, 24);
    for (int y = 0; y < height; y++) {
        uint8_t* row = picture.GetBitsAdd(height - 1 - y);
        for (int x = 0; x < width; x++) {
            const bool check = ((x / 8) + (y / 8)) % 2 == 0;
            row[3 * x] = static_cast<uint8_t>(255 * y / height);        // blue
            row[3 * x + 1] = static_cast<uint8_t>(check ? 200 : 40);    // green
            row[3 * x + 2] = static_cast<uint8_t>(255 * x / width);     // red
        }
    }
}

struct TestKey {
    int frame;
    float x, y, width, roll;
};

// Writes `picturePath` (a Targa of width x height) and a show over it with
// `keys` (at least two), `length` frames long (0: no saved length), the
// picture starting at frame `start`, through the program's own document and
// writers.
inline void WriteTestShow(const std::string& showPath, const std::string& picturePath, int width, int height,
                          const std::vector<TestKey>& keys, long length, float start = 0) {
    CDIB picture(1, 1, 24);
    DrawTestPicture(picture, width, height);
    std::string error;
    if (!gs::WriteTarga(picture, picturePath, error)) throw std::runtime_error(error);

    CDoc doc;
    doc.ClearShow();
    MakePathSpec(doc.pictureFile[0], picturePath.c_str());
    doc.pictureCount = 1;
    for (size_t i = 0; i < keys.size(); i++) {
        KeyStruct k;
        KeyIdentity(k);
        k.horizontalPos = keys[i].x;
        k.verticalPos = keys[i].y;
        k.width = keys[i].width;
        k.rotation3 = keys[i].roll;
        k.time = keys[i].frame;
        doc.keys[0][i] = k;
    }
    doc.keyCount[0] = static_cast<int32_t>(keys.size());
    doc.keys[0][0].picStart = start;
    doc.showLength = static_cast<int32_t>(length);
    if (!gs::WriteShowFile(doc, showPath, error)) throw std::runtime_error(error);
}

// The standard test show: a 160 x 90 picture, 25 frames, a zoom with a roll
// and a pan.
inline void WriteStandardShow(const TempDir& dir, const std::string& name = "show") {
    WriteTestShow(dir / (name + ".gsx"), dir / (name + "-picture.tga"), 160, 90,
                  {{0, 80, 45, 160, 0}, {10, 60, 40, 80, 8}, {20, 100, 50, 120, 0}}, 25);
}

// Reads a picture file with the program's own readers (and its importer for
// PNG) and compares it with an RGBA frame, top row first.
inline void ExpectPictureEquals(const std::string& path, const uint8_t* rgba, int w, int h) {
    FSpec fileSpec;
    MakePathSpec(fileSpec, path.c_str());
    CPFile file;
    ASSERT_TRUE(file.Open(&fileSpec, kFileRead)) << path;
    CDIB picture(1, 1, 24);
    ASSERT_EQ(picture.Load(&file), 0) << path;
    ASSERT_EQ(picture.GetWid(), w) << path;
    ASSERT_EQ(picture.GetHgt(), h) << path;
    const int bytes = picture.GetBitCount() / 8;
    for (int y = 0; y < h; y++) {
        const uint8_t* row = picture.GetBitsAdd(h - 1 - y);
        for (int x = 0; x < w; x++) {
            const uint8_t* want = rgba + (static_cast<size_t>(y) * w + x) * 4;
            const uint8_t* got = row + bytes * x;
            ASSERT_TRUE(got[2] == want[0] && got[1] == want[1] && got[0] == want[2])
                << path << " differs at " << x << "," << y;
        }
    }
}

inline void ExpectPictureEquals(const std::string& path, const std::vector<uint8_t>& rgba, int w, int h) {
    ExpectPictureEquals(path, rgba.data(), w, h);
}

}  // namespace gstest
