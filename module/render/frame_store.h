#pragma once

// A frame of the host's pixels, or a band of its rows, as four planes, so that the application
// works channel by channel. The planes are always in the order alpha, red, green, blue, whatever
// the host's order; 16-bit samples keep the host's scale, 0..32768.

#include "module/interface/host_interface.h"

#include <cstdint>
#include <memory>

namespace tintwell {

/// Made by CreateFrameStore and owned by its caller. Setup binds it to a world, which must outlive
/// its use; the planes belong to the store and live until the next Setup or its destruction. A
/// Setup for no more pixels than the last one uses its memory again.
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
    CFrameStore(std::int32_t channelOrder, std::int32_t inPlace)
        : channelOrder_(channelOrder), inPlace_(inPlace) {}

    ErrorCode Setup(const EffectWorld* world) override;
    ErrorCode SplitPlanes() override;

    void* InputPlane(std::int32_t k) override { return planeOf(inputBuffer_, k); }

    void* OutputPlane(std::int32_t k) override { return planeOf(outputSide(), k); }

    void* InputBuffer() override { return samplesOf(inputBuffer_); }

    void* OutputBuffer() override { return samplesOf(outputBuffer_); }

    ErrorCode MergePlanes(EffectWorld* destination) override;

    std::int32_t ChannelCount() const override { return channelCount_; }

    std::int32_t bitDepth() const { return bitDepth_; }

    T midValue() const { return midValue_; }

    T bitCount() const { return bitCount_; }

    T maxValue() const { return maxValue_; }

private:
    using Buffer = std::unique_ptr<T[]>;

    /// Null before Setup, whatever memory is kept.
    T* samplesOf(const Buffer& buffer) const { return world_ != nullptr ? buffer.get() : nullptr; }

    std::size_t planeSamples() const;
    T* planeOf(const Buffer& buffer, std::int32_t k) const;
    void reserve(std::size_t samples);

    const Buffer& outputSide() const { return inPlace_ != 0 ? inputBuffer_ : outputBuffer_; }

    const EffectWorld* world_ = nullptr;
    std::int32_t bitDepth_ = 8;
    std::int32_t channelCount_ = 0;
    Buffer inputBuffer_;
    Buffer outputBuffer_;
    std::size_t capacity_ = 0; ///< samples each buffer holds
    T midValue_ = 0;
    T bitCount_ = 0;
    T maxValue_ = 0;
    std::int32_t channelOrder_; ///< 0: pixels are A,R,G,B; 1: B,G,R,A
    std::int32_t inPlace_;      ///< not 0: the input planes serve as output too
};

struct CreatedFrameStore {
    ErrorCode code;
    std::unique_ptr<CFrameStoreBase> store; ///< none unless code is 0
};

/// `bitDepth` is 8 or 16; anything else gives code 4. `channelOrder` 0 is A,R,G,B, 1 is B,G,R,A;
/// anything else gives code 10002. Throws std::bad_alloc.
CreatedFrameStore CreateFrameStore(std::int32_t bitDepth, std::int32_t channelOrder,
                                   std::int32_t inPlace);

/// Whether the planes of one world can be merged into the other: it has its pixels, as deep and no
/// more of them.
bool fitsPlanesOf(const EffectWorld& world, const EffectWorld& destination);

} // namespace tintwell
