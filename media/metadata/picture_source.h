#pragma once

#include "media/ffmpeg_objects.h"

#include <deque>
#include <memory>
#include <string>
#include <vector>

namespace tintwell::media {

/// Whether the container is an image file, or a sequence of such.
bool isImageFile(const AVInputFormat& container);

/// Lets a decoded picture keep the packet that it was decoded from. Throws std::bad_alloc.
void keepSource(AVFrame& picture, const AVPacket& packet);

/// Takes what image files say beside their pictures from the packets that pictures keep to those
/// that are encoded from them, in the same order.
class NotesCarrier {
public:
    NotesCarrier(AVCodecID from, AVCodecID to) : from_(from), to_(to) {}

    /// What of the picture's notes has no place in the output, in words.
    std::vector<std::string> lost(const AVFrame& picture) const;

    /// Whether the output is told how the picture is to be turned.
    bool carriesOrientation() const;

    /// The picture is encoded next.
    void expect(const AVFrame& picture);

    /// The packet is that of the first of those pictures.
    void complete(AVPacket& packet);

private:
    struct BufferDeleter {
        void operator()(AVBufferRef* buffer) const { av_buffer_unref(&buffer); }
    };

    AVCodecID from_;
    AVCodecID to_;
    std::deque<std::unique_ptr<AVBufferRef, BufferDeleter>> sources_;
};

} // namespace tintwell::media
