// SPDX-License-Identifier: GPL-2.0-or-later
#include "app/AutoMove.h"

#include <algorithm>
#include <cmath>
#include <mutex>
#include <vector>

#include <opencv2/imgproc.hpp>
#include <opencv2/objdetect.hpp>
#include <opencv2/saliency.hpp>

#include "doc/CDoc.h"
#include "motion/Interp.h"

namespace gs {

namespace {

constexpr int kLookSide = 800;          // longest side of the copy the detectors see
constexpr double kSubjectMargin = 1.25; // room around the subject in a tight frame
constexpr double kPortraitAbove = 1.0;  // height / width above which a picture pans vertically
constexpr double kPanoramaBeyond = 1.6; // times wider than the frame: pans horizontally
// Constant speed (ease type "No Slows" on a straight path): a move that runs
// through a cross-fade keeps its pace on both sides of it.
constexpr float kSteadyEase = 4001.0f;

// Debian's opencv-data puts the cascades here.
const char* const kCascades[] = {
    "/usr/share/opencv4/haarcascades/haarcascade_frontalface_default.xml",
    "/usr/share/opencv/haarcascades/haarcascade_frontalface_default.xml",
};

// A grey copy of `picture`, top row first, at most kLookSide on its longest
// side; `scale` is picture pixels per copy pixel.
cv::Mat SmallGrey(CDIB& picture, double& scale) {
    const int w = static_cast<int>(picture.GetWid());
    const int h = static_cast<int>(picture.GetHgt());
    const int bits = picture.GetBitCount();
    if (w < 1 || h < 1 || (bits != 24 && bits != 32)) return {};
    const cv::Mat rows(h, w, bits == 32 ? CV_8UC4 : CV_8UC3, picture.GetBitsAdd(0),
                       static_cast<size_t>(picture.GetRowBytes()));
    scale = std::max(1.0, static_cast<double>(std::max(w, h)) / kLookSide);
    const cv::Size size(std::max(1, static_cast<int>(std::lround(w / scale))),
                        std::max(1, static_cast<int>(std::lround(h / scale))));
    cv::Mat small, grey;
    cv::resize(rows, small, size, 0, 0, cv::INTER_AREA);
    cv::flip(small, small, 0);  // storage rows run bottom-up
    cv::cvtColor(small, grey, bits == 32 ? cv::COLOR_BGRA2GRAY : cv::COLOR_BGR2GRAY);
    scale = static_cast<double>(w) / size.width;
    return grey;
}

std::vector<cv::Rect> FindFaces(const cv::Mat& grey) {
    // One detector for the process; detection itself is serialised because a
    // classifier is not meant to be shared between threads.
    static std::mutex lock;
    static cv::CascadeClassifier detector;
    static bool tried = false;
    std::lock_guard<std::mutex> hold(lock);
    if (!tried) {
        tried = true;
        for (const char* path : kCascades)
            if (detector.load(path)) break;
    }
    std::vector<cv::Rect> faces;
    if (detector.empty()) return faces;
    cv::Mat even;
    cv::equalizeHist(grey, even);
    const int least = std::max(24, std::min(grey.cols, grey.rows) / 25);
    detector.detectMultiScale(even, faces, 1.1, 5, 0, cv::Size(least, least));
    return faces;
}

// The salient region: the blob of the spectral-residual map around its peak.
bool FindSalient(const cv::Mat& grey, cv::Rect& region) {
    cv::Ptr<cv::saliency::StaticSaliencySpectralResidual> finder =
        cv::saliency::StaticSaliencySpectralResidual::create();
    cv::Mat map;
    if (!finder->computeSaliency(grey, map) || map.empty()) return false;
    map.convertTo(map, CV_32F);
    const int k = (std::max(grey.cols, grey.rows) / 20) | 1;
    cv::GaussianBlur(map, map, cv::Size(k, k), 0);
    double low = 0, high = 0;
    cv::Point peak;
    cv::minMaxLoc(map, &low, &high, nullptr, &peak);
    if (high <= low) return false;
    cv::Mat mask = map > (low + (high - low) * 0.5);
    cv::Mat labels;
    cv::Mat stats, centres;
    cv::connectedComponentsWithStats(mask, labels, stats, centres);
    const int label = labels.at<int>(peak);
    if (label <= 0) return false;
    region = cv::Rect(stats.at<int>(label, cv::CC_STAT_LEFT), stats.at<int>(label, cv::CC_STAT_TOP),
                      stats.at<int>(label, cv::CC_STAT_WIDTH), stats.at<int>(label, cv::CC_STAT_HEIGHT));
    return region.width > 0 && region.height > 0;
}

// Keeps a camera of width `w` (height aspect * w) centred as near (x, y) as
// the picture allows.
Camera Inside(double x, double y, double w, double aspect, double width, double height) {
    const double h = w * aspect;
    Camera c;
    c.width = w;
    c.x = w >= width ? width / 2 : std::clamp(x, w / 2, width - w / 2);
    c.y = h >= height ? height / 2 : std::clamp(y, h / 2, height - h / 2);
    return c;
}

}  // namespace

Subject FindSubject(CDIB& picture) {
    Subject subject;
    const double w = static_cast<double>(picture.GetWid());
    const double h = static_cast<double>(picture.GetHgt());
    subject.box = Region{w / 3, h / 3, w / 3, h / 3};
    double scale = 1;
    const cv::Mat grey = SmallGrey(picture, scale);
    if (grey.empty()) return subject;

    const std::vector<cv::Rect> faces = FindFaces(grey);
    cv::Rect found;
    if (!faces.empty()) {
        found = faces[0];
        for (const cv::Rect& f : faces) found |= f;
        subject.kind = SubjectKind::Faces;
        subject.faces = static_cast<int>(faces.size());
    } else if (FindSalient(grey, found)) {
        subject.kind = SubjectKind::Salient;
    } else {
        return subject;
    }
    subject.box = Region{found.x * scale, found.y * scale, found.width * scale, found.height * scale};
    return subject;
}

PictureShape ShapeOf(double width, double height, double aspect) {
    if (height > width * kPortraitAbove) return PictureShape::Portrait;
    if (width / height > kPanoramaBeyond / aspect) return PictureShape::Panorama;
    return PictureShape::Ordinary;
}

MovePlan PlanMove(double width, double height, double aspect, int outWidth, const Subject& subject,
                  const MoveLimits& limits, bool zoomIn, double amount) {
    MovePlan plan;
    plan.zoomIn = zoomIn;
    plan.shape = ShapeOf(width, height, aspect);

    // The widest camera that stays inside the picture, and the narrowest one
    // that does not magnify the picture's pixels at the output's size.
    const double widest = std::min(width, height / aspect);
    const double leastWidth = limits.allowUpscale ? 1.0 : std::min(widest, static_cast<double>(outWidth));
    const double lowZoom = std::max(1.0, std::min(limits.minZoom, limits.maxZoom));
    const double zoom = lowZoom + std::clamp(amount, 0.0, 1.0) * (std::max(limits.maxZoom, lowZoom) - lowZoom);
    const Region& s = subject.box;

    Camera wide, tight;
    if (plan.shape == PictureShape::Ordinary) {
        // Zoom onto the subject from the widest frame that holds it.
        const double fitSubject = std::max(s.width, s.height / aspect) * kSubjectMargin;
        const double narrow = std::clamp(std::max(widest / zoom, fitSubject), leastWidth, widest);
        wide = Inside(s.CentreX(), s.CentreY(), widest, aspect, width, height);
        tight = Inside(s.CentreX(), s.CentreY(), narrow, aspect, width, height);
    } else {
        // Pan along the long side between its far end and the subject, with
        // a slight zoom so that the move is not a bare slide.
        const double slight = std::clamp(widest / std::min(zoom, lowZoom), leastWidth, widest);
        const bool vertical = plan.shape == PictureShape::Portrait;
        const double along = vertical ? s.CentreY() : s.CentreX();
        const double length = vertical ? height : width;
        double farEnd = along < length / 2 ? length : 0.0;
        if (!zoomIn) {
            // Moving away, the subject stays in the last frame: the pan stops
            // where the subject reaches the frame's edge.
            const double frame = vertical ? widest * aspect : widest;
            const double half = vertical ? s.height / 2 : s.width / 2;
            const double reach = std::max(0.0, frame / 2 - half);
            farEnd = farEnd > along ? std::min(farEnd, along + reach) : std::max(farEnd, along - reach);
        }
        if (vertical) {
            wide = Inside(s.CentreX(), farEnd, widest, aspect, width, height);
            tight = Inside(s.CentreX(), along, slight, aspect, width, height);
        } else {
            wide = Inside(farEnd, s.CentreY(), widest, aspect, width, height);
            tight = Inside(along, s.CentreY(), slight, aspect, width, height);
        }
    }
    plan.from = zoomIn ? wide : tight;
    plan.to = zoomIn ? tight : wide;
    return plan;
}

void ApplyMove(CDoc& doc, const MovePlan& plan, long length) {
    const Camera ends[2] = {plan.from, plan.to};
    doc.keyCount[0] = 1;  // key 0 stays; SetKey grows the list from there
    for (int i = 0; i < 2; i++) {
        KeyStruct key;
        KeyIdentity(key);
        key.horizontalPos = static_cast<float>(ends[i].x);
        key.verticalPos = static_cast<float>(ends[i].y);
        key.width = static_cast<float>(ends[i].width);
        key.easeCode = i == 0 ? kSteadyEase : 0.0f;
        key.time = i == 0 ? 0 : static_cast<int32_t>(std::max(1L, length - 1));
        doc.SetKey(i, key, 0);
    }
    doc.showLength = static_cast<int32_t>(std::max(2L, length));
    doc.keys[0][0].showLengthCopy = static_cast<float>(doc.showLength);
    doc.modified = 1;
}

std::string DescribeSubject(const Subject& subject) {
    switch (subject.kind) {
    case SubjectKind::Faces: return subject.faces == 1 ? "a face" : std::to_string(subject.faces) + " faces";
    case SubjectKind::Salient: return "the salient region";
    case SubjectKind::Centre: break;
    }
    return "the centre";
}

}  // namespace gs
