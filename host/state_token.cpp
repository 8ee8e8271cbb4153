#include "host/state_token.h"

#include <bit>
#include <cstddef>
#include <cstdint>

namespace tintwell::host {

namespace {

/// Two 64-bit lanes fed with the same words from different starting points. The mixing steps are
/// the finaliser of the SplitMix64 generator, in which every input bit reaches every output bit.
class TokenHash {
public:
    void add(std::uint64_t word) {
        low_ = mix(low_ ^ word);
        high_ = mix(high_ + word);
    }

    void add(double value) {
        // Both zeros compare equal, so they must hash equal.
        add(std::bit_cast<std::uint64_t>(value == 0.0 ? 0.0 : value));
    }

    StateToken token() const {
        StateToken token{};
        for (std::size_t i = 0; i < 8; ++i) {
            token.bytes[i] = static_cast<std::byte>(low_ >> (8 * i));
            token.bytes[8 + i] = static_cast<std::byte>(high_ >> (8 * i));
        }
        return token;
    }

private:
    static std::uint64_t mix(std::uint64_t word) {
        word += 0x9e3779b97f4a7c15U;
        word = (word ^ word >> 30U) * 0xbf58476d1ce4e5b9U;
        word = (word ^ word >> 27U) * 0x94d049bb133111ebU;
        return word ^ word >> 31U;
    }

    std::uint64_t low_ = 0x243f6a8885a308d3U;
    std::uint64_t high_ = 0x13198a2e03707344U;
};

void addTrack(TokenHash& hash, const ControlTrack& track) {
    // The number of keys first, so that no two different tracks write the same words.
    hash.add(std::uint64_t{track.keys().size()});
    if (!track.isKeyframed()) {
        hash.add(track.valueAt(0));
    }
    for (const Keyframe& key : track.keys()) {
        hash.add(static_cast<std::uint64_t>(static_cast<std::uint32_t>(key.frame)));
        hash.add(key.value);
        hash.add(static_cast<std::uint64_t>(key.interpolation));
    }
}

} // namespace

StateToken stateOf(const ControlTracks& tracks, std::optional<Control> only) {
    TokenHash hash;
    for (std::size_t i = 1; i <= kControlCount; ++i) {
        const auto control = static_cast<Control>(i);
        if (!only || *only == control) {
            hash.add(std::uint64_t{i});
            addTrack(hash, tracks[control]);
        }
    }
    return hash.token();
}

} // namespace tintwell::host
