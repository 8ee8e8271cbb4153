#pragma once

#include "module/interface/host_interface.h"

#include <array>
#include <cstdint>
#include <vector>

namespace tintwell {

/// A host for the tests of the smoothing objects: a clip of frames that are each one row of pixels,
/// read through the check-out callbacks. The effect reference is its address.
class ClipHost {
public:
    using Pixel = std::array<std::uint8_t, 4>; // A,R,G,B
    using Frame = std::vector<Pixel>;

    explicit ClipHost(std::vector<Frame> frames) : frames_(std::move(frames)) {
        inData.effectReference = reinterpret_cast<std::uint64_t>(this);
        inData.timeStep = 10;
        inData.timeScale = 10; // one frame a second
        inData.totalDuration = static_cast<std::int32_t>(frames_.size()) * 10;
        inData.quality = kQualityHigh;
        inData.checkoutParameter = checkOut;
        inData.checkinParameter = checkIn;
        inData.abort = abort;
    }

    ClipHost(const ClipHost&) = delete;
    ClipHost& operator=(const ClipHost&) = delete;

    void moveTo(std::int32_t frame) { inData.currentTime = frame * inData.timeStep; }

    InData inData{};
    ErrorCode abortAnswer = 0;
    ErrorCode checkOutAnswer = 0;
    ErrorCode checkInAnswer = 0;
    int checkedOut = 0;
    std::vector<std::int32_t> framesRead;
    double blackClip = 0.0;

private:
    static ClipHost& of(std::uint64_t reference) {
        return *reinterpret_cast<ClipHost*>(reference); // NOLINT(performance-no-int-to-ptr)
    }

    static ErrorCode abort(std::uint64_t reference) { return of(reference).abortAnswer; }

    static ErrorCode checkOut(std::uint64_t reference, std::int32_t index, std::int32_t time,
                              std::int32_t, std::uint32_t, ParamDef* param) {
        ClipHost& host = of(reference);
        if (host.checkOutAnswer != 0) {
            return host.checkOutAnswer;
        }
        ++host.checkedOut;
        if (index == 0) {
            const std::int32_t frame = time / host.inData.timeStep;
            Frame& pixels = host.frames_.at(static_cast<std::size_t>(frame));
            host.framesRead.push_back(frame);
            param->layer.data = pixels.data();
            param->layer.width = static_cast<std::int32_t>(pixels.size());
            param->layer.height = 1;
            param->layer.rowBytes = param->layer.width * 4;
        } else if (index != 5) {
            param->slider.value = host.blackClip;
        }
        return 0;
    }

    static ErrorCode checkIn(std::uint64_t reference, ParamDef*) {
        --of(reference).checkedOut;
        return of(reference).checkInAnswer;
    }

    std::vector<Frame> frames_;
};

} // namespace tintwell
