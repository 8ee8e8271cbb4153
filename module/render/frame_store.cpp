#include "module/render/frame_store.h"

#include "module/kernels/kernels.h"
#include "module/services/world_view.h"

#include <array>
#include <limits>

namespace tintwell {
namespace {

template <class T>
struct SampleScale;

template <>
struct SampleScale<std::uint8_t> {
    static constexpr std::uint8_t kMid = 128;
    static constexpr std::uint8_t kBits = 8;
    static constexpr std::uint8_t kMax = 255;
};

template <>
struct SampleScale<std::uint16_t> {
    static constexpr std::uint16_t kMid = 16384;
    static constexpr std::uint16_t kBits = 15;
    static constexpr std::uint16_t kMax = 32768;
};

/// Whether planes of this depth that hold so many pixels can be merged into the world.
bool fits(const EffectWorld& destination, std::int32_t bitDepth, std::size_t pixels) {
    return !lacksPixels(destination) && depthOf(destination) == bitDepth &&
           pixelCount(destination) <= pixels;
}

/// Planes at one row, in the order in which the host's pixels hold their samples.
template <class T>
std::array<T*, 4> inPixelOrder(T* planes, std::size_t planeSamples, std::size_t offset,
                               std::int32_t channelOrder) {
    std::array<T*, 4> rows{};
    for (std::size_t k = 0; k < rows.size(); ++k) {
        rows[channelOrder == 1 ? 3 - k : k] = planes + k * planeSamples + offset;
    }
    return rows;
}

} // namespace

template <class T>
std::size_t CFrameStore<T>::planeSamples() const {
    return world_ != nullptr ? pixelCount(*world_) : 0;
}

template <class T>
T* CFrameStore<T>::planeOf(const Buffer& buffer, std::int32_t k) const {
    T* samples = samplesOf(buffer);
    return samples != nullptr ? samples + static_cast<std::size_t>(k) * planeSamples() : nullptr;
}

template <class T>
void CFrameStore<T>::reserve(std::size_t samples) {
    if (samples > capacity_ || inputBuffer_ == nullptr) {
        auto input = std::make_unique_for_overwrite<T[]>(samples);
        if (inPlace_ == 0) {
            outputBuffer_ = std::make_unique_for_overwrite<T[]>(samples);
        }
        inputBuffer_ = std::move(input);
        capacity_ = samples;
    }
}

template <class T>
ErrorCode CFrameStore<T>::Setup(const EffectWorld* world) {
    world_ = nullptr;
    if (world == nullptr || lacksPixels(*world)) {
        return error::kMissingRecord;
    }
    constexpr std::size_t kPixelBytes = 4 * sizeof(T);
    if (pixelCount(*world) > std::numeric_limits<std::size_t>::max() / kPixelBytes) {
        return error::kOutOfMemory;
    }
    reserve(pixelCount(*world) * 4);
    world_ = world;
    bitDepth_ = depthOf(*world);
    channelCount_ = 4;
    midValue_ = SampleScale<T>::kMid;
    bitCount_ = SampleScale<T>::kBits;
    maxValue_ = SampleScale<T>::kMax;
    return error::kNone;
}

template <class T>
ErrorCode CFrameStore<T>::SplitPlanes() {
    if (world_ == nullptr) {
        return error::kMissingRecord;
    }
    const InterleavedFrame frame = viewOf(*world_);
    for (std::int32_t y = 0; y < frame.rows(); ++y) {
        const auto rows =
            inPixelOrder(samplesOf(inputBuffer_), planeSamples(),
                         static_cast<std::size_t>(y) * frame.rowPixels(), channelOrder_);
        kernels::kernelsFor<T>().split(frame.row(y), frame.rowPixels(), rows.data());
    }
    return error::kNone;
}

template <class T>
ErrorCode CFrameStore<T>::MergePlanes(EffectWorld* destination) {
    if (destination == nullptr || !fits(*destination, bitDepth_, planeSamples())) {
        return error::kMissingRecord;
    }
    const InterleavedFrame frame = viewOf(*destination);
    for (std::int32_t y = 0; y < frame.rows(); ++y) {
        const auto rows =
            inPixelOrder<const T>(samplesOf(outputSide()), planeSamples(),
                                  static_cast<std::size_t>(y) * frame.rowPixels(), channelOrder_);
        kernels::kernelsFor<T>().merge(rows.data(), frame.rowPixels(), frame.row(y));
    }
    return error::kNone;
}

template class CFrameStore<std::uint8_t>;
template class CFrameStore<std::uint16_t>;

CreatedFrameStore CreateFrameStore(std::int32_t bitDepth, std::int32_t channelOrder,
                                   std::int32_t inPlace) {
    if (channelOrder != 0 && channelOrder != 1) {
        return {error::kUnsupportedChannelOrder, nullptr};
    }
    switch (bitDepth) {
    case 8:
        return {error::kNone, std::make_unique<CFrameStore<std::uint8_t>>(channelOrder, inPlace)};
    case 16:
        return {error::kNone, std::make_unique<CFrameStore<std::uint16_t>>(channelOrder, inPlace)};
    default:
        return {error::kOutOfMemory, nullptr};
    }
}

bool fitsPlanesOf(const EffectWorld& world, const EffectWorld& destination) {
    return fits(destination, depthOf(world), pixelCount(world));
}

} // namespace tintwell
