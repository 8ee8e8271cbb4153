#pragma once

#include "media/ffmpeg_objects.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>

namespace tintwell::media {

/// A decoded picture that several hold at once.
using SharedPicture = std::shared_ptr<const AVFrame>;

/// Decoded pictures by their number in the clip, up to a number of bytes: the earliest go first. A
/// decoded picture is much smaller than the world that it becomes. For one thread at a time.
class KeptPictures {
public:
    explicit KeptPictures(std::size_t bytes) : budget_(bytes) {}

    /// Keeps a reference; at least the picture added last is kept, whatever its size.
    void add(std::int64_t index, SharedPicture picture);

    /// Null where it is not kept.
    SharedPicture find(std::int64_t index) const;

    void dropBefore(std::int64_t index);

    void clear() { dropBefore(INT64_MAX); }

    /// How many pictures like the last one fit, at least 1.
    std::int64_t capacity() const;

private:
    void drop(std::map<std::int64_t, SharedPicture>::iterator entry);

    std::size_t budget_;
    std::size_t bytes_ = 0;
    std::size_t lastBytes_ = 0;
    std::map<std::int64_t, SharedPicture> pictures_;
};

} // namespace tintwell::media
