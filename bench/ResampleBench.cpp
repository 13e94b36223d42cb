// SPDX-License-Identifier: GPL-2.0-or-later
// Side-by-side benchmark of the camera resampler against ffmpeg's zoompan.
//
//   gs_resample_bench [--work DIR] [--frames N]
//
// One run measures, on the same job (1920x1080 frames from a 5120x2880 24-bit
// photograph-like picture, the camera zooming from the full width to half the
// width while drifting):
//   - speed: FilterCropMulti at quality 100 with the worker off and on, at
//     quality 0, FilterRot at quality 100 with a 5 degree roll, and zoompan
//     producing the same frames to a null output (minus the time ffmpeg takes to
//     start, decode the still and make the first frame);
//   - smoothness: a Gaussian dot on flat grey under a slow pan of 0.37 x 0.11
//     source pixels a frame at half scale; the mean absolute frame-to-frame
//     change of the dot's velocity;
//   - accuracy: PSNR against an exact area average computed in double precision.
// and prints one table.
#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fstream>
#include <functional>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "image/CDIB.h"
#include "platform/Env.h"
#include "platform/Worker.h"

namespace {

constexpr int kPicW = 5120, kPicH = 2880;
constexpr int kOutW = 1920, kOutH = 1080;
constexpr int kDotW = 1920, kDotH = 1080;  // dot picture; camera 1280 x 720 onto 640 x 360
constexpr int kDotOutW = 640, kDotOutH = 360;
constexpr double kDotX0 = 298.0, kDotY0 = 170.0;
constexpr double kPanX = 0.37, kPanY = 0.11;
constexpr double kDotSigma = 6.0;  // source pixels

using Clock = std::chrono::steady_clock;

double Seconds(Clock::time_point a, Clock::time_point b) { return std::chrono::duration<double>(b - a).count(); }

// Camera of frame i, in top-down picture coordinates.
struct Cam {
    double left, top, width, height;
};

Cam ZoomCamera(int i, int frames) {
    const double t = frames > 1 ? double(i) / (frames - 1) : 0.0;
    const double zoom = 1.0 + t;
    const double w = kPicW / zoom, h = kPicH / zoom;
    return Cam{(kPicW - w) * (0.25 + 0.5 * t), (kPicH - h) * (0.7 - 0.4 * t), w, h};
}

std::string ZoompanFilter(int frames) {
    const int last = std::max(1, frames - 1);
    char text[400];
    std::snprintf(text, sizeof text,
                  "zoompan=z='1+on/%d':x='(iw-iw/zoom)*(0.25+0.5*on/%d)':y='(ih-ih/zoom)*(0.7-0.4*on/%d)'"
                  ":d=%d:s=%dx%d",
                  last, last, last, frames, kOutW, kOutH);
    return text;
}

Cam DotCamera(int i) { return Cam{kDotX0 + kPanX * i, kDotY0 + kPanY * i, 1280.0, 720.0}; }

std::string DotFilter(int frames) {
    char text[300];
    std::snprintf(text, sizeof text, "zoompan=z=1.5:x='%g+%g*on':y='%g+%g*on':d=%d:s=%dx%d", kDotX0, kPanX, kDotY0,
                  kPanY, frames, kDotOutW, kDotOutH);
    return text;
}

// Draws the camera with FilterCropMulti (or FilterRot when the picture rotates).
bool Draw(CDIB& dest, CDIB& pic, const Cam& cam, int quality, float angle) {
    const float bottom = float(pic.GetHgt() - cam.top - cam.height);
    return dest.FilterCropMulti(&pic, float(cam.left), bottom, float(cam.width), float(cam.height), angle, 0, 0,
                                quality, 0);
}

// ------------------------------------------------------------------ pictures

// A photograph-like picture with detail at every scale: "dead leaves" (discs
// with radii spread as r^-3, so every octave covers as much as any other, with
// shading and soft edges), a fine grain of value noise and sensor noise.
// Pixels are stored top-down, red green blue.
std::vector<uint8_t> MakePhoto(int w, int h, unsigned seed) {
    std::vector<float> img(size_t(w) * h * 3);
    std::mt19937 rng(seed);
    std::uniform_real_distribution<float> unit(0.0f, 1.0f);
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
            float* p = &img[(size_t(y) * w + x) * 3];
            p[0] = 90 + 60.0f * y / h, p[1] = 120 + 40.0f * x / w, p[2] = 170 - 50.0f * y / h;
        }
    const double rMin = 1.5, rMax = 900.0;
    const double a = 1.0 / (rMin * rMin), b = 1.0 / (rMax * rMax);
    const long discs = long(4.0 * w * h / (2 * M_PI * rMin * rMin * std::log(rMax / rMin)));
    for (long n = 0; n < discs; ++n) {
        const double r = 1.0 / std::sqrt(a - unit(rng) * (a - b));
        const double cx = unit(rng) * w, cy = unit(rng) * h;
        // Earthy, sky and foliage colours; a gentle light gradient across each disc.
        const float hue = unit(rng);
        const float base[3] = {40 + 180 * unit(rng) * (0.6f + 0.4f * hue), 40 + 170 * unit(rng),
                               30 + 150 * unit(rng) * (1.0f - 0.5f * hue)};
        const float gx = (unit(rng) - 0.5f) * 60.0f / float(r), gy = (unit(rng) - 0.5f) * 60.0f / float(r);
        const int x0 = std::max(0, int(cx - r - 1)), x1 = std::min(w - 1, int(cx + r + 1));
        const int y0 = std::max(0, int(cy - r - 1)), y1 = std::min(h - 1, int(cy + r + 1));
        for (int y = y0; y <= y1; ++y)
            for (int x = x0; x <= x1; ++x) {
                const double dx = x + 0.5 - cx, dy = y + 0.5 - cy;
                const double cover = std::clamp(r + 0.5 - std::sqrt(dx * dx + dy * dy), 0.0, 1.0);
                if (cover <= 0) continue;
                float* p = &img[(size_t(y) * w + x) * 3];
                const float shade = float(gx * dx + gy * dy);
                for (int k = 0; k < 3; ++k) p[k] += float(cover) * (base[k] + shade - p[k]);
            }
    }
    // Fine texture: two octaves of value noise, then grain.
    std::vector<float> lattice(size_t(w / 2 + 2) * (h / 2 + 2));
    for (float& v : lattice) v = unit(rng) - 0.5f;
    std::normal_distribution<float> grain(0.0f, 1.5f);
    std::vector<uint8_t> out(size_t(w) * h * 3);
    const int lw = w / 2 + 2;
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
            const float fx = x * 0.5f, fy = y * 0.5f;
            const int ix = int(fx), iy = int(fy);
            const float tx = fx - ix, ty = fy - iy;
            const float v = (lattice[size_t(iy) * lw + ix] * (1 - tx) + lattice[size_t(iy) * lw + ix + 1] * tx) * (1 - ty) +
                            (lattice[size_t(iy + 1) * lw + ix] * (1 - tx) + lattice[size_t(iy + 1) * lw + ix + 1] * tx) * ty;
            const float n = 14.0f * v + grain(rng);
            for (int k = 0; k < 3; ++k) {
                const float value = img[(size_t(y) * w + x) * 3 + k] + n;
                out[(size_t(y) * w + x) * 3 + k] = uint8_t(std::clamp(std::lround(value), 0L, 255L));
            }
        }
    return out;
}

std::vector<uint8_t> MakeDot(int w, int h) {
    std::vector<uint8_t> out(size_t(w) * h);
    const double cx = 960.3, cy = 530.7, sigma = kDotSigma;
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
            const double r2 = (x + 0.5 - cx) * (x + 0.5 - cx) + (y + 0.5 - cy) * (y + 0.5 - cy);
            out[size_t(y) * w + x] = uint8_t(std::lround(40 + 200 * std::exp(-r2 / (2 * sigma * sigma))));
        }
    return out;
}

// Top-down RGB (3 channels) or grey (1) into a 24-bit CDIB (bottom-up, BGR).
void ToDIB(const std::vector<uint8_t>& px, int channels, CDIB& dib) {
    const int w = int(dib.GetWid()), h = int(dib.GetHgt());
    for (int y = 0; y < h; ++y) {
        uint8_t* row = dib.GetBitsAdd(h - 1 - y);
        for (int x = 0; x < w; ++x) {
            const uint8_t* p = &px[(size_t(y) * w + x) * channels];
            row[x * 3 + 0] = channels == 3 ? p[2] : p[0];
            row[x * 3 + 1] = channels == 3 ? p[1] : p[0];
            row[x * 3 + 2] = p[0];
        }
    }
}

bool WritePnm(const std::string& path, const std::vector<uint8_t>& px, int w, int h, int channels) {
    std::ofstream f(path, std::ios::binary);
    f << (channels == 3 ? "P6\n" : "P5\n") << w << " " << h << "\n255\n";
    f.write(reinterpret_cast<const char*>(px.data()), std::streamsize(px.size()));
    return bool(f);
}

// ------------------------------------------------------------------ ffmpeg

bool HaveFfmpeg() { return std::system("ffmpeg -hide_banner -loglevel error -version >/dev/null 2>&1") == 0; }

double TimeCommand(const std::string& command) {
    const auto start = Clock::now();
    const int rc = std::system(command.c_str());
    const auto end = Clock::now();
    return rc == 0 ? Seconds(start, end) : -1.0;
}

// Reads `frames` raw frames of `bytes` each from the command's output.
bool ReadFrames(const std::string& command, size_t bytes, int frames,
                const std::function<void(int, const uint8_t*)>& use) {
    FILE* pipe = popen(command.c_str(), "r");
    if (!pipe) return false;
    std::vector<uint8_t> frame(bytes);
    int i = 0;
    for (; i < frames; ++i) {
        if (std::fread(frame.data(), 1, bytes, pipe) != bytes) break;
        use(i, frame.data());
    }
    const int rc = pclose(pipe);
    return i == frames && rc == 0;
}

// ------------------------------------------------------------------ measures

// Dot tracker: a centroid weighted by a Gaussian window that follows the dot
// (re-centred until it settles), over the dot's rise above the background (the
// median of a ring well outside the dot). The window keeps the quantisation
// noise of the flat surroundings out of the measure.
struct Tracker {
    double x = -1, y = -1;
    std::vector<double> xs, ys;
    void Add(const std::function<int(int, int)>& at, int w, int h) {
        if (x < 0) {  // start at the brightest pixel
            int best = -1;
            for (int yy = 0; yy < h; ++yy)
                for (int xx = 0; xx < w; ++xx)
                    if (at(xx, yy) > best) best = at(xx, yy), x = xx, y = yy;
        }
        const int r = 24;
        std::vector<int> ring;
        for (int yy = int(y) - r; yy <= int(y) + r; ++yy)
            for (int xx = int(x) - r; xx <= int(x) + r; ++xx)
                if (xx >= 0 && yy >= 0 && xx < w && yy < h && std::hypot(xx - x, yy - y) > r - 3) ring.push_back(at(xx, yy));
        std::nth_element(ring.begin(), ring.begin() + long(ring.size() / 2), ring.end());
        const double background = ring[ring.size() / 2];
        const double spread = kDotSigma / 2;  // the dot's sigma on the output: a matched window
        for (int pass = 0; pass < 30; ++pass) {
            double sum = 0, sx = 0, sy = 0;
            for (int yy = std::max(0, int(y) - r); yy <= std::min(h - 1, int(y) + r); ++yy)
                for (int xx = std::max(0, int(x) - r); xx <= std::min(w - 1, int(x) + r); ++xx) {
                    const double d2 = (xx - x) * (xx - x) + (yy - y) * (yy - y);
                    const double v = (at(xx, yy) - background) * std::exp(-d2 / (2 * spread * spread));
                    sum += v, sx += v * xx, sy += v * yy;
                }
            if (sum <= 0) break;
            const double nx = sx / sum, ny = sy / sum;
            const bool settled = std::hypot(nx - x, ny - y) < 1e-7;
            x = nx, y = ny;
            if (settled) break;
        }
        xs.push_back(x), ys.push_back(y);
    }
    // Mean |v(i+1) - v(i)| over the track, v(i) = p(i+1) - p(i).
    double Jerk() const {
        double total = 0;
        int n = 0;
        for (size_t i = 0; i + 2 < xs.size(); ++i) {
            const double ax = xs[i + 2] - 2 * xs[i + 1] + xs[i];
            const double ay = ys[i + 2] - 2 * ys[i + 1] + ys[i];
            total += std::hypot(ax, ay), ++n;
        }
        return n ? total / n : 0;
    }
};

// Exact area average of the picture over each output pixel's footprint, in
// double precision. Pixel k of a row covers [k, k + 1); the footprint of output
// pixel (c, d) is [x, x + sx + widen) x [y, y + sy) with x = left + c sx and
// y = bottom + d sy in bottom-up rows. widen 0 is the camera's own pixel grid;
// widen 1 is the footprint the area filter is defined to average (its span
// reaches one pixel further right).
class ExactReference {
public:
    explicit ExactReference(CDIB& pic) : pic_(pic), w_(int(pic.GetWid())), h_(int(pic.GetHgt())) {}

    // Fills `out` (w x h x 3, bottom-up rows, BGR) for the camera.
    void Render(const Cam& cam, double widen, int w, int h, std::vector<double>& out) {
        const double sx = cam.width / w, sy = cam.height / h;
        const double left = cam.left, bottom = h_ - cam.top - cam.height;
        out.assign(size_t(w) * h * 3, 0.0);
        rows_.clear();
        first_ = 0;
        std::vector<double> acc(size_t(w) * 3);
        for (int d = 0; d < h; ++d) {
            const double y0 = std::max(0.0, bottom + sy * d), y1 = std::min(double(h_), bottom + sy * (d + 1));
            std::fill(acc.begin(), acc.end(), 0.0);
            double covered = 0;
            for (int r = int(std::floor(y0)); r < y1 && r < h_; ++r) {
                const double part = std::min(r + 1.0, y1) - std::max(double(r), y0);
                if (part <= 0) continue;
                const std::vector<double>& line = Row(r, left, sx, widen, w);
                for (size_t i = 0; i < acc.size(); ++i) acc[i] += part * line[i];
                covered += part;
            }
            if (covered > 0)
                for (size_t i = 0; i < acc.size(); ++i) out[size_t(d) * w * 3 + i] = acc[i] / covered;
        }
    }

private:
    // The horizontal averages of source row r, made once per camera.
    const std::vector<double>& Row(int r, double left, double sx, double widen, int w) {
        while (!rows_.empty() && first_ + int(rows_.size()) <= r) {
            if (rows_.size() > 64) rows_.erase(rows_.begin()), ++first_;
            else break;
        }
        if (rows_.empty()) first_ = r;
        while (first_ + int(rows_.size()) <= r) rows_.push_back(MakeRow(first_ + int(rows_.size()), left, sx, widen, w));
        return rows_[size_t(r - first_)];
    }

    std::vector<double> MakeRow(int r, double left, double sx, double widen, int w) {
        const uint8_t* row = pic_.GetBitsAdd(r);
        std::vector<double> prefix(size_t(w_ + 1) * 3, 0.0);
        for (int x = 0; x < w_; ++x)
            for (int k = 0; k < 3; ++k) prefix[size_t(x + 1) * 3 + k] = prefix[size_t(x) * 3 + k] + row[x * 3 + k];
        auto integral = [&](double x, int k) {  // integral of channel k over [0, x)
            x = std::clamp(x, 0.0, double(w_));
            const int i = std::min(int(x), w_ - 1);
            return prefix[size_t(i) * 3 + k] + (x - i) * row[i * 3 + k];
        };
        std::vector<double> line(size_t(w) * 3);
        for (int c = 0; c < w; ++c) {
            const double x0 = std::max(0.0, left + sx * c), x1 = std::min(double(w_), left + sx * (c + 1) + widen);
            for (int k = 0; k < 3; ++k)
                line[size_t(c) * 3 + k] = x1 > x0 ? (integral(x1, k) - integral(x0, k)) / (x1 - x0) : 0.0;
        }
        return line;
    }

    CDIB& pic_;
    int w_, h_;
    int first_ = 0;
    std::vector<std::vector<double>> rows_;
};

double Psnr(double squares, double count) {
    return squares > 0 ? 10.0 * std::log10(255.0 * 255.0 / (squares / count)) : INFINITY;
}

std::string Machine() {
    std::string model = "unknown CPU";
    std::ifstream info("/proc/cpuinfo");
    for (std::string line; std::getline(info, line);)
        if (line.rfind("model name", 0) == 0) {
            model = line.substr(line.find(':') + 2);
            break;
        }
    return model + ", " + std::to_string(std::thread::hardware_concurrency()) + " processors";
}

}  // namespace

int main(int argc, char** argv) {
    std::string work = "bench-work";
    int frames = 120;
    for (int i = 1; i + 1 < argc; ++i) {
        if (!std::strcmp(argv[i], "--work")) work = argv[++i];
        else if (!std::strcmp(argv[i], "--frames")) frames = std::max(3, std::atoi(argv[++i]));
    }
    std::system(("mkdir -p '" + work + "'").c_str());
    const std::string picPath = work + "/picture.ppm", dotPath = work + "/dot.pgm";

    std::fprintf(stderr, "making the %dx%d picture...\n", kPicW, kPicH);
    const std::vector<uint8_t> photo = MakePhoto(kPicW, kPicH, 20240521);
    CDIB pic(kPicW, kPicH, 24), out(kOutW, kOutH, 32);
    ToDIB(photo, 3, pic);
    const std::vector<uint8_t> dot = MakeDot(kDotW, kDotH);
    CDIB dotPic(kDotW, kDotH, 24), dotOut(kDotOutW, kDotOutH, 32);
    ToDIB(dot, 1, dotPic);
    if (!WritePnm(picPath, photo, kPicW, kPicH, 3) || !WritePnm(dotPath, dot, kDotW, kDotH, 1)) {
        std::fprintf(stderr, "cannot write the pictures under %s\n", work.c_str());
        return 1;
    }

    // ---- speed: best of three runs of all the frames
    const bool worker = StartMP() == 1;
    gCanMultiProcess = worker ? 1 : 0;
    auto timeOurs = [&](int quality, int multi, float angle) {
        gMultiProcess = multi;
        pic.useRotation = angle != 0.0f;
        double best = 1e30;
        for (int run = 0; run < 3; ++run) {
            Draw(out, pic, ZoomCamera(0, frames), quality, angle);  // warm the caches and the worker
            const auto start = Clock::now();
            for (int i = 0; i < frames; ++i) Draw(out, pic, ZoomCamera(i, frames), quality, angle);
            best = std::min(best, Seconds(start, Clock::now()));
        }
        pic.useRotation = 0;
        gMultiProcess = 0;
        return frames / best;
    };
    std::fprintf(stderr, "timing the resampler...\n");
    const double fpsQ100 = timeOurs(100, 0, 0);
    const double fpsQ100mp = worker ? timeOurs(100, 1, 0) : NAN;
    const double fpsQ0 = timeOurs(0, 0, 0);
    const double fpsRot = timeOurs(100, 0, 5.0f);

    const bool ffmpeg = HaveFfmpeg();
    double zoompanFps = NAN, zoompanTotal = NAN, zoompanFirst = NAN, decode = NAN;
    if (ffmpeg) {
        std::fprintf(stderr, "timing zoompan...\n");
        auto zoom = [&](int count) {
            return "ffmpeg -hide_banner -loglevel error -nostdin -loop 1 -i '" + picPath + "' -vf \"" +
                   ZoompanFilter(frames) + "\" -frames:v " + std::to_string(count) + " -f null -";
        };
        const std::string still = "ffmpeg -hide_banner -loglevel error -nostdin -i '" + picPath +
                                  "' -frames:v 1 -f null -";
        zoompanTotal = zoompanFirst = decode = 1e30;
        for (int run = 0; run < 3; ++run) {
            zoompanTotal = std::min(zoompanTotal, TimeCommand(zoom(frames)));
            zoompanFirst = std::min(zoompanFirst, TimeCommand(zoom(1)));
            decode = std::min(decode, TimeCommand(still));
        }
        // Start-up, decoding the still and the first frame are the same command
        // stopped after one frame; the other frames take the rest of the time.
        if (zoompanTotal > 0 && zoompanFirst > 0)
            zoompanFps = (frames - 1) / std::max(1e-3, zoompanTotal - zoompanFirst);
    }

    // ---- smoothness
    std::fprintf(stderr, "tracking the dot...\n");
    Tracker oursTrack, zoomTrack;
    for (int i = 0; i < frames; ++i) {
        Draw(dotOut, dotPic, DotCamera(i), 100, 0);
        oursTrack.Add([&](int x, int y) { return int(dotOut.GetBitsAdd(kDotOutH - 1 - y)[x * 4]); }, kDotOutW,
                      kDotOutH);
    }
    bool zoomTracked = false;
    if (ffmpeg) {
        const std::string cmd = "ffmpeg -hide_banner -loglevel error -nostdin -loop 1 -i '" + dotPath + "' -vf \"" +
                                DotFilter(frames) + "\" -frames:v " + std::to_string(frames) +
                                " -f rawvideo -pix_fmt gray -";
        zoomTracked = ReadFrames(cmd, size_t(kDotOutW) * kDotOutH, frames, [&](int, const uint8_t* f) {
            zoomTrack.Add([&](int x, int y) { return int(f[size_t(y) * kDotOutW + x]); }, kDotOutW, kDotOutH);
        });
    }

    // ---- accuracy: ours and zoompan's frames against the same references
    std::fprintf(stderr, "comparing with the exact area average...\n");
    ExactReference exact(pic);
    std::vector<double> cameraRef, footprintRef;
    double oursCamera = 0, oursFootprint = 0, zoomCamera = 0, count = 0;
    FILE* zoomFrames = nullptr;
    if (ffmpeg) {
        const std::string cmd = "ffmpeg -hide_banner -loglevel error -nostdin -loop 1 -i '" + picPath + "' -vf \"" +
                                ZoompanFilter(frames) + "\" -frames:v " + std::to_string(frames) +
                                " -f rawvideo -pix_fmt rgb24 -";
        zoomFrames = popen(cmd.c_str(), "r");
    }
    std::vector<uint8_t> zoomFrame(size_t(kOutW) * kOutH * 3);
    bool zoomCompared = zoomFrames != nullptr;
    for (int i = 0; i < frames; ++i) {
        const Cam cam = ZoomCamera(i, frames);
        exact.Render(cam, 0.0, kOutW, kOutH, cameraRef);
        exact.Render(cam, 1.0, kOutW, kOutH, footprintRef);
        Draw(out, pic, cam, 100, 0);
        for (int d = 0; d < kOutH; ++d) {
            const uint8_t* line = out.GetBitsAdd(d);
            for (int c = 0; c < kOutW; ++c)
                for (int k = 0; k < 3; ++k) {
                    const size_t at = (size_t(d) * kOutW + c) * 3 + k;
                    const double e0 = line[c * 4 + k] - cameraRef[at], e1 = line[c * 4 + k] - footprintRef[at];
                    oursCamera += e0 * e0, oursFootprint += e1 * e1;
                }
        }
        if (zoomCompared && std::fread(zoomFrame.data(), 1, zoomFrame.size(), zoomFrames) == zoomFrame.size()) {
            // zoompan's rows are top-down, red green blue.
            for (int y = 0; y < kOutH; ++y)
                for (int x = 0; x < kOutW; ++x)
                    for (int k = 0; k < 3; ++k) {
                        const double e = zoomFrame[(size_t(y) * kOutW + x) * 3 + (2 - k)] -
                                         cameraRef[(size_t(kOutH - 1 - y) * kOutW + x) * 3 + k];
                        zoomCamera += e * e;
                    }
        } else {
            zoomCompared = false;
        }
        count += double(kOutW) * kOutH * 3;
        std::fprintf(stderr, "\r  frame %d/%d", i + 1, frames);
    }
    std::fprintf(stderr, "\n");
    if (zoomFrames && pclose(zoomFrames) != 0) zoomCompared = false;
    CloseMP();
    gCanMultiProcess = 0;

    // ---- the table
    char date[32];
    const std::time_t now = std::time(nullptr);
    std::strftime(date, sizeof date, "%Y-%m-%d", std::localtime(&now));
    auto ratio = [&](double fps) { return std::isfinite(zoompanFps) ? fps / zoompanFps : NAN; };
    std::printf("\nGlimmerstroll resampler vs ffmpeg zoompan, %s, %s\n", date, Machine().c_str());
    std::printf("Job: %d frames of %dx%d from a %dx%d 24-bit picture, zooming from full width to half width "
                "while drifting.\n\n",
                frames, kOutW, kOutH, kPicW, kPicH);
    std::printf("| %-38s | %6s | %10s | %10s | %13s | %13s |\n", "renderer", "fps", "vs zoompan", "smoothness",
                "PSNR (camera)", "PSNR (filter)");
    std::printf("|%s|%s|%s|%s|%s|%s|\n", std::string(40, '-').c_str(), std::string(8, '-').c_str(),
                std::string(12, '-').c_str(), std::string(12, '-').c_str(), std::string(15, '-').c_str(),
                std::string(15, '-').c_str());
    auto cell = [](double v, const char* format) {
        char text[32] = "";
        if (std::isfinite(v)) std::snprintf(text, sizeof text, format, v);
        return std::string(text);
    };
    auto row = [&](const char* name, double fps, double smooth, double camera, double footprint) {
        std::printf("| %-38s | %6s | %10s | %10s | %13s | %13s |\n", name, cell(fps, "%.1f").c_str(),
                    cell(ratio(fps), "%.2fx").c_str(), cell(smooth, "%.4f").c_str(), cell(camera, "%.2f dB").c_str(),
                    cell(footprint, "%.2f dB").c_str());
    };
    row("FilterCropMulti q100, one thread", fpsQ100, oursTrack.Jerk(), Psnr(oursCamera, count),
        Psnr(oursFootprint, count));
    row("FilterCropMulti q100, worker + caller", fpsQ100mp, NAN, NAN, NAN);
    row("FilterCropMulti q0 (nearest pixel)", fpsQ0, NAN, NAN, NAN);
    row("FilterRot q100, 5 degree roll", fpsRot, NAN, NAN, NAN);
    row("ffmpeg zoompan", zoompanFps, zoomTracked ? zoomTrack.Jerk() : NAN, zoomCompared ? Psnr(zoomCamera, count) : NAN,
        NAN);
    std::printf("\nfps: best of three runs of all %d frames. zoompan: %d frames in %.2f s wall time, of which %.2f s\n"
                "went to the first (ffmpeg starting, decoding the still in %.2f s, the first frame): it is counted\n"
                "as %d frames in %.2f s.\n",
                frames, frames, zoompanTotal, zoompanFirst, decode, frames - 1, zoompanTotal - zoompanFirst);
    std::printf("smoothness: mean |change of velocity| of a Gaussian dot (sigma %.0f) on grey between frames, in output\n"
                "pixels/frame^2; camera 1280x720 onto %dx%d panning %.2f x %.2f source pixels a frame.\n",
                kDotSigma, kDotOutW, kDotOutH, kPanX, kPanY);
    std::printf("PSNR against an exact area average in double precision over every frame: (camera) over each output\n"
                "pixel's cell of the camera grid; (filter) over the footprint the area filter is defined to average,\n"
                "whose span reaches one source pixel further right than the cell.\n");
    return 0;
}
