#pragma once

#include "media/ffmpeg_objects.h"

#include <array>
#include <cstdint>
#include <optional>
#include <vector>

namespace tintwell::media {

/// 128 bits of a hash of everything in a picture that its world depends on.
using PictureDigest = std::array<std::uint8_t, 16>;

PictureDigest digestOf(const AVFrame& picture);

/// What a sequential reading of a clip has seen: the pts and the content of each frame. With it a
/// picture decoded by any other way, from a key frame for instance, can be told to be frame number
/// n of the sequential reading, or not to be: no assumption about the stream is needed. For one
/// thread at a time.
class PassedPictures {
public:
    /// Appends the next frame.
    void add(std::int64_t pts, const PictureDigest& digest);

    std::int64_t count() const { return static_cast<std::int64_t>(passed_.size()); }

    std::int64_t timeOf(std::int64_t index) const {
        return passed_[static_cast<std::size_t>(index)].pts;
    }

    /// Whether each frame has a pts above that of the frame before it.
    bool isOrdered() const { return isOrdered_; }

    /// The frame that this picture is; empty where it is none. Only where the pts are ordered.
    std::optional<std::int64_t> indexOf(const AVFrame& picture) const;

private:
    struct Passed {
        std::int64_t pts;
        PictureDigest digest;
    };

    std::vector<Passed> passed_;
    bool isOrdered_ = true;
};

} // namespace tintwell::media
