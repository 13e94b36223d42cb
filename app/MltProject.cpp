// SPDX-License-Identifier: GPL-2.0-or-later
#include "app/MltProject.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <numeric>
#include <sstream>

namespace gs {

namespace {

std::string Escape(const std::string& text) {
    std::string out;
    for (char c : text) {
        switch (c) {
        case '&': out += "&amp;"; break;
        case '<': out += "&lt;"; break;
        case '>': out += "&gt;"; break;
        case '"': out += "&quot;"; break;
        default: out += c;
        }
    }
    return out;
}

void Property(std::ostringstream& x, const char* indent, const std::string& name, const std::string& value) {
    x << indent << "<property name=\"" << name << "\">" << Escape(value) << "</property>\n";
}

// The rate as MLT wants it: a numerator and a denominator.
void RateParts(int32_t hundredths, long& num, long& den) {
    if (hundredths == 2397 || hundredths == 2997 || hundredths == 5994 || hundredths == 11988) {
        num = (hundredths + 3) / 100 * 1000;
        den = 1001;
        return;
    }
    const long g = std::gcd(static_cast<long>(hundredths), 100L);
    num = hundredths / g;
    den = 100 / g;
}

}  // namespace

std::string MltProjectText(const MltFilm& film) {
    long num = 25, den = 1;
    RateParts(film.frameRate, num, den);
    const long g = std::gcd(static_cast<long>(film.size.width), static_cast<long>(film.size.height));
    const double fps = film.frameRate / 100.0;
    char fpsText[32];
    std::snprintf(fpsText, sizeof fpsText, "%g", fps);
    long total = 0;
    for (const MltClip& c : film.clips) total = std::max(total, c.start + c.length);

    std::ostringstream x;
    x << "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n"
      << "<mlt LC_NUMERIC=\"C\" title=\"Glimmerstroll slideshow\">\n"
      << "  <profile description=\"Glimmerstroll " << film.size.width << "x" << film.size.height << "\" width=\""
      << film.size.width << "\" height=\"" << film.size.height << "\" progressive=\"1\" sample_aspect_num=\"1\" "
      << "sample_aspect_den=\"1\" display_aspect_num=\"" << film.size.width / g << "\" display_aspect_den=\""
      << film.size.height / g << "\" frame_rate_num=\"" << num << "\" frame_rate_den=\"" << den
      << "\" colorspace=\"709\"/>\n";

    // One clip per item: the show drawn by the frei0r source at the photo's
    // own resolution (the same frames as the tool), in a tractor of its own
    // so that the show's time starts with the clip.
    for (size_t i = 0; i < film.clips.size(); i++) {
        const MltClip& c = film.clips[i];
        const std::string id = "item" + std::to_string(i + 1);
        const std::string out = std::to_string(c.length - 1);
        x << "  <producer id=\"" << id << "-show\" in=\"0\" out=\"" << out << "\">\n";
        Property(x, "    ", "mlt_service", "frei0r.glimmerstroll");
        Property(x, "    ", "length", std::to_string(c.length));
        Property(x, "    ", "show", c.show);
        Property(x, "    ", "fps", fpsText);
        if (film.exact) Property(x, "    ", "exact", "1");
        x << "  </producer>\n";
        x << "  <tractor id=\"" << id << "\" in=\"0\" out=\"" << out << "\">\n    <track producer=\"" << id
          << "-show\"/>\n  </tractor>\n";
    }
    if (!film.music.empty()) {
        x << "  <producer id=\"music\">\n";
        Property(x, "    ", "resource", film.music);
        x << "  </producer>\n";
    }

    // Items alternate between two tracks, so that each transition mixes the
    // upper track's outgoing clip with the lower's incoming one.
    for (int track = 0; track < 2; track++) {
        x << "  <playlist id=\"track" << track + 1 << "\">\n";
        long at = 0;
        for (size_t i = track; i < film.clips.size(); i += 2) {
            const MltClip& c = film.clips[i];
            if (c.start > at) x << "    <blank length=\"" << c.start - at << "\"/>\n";
            x << "    <entry producer=\"item" << i + 1 << "\" in=\"0\" out=\"" << c.length - 1 << "\"";
            const long in = i > 0 ? film.clips[i - 1].fadeOut : 0;
            const bool fadeIn = i > 0 && film.clips[i - 1].throughBlack && in > 0;
            const bool fadeOut = c.throughBlack && c.fadeOut > 0 && i + 1 < film.clips.size();
            if (!fadeIn && !fadeOut) {
                x << "/>\n";
                at = c.start + c.length;
                continue;
            }
            x << ">\n";
            // Through black: the clip fades from and to black over its share.
            if (fadeOut) {
                x << "      <filter>\n";
                Property(x, "        ", "mlt_service", "brightness");
                Property(x, "        ", "level", std::to_string(c.length - c.fadeOut) + "=1;" +
                                                     std::to_string(c.length - c.fadeOut / 2 - 1) + "=0");
                x << "      </filter>\n";
            }
            if (fadeIn) {
                x << "      <filter>\n";
                Property(x, "        ", "mlt_service", "brightness");
                Property(x, "        ", "level", std::to_string(in / 2) + "=0;" + std::to_string(in - 1) + "=1");
                x << "      </filter>\n";
            }
            x << "    </entry>\n";
            at = c.start + c.length;
        }
        x << "  </playlist>\n";
    }
    if (!film.music.empty()) {
        x << "  <playlist id=\"audio\">\n    <entry producer=\"music\" in=\"0\" out=\"" << total - 1 << "\">\n"
          << "      <filter>\n";
        Property(x, "        ", "mlt_service", "volume");
        Property(x, "        ", "level",
                 std::to_string(std::max(0L, total - 1 - film.musicFade)) + "=0;" + std::to_string(total - 1) + "=-60");
        x << "      </filter>\n    </entry>\n  </playlist>\n";
    }

    x << "  <tractor id=\"film\" in=\"0\" out=\"" << total - 1 << "\">\n    <multitrack>\n"
      << "      <track producer=\"track1\"/>\n      <track producer=\"track2\"/>\n";
    if (!film.music.empty()) x << "      <track producer=\"audio\" hide=\"video\"/>\n";
    x << "    </multitrack>\n";
    for (size_t i = 0; i + 1 < film.clips.size(); i++) {
        const MltClip& c = film.clips[i];
        const long from = film.clips[i + 1].start;
        const long to = c.start + c.length - 1;
        if (c.fadeOut <= 0 || to < from) continue;
        // Track 1 (upper) is a_track; from an item on track 2 the mix runs backwards.
        x << "    <transition in=\"" << from << "\" out=\"" << to << "\">\n";
        Property(x, "      ", "mlt_service", "luma");
        Property(x, "      ", "a_track", "0");
        Property(x, "      ", "b_track", "1");
        if (i % 2 == 1) Property(x, "      ", "reverse", "1");
        x << "    </transition>\n";
    }
    if (!film.music.empty()) {
        x << "    <transition>\n";
        Property(x, "      ", "mlt_service", "mix");
        Property(x, "      ", "a_track", "0");
        Property(x, "      ", "b_track", "2");
        Property(x, "      ", "always_active", "1");
        Property(x, "      ", "sum", "1");
        x << "    </transition>\n";
    }
    x << "  </tractor>\n</mlt>\n";
    return x.str();
}

bool WriteMltProject(const std::string& path, const MltFilm& film, std::string& error) {
    const std::string part = path + ".part";
    {
        std::ofstream out(part, std::ios::binary | std::ios::trunc);
        out << MltProjectText(film);
        out.flush();
        if (!out) {
            error = "cannot write " + path + ": " + std::strerror(errno);
            std::remove(part.c_str());
            return false;
        }
    }
    if (std::rename(part.c_str(), path.c_str()) != 0) {
        error = "cannot write " + path + ": " + std::strerror(errno);
        std::remove(part.c_str());
        return false;
    }
    return true;
}

}  // namespace gs
