#pragma once

// What loops over the pixels of a host's rows have in common.

#include "plugins/core/host_frame.h"

#include <cstring>
#include <type_traits>

namespace tintwell::plugins {

template <class T>
T loadAs(const std::byte* at) {
    T value;
    std::memcpy(&value, at, sizeof value);
    return value;
}

template <class T>
void storeAs(std::byte* at, T value) {
    std::memcpy(at, &value, sizeof value);
}

/// Where the channels of a row begin; null for alpha that is not there.
template <class Byte>
std::array<Byte*, 4> channelRows(const HostFrame<Byte>& frame, std::int32_t y) {
    return {frame.row(0, y), frame.row(1, y), frame.row(2, y),
            frame.alpha == Alpha::None ? nullptr : frame.row(3, y)};
}

/// How far pixels are apart in a source, and in the target it goes to.
struct AnyStep {
    std::ptrdiff_t source;
    std::ptrdiff_t target;
};

/// The same of pixels of four samples side by side, the usual ones.
template <std::size_t kSampleBytes>
struct PackedStep {
    static constexpr std::ptrdiff_t source = 4 * kSampleBytes;
    static constexpr std::ptrdiff_t target = source;
};

/// Calls work(isMultiplied, step) with types that say what the frames are like, so that the
/// compiler makes loops of their own for the usual ones.
template <std::size_t kSampleBytes, class Work>
void withTypesOf(Alpha alpha, const AnyStep& step, Work work) {
    using Packed = PackedStep<kSampleBytes>;
    const auto withStep = [&](auto isMultiplied) {
        if (step.source == Packed::source && step.target == Packed::target) {
            work(isMultiplied, Packed());
        } else {
            work(isMultiplied, step);
        }
    };
    if (alpha == Alpha::Premultiplied) {
        withStep(std::true_type());
    } else {
        withStep(std::false_type());
    }
}

} // namespace tintwell::plugins
