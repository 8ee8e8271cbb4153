#include "known_facts.h"

namespace tintwell::bench {

std::vector<std::byte> argbOf(const Picture& picture) {
    std::vector<std::byte> bytes(4 * picture.width * picture.height, std::byte{255});
    for (std::size_t i = 0; i < picture.planes[0].size(); ++i) {
        for (std::size_t c = 0; c < 3; ++c) {
            bytes[4 * i + c + 1] = static_cast<std::byte>(picture.planes[c][i]);
        }
    }
    return bytes;
}

std::vector<steady::FrameFacts>
factsOf(const ClipDefinition& clip, const std::function<void(std::size_t, const Picture&)>& visit) {
    std::vector<steady::FrameFacts> facts;
    steady::Observer observer;
    for (std::size_t frame = 0; frame < clip.frames; ++frame) {
        const Picture picture = clipFrame(clip, frame, clip.truth(frame));
        std::vector<std::byte> bytes = argbOf(picture);
        const InterleavedFrame view = {bytes.data(), static_cast<std::ptrdiff_t>(4 * picture.width),
                                       static_cast<std::int32_t>(picture.width),
                                       static_cast<std::int32_t>(picture.height), 8};
        facts.push_back(observer.add(viewOfPixels(view, 0), kFoundWith,
                                     static_cast<double>(frame) / kFrameRate));
        if (visit) {
            visit(frame, picture);
        }
    }
    return facts;
}

} // namespace tintwell::bench
