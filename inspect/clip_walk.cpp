#include "inspect/clip_walk.h"

#include "media/media_error.h"
#include "media/read/clip_for_effect.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <limits>
#include <utility>

namespace tintwell::inspect {
namespace {

media::ReaderOptions readerOptions(const WalkOptions& options) {
    return {options.reading, options.frames, false};
}

FinderOptions finderOptions(const WalkOptions& options, const media::ClipInfo& info) {
    return {media::timingForEffect(info), options.controls, options.highQuality, options.trials};
}

/// When a delivered frame is shown, counted from the clip's beginning as players do; by the frame
/// rate where the clip has no timestamps.
double secondsOf(const media::ClipReader& reader, const media::ReadItem& item) {
    const media::ClipInfo& info = reader.info();
    if (item.frame->pts == AV_NOPTS_VALUE) {
        return static_cast<double>(item.index) / av_q2d(info.frameRate);
    }
    const std::int64_t begin = reader.container().start_time;
    const media::Moment clip{begin != AV_NOPTS_VALUE ? begin : 0, {1, AV_TIME_BASE}};
    const std::int64_t start =
        media::ticksOf(*reader.start(), info.timeBase) - media::ticksOf(clip, info.timeBase);
    return static_cast<double>(item.frame->pts + start) * av_q2d(info.timeBase);
}

/// The next item that carries a frame which is delivered.
std::optional<media::ReadItem> nextFrame(media::ClipReader& reader) {
    std::optional<media::ReadItem> item = reader.read();
    while (item && !item->frame) {
        item = reader.read();
    }
    return item;
}

[[noreturn]] void throwNothingShown(const WalkOptions& options, double seconds, double last) {
    char text[128];
    std::snprintf(text, sizeof text,
                  ": shows no frame at %.10g seconds; its last one begins at %.3f", seconds, last);
    throw media::MediaError(media::inputName(options.input) + text);
}

/// Times are given as people read them, to the millisecond.
constexpr double kTimeTolerance = 0.0006;

/// The frame shown so long after the first one, where that can be told without reading up to it.
std::optional<std::int64_t> computedFrame(const media::ClipInfo& info, double seconds) {
    if (!info.rateIsExact || !info.frameCount || !info.frameCount->exact) {
        return {};
    }
    const double frame = std::floor((seconds + kTimeTolerance) * av_q2d(info.frameRate));
    return frame < static_cast<double>(info.frameCount->frames)
               ? std::optional(static_cast<std::int64_t>(frame))
               : std::nullopt;
}

/// The frames that begin in this span of time after the first one, where that can be told without
/// reading, and there are some.
std::optional<media::FrameSpan> computedSpan(const media::ClipInfo& info, double from, double to) {
    if (!info.rateIsExact || !info.frameCount || !info.frameCount->exact) {
        return {};
    }
    const auto frames = static_cast<double>(info.frameCount->frames);
    const auto firstFrom = [&](double seconds) {
        const double frame = std::ceil(seconds * av_q2d(info.frameRate));
        return static_cast<std::int64_t>(std::clamp(frame, 0.0, frames));
    };
    const std::int64_t first = firstFrom(from);
    const std::int64_t end = firstFrom(to);
    return first < end ? std::optional(media::FrameSpan(first, end - 1)) : std::nullopt;
}

} // namespace

ClipWalk::ClipWalk(const WalkOptions& options)
    : options_(options), reader_(options.input, readerOptions(options)),
      depth_(media::worldDepth(reader_.info(), options.depth)), toWorld_(reader_.info(), depth_),
      finder_(finderOptions(options, reader_.info())) {
    if (options_.frames && !reader_.leapTo(options_.frames->first - finder_.reach())) {
        reader_ = media::ClipReader(options.input, readerOptions(options));
    }
    reader_.readBeyondSpan(finder_.reach());
}

/// Reads up to the next frame that matters.
std::optional<ClipWalk::Picture> ClipWalk::read(std::unique_ptr<host::FrameBuffer> world) {
    const std::int64_t first = options_.frames ? options_.frames->first - finder_.reach() : 0;
    while (const std::optional<media::ReadItem> item = reader_.read()) {
        const media::FramePtr& frame = item->frame ? item->frame : item->outside;
        if (frame && options_.watch) {
            options_.watch(item->index);
        }
        if (!frame || item->index < first) {
            continue;
        }
        if (!world) {
            world = std::make_unique<host::FrameBuffer>(info().width, info().height, depth_);
        }
        toWorld_.convert(*frame, *world);
        const bool wanted = item->frame != nullptr;
        return Picture{item->index, wanted ? secondsOf(reader_, *item) : 0.0, wanted,
                       std::move(world)};
    }
    return {};
}

void ClipWalk::readOn(std::unique_ptr<host::FrameBuffer> world) {
    ahead_ = std::async(
        std::launch::async,
        [this](std::unique_ptr<host::FrameBuffer> into) { return read(std::move(into)); },
        std::move(world));
}

/// Measures one frame while the next one is read.
void ClipWalk::measureNext() {
    if (!std::exchange(begun_, true)) {
        readOn(nullptr);
    }
    std::optional<Picture> picture = ahead_.get();
    if (!picture) {
        ended_ = true;
        finder_.finish();
        return;
    }
    readOn(std::move(spare_));
    const bool startsScene =
        finder_.add(picture->frame, picture->seconds, *picture->world, picture->wanted);
    if (picture->wanted) {
        ++framesRead_;
        if (pixelsHook_) {
            pixelsHook_(picture->frame, startsScene, *picture->world);
        }
    }
    spare_ = std::move(picture->world);
}

std::optional<FrameFindings> ClipWalk::next() {
    std::optional<FrameFindings> findings = finder_.next();
    while (!findings && !ended_) {
        measureNext();
        findings = finder_.next();
    }
    return findings;
}

std::int64_t frameShownAt(const WalkOptions& options, double seconds) {
    media::ClipReader reader(options.input, {options.reading, {}, false});
    std::optional<media::ReadItem> item = nextFrame(reader);
    const double first = secondsOf(reader, *item);
    if (const auto frame = computedFrame(reader.info(), std::max(0.0, seconds - first))) {
        return *frame;
    }
    std::int64_t shown = item->index;
    double begin = first;
    while (item && begin <= seconds + kTimeTolerance) {
        shown = item->index;
        if (options.watch) {
            options.watch(shown);
        }
        item = nextFrame(reader);
        begin = item ? secondsOf(reader, *item) : begin;
    }
    if (!item && seconds >= begin + 1.0 / av_q2d(reader.info().frameRate)) {
        throwNothingShown(options, seconds, begin);
    }
    return shown;
}

media::FrameSpan framesBetween(const WalkOptions& options, const media::TimeSpan& times) {
    constexpr double kNever = std::numeric_limits<double>::infinity();
    const double from = times.from.value_or(-kNever) - kTimeTolerance;
    const double to = times.to.value_or(kNever) - kTimeTolerance;
    media::ClipReader reader(options.input, {options.reading, {}, false});
    std::optional<media::ReadItem> item = nextFrame(reader);
    double seconds = secondsOf(reader, *item);
    if (const auto span = computedSpan(reader.info(), from - seconds, to - seconds)) {
        return *span;
    }
    std::optional<std::int64_t> first;
    std::int64_t last = 0;
    while (item && seconds < to) {
        last = item->index;
        if (options.watch) {
            options.watch(last);
        }
        if (!first && seconds >= from) {
            first = last;
        }
        if (first && !times.to) {
            return media::FrameSpan::from(*first);
        }
        item = nextFrame(reader);
        seconds = item ? secondsOf(reader, *item) : seconds;
    }
    if (!first) {
        throw media::MediaError(media::inputName(options.input) +
                                ": no frame of it begins in the time given");
    }
    return {*first, last};
}

host::FrameBuffer copyOf(const host::FrameBuffer& buffer) {
    host::FrameBuffer copy(buffer.width(), buffer.height(), buffer.depth());
    for (std::int32_t y = 0; y < buffer.height(); ++y) {
        std::memcpy(copy.row(y), buffer.row(y), buffer.rowBytes());
    }
    return copy;
}

InspectedFrame inspectFrame(const WalkOptions& options, std::int64_t frame) {
    WalkOptions one = options;
    one.frames = media::FrameSpan{frame, frame};
    ClipWalk walk(one);
    std::optional<host::FrameBuffer> before;
    walk.setPixelsHook([&](std::int64_t, bool, const host::FrameBuffer& pixels) {
        before.emplace(copyOf(pixels));
    });
    std::optional<FrameFindings> findings = walk.next();
    while (walk.next()) { // to the end of what may be read, where the warnings are complete
    }
    if (walk.framesMissing() > 0) {
        throw media::MediaError(media::inputName(options.input) + ": frame " +
                                std::to_string(frame) + " is missing or cannot be read");
    }
    host::FrameBuffer after(before->width(), before->height(), before->depth());
    correctPixels(*findings, *before, after);
    const ChannelHistogram histogramAfter = histogramOf(after);
    return {std::move(*findings), std::move(*before), std::move(after),
            histogramAfter,       walk.info(),        walk.warnings()};
}

} // namespace tintwell::inspect
