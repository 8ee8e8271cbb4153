#include "content.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <random>

namespace tintwell::bench {
namespace {

using Color = std::array<double, 3>; // 0..1

/// Smooth shading, shapes with edges and a little noise, in a narrow warm range.
Color naturalColor(double x, double y, double noise) {
    const double shading = 0.5 + 0.3 * std::sin(x * 3.1 + y * 1.7) * std::cos(y * 2.3);
    const bool shape = std::fmod(x * 5.0 + y * 3.0, 1.0) < 0.35;
    const double light = std::clamp(shading * (shape ? 0.6 : 1.0) + noise * 0.04, 0.0, 1.0);
    return {0.15 + 0.65 * light, 0.12 + 0.55 * light, 0.1 + 0.4 * light};
}

Color colorOf(Content content, double x, double y, std::minstd_rand& random) {
    const auto uniform = [&] { return static_cast<double>(random()) / std::minstd_rand::max(); };
    switch (content) {
    case Content::Natural:
        return naturalColor(x, y, uniform() - 0.5);
    case Content::Flat:
        return x < 0.5 ? Color{0.4, 0.35, 0.3} : Color{0.7, 0.6, 0.5};
    case Content::Noise:
        return {uniform(), uniform(), uniform()};
    }
    return {};
}

template <class Sample>
void fill(host::FrameBuffer& frame, Content content, unsigned seed) {
    constexpr double kWhite = sizeof(Sample) == 1 ? 255.0 : 32768.0;
    std::minstd_rand random(seed + 1);
    for (std::int32_t y = 0; y < frame.height(); ++y) {
        for (std::int32_t x = 0; x < frame.width(); ++x) {
            const Color color = colorOf(content, static_cast<double>(x) / frame.width(),
                                        static_cast<double>(y) / frame.height(), random);
            const std::array<Sample, 4> pixel = {
                static_cast<Sample>(kWhite), static_cast<Sample>(color[0] * kWhite),
                static_cast<Sample>(color[1] * kWhite), static_cast<Sample>(color[2] * kWhite)};
            std::memcpy(frame.row(y) + static_cast<std::size_t>(x) * sizeof(pixel), pixel.data(),
                        sizeof(pixel));
        }
    }
}

} // namespace

std::string nameOf(Content content) {
    switch (content) {
    case Content::Natural:
        return "natural";
    case Content::Flat:
        return "flat";
    case Content::Noise:
        return "noise";
    }
    return {};
}

Frames makeFrames(const FrameSize& size, host::SampleDepth depth, Content content) {
    Frames frames;
    for (unsigned seed = 0; seed < 4; ++seed) {
        frames.push_back(makeFrame(size, depth, content, seed));
    }
    return frames;
}

std::shared_ptr<host::FrameBuffer> makeFrame(const FrameSize& size, host::SampleDepth depth,
                                             Content content, unsigned seed) {
    auto frame = std::make_shared<host::FrameBuffer>(size.width, size.height, depth);
    if (depth == host::SampleDepth::Bits8) {
        fill<std::uint8_t>(*frame, content, seed);
    } else {
        fill<std::uint16_t>(*frame, content, seed);
    }
    return frame;
}

} // namespace tintwell::bench
