#include "scenery.h"

#include <algorithm>
#include <cmath>
#include <random>

namespace tintwell::bench {
namespace {

using Field = std::vector<float>;

double smoothStep(double t) {
    t = std::clamp(t, 0.0, 1.0);
    return t * t * (3.0 - 2.0 * t);
}

/// Adds smooth noise with features of `cell` pixels.
void addNoise(Field& field, std::size_t width, double cell, double amplitude,
              std::mt19937& random) {
    const std::size_t height = field.size() / width;
    const auto columns = static_cast<std::size_t>(static_cast<double>(width) / cell) + 2;
    const auto rows = static_cast<std::size_t>(static_cast<double>(height) / cell) + 2;
    std::normal_distribution<double> normal(0.0, amplitude);
    std::vector<double> knots(columns * rows);
    std::ranges::generate(knots, [&] { return normal(random); });
    for (std::size_t y = 0; y < height; ++y) {
        for (std::size_t x = 0; x < width; ++x) {
            const double u = static_cast<double>(x) / cell;
            const double v = static_cast<double>(y) / cell;
            const auto column = static_cast<std::size_t>(u);
            const auto row = static_cast<std::size_t>(v);
            const double fx = smoothStep(u - std::floor(u));
            const double fy = smoothStep(v - std::floor(v));
            const double* knot = &knots[row * columns + column];
            field[y * width + x] +=
                static_cast<float>(std::lerp(std::lerp(knot[0], knot[1], fx),
                                             std::lerp(knot[columns], knot[columns + 1], fx), fy));
        }
    }
}

Field fractal(std::size_t width, std::size_t height, double roughness, std::mt19937& random) {
    Field field(width * height, 0.0F);
    double amplitude = 1.0;
    for (double cell = 200.0; cell > 2.0; cell /= 2.0) {
        addNoise(field, width, cell, amplitude, random);
        amplitude *= roughness;
    }
    return field;
}

/// Shares of the light that each channel gets back, at a place.
struct Surface {
    double brightness;
    double texture;
    std::array<double, 3> color;
};

struct Thing {
    double x;
    double y;
    double width;
    double height;
    bool isRound;
    Surface surface;

    bool covers(double px, double py) const {
        const double u = (px - x) / width;
        const double v = (py - y) / height;
        return isRound ? u * u + v * v < 1.0 : std::abs(u) < 1.0 && std::abs(v) < 1.0;
    }
};

Thing randomThing(double width, double height, std::mt19937& random) {
    std::uniform_real_distribution<double> share(0.0, 1.0);
    const double size = 12.0 + 90.0 * share(random) * share(random);
    const double tint = 0.25 * (share(random) - 0.5);
    const double brightness = 0.08 + 0.6 * share(random) * share(random);
    return {width * share(random),
            height * (0.3 + 0.7 * share(random)),
            size,
            size * (0.4 + share(random)),
            share(random) < 0.5,
            {brightness, 0.03 + 0.07 * share(random), {1.0 + tint, 1.0, 1.0 - tint}}};
}

/// Small lights and holes of different strength.
void addSpots(Picture& picture, int count, std::mt19937& random) {
    std::uniform_real_distribution<double> share(0.0, 1.0);
    for (int i = 0; i < count; ++i) {
        const auto x = static_cast<int>(share(random) * static_cast<double>(picture.width));
        const auto y = static_cast<int>(share(random) * static_cast<double>(picture.height));
        const double reach = 1.0 + 4.0 * share(random);
        const double end = i % 3 == 0 ? 0.12 * share(random) : 0.5 + 0.55 * share(random);
        for (int py = std::max(0, y - 12); py < std::min(y + 12, static_cast<int>(picture.height));
             ++py) {
            for (int px = std::max(0, x - 12);
                 px < std::min(x + 12, static_cast<int>(picture.width)); ++px) {
                const double away = std::hypot(px - x, py - y);
                const double glow = std::exp(-away * away / (reach * reach));
                for (auto& plane : picture.planes) {
                    float& level = plane[static_cast<std::size_t>(py) * picture.width +
                                         static_cast<std::size_t>(px)];
                    level = static_cast<float>(std::lerp(level, end, glow));
                }
            }
        }
    }
}

} // namespace

Picture::Picture(std::size_t columns, std::size_t rows) : width(columns), height(rows) {
    planes.fill(std::vector<float>(columns * rows));
}

Scenery::Scenery(std::uint32_t seed, std::size_t width, std::size_t height)
    : picture_(width, height) {
    std::mt19937 random(seed);
    const Field ground = fractal(width, height, 0.62, random);
    const Field fine = fractal(width, height, 0.75, random);
    std::vector<Thing> things;
    for (int i = 0; i < 70; ++i) {
        things.push_back(
            randomThing(static_cast<double>(width), static_cast<double>(height), random));
    }
    const double horizon = 0.3 * static_cast<double>(height);
    for (std::size_t y = 0; y < height; ++y) {
        for (std::size_t x = 0; x < width; ++x) {
            const std::size_t i = y * width + x;
            const auto px = static_cast<double>(x);
            const auto py = static_cast<double>(y);
            Surface surface = {0.34 + 0.13 * ground[i], 0.05, {1.03, 1.0, 0.9}};
            if (py + 25.0 * ground[i] < horizon) {
                surface = {0.55 + 0.25 * py / horizon, 0.012, {0.92, 1.0, 1.12}};
            }
            for (const Thing& thing : things) {
                if (thing.covers(px, py)) {
                    surface = thing.surface;
                }
            }
            for (std::size_t c = 0; c < 3; ++c) {
                picture_.planes[c][i] = static_cast<float>(
                    std::clamp((surface.brightness + surface.texture * fine[i]) * surface.color[c],
                               0.02, 0.93));
            }
        }
    }
    addSpots(picture_, 40, random);
    std::uniform_real_distribution<double> share(0.0, 1.0);
    for (auto& plane : picture_.planes) {
        const double black = 14.0 + 14.0 * share(random);
        const double white = 190.0 + 30.0 * share(random);
        for (float& level : plane) {
            level = static_cast<float>(black + (white - black) * level);
        }
    }
}

Picture Scenery::seen(const View& view, std::size_t width, std::size_t height) const {
    Picture picture(width, height);
    const double cosine = std::cos(view.turn) / view.zoom;
    const double sine = std::sin(view.turn) / view.zoom;
    for (std::size_t row = 0; row < height; ++row) {
        for (std::size_t column = 0; column < width; ++column) {
            const double u = static_cast<double>(column) - 0.5 * static_cast<double>(width);
            const double v = static_cast<double>(row) - 0.5 * static_cast<double>(height);
            const double x = std::clamp(view.x + cosine * u - sine * v, 0.0, this->width() - 2.0);
            const double y = std::clamp(view.y + sine * u + cosine * v, 0.0, this->height() - 2.0);
            const auto left = static_cast<std::size_t>(x);
            const auto top = static_cast<std::size_t>(y);
            const auto fx = static_cast<float>(x - std::floor(x));
            const auto fy = static_cast<float>(y - std::floor(y));
            const std::size_t i = top * picture_.width + left;
            for (std::size_t c = 0; c < 3; ++c) {
                const float* p = &picture_.planes[c][i];
                const float* q = p + picture_.width;
                picture.planes[c][row * width + column] =
                    std::lerp(std::lerp(p[0], p[1], fx), std::lerp(q[0], q[1], fx), fy);
            }
        }
    }
    return picture;
}

} // namespace tintwell::bench
