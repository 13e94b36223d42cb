// SPDX-License-Identifier: GPL-2.0-or-later
#include "app/Progress.h"

#include <algorithm>
#include <cmath>
#include <sys/ioctl.h>
#include <unistd.h>

namespace gs {

namespace {

int TerminalColumns(std::FILE* out) {
    struct winsize size;
    if (ioctl(fileno(out), TIOCGWINSZ, &size) == 0 && size.ws_col > 0) return size.ws_col;
    return 80;
}

}  // namespace

std::string FormatDuration(double seconds) {
    if (!(seconds >= 0.0) || seconds > 359999.0) return "--:--";
    const long s = std::lround(seconds);
    char text[32];
    if (s >= 3600)
        std::snprintf(text, sizeof text, "%ld:%02ld:%02ld", s / 3600, s / 60 % 60, s % 60);
    else
        std::snprintf(text, sizeof text, "%ld:%02ld", s / 60, s % 60);
    return text;
}

std::string Progress::Line(long done, long total, double seconds, int columns) {
    total = std::max(total, 1L);
    done = std::clamp(done, 0L, total);
    const double fps = seconds > 0.0 ? done / seconds : 0.0;
    const double left = fps > 0.0 ? (total - done) / fps : -1.0;
    char tail[128];
    std::snprintf(tail, sizeof tail, " %ld/%ld frames  %.1f fps  %s left", done, total, fps,
                  done == total ? "0:00" : FormatDuration(left).c_str());
    const int barWidth = std::min(40, columns - static_cast<int>(std::string(tail).size()) - 3);
    std::string line;
    if (barWidth >= 5) {
        const int filled = static_cast<int>(static_cast<double>(barWidth) * done / total);
        line.reserve(static_cast<size_t>(barWidth) + 2);
        line.push_back('[');
        line.append(static_cast<size_t>(filled), '#');
        line.append(static_cast<size_t>(barWidth - filled), '-');
        line.push_back(']');
    }
    line += tail;
    if (static_cast<int>(line.size()) > columns - 1) line.resize(static_cast<size_t>(std::max(columns - 1, 0)));
    return line;
}

Progress::Progress(long total, bool enabled, std::FILE* out)
    : total_(total), enabled_(enabled && isatty(fileno(out))), out_(out), start_(Clock::now()), lastDraw_() {}

Progress::~Progress() { Clear(); }

void Progress::Update(long done) {
    lastDone_ = done;
    if (!enabled_) return;
    const Clock::time_point now = Clock::now();
    if (drawn_ && now - lastDraw_ < std::chrono::milliseconds(100) && done < total_) return;
    lastDraw_ = now;
    Draw(done);
}

void Progress::Draw(long done) {
    const double seconds = std::chrono::duration<double>(Clock::now() - start_).count();
    const int columns = TerminalColumns(out_);
    std::fprintf(out_, "\r%s\033[K", Line(done, total_, seconds, columns).c_str());
    std::fflush(out_);
    drawn_ = true;
}

void Progress::Finish() {
    if (!enabled_) return;
    Draw(lastDone_);
    std::fputc('\n', out_);
    std::fflush(out_);
    drawn_ = false;
}

void Progress::Clear() {
    if (!enabled_ || !drawn_) return;
    std::fputs("\r\033[K", out_);
    std::fflush(out_);
    drawn_ = false;
}

}  // namespace gs
