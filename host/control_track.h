#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace tintwell::host {

/// Parameter indices of the module: 0 is the input layer, the controls follow.
enum class Control : std::int32_t {
    TemporalSmoothing = 1,   ///< seconds, 0..10
    SceneDetect = 2,         ///< 0 or 1
    BlackClip = 3,           ///< percent, 0..10
    WhiteClip = 4,           ///< percent, 0..10
    SnapNeutralMidtones = 5, ///< 0 or 1
    BlendWithOriginal = 6,   ///< percent, 0..100
};
inline constexpr std::size_t kControlCount = 6;

enum class Interpolation : std::uint8_t {
    Hold,   ///< the key's value stays until the next key
    Linear, ///< a straight line to the next key
};

struct Keyframe {
    std::int32_t frame = 0;
    double value = 0.0;
    Interpolation interpolation = Interpolation::Linear;

    bool operator==(const Keyframe&) const = default;
};

/// One control over time: a constant, or keyframes in rising order of frame. Before the first key
/// and after the last one the value of that key holds.
class ControlTrack {
public:
    ControlTrack() = default;

    explicit ControlTrack(double constant) : constant_(constant) {}

    /// Throws std::invalid_argument when there is no key or the frames do not rise strictly.
    explicit ControlTrack(std::vector<Keyframe> keys);

    double valueAt(std::int32_t frame) const;

    /// The greatest value at any frame: between keyframes values never go beyond those of the keys.
    double greatestValue() const;

    bool isKeyframed() const { return !keys_.empty(); }

    const std::vector<Keyframe>& keys() const { return keys_; }

    bool operator==(const ControlTrack&) const = default;

private:
    double constant_ = 0.0;
    std::vector<Keyframe> keys_;
};

/// The six controls of one effect instance.
class ControlTracks {
public:
    ControlTrack& operator[](Control control) { return tracks_[slot(control)]; }

    const ControlTrack& operator[](Control control) const { return tracks_[slot(control)]; }

private:
    static std::size_t slot(Control control) { return static_cast<std::size_t>(control) - 1; }

    std::array<ControlTrack, kControlCount> tracks_;
};

} // namespace tintwell::host
