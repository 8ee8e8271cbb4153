#pragma once

// Tells whether what was found of a frame holds for another one. Hosts change frames without
// telling, and their buffers move; so findings are taken over only where the keys of both frames
// say that all the analysis reads is the same: the pixels (not the padding of their rows), their
// layout and the mode.
//
// A key is a hash of 122 bits under a secret that is drawn at random for each sequence and never
// shown. Whatever two frames that differ are chosen, they share a key with a probability below
// 2^-63 over the secrets: each block of a row (a KiB, or what is left) is hashed by sums of
// products of its words and the secret's (NH, which lets two blocks that differ collide with
// 2^-64 at most), and the hashes are the coefficients of a polynomial of degree d that is evaluated
// at two secret points modulo the prime p = 2^61 - 1 (two polynomials that differ agree at both
// with (d / p)^2 at most). A frame of more than 2^26 blocks, for which d would be too large, has no
// key. So no frame can be made to be taken for another without knowing the secret.

#include "module/frame/correction_mode.h"
#include "module/frame/pixel_view.h"

#include <array>
#include <cstdint>
#include <memory>

namespace tintwell {

/// What the keys of one sequence are made with.
struct KeySecret {
    static constexpr std::size_t kBlockWords = 128;

    std::array<std::uint64_t, kBlockWords> words;
    std::array<std::uint64_t, 2> points; ///< below 2^61 - 1

    /// None where the system gives no random numbers. Throws std::bad_alloc.
    static std::unique_ptr<const KeySecret> draw();
};

/// Keys of one secret can be compared.
class AnalysisKey {
public:
    /// No frame's key.
    AnalysisKey() = default;

    explicit AnalysisKey(const std::array<std::uint64_t, 2>& hash) : hash_(hash), isKnown_(true) {}

    /// Whether it is some frame's.
    bool isKnown() const { return isKnown_; }

    bool operator==(const AnalysisKey&) const = default;

private:
    std::array<std::uint64_t, 2> hash_{};
    bool isKnown_ = false;
};

/// Whether both are the key of one frame.
inline bool isSameFrame(const AnalysisKey& a, const AnalysisKey& b) {
    return a.isKnown() && a == b;
}

/// Makes the key of a frame while somebody walks over its rows.
class KeyHash {
public:
    /// Without a secret, or of too large a frame, the key is no frame's. The frame, whose pixels
    /// are interleaved, and the secret must outlive it.
    KeyHash(const KeySecret* secret, const PixelView& pixels, AutoCorrectionMode mode);

    /// Takes in each row once, from the first to the last.
    void addRow(std::int32_t y);

    AnalysisKey key() const;

private:
    void addCoefficient(std::uint64_t coefficient);

    const KeySecret* secret_;
    const PixelView& pixels_;
    std::array<std::uint64_t, 2> values_ = {1, 1}; ///< of the polynomial so far, at both points
};

} // namespace tintwell
