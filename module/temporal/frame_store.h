#pragma once

// One frame of the host's pixels as four planes, so that analysis and application work channel by
// channel. The planes are always in the order alpha, red, green, blue, whatever the host's order;
// 16-bit samples keep the host's scale, 0..32768.

#include "module/frame/frame_memory.h"
#include "module/interface/host_interface.h"

#include <cstdint>
#include <memory>

namespace tintwell {

/// Made by CreateFrameStore and owned by its caller. Setup binds it to a world, which must outlive
/// its use; the planes belong to the store and live until the next Setup or its destruction.
class CFrameStoreBase {
public:
    CFrameStoreBase() = default;
    CFrameStoreBase(const CFrameStoreBase&) = delete;
    CFrameStoreBase& operator=(const CFrameStoreBase&) = delete;
    virtual ~CFrameStoreBase() = default;

    /// Makes planes for the world. 512 without a world, or without its pixels where it has any.
    virtual ErrorCode Setup(const EffectWorld* world) = 0;
    /// Copies every pixel of the world into the input planes; fails only before Setup, with 512.
    virtual ErrorCode SplitPlanes() = 0;
    /// First sample of plane k (0..3), which holds width * height packed samples; null before
    /// Setup.
    virtual void* InputPlane(std::int32_t k) = 0;
    /// The same of the planes that MergePlanes reads: the input planes of an in-place store.
    virtual void* OutputPlane(std::int32_t k) = 0;
    virtual void* InputBuffer() = 0;
    /// Null for an in-place store.
    virtual void* OutputBuffer() = 0;
    /// Writes the output planes into the destination, padding untouched. 512, with nothing written,
    /// when the destination or its pixels are missing, when it is of another depth, or when it
    /// holds more pixels than the planes.
    virtual ErrorCode MergePlanes(EffectWorld* destination) = 0;
    virtual std::int32_t ChannelCount() const = 0;
};

/// T is std::uint8_t or std::uint16_t.
template <class T>
class CFrameStore final : public CFrameStoreBase {
public:
    CFrameStore(std::int32_t channelOrder, std::int32_t inPlace, SpareMemory* spares)
        : channelOrder_(channelOrder), inPlace_(inPlace), spares_(spares) {}

    ErrorCode Setup(const EffectWorld* world) override;
    ErrorCode SplitPlanes() override;

    void* InputPlane(std::int32_t k) override { return planeOf(inputBuffer_, k); }

    void* OutputPlane(std::int32_t k) override { return planeOf(outputSide(), k); }

    void* InputBuffer() override { return inputBuffer_.get(); }

    void* OutputBuffer() override { return outputBuffer_.get(); }

    ErrorCode MergePlanes(EffectWorld* destination) override;

    std::int32_t ChannelCount() const override { return channelCount_; }

    std::int32_t bitDepth() const { return bitDepth_; }

    T midValue() const { return midValue_; }

    T bitCount() const { return bitCount_; }

    T maxValue() const { return maxValue_; }

private:
    static T* samplesOf(const FrameMemory& buffer) { return reinterpret_cast<T*>(buffer.get()); }

    std::size_t planeSamples() const;
    T* planeOf(const FrameMemory& buffer, std::int32_t k) const;

    const FrameMemory& outputSide() const { return inPlace_ != 0 ? inputBuffer_ : outputBuffer_; }

    const EffectWorld* world_ = nullptr;
    std::int32_t bitDepth_ = 8;
    std::int32_t channelCount_ = 0;
    FrameMemory inputBuffer_;
    FrameMemory outputBuffer_;
    T midValue_ = 0;
    T bitCount_ = 0;
    T maxValue_ = 0;
    std::int32_t channelOrder_; ///< 0: pixels are A,R,G,B; 1: B,G,R,A
    std::int32_t inPlace_;      ///< not 0: the input planes serve as output too
    SpareMemory* spares_;
};

struct CreatedFrameStore {
    ErrorCode code;
    std::unique_ptr<CFrameStoreBase> store; ///< none unless code is 0
};

/// `bitDepth` is 8 or 16; anything else gives code 4. `channelOrder` 0 is A,R,G,B, 1 is B,G,R,A;
/// anything else gives code 10002. The planes' memory is taken from and given back to the spares,
/// which must outlive the store or be null.
CreatedFrameStore CreateFrameStore(std::int32_t bitDepth, std::int32_t channelOrder,
                                   std::int32_t inPlace, SpareMemory* spares);

} // namespace tintwell
