#pragma once

#include "media/ffmpeg_objects.h"
#include "media/files/descriptor_io.h"
#include "media/input/video_decoder.h"

#include <optional>
#include <string>

namespace tintwell::media {

/// The video of a file that has just been written and has no name yet.
class WrittenVideo {
public:
    /// `name` is for messages. The descriptor stays the caller's; the interruption must outlive
    /// this. Throws MediaError where nothing can be read.
    WrittenVideo(const std::string& name, int descriptor, const Interruption& interruption);

    const AVStream& stream() const { return *stream_; }

    /// The frames in their order; empty at the end.
    FramePtr next();

    /// Goes to a key frame at or before this many seconds from the video's start; false where the
    /// file has no way there.
    bool seek(double seconds);

    /// Whether something could not be decoded since the last seek.
    bool isDamaged() const { return decoder_->damaged() > 0; }

private:
    bool feed();

    DescriptorIo io_;
    InputPtr container_;
    AVStream* stream_ = nullptr;
    std::optional<VideoDecoder> decoder_;
};

/// Whether files of this muxer can be told by what they hold. Raw samples, for one, cannot.
bool canBeReadBack(const AVOutputFormat& container);

} // namespace tintwell::media
