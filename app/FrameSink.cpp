// SPDX-License-Identifier: GPL-2.0-or-later
#include "app/FrameSink.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>


#include "image/CDIB.h"
#include "image/CodecModule.h"
#include "platform/Files.h"

extern char** environ;

namespace gs {

namespace {

// CDIB::Save format codes.
constexpr int kWriteBmp = 0;
constexpr int kWriteTarga = 1;

std::string SysError(const std::string& what, const std::string& path) {
    return what + " " + path + ": " + std::strerror(errno);
}

bool Exists(const std::string& path) {
    struct stat st;
    return lstat(path.c_str(), &st) == 0;
}

bool IsFolder(const std::string& path) {
    struct stat st;
    return stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

// Creates a new temporary file beside `target` (see CreateTempBeside): its
// name goes to `part`, and it proves that `output`, written through it, can be
// written. Returns its descriptor, or -1 with the reason in `error`.
int CreatePart(const std::string& target, const std::string& output, std::string& part, std::string& error) {
    std::vector<char> name(target.size() + 32);
    const int fd = CreateTempBeside(target.c_str(), name.data(), name.size());
    if (fd < 0) {
        error = SysError("cannot write", output);
        return -1;
    }
    part = name.data();
    return fd;
}

// `path` as an absolute path.
std::string Absolute(const std::string& path) {
    if (!path.empty() && path[0] == '/') return path;
    char cwd[4096];
    return getcwd(cwd, sizeof cwd) ? std::string(cwd) + "/" + path : path;
}

// Makes the missing folders on the way to `path` (not `path` itself), adding
// each one made to `made`, parents first. False with a reason.
bool MakeFoldersFor(const std::string& path, std::vector<std::string>& made, std::string& error) {
    for (size_t at = path.find('/', 1); at != std::string::npos; at = path.find('/', at + 1)) {
        const std::string folder = path.substr(0, at);
        if (mkdir(folder.c_str(), 0755) == 0) {
            made.push_back(folder);
        } else if (errno != EEXIST) {
            error = SysError("cannot make folder", folder);
            return false;
        }
    }
    return true;
}

// Removes the folders that MakeFoldersFor made, deepest first, where they are
// still empty.
void RemoveMadeFolders(std::vector<std::string>& made) {
    for (auto folder = made.rbegin(); folder != made.rend(); ++folder) ::rmdir(folder->c_str());
    made.clear();
}

// ---- Video through ffmpeg ----------------------------------------------------

class VideoSink final : public FrameSink {
public:
    VideoSink(const OutputTarget& target, const SinkFormat& format)
        : target_(target), format_(format) {}
    ~VideoSink() override { Abandon(); }

    bool Open(std::string& error) override {
        if (!CheckEncoding(target_.video, format_.encoding, error)) return false;
        const bool h264 = ChosenCodec(target_.video, format_.encoding) != "prores";
        if (h264 && (format_.width % 2 || format_.height % 2)) {
            error = "H.264 in yuv420p needs an even width and height, not " + std::to_string(format_.width) +
                    "x" + std::to_string(format_.height) + "; choose another --size or write pictures";
            return false;
        }
        if (!h264 && format_.width % 2) {
            error = "ProRes 422 needs an even width, not " + std::to_string(format_.width) +
                    "; choose another --size or write pictures";
            return false;
        }
        if (IsFolder(target_.path)) {
            error = "cannot write " + target_.path + ": it is a folder";
            return false;
        }
        if (!format_.overwrite && Exists(target_.path)) {
            error = target_.path + " already exists; add -y to replace it";
            return false;
        }
        const std::string ffmpeg = FindProgram("ffmpeg");
        if (ffmpeg.empty()) {
            error = "ffmpeg was not found on PATH; install it (Debian: apt install ffmpeg) "
                    "or write pictures instead, e.g. -o frames/f_%05d.png";
            return false;
        }
        const std::string encoder = EncoderName(target_.video, format_.encoding);
        if (!format_.encoding.hwaccel.empty() && !FfmpegHasEncoder(ffmpeg, encoder)) {
            error = "--hwaccel " + format_.encoding.hwaccel + ": this ffmpeg offers no " + encoder + " encoder";
            return false;
        }
        const int partFd = CreatePart(target_.path, target_.path, part_, error);
        if (partFd < 0) return false;
        ::close(partFd);
        created_ = true;

        // ffmpeg's messages go to a file of their own; a pipe could fill up while
        // this side is blocked writing frames.
        std::string logName = TempFolder() + "/glimmerstroll-ffmpeg-XXXXXX";
        logFd_ = mkstemp(logName.data());
        if (logFd_ < 0) {
            error = SysError("cannot make a temporary file in", TempFolder());
            return false;
        }
        ::unlink(logName.c_str());

        int pipeFds[2];
        if (pipe2(pipeFds, O_CLOEXEC) != 0) {
            error = std::string("cannot start ffmpeg: ") + std::strerror(errno);
            return false;
        }
        const std::string size = std::to_string(format_.width) + "x" + std::to_string(format_.height);
        // Frames arrive as the renderer's work rows, bottom row first: vflip
        // only turns ffmpeg's row pointers round.
        std::vector<std::string> args = {ffmpeg, "-hide_banner", "-nostdin", "-loglevel", "error", "-y"};
        for (const std::string& a : DeviceArgs(format_.encoding)) args.push_back(a);
        args.insert(args.end(), {
            "-f", "rawvideo", "-pix_fmt", "bgra", "-video_size", size,
            "-framerate", FrameRateRatio(format_.frameRate), "-i", "pipe:0", "-an",
            // The frames are full-range RGB; state the HD matrix for the YUV form.
            "-vf", "vflip,scale=out_color_matrix=bt709:out_range=tv" + UploadFilter(format_.encoding),
            "-colorspace", "bt709", "-color_primaries", "bt709", "-color_trc", "bt709",
            "-color_range", "tv"});
        for (const std::string& a : EncoderArgs(target_.video, format_.encoding)) args.push_back(a);
        // As a file URL of the absolute path: ffmpeg reads no protocol
        // ("pipe:", "file:") or option ("-x") into the name then.
        args.push_back("file:" + Absolute(part_));

        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_adddup2(&actions, pipeFds[0], 0);
        posix_spawn_file_actions_addopen(&actions, 1, "/dev/null", O_WRONLY, 0);
        posix_spawn_file_actions_adddup2(&actions, logFd_, 2);
        std::vector<char*> argv;
        for (std::string& a : args) argv.push_back(a.data());
        argv.push_back(nullptr);
        const int rc = posix_spawn(&child_, ffmpeg.c_str(), &actions, nullptr, argv.data(), environ);
        posix_spawn_file_actions_destroy(&actions);
        ::close(pipeFds[0]);
        if (rc != 0) {
            ::close(pipeFds[1]);
            child_ = -1;
            error = "cannot start " + ffmpeg + ": " + std::strerror(rc);
            return false;
        }
        pipe_ = pipeFds[1];
        // A frame goes in a few large writes rather than many of 64 KiB.
        fcntl(pipe_, F_SETPIPE_SZ, 1 << 20);
        return true;
    }

    bool TakesWorkRows() const override { return true; }

    bool Write(long frame, const uint8_t* rgba, std::string& error) override {
        // RGBA top row first into the work rows' order.
        const size_t w = static_cast<size_t>(format_.width), h = static_cast<size_t>(format_.height);
        rows_.resize(w * h * 4);
        for (size_t r = 0; r < h; r++) {
            const uint8_t* src = rgba + (h - 1 - r) * w * 4;
            uint8_t* dst = rows_.data() + r * w * 4;
            for (size_t x = 0; x < w * 4; x += 4) {
                dst[x] = src[x + 2];
                dst[x + 1] = src[x + 1];
                dst[x + 2] = src[x];
                dst[x + 3] = src[x + 3];
            }
        }
        return WriteWorkRows(frame, rows_.data(), error);
    }

    bool WriteWorkRows(long, const uint8_t* rows, std::string& error) override {
        const size_t bytes = static_cast<size_t>(format_.width) * format_.height * 4;
        if (pipe_ >= 0 && WriteAll(pipe_, rows, bytes)) return true;
        ::close(pipe_);
        pipe_ = -1;
        Wait();
        error = "ffmpeg stopped before the render ended" + FfmpegSays();
        return false;
    }

    bool Finish(std::string& error) override {
        ::close(pipe_);
        pipe_ = -1;
        const int status = Wait();
        if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) {
            error = "ffmpeg could not write " + target_.path + FfmpegSays();
            return false;
        }
        if (std::rename(part_.c_str(), target_.path.c_str()) != 0) {
            error = SysError("cannot put the video in place at", target_.path);
            return false;
        }
        created_ = false;
        return true;
    }

    void Abandon() override {
        if (pipe_ >= 0) {
            ::close(pipe_);
            pipe_ = -1;
        }
        if (child_ > 0) {
            kill(child_, SIGTERM);
            Wait();
        }
        if (created_) {
            ::unlink(part_.c_str());
            created_ = false;
        }
        if (logFd_ >= 0) {
            ::close(logFd_);
            logFd_ = -1;
        }
    }

    std::string Describe() const override { return target_.path; }

    void DescribeExit(ExitCleanup& cleanup) const override {
        cleanup = ExitCleanup{};
        cleanup.child = child_ > 0 ? static_cast<int>(child_) : -1;
        if (created_ && part_.size() < sizeof cleanup.removeFile)
            std::memcpy(cleanup.removeFile, part_.c_str(), part_.size() + 1);
    }

private:
    std::vector<uint8_t> rows_;  // a frame given as RGBA, in the work rows' order
    int Wait() {
        int status = 0;
        if (child_ > 0) {
            while (waitpid(child_, &status, 0) < 0 && errno == EINTR) {
            }
            child_ = -1;
            lastStatus_ = status;
        }
        return lastStatus_;
    }

    // ": <ffmpeg's last message line>", or empty.
    std::string FfmpegSays() {
        if (logFd_ < 0) return "";
        char text[4096];
        const off_t end = lseek(logFd_, 0, SEEK_END);
        const off_t from = end > static_cast<off_t>(sizeof text - 1) ? end - static_cast<off_t>(sizeof text - 1) : 0;
        const ssize_t n = pread(logFd_, text, sizeof text - 1, from);
        if (n <= 0) return "";
        std::string all(text, static_cast<size_t>(n));
        while (!all.empty() && (all.back() == '\n' || all.back() == '\r' || all.back() == ' ')) all.pop_back();
        const size_t cut = all.find_last_of("\r\n");
        if (cut != std::string::npos) all.erase(0, cut + 1);
        return all.empty() ? "" : ": " + all;
    }

    OutputTarget target_;
    SinkFormat format_;
    std::string part_;
    bool created_ = false;
    int pipe_ = -1;
    int logFd_ = -1;
    pid_t child_ = -1;
    int lastStatus_ = 0;
};

// ---- One picture a frame -----------------------------------------------------

class SequenceSink final : public FrameSink {
public:
    SequenceSink(const OutputTarget& target, const SinkFormat& format)
        : target_(target), format_(format), picture_(1, 1, 24) {}
    ~SequenceSink() override { Abandon(); }

    bool Open(std::string& error) override {
        for (long frame = format_.first; !format_.overwrite && frame <= format_.last; frame++) {
            const std::string path = FormatFramePath(target_.path, frame);
            if (Exists(path)) {
                error = path + " already exists; add -y to replace the pictures";
                return false;
            }
        }
        // Prove that the folder takes files before the first frame is drawn;
        // the folders of the pattern are made when they are missing.
        const std::string first = FormatFramePath(target_.path, format_.first);
        std::string probe;
        if (!MakeFoldersFor(first, madeFolders_, error)) {
            RemoveMadeFolders(madeFolders_);
            return false;
        }
        const int probeFd = CreatePart(first, first, probe, error);
        if (probeFd < 0) {
            RemoveMadeFolders(madeFolders_);
            return false;
        }
        ::close(probeFd);
        ::unlink(probe.c_str());
        if (!picture_.Create(format_.width, format_.height, 24)) {
            error = "not enough memory for a " + std::to_string(format_.width) + "x" +
                    std::to_string(format_.height) + " picture";
            return false;
        }
        return true;
    }

    bool Write(long frame, const uint8_t* rgba, std::string& error) override {
        const std::string path = FormatFramePath(target_.path, frame);
        if (IsFolder(path)) {
            error = "cannot write " + path + ": it is a folder";
            return false;
        }
        std::string part;
        const int fd = CreatePart(path, path, part, error);
        if (fd < 0) return false;
        written_.push_back({path, part});  // before writing, so that Abandon removes a half file
        bool ok = target_.picture == PictureFormat::Png ? (::close(fd), WritePng(part, rgba, error))
                                                        : WriteOwn(fd, part, rgba, error);
        return ok;
    }

    bool Finish(std::string& error) override {
        for (size_t i = 0; i < written_.size(); i++) {
            if (std::rename(written_[i].part.c_str(), written_[i].path.c_str()) != 0) {
                error = SysError("cannot put the picture in place at", written_[i].path);
                written_.erase(written_.begin(), written_.begin() + static_cast<long>(i));
                return false;
            }
        }
        written_.clear();
        madeFolders_.clear();
        return true;
    }

    void Abandon() override {
        for (const Written& w : written_) ::unlink(w.part.c_str());
        written_.clear();
        RemoveMadeFolders(madeFolders_);
    }

    std::string Describe() const override { return target_.path; }

private:
    // Targa and BMP through the program's own writers, from a 24-bit picture.
    bool WriteOwn(int fd, const std::string& part, const uint8_t* rgba, std::string& error) {
        const int w = format_.width;
        const int h = format_.height;
        for (int r = 0; r < h; r++) {
            const uint8_t* src = rgba + static_cast<size_t>(r) * w * 4;
            uint8_t* dst = picture_.GetBitsAdd(h - 1 - r);
            for (int x = 0; x < w; x++, src += 4, dst += 3) {
                dst[0] = src[2];
                dst[1] = src[1];
                dst[2] = src[0];
            }
        }
        CPFile file;
        file.SetFileNum(fd);  // the file object closes it
        const bool targa = target_.picture == PictureFormat::Targa;
        const bool saved = picture_.Save(&file, targa ? kWriteTarga : kWriteBmp) != 0;
        const int syncFailed = fsync(fd);
        struct stat st;
        const bool stat_ok = fstat(fd, &st) == 0;
        file.Close();
        const long expected = targa ? 18 + 3L * w * h : 54 + picture_.GetRowBytes() * h;
        if (!saved || syncFailed || !stat_ok || st.st_size != expected) {
            error = "cannot write " + part + (syncFailed ? std::string(": ") + std::strerror(errno) : ": short write");
            return false;
        }
        return true;
    }

    bool WritePng(const std::string& part, const uint8_t* rgba, std::string& error) {
        const int w = format_.width;
        const int h = format_.height;
        rgb_.resize(static_cast<size_t>(w) * h * 3);
        for (size_t i = 0, n = static_cast<size_t>(w) * h; i < n; i++) {
            rgb_[3 * i] = rgba[4 * i];
            rgb_[3 * i + 1] = rgba[4 * i + 1];
            rgb_[3 * i + 2] = rgba[4 * i + 2];
        }
        std::string missing;
        const GsCodecTable* codecs = CodecModule(&missing);
        if (!codecs) {
            error = "cannot write PNG pictures: " + missing;
            return false;
        }
        char why[512] = "";
        if (!codecs->writePng(part.c_str(), w, h, rgb_.data(), why, sizeof why)) {
            error = why;
            return false;
        }
        return true;
    }

    OutputTarget target_;
    SinkFormat format_;
    CDIB picture_;
    std::vector<uint8_t> rgb_;
    struct Written {
        std::string path;  // where the picture goes
        std::string part;  // the temporary file this run made for it
    };
    std::vector<Written> written_;
    std::vector<std::string> madeFolders_;  // folders of the pattern that Open made
};

// ---- Raw RGBA on standard output ---------------------------------------------

class RawSink final : public FrameSink {
public:
    explicit RawSink(const SinkFormat& format) : format_(format) {}

    bool Open(std::string& error) override {
        if (isatty(1)) {
            error = "refusing to write raw frames to a terminal; pipe them into another program";
            return false;
        }
        return true;
    }

    bool Write(long, const uint8_t* rgba, std::string& error) override {
        if (WriteAll(1, rgba, static_cast<size_t>(format_.width) * format_.height * 4)) return true;
        error = std::string("cannot write to standard output: ") + std::strerror(errno);
        return false;
    }

    bool Finish(std::string&) override { return true; }
    void Abandon() override {}
    std::string Describe() const override { return "standard output"; }

private:
    SinkFormat format_;
};

}  // namespace

bool WriteAll(int fd, const void* bytes, size_t size) {
    const auto* data = static_cast<const uint8_t*>(bytes);
    while (size > 0) {
        const ssize_t n = ::write(fd, data, size);
        if (n < 0) {
            if (errno == EINTR) continue;
            return false;
        }
        data += n;
        size -= static_cast<size_t>(n);
    }
    return true;
}

std::string TempFolder() {
    const char* folder = std::getenv("TMPDIR");
    std::string path = folder && folder[0] ? folder : "/tmp";
    while (path.size() > 1 && path.back() == '/') path.pop_back();
    return path;
}

std::string FindProgram(const std::string& name) {
    if (name.find('/') != std::string::npos) return access(name.c_str(), X_OK) == 0 ? name : "";
    const char* path = std::getenv("PATH");
    if (!path) return "";
    std::string all = path;
    size_t start = 0;
    while (start <= all.size()) {
        size_t end = all.find(':', start);
        if (end == std::string::npos) end = all.size();
        // An empty entry is the current folder.
        std::string candidate = end > start ? all.substr(start, end - start) : std::string(1, '.');
        candidate.push_back('/');
        candidate.append(name);
        struct stat st;
        if (stat(candidate.c_str(), &st) == 0 && S_ISREG(st.st_mode) && access(candidate.c_str(), X_OK) == 0)
            return candidate;
        start = end + 1;
    }
    return "";
}

std::unique_ptr<FrameSink> MakeFrameSink(const OutputTarget& target, const SinkFormat& format) {
    switch (target.kind) {
    case OutputKind::Video: return std::make_unique<VideoSink>(target, format);
    case OutputKind::Sequence: return std::make_unique<SequenceSink>(target, format);
    case OutputKind::Raw: return std::make_unique<RawSink>(format);
    }
    return nullptr;
}

}  // namespace gs
