#pragma once

#include "media/clip_info.h"
#include "media/moment.h"

#include <cstdint>
#include <optional>
#include <string>

namespace tintwell::media {

/// Which frames of a clip are delivered: all, or those of a span. Frames around the span can be
/// passed over for those who look at neighbours.
class SpanGate {
public:
    enum class Side : std::uint8_t { Before, Inside, Behind };

    explicit SpanGate(const std::optional<FrameSpan>& span) : span_(span) {}

    /// Whether some frames of the clip are left out.
    bool cuts() const { return span_.has_value(); }

    /// Of the span's frames; empty without one, or where that depends on the clip.
    std::optional<std::int64_t> count() const { return span_ ? span_->count() : std::nullopt; }

    /// Up to so many frames behind the span are passed over.
    void passBehind(std::int64_t frames) { framesBehind_ = frames; }

    Side sideOf(std::int64_t index) const;

    /// Whether a frame that is not inside is still passed over.
    bool passes(std::int64_t index) const;

    /// A frame behind the span is shown at this time; the first one's is the end of the span.
    void noteBehind(const Moment& time);

    /// Known once a frame behind the span is.
    const std::optional<Moment>& end() const { return end_; }

    /// Throws MediaError where the span is not all in a clip of so many frames.
    void check(const std::string& input, std::int64_t frameCount) const;

private:
    std::optional<FrameSpan> span_;
    std::int64_t framesBehind_ = 0;
    std::optional<Moment> end_;
};

} // namespace tintwell::media
