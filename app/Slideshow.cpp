// SPDX-License-Identifier: GPL-2.0-or-later
#include "app/Slideshow.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <fstream>
#include <future>
#include <memory>
#include <random>

#include <nlohmann/json.hpp>

#include "app/Demo.h"
#include "app/FramePipeline.h"
#include "app/FrameSink.h"
#include "app/MltProject.h"
#include "app/Music.h"
#include "app/Progress.h"
#include "app/Session.h"
#include "app/ShowBlock.h"
#include "doc/CDoc.h"
#include "doc/ShowCodec.h"
#include "doc/ShowJson.h"
#include "host/FramePlan.h"
#include "image/CodecModule.h"
#include "image/ImageFiles.h"
#include "motion/Timecode.h"
#include "platform/Files.h"

namespace gs {

namespace {

// What the film needs to know of an item before its first frame.
struct ItemPlan {
    SlideItem item;
    long length = 0;        // frames
    long transition = 0;    // frames into the next item
    TransitionKind kind = TransitionKind::Cut;
    ShowBlock show;         // a .gsx item, read and checked
    bool zoomIn = true;     // a photo's move
    double amount = 0.5;
    std::string showFile;   // where its show lies (a saved move, or the item itself)
};

bool IsFile(const std::string& path) {
    struct stat st;
    return stat(path.c_str(), &st) == 0 && S_ISREG(st.st_mode);
}

std::string Absolute(const std::string& path) {
    if (path.empty() || path[0] == '/') return path;
    char here[4096];
    if (!getcwd(here, sizeof here)) return path;
    return std::string(here) + "/" + path;
}

std::string Stem(const std::string& path) {
    const size_t slash = path.find_last_of('/');
    std::string name = slash == std::string::npos ? path : path.substr(slash + 1);
    const size_t dot = name.find_last_of('.');
    if (dot != std::string::npos && dot > 0) name.erase(dot);
    for (char& c : name)
        if (c == ' ' || c == '%') c = '_';
    return name;
}

long Frames(double seconds, int32_t frameRate) {
    return std::lround(seconds * FramesPerSecond(frameRate));
}

// Checks that a photo can be read, from its header only.
bool CheckPhoto(const std::string& path, std::string& error) {
    if (!IsFile(path)) {
        error = "photo " + path + (access(path.c_str(), F_OK) == 0 ? " is not a file" : " does not exist");
        return false;
    }
    // JPEG photos are sized by the JPEG reader; anything else, or a JPEG it
    // cannot read, by the codec module, which also says what is wrong.
    int width = 0, height = 0;
    if (!ProbeJpeg(path.c_str(), &width, &height)) {
        std::string why;
        const GsCodecTable* codecs = CodecModule(&why);
        char said[512] = "";
        if (codecs && !codecs->probePicture(path.c_str(), &width, &height, said, sizeof said)) {
            why = said;
            codecs = nullptr;
        }
        if (!codecs) {
            const size_t cut = why.find('\n');
            if (cut != std::string::npos) why.erase(cut);
            error = "cannot read photo " + path + (why.empty() ? "" : ": " + why);
            return false;
        }
    }
    if (width < 2 || height < 2) {
        error = "photo " + path + " is too small to move over";
        return false;
    }
    return true;
}

// Reads an item into `doc`; runs on the reading thread. A photo gets its
// automatic move; a show is put in as it stands.
bool LoadItem(CDoc& doc, const ItemPlan& plan, const SlideshowRequest& request, std::string& note,
              std::string& error) {
    doc.ClearShow();
    FitCamera(doc, request.size.width, request.size.height, AspectChoice::FollowFrame);
    switch (plan.item.kind) {
    case ItemKind::Show:
    case ItemKind::JsonShow:
        if (!PutShow(doc, plan.show, error)) {
            error = "cannot load show " + plan.item.path + ": " + error;
            return false;
        }
        if (doc.picLoadStatus != 1) {
            error = "cannot load the picture of show " + plan.item.path;
            return false;
        }
        break;
    case ItemKind::Photo: {
        FSpec file;
        MakePathSpec(file, Absolute(plan.item.path).c_str());
        doc.LoadPicture(&file, 0, 0);
        if (doc.picLoadStatus != 1) {
            error = "cannot read photo " + plan.item.path;
            return false;
        }
        const Subject subject = FindSubject(doc);
        const MovePlan move = PlanMove(static_cast<double>(doc.GetWid()), static_cast<double>(doc.GetHgt()),
                                       doc.aspect, request.size.width, subject, request.limits, plan.zoomIn,
                                       plan.amount);
        ApplyMove(doc, move, plan.length);
        note = DescribeSubject(subject);
        break;
    }
    }
    // A show's own aspect settings give way to the film's frame.
    FitCamera(doc, request.size.width, request.size.height, AspectChoice::FollowFrame);
    return true;
}

// One picture of a film frame, planned on the calling thread: the item's
// document and its frame, drawn later on a drawing thread from the plan (or,
// for a frame that needs the document between its steps, drawn at once).
struct ItemFrame {
    CDoc* doc = nullptr;
    FramePlan plan;
    bool drawn = false;  // drawn already, while planning
};

// What one film frame keeps from planning to delivery: one picture, or two
// mixed (a cross-fade, or one picture and black), and the finished frame.
struct FilmSlot {
    ItemFrame pictures[2];
    int count = 0;
    float weight = 1.0f;  // of pictures[0] against pictures[1] or black
    bool toBlack = false;
    CDIB work{1, 1, 32};
    CDIB second{1, 1, 32};
    CDIB scratch{1, 1, 32};  // the blur's second moment
    std::vector<uint8_t> rgba;
};

void DrainFilm(void* pipeline) { static_cast<FramePipeline*>(pipeline)->Drain(); }

// Plans `frame` of the item in `doc` into `into`, drawing it into `work` at
// once when the plan says the frame needs the document.
bool PlanItem(CDoc& doc, long frame, const SlideshowRequest& request, FramePipeline& pipeline, bool bands,
              ItemFrame& into, CDIB& work) {
    const int w = request.size.width, h = request.size.height;
    gFrameRate = request.frameRate;
    into.doc = &doc;
    into.drawn = false;
    frame = std::max(0L, frame);
    if (!doc.PlanFrame(frame, 0, w, h, false, into.plan, DrainFilm, &pipeline)) return false;
    into.plan.bands = bands;
    if (!into.plan.direct) return true;
    if (!pipeline.Drain()) return false;
    std::memset(work.GetBitsAdd(0), 0, static_cast<size_t>(work.GetRowBytes() * h));
    into.drawn = true;
    return doc.RenderFrame(frame, 0, true, w, h, &work, false);
}

const char* const kTransitionNames[] = {"crossfade", "fade-black", "cut"};

bool ParseTransition(const std::string& text, int& out) {
    for (int i = 0; i < 3; i++)
        if (text == kTransitionNames[i]) {
            out = i;
            return true;
        }
    return false;
}

bool MakeFolder(const std::string& path, std::string& error) {
    for (size_t at = path.find('/', 1); at != std::string::npos; at = path.find('/', at + 1))
        mkdir(path.substr(0, at).c_str(), 0755);
    if (mkdir(path.c_str(), 0755) != 0 && errno != EEXIST) {
        error = "cannot make folder " + path + ": " + std::strerror(errno);
        return false;
    }
    return true;
}

}  // namespace

ItemKind KindOf(const std::string& path) {
    const std::string ext = Extension(path);
    if (ext == ".gsx") return ItemKind::Show;
    if (ext == ".json") return ItemKind::JsonShow;
    return ItemKind::Photo;
}

std::vector<Placement> LayOut(const std::vector<long>& lengths, const std::vector<long>& transitions) {
    std::vector<Placement> out(lengths.size());
    long at = 0;
    for (size_t i = 0; i < lengths.size(); i++) {
        out[i].start = at;
        out[i].length = std::max(1L, lengths[i]);
        if (i + 1 < lengths.size()) {
            // Half of either neighbour at most: an item is never in two
            // transitions at once.
            const long t = i < transitions.size() ? transitions[i] : 0;
            out[i].fadeOut = std::clamp(t, 0L, std::min(out[i].length / 2, std::max(1L, lengths[i + 1]) / 2));
        }
        at += out[i].length - out[i].fadeOut;
    }
    return out;
}

float OutgoingWeight(long k, long frames) {
    return 1.0f - static_cast<float>(k + 1) / static_cast<float>(frames + 1);
}

bool IsReel(const std::string& path) {
    if (Extension(path) != ".json") return false;
    std::ifstream in(path);
    if (!in) return false;
    const nlohmann::json doc = nlohmann::json::parse(in, nullptr, false);
    return doc.is_object() && doc.contains("items");
}

bool ReadReel(const std::string& path, Reel& reel, std::string& error) {
    std::ifstream in(path);
    if (!in) {
        error = "cannot read reel " + path + ": " + std::strerror(errno);
        return false;
    }
    nlohmann::json doc = nlohmann::json::parse(in, nullptr, false);
    if (doc.is_discarded() || !doc.is_object() || !doc.contains("items") || !doc["items"].is_array()) {
        error = "reel " + path + " is not a JSON object with an \"items\" list";
        return false;
    }
    const size_t slash = path.find_last_of('/');
    const std::string folder = slash == std::string::npos ? "" : path.substr(0, slash + 1);
    auto resolve = [&](const std::string& p) { return p.empty() || p[0] == '/' ? p : folder + p; };
    auto text = [](const nlohmann::json& v) { return v.is_string() ? v.get<std::string>() : v.dump(); };

    const char* const keys[] = {"size", "fps", "duration", "transition", "transition-duration",
                                "music", "fit-music", "seed", "min-zoom", "max-zoom"};
    for (const char* key : keys) {
        std::string alias = key;
        std::replace(alias.begin(), alias.end(), '-', '_');
        const char* found = doc.contains(key) ? key : doc.contains(alias) ? alias.c_str() : nullptr;
        if (!found) continue;
        std::string value = text(doc[found]);
        if (std::string(key) == "music") value = resolve(value);
        reel.settings.emplace_back(key, value);
    }
    for (size_t i = 0; i < doc["items"].size(); i++) {
        const nlohmann::json& entry = doc["items"][i];
        const std::string where = "reel " + path + ", item " + std::to_string(i + 1) + ": ";
        SlideItem item;
        if (entry.is_string()) {
            item.path = entry.get<std::string>();
        } else if (entry.is_object() && entry.contains("path") && entry["path"].is_string()) {
            item.path = entry["path"].get<std::string>();
            for (const char* key : {"duration", "transition_duration", "transition-duration"}) {
                if (!entry.contains(key)) continue;
                if (!entry[key].is_number() || !(entry[key].get<double>() >= 0)) {
                    error = where + std::string(key) + " must be a number of seconds, 0 or more";
                    return false;
                }
                (std::string(key) == "duration" ? item.seconds : item.transitionSeconds) = entry[key].get<double>();
            }
            if (entry.contains("transition") &&
                (!entry["transition"].is_string() || !ParseTransition(entry["transition"].get<std::string>(), item.transition))) {
                error = where + "transition must be crossfade, fade-black or cut";
                return false;
            }
        } else {
            error = where + "give a path, or an object with a \"path\"";
            return false;
        }
        if (item.path.empty()) {
            error = where + "the path is empty";
            return false;
        }
        item.path = resolve(item.path);
        item.kind = KindOf(item.path);
        reel.items.push_back(item);
    }
    if (reel.items.empty()) {
        error = "reel " + path + " has no items";
        return false;
    }
    return true;
}

bool ReadJsonShow(const std::string& path, ShowBlock& show, std::string& error) {
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        error = "cannot read show " + path + ": " + std::strerror(errno);
        return false;
    }
    const std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    ShowDescription description;
    if (!ShowFromJson(text, description, error)) {
        error = "show " + path + ": " + error;
        return false;
    }
    return ParseShowBlock(EncodeShow(description, HostIsBigEndian()), path, show, error);
}

RenderResult RunSlideshow(const SlideshowRequest& request) {
    RenderResult result;
    gFrameRate = request.frameRate;

    // ---- Everything that can be checked is checked before the first frame.
    std::vector<ItemPlan> plans;
    for (const SlideItem& item : request.items) {
        ItemPlan plan;
        plan.item = item;
        std::string error;
        bool ok = true;
        if (item.kind == ItemKind::Photo) {
            ok = CheckPhoto(item.path, error);
        } else {
            ok = item.kind == ItemKind::Show ? ReadShowFile(item.path, plan.show, error)
                                             : ReadJsonShow(item.path, plan.show, error);
            if (ok && plan.show.pictures.empty()) {
                error = "show " + item.path + " has no picture";
                ok = false;
            }
            if (item.kind == ItemKind::Show) plan.showFile = Absolute(item.path);
        }
        if (!ok && request.skipBad) {
            result.warnings.push_back("skipping " + error);
            continue;
        }
        if (!ok) {
            result.error = error;
            return result;
        }
        plans.push_back(plan);
    }
    if (plans.empty()) {
        result.error = "nothing to show: every item was skipped";
        return result;
    }

    double musicSeconds = 0;
    if (!request.music.empty()) {
        if (request.hasOutput && request.output.kind != OutputKind::Video) {
            result.error = "--music needs a video output (.mp4, .mov, .mkv)";
            return result;
        }
        if (!ProbeSeconds(request.music, musicSeconds, result.error)) return result;
    }

    // ---- Lengths, transitions and the moves' choices, all decided up front
    // so that the same inputs and seed give the same film.
    std::mt19937 random(request.seed);
    std::uniform_real_distribution<double> pick(0.0, 1.0);
    bool zoomIn = (request.seed & 1) == 0;
    long fixed = 0, overlaps = 0;
    int spread = 0;  // photos whose length the music decides
    for (size_t i = 0; i < plans.size(); i++) {
        ItemPlan& p = plans[i];
        const int kind = p.item.transition >= 0 ? p.item.transition : static_cast<int>(request.transition);
        p.kind = static_cast<TransitionKind>(kind);
        const double tSeconds = p.item.transitionSeconds >= 0 ? p.item.transitionSeconds : request.transitionSeconds;
        p.transition = i + 1 < plans.size() && p.kind != TransitionKind::Cut ? Frames(tSeconds, request.frameRate) : 0;
        if (p.item.seconds >= 0)
            p.length = Frames(p.item.seconds, request.frameRate);
        else if (p.item.kind != ItemKind::Photo)
            p.length = p.show.DefaultLength();
        else
            p.length = Frames(request.seconds, request.frameRate);
        if (p.item.kind == ItemKind::Photo) {
            p.zoomIn = zoomIn;
            zoomIn = !zoomIn;
            p.amount = pick(random);
        }
        if (request.fitMusic && p.item.kind == ItemKind::Photo && p.item.seconds < 0)
            spread++;
        else
            fixed += p.length;
        overlaps += p.transition;
    }
    if (request.fitMusic && !request.music.empty()) {
        if (spread == 0) {
            result.error = "--fit-music has no photo to spread: every item has its own duration";
            return result;
        }
        const long musicFrames = Frames(musicSeconds, request.frameRate);
        const long each = (musicFrames + overlaps - fixed) / spread;
        if (each < 2) {
            result.error = "the music is too short to spread the photos over it";
            return result;
        }
        for (ItemPlan& p : plans)
            if (p.item.kind == ItemKind::Photo && p.item.seconds < 0) p.length = each;
    }
    std::vector<long> lengths, transitions;
    for (const ItemPlan& p : plans) {
        if (p.length < 1) {
            result.error = p.item.path + " would last no frame; give it a longer duration";
            return result;
        }
        lengths.push_back(p.length);
        transitions.push_back(p.transition);
    }
    const std::vector<Placement> place = LayOut(lengths, transitions);
    for (size_t i = 0; i < plans.size(); i++) plans[i].transition = place[i].fadeOut;
    const long total = place.back().start + place.back().length;
    const double filmSeconds = total / FramesPerSecond(request.frameRate);

    // ---- Outputs: the shows' folder, the video (silent first when music
    // goes under it), the MLT project.
    std::string showFolder = request.saveShows;
    if (showFolder.empty() && !request.mlt.empty()) {
        const std::string mltPath = Absolute(request.mlt);
        showFolder = mltPath.substr(0, mltPath.size() - Extension(mltPath).size()) + "-shows";
    }
    if (!showFolder.empty() && !MakeFolder(showFolder, result.error)) return result;

    const bool withMusic = !request.music.empty() && request.hasOutput;
    std::unique_ptr<FrameSink> sink;
    OutputTarget silent = request.output;
    if (request.hasOutput) {
        if (withMusic) {
            struct stat st;
            if (!request.overwrite && stat(request.output.path.c_str(), &st) == 0) {
                result.error = request.output.path + " already exists; add -y to replace it";
                return result;
            }
            silent.path = request.output.path + ".silent" + Extension(request.output.path);
        }
        SinkFormat format;
        format.width = request.size.width;
        format.height = request.size.height;
        format.frameRate = request.frameRate;
        format.first = 0;
        format.last = total - 1;
        format.overwrite = request.overwrite || withMusic;
        sink = MakeFrameSink(silent, format);
        if (!sink->Open(result.error)) {
            sink->Abandon();
            return result;
        }
    }

    // ---- Two documents: the item on screen, and the next one being read.
    std::unique_ptr<CDoc> docs[2] = {std::make_unique<CDoc>(), std::make_unique<CDoc>()};
    gFrameRate = request.frameRate;  // a new document reads the settings' rate
    for (auto& d : docs) {
        d->showPicError = 0;  // failures come back as values, not messages
        // A video's pictures stay full range, as in `render`: ffmpeg squeezes
        // them into limited-range YUV itself.
        if (request.hasOutput && request.output.kind == OutputKind::Video) d->videoColors = 0;
        d->exactRender = request.exact ? 1 : 0;
    }
    std::future<bool> pending;
    std::string loadError, loadNote;
    int launched = -1, loaded = -1;
    auto launch = [&](int i) {
        launched = i;
        pending = std::async(std::launch::async, [&, i] {
            return LoadItem(*docs[i % 2], plans[static_cast<size_t>(i)], request, loadNote, loadError);
        });
    };
    auto await = [&](int i) -> bool {
        loaded = i;
        if (!pending.get()) return false;
        ItemPlan& p = plans[static_cast<size_t>(i)];
        if (p.item.kind != ItemKind::Show && !showFolder.empty()) {
            char number[16];
            std::snprintf(number, sizeof number, "%03d-", i + 1);
            p.showFile = Absolute(showFolder + "/" + number + Stem(p.item.path) + ".gsx");
            if (!WriteShowFile(*docs[i % 2], p.showFile, loadError)) return false;
        }
        return true;
    };
    auto stop = [&](const std::string& error) {
        if (pending.valid()) pending.wait();
        if (sink) sink->Abandon();
        result.error = error;
        return result;
    };

    const int n = static_cast<int>(plans.size());
    launch(0);
    if (!request.hasOutput) {
        // Only the moves: read each item in turn and keep its show.
        for (int i = 0; i < n; i++) {
            if (!await(i)) return stop(loadError);
            if (i + 1 < n) launch(i + 1);
        }
    } else {
        Progress progress(total, !request.quiet);
        const int threads = request.threads > 0 ? request.threads : FramePipeline::MachineThreads();
        const bool bands = threads == 1;
        const bool workRows = sink->TakesWorkRows();
        const int w = request.size.width, h = request.size.height;
        FramePipeline pipeline(threads);
        CDIB black(1, 1, 32);
        std::vector<std::unique_ptr<FilmSlot>> slots;
        bool made = black.Create(w, h, 32);
        if (made) std::memset(black.GetBitsAdd(0), 0, static_cast<size_t>(black.GetRowBytes() * h));
        for (int i = 0; made && i < pipeline.Slots(); i++) {
            auto slot = std::make_unique<FilmSlot>();
            made = slot->work.Create(w, h, 32) && slot->second.Create(w, h, 32) && slot->scratch.Create(w, h, 32);
            if (!workRows) slot->rgba.resize(static_cast<size_t>(w) * h * 4);
            slots.push_back(std::move(slot));
        }
        if (!made) return stop("not enough memory for the frames");
        int cur = 0;
        // On the calling thread, in frame order: the items' documents (an item
        // that has ended is freed once no frame reads it any more, the next one
        // is read meanwhile) and the frame's plan.
        auto prepare = [&](long f, int index, std::string& why) {
            FilmSlot& slot = *slots[size_t(index)];
            while (f >= place[cur].start + place[cur].length) {
                if (!pipeline.Drain()) return false;
                docs[cur++ % 2]->ClearShow();  // frees its picture
            }
            if (loaded < cur && !await(cur)) {
                why = loadError;
                return false;
            }
            if (launched == cur && cur + 1 < n) launch(cur + 1);
            const int next = cur + 1 < n && f >= place[cur + 1].start ? cur + 1 : -1;
            if (next >= 0 && loaded < next && !await(next)) {
                why = loadError;
                return false;
            }
            const long k = next >= 0 ? f - place[next].start : 0;
            const long frames = place[cur].fadeOut;
            bool ok = true;
            slot.toBlack = false;
            slot.weight = 1.0f;
            if (next < 0 || plans[cur].kind == TransitionKind::Crossfade) {
                slot.count = next >= 0 ? 2 : 1;
                ok = PlanItem(*docs[cur % 2], f - place[cur].start, request, pipeline, bands, slot.pictures[0],
                              slot.work);
                if (ok && next >= 0) {
                    ok = PlanItem(*docs[next % 2], k, request, pipeline, bands, slot.pictures[1], slot.second);
                    slot.weight = OutgoingWeight(k, frames);
                }
            } else {
                // Through black: the first half fades the outgoing item out,
                // the second fades the incoming one in.
                const float p = 1.0f - OutgoingWeight(k, frames);
                const bool first = p <= 0.5f;
                slot.count = 1;
                slot.toBlack = true;
                slot.weight = first ? 1.0f - 2.0f * p : 2.0f * p - 1.0f;
                ok = PlanItem(*docs[(first ? cur : next) % 2], first ? f - place[cur].start : k, request, pipeline,
                              bands, slot.pictures[0], slot.work);
            }
            if (!ok && why.empty())
                why = "frame " + std::to_string(f) + " (" + plans[cur].item.path + ") could not be rendered";
            return ok;
        };
        // On any drawing thread: the pictures from their plans, mixed.
        auto draw = [&](long f, int index, std::string& why) {
            FilmSlot& slot = *slots[size_t(index)];
            CDIB* images[2] = {&slot.work, &slot.second};
            for (int i = 0; i < slot.count; i++) {
                const ItemFrame& picture = slot.pictures[i];
                if (!picture.drawn && !DrawFramePlan(picture.plan, picture.doc, images[i], &slot.scratch)) {
                    why = "frame " + std::to_string(f) + " could not be rendered";
                    return false;
                }
            }
            if (slot.count == 2) slot.work.Dissolve(&slot.second, slot.weight);
            if (slot.toBlack) slot.work.Dissolve(&black, slot.weight);
            if (!workRows) WorkImageToRGBA(slot.work, w, h, slot.rgba.data());
            return true;
        };
        auto deliver = [&](long f, int index, std::string& why) {
            FilmSlot& slot = *slots[size_t(index)];
            const bool written = workRows ? sink->WriteWorkRows(f, slot.work.GetBitsAdd(0), why)
                                          : sink->Write(f, slot.rgba.data(), why);
            if (!written) return false;
            result.frames++;
            progress.Update(result.frames);
            return true;
        };
        bool stopped = false;
        std::string error;
        const bool ran = pipeline.Run(0, total - 1, prepare, draw, deliver, Interrupted, error, stopped);
        if (!ran || stopped) {
            progress.Clear();
            if (stopped || Interrupted()) {
                result.interrupted = true;
                return stop("interrupted; nothing was written");
            }
            return stop(error);
        }
        if (!sink->Finish(result.error)) {
            progress.Clear();
            return stop(result.error);
        }
        progress.Finish();
    }
    for (auto& d : docs) d->ClearShow();

    if (withMusic) {
        const bool muxed = MuxMusic(silent.path, request.music, filmSeconds, request.output.path, result.error);
        ::unlink(silent.path.c_str());
        if (!muxed) return result;
    }
    if (!request.mlt.empty()) {
        MltFilm film;
        film.size = request.size;
        film.frameRate = request.frameRate;
        film.exact = request.exact;
        film.music = request.music.empty() ? "" : Absolute(request.music);
        film.musicFade = Frames(MusicFadeSeconds(filmSeconds), request.frameRate);
        for (size_t i = 0; i < plans.size(); i++) {
            MltClip clip;
            clip.show = plans[i].showFile;
            clip.start = place[i].start;
            clip.length = place[i].length;
            clip.fadeOut = place[i].fadeOut;
            clip.throughBlack = plans[i].kind == TransitionKind::FadeBlack;
            film.clips.push_back(clip);
        }
        if (!WriteMltProject(request.mlt, film, result.error)) return result;
    }
    result.ok = true;
    result.where = request.hasOutput ? request.output.kind == OutputKind::Raw ? "standard output" : request.output.path
                                     : request.mlt;
    return result;
}

}  // namespace gs
