#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace tintwell::bench {

/// Three planes of levels, 0..255 but not rounded.
struct Picture {
    std::size_t width = 0;
    std::size_t height = 0;
    std::array<std::vector<float>, 3> planes;

    Picture() = default;
    Picture(std::size_t columns, std::size_t rows);
};

/// Where a camera looks: the middle of its picture, in pixels of the scenery.
struct View {
    double x;
    double y;
    double zoom = 1.0; ///< above 1 shows less
    double turn = 0.0; ///< radians
};

/// A wide picture to look around in, made of noise as photographs are: detail of every size, a sky
/// that grows lighter, things with surfaces of their own, deep shadows, small glints, and a cast
/// that lifts black and lowers white.
class Scenery {
public:
    explicit Scenery(std::uint32_t seed, std::size_t width = 1000, std::size_t height = 600);

    Picture seen(const View& view, std::size_t width, std::size_t height) const;

    double width() const { return static_cast<double>(picture_.width); }

    double height() const { return static_cast<double>(picture_.height); }

private:
    Picture picture_;
};

} // namespace tintwell::bench
