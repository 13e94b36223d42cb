// SPDX-License-Identifier: GPL-2.0-or-later
#include "app/Music.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "app/FrameSink.h"
#include "app/Options.h"

extern char** environ;

namespace gs {

namespace {

// Runs `args` (the program by full path first) and gives back its exit status
// and what it wrote to standard output and error, the last 4 KiB of each.
bool RunCapture(std::vector<std::string> args, int& status, std::string& out, std::string& err) {
    int outPipe[2], errPipe[2];
    if (pipe2(outPipe, O_CLOEXEC) != 0) return false;
    if (pipe2(errPipe, O_CLOEXEC) != 0) {
        ::close(outPipe[0]);
        ::close(outPipe[1]);
        return false;
    }
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_adddup2(&actions, outPipe[1], 1);
    posix_spawn_file_actions_adddup2(&actions, errPipe[1], 2);
    std::vector<char*> argv;
    for (std::string& a : args) argv.push_back(a.data());
    argv.push_back(nullptr);
    pid_t child = -1;
    const int rc = posix_spawn(&child, argv[0], &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    ::close(outPipe[1]);
    ::close(errPipe[1]);
    bool ok = rc == 0;
    if (ok) {
        // ffprobe says little; ffmpeg at "-loglevel error" little more. Read
        // standard output first, then error, keeping the tails.
        for (int fd : {outPipe[0], errPipe[0]}) {
            std::string& text = fd == outPipe[0] ? out : err;
            char buffer[4096];
            for (ssize_t n; (n = ::read(fd, buffer, sizeof buffer)) != 0;) {
                if (n < 0) {
                    if (errno == EINTR) continue;
                    break;
                }
                text.append(buffer, static_cast<size_t>(n));
                if (text.size() > 8192) text.erase(0, text.size() - 4096);
            }
        }
        while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
        }
    }
    ::close(outPipe[0]);
    ::close(errPipe[0]);
    return ok;
}

std::string LastLine(std::string text) {
    while (!text.empty() && (text.back() == '\n' || text.back() == '\r' || text.back() == ' ')) text.pop_back();
    const size_t cut = text.find_last_of("\r\n");
    if (cut != std::string::npos) text.erase(0, cut + 1);
    return text.empty() ? "" : ": " + text;
}

}  // namespace

double MusicFadeSeconds(double filmSeconds) { return std::max(0.0, std::min(3.0, filmSeconds / 4)); }

bool ProbeSeconds(const std::string& path, double& seconds, std::string& error) {
    const std::string ffprobe = FindProgram("ffprobe");
    if (ffprobe.empty()) {
        error = "ffprobe was not found on PATH; install ffmpeg (Debian: apt install ffmpeg)";
        return false;
    }
    int status = 0;
    std::string out, err;
    if (!RunCapture({ffprobe, "-v", "error", "-show_entries", "format=duration", "-of",
                     "default=noprint_wrappers=1:nokey=1", path},
                    status, out, err) ||
        !WIFEXITED(status) || WEXITSTATUS(status) != 0) {
        error = "cannot read the music " + path + LastLine(err);
        return false;
    }
    char* end = nullptr;
    seconds = std::strtod(out.c_str(), &end);
    if (end == out.c_str() || !(seconds > 0)) {
        error = "the music " + path + " has no length that ffprobe can tell";
        return false;
    }
    return true;
}

bool MuxMusic(const std::string& video, const std::string& music, double filmSeconds, const std::string& output,
              std::string& error) {
    const std::string ffmpeg = FindProgram("ffmpeg");
    if (ffmpeg.empty()) {
        error = "ffmpeg was not found on PATH; install it (Debian: apt install ffmpeg)";
        return false;
    }
    const double fade = MusicFadeSeconds(filmSeconds);
    char filter[128];
    std::snprintf(filter, sizeof filter, "afade=t=out:st=%.3f:d=%.3f", filmSeconds - fade, fade);
    char length[32];
    std::snprintf(length, sizeof length, "%.3f", filmSeconds);
    const std::string ext = Extension(output);
    const std::string part = output + ".part";
    std::vector<std::string> args = {ffmpeg, "-hide_banner", "-nostdin", "-loglevel", "error", "-y",
                                     "-i", video, "-i", music, "-map", "0:v:0", "-map", "1:a:0",
                                     "-c:v", "copy", "-af", filter, "-t", length};
    if (ext == ".mov")
        args.insert(args.end(), {"-c:a", "pcm_s16le", "-f", "mov"});
    else if (ext == ".mkv")
        args.insert(args.end(), {"-c:a", "aac", "-b:a", "192k", "-f", "matroska"});
    else
        args.insert(args.end(), {"-c:a", "aac", "-b:a", "192k", "-movflags", "+faststart", "-f", "mp4"});
    args.push_back(part);
    int status = 0;
    std::string out, err;
    if (!RunCapture(args, status, out, err) || !WIFEXITED(status) || WEXITSTATUS(status) != 0) {
        ::unlink(part.c_str());
        error = "ffmpeg could not lay the music " + music + " under " + output + LastLine(err);
        return false;
    }
    if (std::rename(part.c_str(), output.c_str()) != 0) {
        error = "cannot put the video in place at " + output + ": " + std::strerror(errno);
        ::unlink(part.c_str());
        return false;
    }
    return true;
}

}  // namespace gs
