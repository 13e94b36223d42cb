// SPDX-License-Identifier: GPL-2.0-or-later
#include "app/ShowCommands.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iostream>
#include <iterator>
#include <random>
#include <sstream>

#include "app/FrameSink.h"
#include "app/Options.h"
#include "app/ShowBlock.h"
#include "app/ShowInfo.h"
#include "doc/ShowJson.h"

namespace gs {

namespace {

constexpr int kExitFailed = 1;
constexpr int kExitUsage = 2;

bool ReadText(const std::string& path, std::string& text, std::string& error) {
    if (path == "-") {
        text.assign(std::istreambuf_iterator<char>(std::cin), std::istreambuf_iterator<char>());
        return true;
    }
    struct stat st;
    if (stat(path.c_str(), &st) != 0) {
        error = "cannot open " + path + ": " + std::strerror(errno);
        return false;
    }
    if (S_ISDIR(st.st_mode)) {
        error = "cannot open " + path + ": it is a folder";
        return false;
    }
    if (static_cast<size_t>(st.st_size) > 64u * kShowMaxBytes) {
        error = path + " is too large for a show";
        return false;
    }
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        error = "cannot open " + path + ": " + std::strerror(errno);
        return false;
    }
    std::ostringstream all;
    all << file.rdbuf();
    text = all.str();
    return true;
}

}  // namespace

int WriteWholeFile(const std::string& path, const std::string& bytes, bool overwrite, std::string& error) {
    struct stat st;
    if (stat(path.c_str(), &st) == 0) {
        if (S_ISDIR(st.st_mode)) {
            error = "cannot write " + path + ": it is a folder";
            return kExitFailed;
        }
        if (!overwrite) {
            error = path + " already exists; add -y to replace it";
            return kExitFailed;
        }
    }
    const std::string part = path + ".part";
    const int fd = ::open(part.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    if (fd < 0) {
        error = "cannot write " + path + ": " + std::strerror(errno);
        return kExitFailed;
    }
    const bool ok = WriteAll(fd, bytes.data(), bytes.size()) && fsync(fd) == 0;
    const int savedErrno = errno;
    ::close(fd);
    if (!ok || std::rename(part.c_str(), path.c_str()) != 0) {
        error = "cannot write " + path + ": " + std::strerror(ok ? errno : savedErrno);
        ::unlink(part.c_str());
        return kExitFailed;
    }
    return 0;
}

int RunExport(const std::string& showPath, const std::string& output, const std::string& fps, bool overwrite,
              std::string& error) {
    int32_t rate = 2500;
    if (!ParseFrameRate(fps, rate, error)) return kExitUsage;
    ShowBlock show;
    if (!ReadShowFile(showPath, show, error)) return kExitFailed;
    const std::string text = ShowInfoJson(show, showPath, rate);
    if (output.empty() || output == "-") {
        std::fwrite(text.data(), 1, text.size(), stdout);
        if (std::fflush(stdout) != 0) {
            error = "cannot write to standard output";
            return kExitFailed;
        }
        return 0;
    }
    return WriteWholeFile(output, text, overwrite, error);
}

int RunImport(const std::string& jsonPath, const std::string& output, const std::string& byteOrder, bool overwrite,
              std::string& error) {
    if (!byteOrder.empty() && byteOrder != "little" && byteOrder != "big") {
        error = "--byte-order " + byteOrder + ": expected little or big";
        return kExitUsage;
    }
    std::string text;
    if (!ReadText(jsonPath, text, error)) return kExitFailed;
    ShowDescription show;
    if (!ShowFromJson(text, show, error)) {
        error = (jsonPath == "-" ? std::string("standard input") : jsonPath) + ": " + error;
        return kExitUsage;
    }
    if (!byteOrder.empty()) show.bigEndian = byteOrder == "big";
    // Like every save, the block gets a serial of its own.
    show.serial = static_cast<uint16_t>(std::random_device{}());
    const std::vector<char> block = EncodeShow(show, show.bigEndian);
    return WriteWholeFile(output, std::string(block.begin(), block.end()), overwrite, error);
}

}  // namespace gs
