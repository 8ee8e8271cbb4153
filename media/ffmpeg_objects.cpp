#include "media/ffmpeg_objects.h"

#include <array>
#include <new>

namespace tintwell::media {

FramePtr makeFrame() {
    FramePtr frame(av_frame_alloc());
    if (!frame) {
        throw std::bad_alloc();
    }
    return frame;
}

PacketPtr makePacket() {
    PacketPtr packet(av_packet_alloc());
    if (!packet) {
        throw std::bad_alloc();
    }
    return packet;
}

std::string errorText(int code) {
    std::array<char, AV_ERROR_MAX_STRING_SIZE> text{};
    av_strerror(code, text.data(), text.size());
    return text.data();
}

} // namespace tintwell::media
