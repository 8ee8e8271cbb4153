#include "clips.h"

#include <algorithm>
#include <cmath>
#include <future>
#include <numbers>
#include <random>

namespace tintwell::bench {
namespace {

using Camera = std::function<View(std::size_t)>;
/// Made when it is first looked at.
using SharedScenery = std::shared_future<Scenery>;

SharedScenery scenery(std::uint32_t seed) {
    return std::async(std::launch::deferred, [seed] { return Scenery(seed); }).share();
}

/// A number of 0..1 for a frame that looks random.
double drawn(std::uint32_t seed, std::size_t frame) {
    std::mt19937 random(seed * 7919U + static_cast<std::uint32_t>(frame) * 104729U);
    random.discard(3);
    return std::uniform_real_distribution<double>(0.0, 1.0)(random);
}

/// The same from -1 to 1 and smooth over some frames.
double wandering(std::uint32_t seed, double frame, double period) {
    const double place = frame / period;
    const auto knot = static_cast<std::size_t>(place);
    const double t = place - std::floor(place);
    const double share = t * t * (3.0 - 2.0 * t);
    return 2.0 * std::lerp(drawn(seed, knot), drawn(seed, knot + 1), share) - 1.0;
}

Camera still(double x = 420.0, double y = 290.0) {
    return [=](std::size_t) { return View{x, y}; };
}

Camera pan(double speed = 2.5) {
    return [=](std::size_t frame) {
        return View{200.0 + speed * static_cast<double>(frame), 260.0};
    };
}

Camera handHeld(double x = 420.0, double y = 290.0) {
    return [=](std::size_t frame) {
        const auto t = static_cast<double>(frame);
        return View{x + 9.0 * wandering(1, t, 7.0) + 14.0 * wandering(2, t, 31.0),
                    y + 7.0 * wandering(3, t, 6.0) + 10.0 * wandering(4, t, 27.0), 1.0,
                    0.01 * wandering(5, t, 9.0)};
    };
}

std::function<Picture(std::size_t)> shot(SharedScenery place, Camera camera) {
    return [place = std::move(place), camera = std::move(camera)](std::size_t frame) {
        return place.get().seen(camera(frame), kClipWidth, kClipHeight);
    };
}

struct Disc {
    double x;
    double y;
    double radius;
    std::array<double, 3> levels;
};

void draw(Picture& picture, const Disc& disc) {
    for (std::size_t y = 0; y < picture.height; ++y) {
        for (std::size_t x = 0; x < picture.width; ++x) {
            const double away =
                std::hypot(static_cast<double>(x) - disc.x, static_cast<double>(y) - disc.y);
            const double share = std::clamp(disc.radius - away + 0.5, 0.0, 1.0);
            for (std::size_t c = 0; c < 3 && share > 0.0; ++c) {
                float& level = picture.planes[c][y * picture.width + x];
                level = static_cast<float>(std::lerp(level, disc.levels[c], share));
            }
        }
    }
}

/// A lamp and a shadow of changing size that move through the picture.
void drawSmallThings(Picture& picture, std::size_t frame) {
    const auto t = static_cast<double>(frame);
    draw(picture, {std::fmod(20.0 + 2.0 * t, 320.0),
                   40.0,
                   3.0 + 2.5 * std::sin(t * 1.9),
                   {250.0, 248.0, 240.0}});
    draw(
        picture,
        {std::fmod(620.0 - 1.7 * t, 320.0), 140.0, 4.0 + 3.0 * std::sin(t * 2.3), {4.0, 4.0, 6.0}});
}

/// A dark figure and a light one that walk through, large before the camera.
void drawLargeThings(Picture& picture, std::size_t frame) {
    const auto t = static_cast<double>(frame);
    draw(picture, {-90.0 + 10.0 * (t - 50.0), 110.0, 70.0, {9.0, 7.0, 8.0}});
    draw(picture, {420.0 - 11.0 * (t - 160.0), 100.0, 50.0, {244.0, 240.0, 246.0}});
}

std::function<Picture(std::size_t)> with(std::function<Picture(std::size_t)> truth,
                                         void (*things)(Picture&, std::size_t)) {
    return [truth = std::move(truth), things](std::size_t frame) {
        Picture picture = truth(frame);
        things(picture, frame);
        return picture;
    };
}

Light sameLight(double gain) {
    Light light;
    light.fill({gain, 0.0});
    return light;
}

Light flickerOfGain(std::size_t frame) {
    return sameLight(1.0 + 0.1 * (2.0 * drawn(11, frame) - 1.0));
}

Light flickerOfChannels(std::size_t frame) {
    Light light;
    for (std::uint32_t c = 0; c < 3; ++c) {
        light[c] = {1.0 + 0.08 * (2.0 * drawn(20 + c, frame) - 1.0),
                    4.0 * (2.0 * drawn(30 + c, frame) - 1.0)};
    }
    return light;
}

Light steadyLight(std::size_t /*frame*/) {
    return {};
}

void multiply(Picture& picture, const Light& light) {
    for (std::size_t c = 0; c < 3; ++c) {
        for (float& level : picture.planes[c]) {
            level = static_cast<float>(light[c].gain * level + light[c].offset);
        }
    }
}

void addGrain(Picture& picture, double deviation, std::size_t frame) {
    std::minstd_rand random(static_cast<unsigned>(frame) * 2654435761U + 17U);
    std::normal_distribution<float> grain(0.0F, static_cast<float>(deviation));
    for (auto& plane : picture.planes) {
        for (float& level : plane) {
            level += grain(random);
        }
    }
}

void transform(float* first, std::size_t step) {
    for (std::size_t half = 1; half < 8; half *= 2) {
        for (std::size_t i = 0; i < 8; ++i) {
            if ((i & half) == 0) {
                float& a = first[i * step];
                float& b = first[(i + half) * step];
                const float sum = a + b;
                b = a - b;
                a = sum;
            }
        }
    }
}

/// Blocks of 8 by 8 through a transform whose coefficients are rounded, coarser in most frames.
void compress(Picture& picture, double step, std::size_t frame) {
    const auto coarse = static_cast<float>(8.0 * step * (frame % 12 == 0 ? 0.5 : 1.0));
    for (auto& plane : picture.planes) {
        for (std::size_t y = 0; y + 8 <= picture.height; y += 8) {
            for (std::size_t x = 0; x + 8 <= picture.width; x += 8) {
                float* block = &plane[y * picture.width + x];
                const auto everyWay = [&] {
                    for (std::size_t i = 0; i < 8; ++i) {
                        transform(block + i * picture.width, 1);
                    }
                    for (std::size_t i = 0; i < 8; ++i) {
                        transform(block + i, picture.width);
                    }
                };
                everyWay();
                for (std::size_t i = 0; i < 64; ++i) {
                    float& value = block[i / 8 * picture.width + i % 8];
                    value = std::round(value / coarse) * coarse / 64.0F;
                }
                everyWay();
            }
        }
    }
}

ClipDefinition clip(std::string name, std::string description,
                    std::function<Picture(std::size_t)> truth,
                    std::function<Light(std::size_t)> flicker = steadyLight) {
    ClipDefinition definition;
    definition.name = std::move(name);
    definition.description = std::move(description);
    definition.truth = std::move(truth);
    definition.flicker = std::move(flicker);
    return definition;
}

ClipDefinition weakCuts() {
    constexpr std::size_t kShot = 50;
    const SharedScenery place = scenery(6);
    ClipDefinition definition =
        clip("cuts", "cuts between alike shots", [place](std::size_t frame) {
            const double x = 220.0 + 140.0 * static_cast<double>(frame / kShot);
            return shot(place, handHeld(x, 300.0))(frame);
        });
    for (std::size_t frame = kShot; frame < definition.frames; frame += kShot) {
        definition.cuts.push_back(frame);
    }
    return definition;
}

Picture mixed(const Picture& a, const Picture& b, double share) {
    Picture picture = a;
    for (std::size_t c = 0; c < 3; ++c) {
        for (std::size_t i = 0; i < a.planes[c].size(); ++i) {
            picture.planes[c][i] =
                std::lerp(a.planes[c][i], b.planes[c][i], static_cast<float>(share));
        }
    }
    return picture;
}

ClipDefinition crossFade() {
    const auto from = shot(scenery(7), handHeld());
    const auto to = shot(scenery(8), handHeld(520.0, 310.0));
    return clip("cross-fade", "cross-fade of a second", [=](std::size_t frame) {
        const double share = std::clamp((static_cast<double>(frame) - 112.0) / 25.0, 0.0, 1.0);
        return mixed(from(frame), to(frame), share);
    });
}

ClipDefinition fades() {
    const auto scene = shot(scenery(9), handHeld());
    return clip("fades", "fade from black, and to black at the end", [=](std::size_t frame) {
        const auto t = static_cast<double>(frame);
        const double in = std::clamp((t - 5.0) / 25.0, 0.0, 1.0);
        const double out = std::clamp((245.0 - t) / 20.0, 0.0, 1.0);
        Picture picture = scene(frame);
        multiply(picture, sameLight(std::min(in, out)));
        return picture;
    });
}

ClipDefinition flashes() {
    const auto scene = shot(scenery(10), handHeld());
    return clip("flashes", "flashes of one to three frames", [=](std::size_t frame) {
        Picture picture = scene(frame);
        if (frame == 40 || frame == 41 || frame == 105 || (frame >= 180 && frame < 183)) {
            multiply(picture, {{{1.5, 60.0}, {1.5, 62.0}, {1.5, 70.0}}});
        }
        return picture;
    });
}

ClipDefinition sunset() {
    const auto scene = shot(scenery(12), still());
    ClipDefinition definition =
        clip("sunset", "the light turns lower and redder over ten seconds", [=](std::size_t frame) {
            const double t = static_cast<double>(frame) / 250.0;
            Picture picture = scene(frame);
            multiply(picture,
                     {{{1.0 - 0.20 * t, 0.0}, {1.0 - 0.35 * t, 0.0}, {1.0 - 0.5 * t, 0.0}}});
            return picture;
        });
    return definition;
}

} // namespace

Picture clipFrame(const ClipDefinition& definition, std::size_t frame, const Picture& truth) {
    Picture picture = truth;
    multiply(picture, definition.flicker(frame));
    if (definition.grain > 0.0) {
        addGrain(picture, definition.grain, frame);
    }
    if (definition.compression > 0.0) {
        compress(picture, definition.compression, frame);
    }
    for (auto& plane : picture.planes) {
        for (float& level : plane) {
            level = std::round(std::clamp(level, 0.0F, 255.0F));
        }
    }
    return picture;
}

std::vector<ClipDefinition> allClips() {
    std::vector<ClipDefinition> clips;
    clips.push_back(clip("pan", "camera pans, light steady", shot(scenery(1), pan())));
    clips.push_back(clip("hand-held", "camera is held by hand", shot(scenery(2), handHeld())));
    clips.push_back(clip("zoom", "camera zooms", shot(scenery(3), [](std::size_t frame) {
                             return View{480.0, 290.0, 1.0 + 0.004 * static_cast<double>(frame)};
                         })));
    clips.push_back(clip("small-things", "still scene, small things come and go",
                         with(shot(scenery(4), still()), drawSmallThings)));
    clips.push_back(clip("large-things", "figures walk through before the camera",
                         with(shot(scenery(5), still()), drawLargeThings)));
    clips.push_back(clip("flicker", "still scene, light flickers by 10 %",
                         shot(scenery(1), still()), flickerOfGain));
    clips.push_back(clip("channel-flicker", "still scene, each channel flickers",
                         shot(scenery(2), still()), flickerOfChannels));
    clips.push_back(clip("pan-flicker", "camera pans, light flickers by 10 %",
                         shot(scenery(3), pan()), flickerOfGain));
    clips.push_back(clip("everything",
                         "hand-held, things, every channel flickers, grain and compression",
                         with(shot(scenery(4), handHeld()), drawSmallThings), flickerOfChannels));
    clips.back().grain = 3.0;
    clips.back().compression = 2.0;
    clips.push_back(weakCuts());
    clips.push_back(crossFade());
    clips.push_back(fades());
    clips.push_back(flashes());
    clips.push_back(sunset());
    clips.push_back(clip("grain", "still scene, heavy grain", shot(scenery(13), still())));
    clips.back().grain = 8.0;
    clips.push_back(
        clip("compression", "hand-held, heavily compressed", shot(scenery(14), handHeld())));
    clips.back().compression = 8.0;
    return clips;
}

ClipDefinition cutsClip(std::uint32_t seed, std::size_t shots) {
    std::vector<SharedScenery> places = {scenery(seed), scenery(seed + 1)};
    std::mt19937 random(seed);

    struct Shot {
        std::size_t begin;
        std::function<Picture(std::size_t)> truth;
    };

    std::vector<Shot> list;
    ClipDefinition definition = clip("cut-list", "short shots", {}, flickerOfGain);
    std::size_t begin = 0;
    for (std::size_t i = 0; i < shots; ++i) {
        const double x = 200.0 + static_cast<double>(random() % 600);
        const double y = 150.0 + static_cast<double>(random() % 300);
        const double speed = 6.0 * drawn(seed, i) - 3.0;
        const Camera held = handHeld(x, y);
        const Camera camera = [=](std::size_t frame) {
            View view = held(frame);
            view.x += speed * static_cast<double>(frame - begin);
            return view;
        };
        list.push_back({begin, shot(places[random() % places.size()], camera)});
        if (i > 0) {
            definition.cuts.push_back(begin);
        }
        begin += 12 + random() % 30;
    }
    definition.frames = begin;
    definition.grain = 2.0;
    definition.truth = [list](std::size_t frame) {
        const auto next = std::ranges::upper_bound(list, frame, {}, &Shot::begin);
        Picture picture = std::prev(next)->truth(frame);
        if (frame % 3 == 0) {
            drawSmallThings(picture, frame);
        }
        return picture;
    };
    return definition;
}

} // namespace tintwell::bench
