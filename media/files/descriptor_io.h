#pragma once

#include "media/ffmpeg_objects.h"
#include "media/files/descriptor.h"

#include <cstdint>
#include <utility>

namespace tintwell::media {

/// FFmpeg's way to an open file, which it does not own. A file that may be sought has its place of
/// its own, so that several of these can share a descriptor; others are passed along as they come.
class DescriptorIo {
public:
    enum class Direction : std::uint8_t { Read, Write };

    /// The interruption must outlive it. Throws std::bad_alloc.
    DescriptorIo(int descriptor, Direction direction, bool seekable,
                 const Interruption& interruption);
    ~DescriptorIo();

    DescriptorIo(const DescriptorIo&) = delete;
    DescriptorIo& operator=(const DescriptorIo&) = delete;

    AVIOContext* context() { return context_; }

    /// The one that FFmpeg knows by this context.
    static DescriptorIo& of(const AVIOContext& context) {
        return *static_cast<DescriptorIo*>(context.opaque);
    }

    /// An errno value: why something could not be read since it was asked last; 0 where all could.
    int takeReadError() { return std::exchange(readError_, 0); }

    /// Writes what is left and tells how all of it went: an AVERROR code or 0.
    int flush();

private:
    static int read(void* self, std::uint8_t* bytes, int size);
    static int write(void* self, std::uint8_t* bytes, int size);
    static std::int64_t seek(void* self, std::int64_t offset, int whence);

    std::int64_t size() const;

    int descriptor_;
    bool seekable_;
    const Interruption& interruption_;
    std::int64_t position_ = 0;
    AVIOContext* context_ = nullptr;
    int readError_ = 0;
};

} // namespace tintwell::media
