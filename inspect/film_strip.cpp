#include "inspect/film_strip.h"

#include "inspect/correction_finder.h"

#include <algorithm>
#include <utility>

namespace tintwell::inspect {
namespace {

constexpr int kThumbnailSide = 480;

} // namespace

FramePair framePair(const FrameFindings& findings, const host::FrameBuffer& before) {
    host::FrameBuffer after(before.width(), before.height(), before.depth());
    correctPixels(findings, before, after);
    return {findings.frame,  findings.seconds,          before.width(),
            before.height(), media::encodeJpeg(before), media::encodeJpeg(after)};
}

FilmStrip::FilmStrip(const media::ClipInfo& info, host::SampleDepth depth,
                     std::optional<std::int64_t> frames)
    : thumbnails_(info, depth, kThumbnailSide),
      stretchFrames_(std::max<std::int64_t>(1, (frames.value_or(1) - 1) / kStripFrames + 1)),
      middle_(stretchFrames_ / 2) {}

void FilmStrip::take(std::int64_t frame, bool startsScene, const host::FrameBuffer& pixels) {
    if (!first_) {
        first_ = frame;
    }
    const std::int64_t position = frame - *first_;
    while (position / stretchFrames_ >= kStripFrames) {
        joinStretches();
    }
    const std::int64_t number = position / stretchFrames_;
    const Reason reason = startsScene                            ? Reason::SceneStart
                          : position % stretchFrames_ == middle_ ? Reason::Middle
                                                                 : Reason::First;
    const auto found = stretches_.find(number);
    if (found != stretches_.end() && found->second.reason >= reason) {
        return;
    }
    Stretch stretch{reason, thumbnails_.shrink(pixels), {}};
    stretch.pair.frame = frame;
    stretches_.insert_or_assign(number, std::move(stretch));
}

/// Two and two become one, and the better reason stays.
void FilmStrip::joinStretches() {
    std::map<std::int64_t, Stretch> joined;
    for (auto& [number, stretch] : stretches_) {
        const auto [place, isNew] = joined.try_emplace(number / 2, std::move(stretch));
        if (!isNew && stretch.reason > place->second.reason) {
            place->second = std::move(stretch);
        }
    }
    stretches_ = std::move(joined);
    stretchFrames_ *= 2;
}

void FilmStrip::add(const FrameFindings& findings) {
    for (auto& [number, stretch] : stretches_) {
        if (stretch.pixels && stretch.pair.frame == findings.frame) {
            stretch.pair = framePair(findings, *stretch.pixels);
            stretch.pixels.reset();
        }
    }
}

std::vector<FramePair> FilmStrip::frames() const {
    std::vector<FramePair> pairs;
    for (const auto& [number, stretch] : stretches_) {
        pairs.push_back(stretch.pair);
    }
    return pairs;
}

} // namespace tintwell::inspect
