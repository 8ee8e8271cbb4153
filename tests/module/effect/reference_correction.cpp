#include "reference_correction.h"

#include <algorithm>
#include <cmath>
#include <numeric>
#include <optional>

namespace tintwell::reference {
namespace {

/// A list by level or table index, which are ints throughout.
template <class T>
class Row {
public:
    explicit Row(int size = 0, T value = {}) : items_(static_cast<std::size_t>(size), value) {}

    T& operator[](int i) { return items_.at(static_cast<std::size_t>(i)); }

    const T& operator[](int i) const { return items_.at(static_cast<std::size_t>(i)); }

    auto begin() const { return items_.begin(); }

    auto end() const { return items_.end(); }

private:
    std::vector<T> items_;
};

using Color = std::array<double, 3>;
using Pixel = std::array<int, 3>; // red, green, blue levels

struct Picture {
    int width;
    int height;
    std::vector<Pixel> pixels;
};

double clampTo(double x, double low, double high) {
    return std::isnan(x) ? 0.0 : std::clamp(x, low, high);
}

std::int32_t truncate(double x) {
    return static_cast<std::int32_t>(clampTo(x, -2147483648.0, 2147483647.0));
}

std::int32_t nearest(double x) {
    return truncate(x < 0 ? -std::floor(0.5 - x) : std::floor(x + 0.5));
}

int nearestLevel(double x) {
    return std::clamp(nearest(x), 0, 255);
}

int sampleToLevel(std::uint32_t sample, bool deep) {
    return static_cast<int>(deep ? ((sample * 255 + 16384) >> 15) & 255 : sample);
}

/// Where red, green and blue stand in a pixel.
std::array<std::size_t, 3> colorPositions(const Frame& frame) {
    return frame.alphaLast ? std::array<std::size_t, 3>{2, 1, 0}
                           : std::array<std::size_t, 3>{1, 2, 3};
}

Picture levelsOf(const Frame& frame) {
    Picture picture{frame.width, frame.height, {}};
    const auto [red, green, blue] = colorPositions(frame);
    for (const auto& p : frame.pixels) {
        picture.pixels.push_back({sampleToLevel(p[red], frame.deep),
                                  sampleToLevel(p[green], frame.deep),
                                  sampleToLevel(p[blue], frame.deep)});
    }
    return picture;
}

// ---- Clip points

using Histogram = Row<std::int32_t>;

struct Walk {
    int bin;
    double passed;
};

/// Goes from bin to bin until the pixels passed, with half of the bin's own, exceed the target.
Walk walk(const Histogram& counts, int from, int end, double target) {
    Walk at{from, 0.0};
    while (at.bin != end && !(target < (counts[at.bin] >> 1) + at.passed)) {
        at.passed += counts[at.bin];
        at.bin += from < end ? 1 : -1;
    }
    return at;
}

struct ClipPoints {
    std::array<int, 3> low;
    std::array<int, 3> high;
};

ClipPoints findClipPoints(const Picture& picture, std::uint32_t blackClip,
                          std::uint32_t whiteClip) {
    std::array<Histogram, 3> counts;
    counts.fill(Histogram(256));
    for (const Pixel& p : picture.pixels) {
        for (std::size_t c = 0; c < 3; ++c) {
            ++counts[c][p[c]];
        }
    }
    ClipPoints clip{};
    double mostBlack = 0;
    double mostWhite = 0;
    const double unit = static_cast<double>(picture.pixels.size()) / 10000.0;
    for (std::size_t c = 0; c < 3; ++c) {
        const Walk low = walk(counts[c], 0, 255, nearest(blackClip * unit));
        const Walk high = walk(counts[c], 255, low.bin, nearest(whiteClip * unit));
        clip.low[c] = low.bin;
        clip.high[c] = high.bin;
        mostBlack = std::max(mostBlack, low.passed);
        mostWhite = std::max(mostWhite, high.passed);
    }
    for (std::size_t c = 0; c < 3; ++c) {
        if (blackClip != 0 && mostBlack >= 1) {
            clip.low[c] = walk(counts[c], 0, clip.high[c], mostBlack).bin;
        }
        if (whiteClip != 0 && mostWhite >= 1) {
            clip.high[c] = walk(counts[c], 255, clip.low[c], mostWhite).bin;
        }
    }
    return clip;
}

// ---- Mean colours of the darkest, lightest and most neutral pixels

struct Entry {
    Color sum{};
    double weight = 0;
};

using Table = Row<Entry>;

void enter(Table& table, int index, const Pixel& p) {
    for (std::size_t c = 0; c < 3; ++c) {
        table[index].sum[c] += p[c] * 255.0;
    }
    table[index].weight += 255.0;
}

double totalWeight(const Table& table) {
    return std::accumulate(table.begin(), table.end(), 0.0,
                           [](double sum, const Entry& e) { return sum + e.weight; });
}

/// The index at which half a percent of the weight has been used up.
int spendBudget(const Table& table, int index, int step) {
    double budget = 0.005 * totalWeight(table);
    while (index >= 0 && index < 256 && budget >= table[index].weight) {
        budget -= table[index].weight;
        index += step;
    }
    return index;
}

std::optional<Color> topOfTable(const Table& table, int lowest, double share, double acceptance) {
    const double total = totalWeight(table);
    const int full = spendBudget(table, 255, -1);
    if (!(total > 0) || full < lowest) {
        return {};
    }
    int lo = 255;
    double weight = table[255].weight;
    while (lo > lowest && weight + table[lo - 1].weight <= share * total) {
        weight += table[--lo].weight;
    }
    if (lo > lowest) {
        weight += table[lo - 1].weight;
        lo = std::max(lowest, lo - 5);
    }
    if (weight < acceptance * total) {
        return {};
    }
    Entry mean;
    for (int k = lo; k < 256; ++k) {
        const double f = (std::min(k, full) - lo + 1.0) / (full - lo + 1.0);
        mean.weight += f * table[k].weight;
        for (std::size_t c = 0; c < 3; ++c) {
            mean.sum[c] += f * table[k].sum[c];
        }
    }
    if (!(mean.weight > 0)) {
        return {};
    }
    return Color{mean.sum[0] / mean.weight, mean.sum[1] / mean.weight, mean.sum[2] / mean.weight};
}

struct Tones {
    std::optional<Color> dark;
    std::optional<Color> light;
};

Tones findTones(const Picture& picture) {
    Table byMax(256);
    Table byMin(256);
    for (const Pixel& p : picture.pixels) {
        enter(byMax, 255 - std::max({p[0], p[1], p[2]}), p);
        enter(byMin, std::min({p[0], p[1], p[2]}), p);
    }
    const int bright = spendBudget(byMax, 0, 1);
    const int dark = spendBudget(byMin, 0, 1);
    if (dark >= 255 - bright) {
        return {};
    }
    const double acceptance = 0.010000000000000002;
    return {topOfTable(byMax, (255 - (dark + 255 - bright) / 2) & 255, 0.05, acceptance),
            topOfTable(byMin, (255 - (bright + 255 - dark) / 2) & 255, 0.05, acceptance)};
}

// ---- Levels lines

struct Point {
    double x;
    double y;
};

void extendToBorder(Point& black, Point& white) {
    Point& left = white.x < black.x ? white : black;
    Point& right = white.x < black.x ? black : white;
    const bool falls = left.y > right.y;
    const auto turn = [](const Point& p) { return Point{p.x, 255 - p.y}; };
    const Point from = falls ? turn(left) : left;
    const Point to = falls ? turn(right) : right;
    const double dx = to.x - from.x;
    const double dy = to.y - from.y;
    if (0.000001 * dy > dx) {
        left = {from.x, 0};
        right = {to.x, 255};
    } else if (0.000001 * dx > dy) {
        left = {0, from.y};
        right = {255, to.y};
    } else {
        const double s = dy / dx;
        const double y0 = from.y - s * from.x;
        const double y1 = from.y + s * (255 - from.x);
        left = y0 < 0 ? Point{from.x - from.y / s, 0} : Point{0, y0};
        right = y1 > 255 ? Point{from.x + (255 - from.y) / s, 255} : Point{255, y1};
    }
    if (falls) {
        left = turn(left);
        right = turn(right);
    }
}

void spreadInputs(ChannelLevels& v) {
    const int missing = 4 + v.inputBlack - v.inputWhite;
    if (missing <= 0) {
        return;
    }
    const int after = missing / 2;
    Point black{v.inputBlack - (missing - after) + 0.0, v.outputBlack + 0.0};
    Point white{v.inputWhite + after + 0.0, v.outputWhite + 0.0};
    for (; white.x > 255; --white.x) {
        --black.x;
    }
    for (; black.x < 0; ++black.x) {
        ++white.x;
    }
    const double s = (white.y - black.y) / (white.x - black.x);
    const auto end = [&](const Point& p, double x) {
        const double y = (x - p.x) * s + p.y;
        const double border = y < 0 ? 0 : 255;
        return y >= 0 && y <= 255 ? Point{x, y} : Point{p.x + (border - p.y) / s, border};
    };
    black = end(black, 0);
    white = end(white, 255);
    v = {nearestLevel(black.x), nearestLevel(white.x), nearestLevel(black.y), nearestLevel(white.y),
         v.gamma};
}

Levels solveLines(const Tones& tones, const ClipPoints& clip) {
    const double lowest = *std::min_element(clip.low.begin(), clip.low.end());
    const double highest = *std::max_element(clip.high.begin(), clip.high.end());
    const Color dark = tones.dark.value_or(Color{lowest, lowest, lowest});
    const Color light = tones.light.value_or(Color{highest, highest, highest});
    std::vector<double> ends;
    for (const auto& points : {clip.low, clip.high}) {
        for (std::size_t c = 0; c < 3; ++c) {
            ends.push_back((points[c] - dark[c]) * (255 / (light[c] - dark[c])));
        }
    }
    const double lo = *std::min_element(ends.begin(), ends.end());
    const double span = *std::max_element(ends.begin(), ends.end()) - lo;
    Levels levels;
    for (std::size_t c = 0; c < 3; ++c) {
        Point black{dark[c], 255 * (-lo / span)};
        Point white{light[c], 255 * ((255 - lo) / span)};
        extendToBorder(black, white);
        levels[c] = {nearestLevel(black.x), nearestLevel(white.x), nearestLevel(black.y),
                     nearestLevel(white.y), 100};
        spreadInputs(levels[c]);
    }
    return levels;
}

// ---- Levels tables, over the inputs 0..last: levels themselves, or steps of eight 16-bit samples

struct Scale {
    bool deep;

    int last() const { return deep ? 4096 : 255; }

    int white() const { return deep ? 32768 : 255; }

    int index(int level) const { return deep ? (level * 257 + 8) >> 4 : level; }

    int sample(int level) const { return deep ? (level * 257 + 1) >> 1 : level; }
};

using Curve = Row<int>;

Curve gammaCurve(int gamma, Scale scale) {
    const double e = 100.0 / gamma;
    Curve curve(scale.last() + 1);
    for (int x = 1; x <= scale.last() && gamma != 0; ++x) {
        curve[x] = static_cast<int>(
            std::pow(static_cast<double>(x) / scale.last(), e) * scale.white() + 0.5);
    }
    if (gamma > 100) {
        const double s = std::exp(std::log(2.0) / e) * (scale.deep ? 8 : 1);
        const int n = nearest(scale.last() * std::exp((1 / e / (e - 1) + 1) * std::log(2.0)));
        const double y = n >= 2 ? curve[n] : 0;
        for (int x = 1; x < n; ++x) {
            const double t = static_cast<double>(x) / n;
            const double u = 1 - t;
            curve[x] = static_cast<int>(s * n * t * (u * u) +
                                        ((2 - t + u) * y - u * e * y) * (t * t) + 0.5);
        }
    }
    return curve;
}

Curve levelsCurve(const ChannelLevels& v, Scale scale) {
    const int from = scale.index(v.inputBlack);
    const int to = scale.index(v.inputWhite);
    const int black = scale.sample(v.outputBlack);
    const int rise = scale.sample(v.outputWhite) - black;
    const int range = to - from;
    Curve curve(scale.last() + 1, black);
    for (int x = to; x <= scale.last(); ++x) {
        curve[x] = scale.sample(v.outputWhite);
    }
    const bool bent = v.gamma != 100 && v.inputWhite - v.inputBlack >= 2 && rise != 0;
    if (bent && v.inputWhite - v.inputBlack == 255 && v.outputWhite - v.outputBlack == 255) {
        return gammaCurve(v.gamma, scale);
    }
    const Curve bend = bent ? gammaCurve(v.gamma, scale) : Curve();
    for (int x = from; x <= to && range > 0; ++x) {
        const int step = x - from;
        int y = (rise * step + (rise < 0 ? -1 : 1) * (range >> 1)) / range;
        if (bent) {
            const int mapped = bend[(range / 2 + scale.last() * step) / range];
            y = scale.deep ? (mapped * rise + (rise < 0 ? -16384 : 16384)) >> 15
                           : (mapped * rise + (rise < 0 ? -127 : 127)) / 255;
        }
        curve[x] = std::clamp(black + y, 0, scale.white());
    }
    return curve;
}

// ---- Gammas that make the midtones neutral

int neutrality(const Pixel& p) {
    const int max = std::max({p[0], p[1], p[2]});
    const int min = std::min({p[0], p[1], p[2]});
    const int sum = std::min(max + min, 510 - max - min);
    const int chroma = max - min;
    const int saturation = chroma == 0 ? 0 : chroma >= sum ? 255 : (chroma * 255 + sum / 2) / sum;
    return std::clamp(sum - 2 * saturation, 0, 255);
}

std::optional<Color> findMidtone(const Picture& picture, const Levels& levels) {
    const std::array<Curve, 3> curves = {levelsCurve(levels[0], {}), levelsCurve(levels[1], {}),
                                         levelsCurve(levels[2], {})};
    const auto valueAt = [&](std::size_t i) {
        const Pixel& p = picture.pixels[i];
        return neutrality({curves[0][p[0]], curves[1][p[1]], curves[2][p[2]]});
    };
    Table table(256);
    const auto width = static_cast<std::size_t>(picture.width);
    for (std::size_t i = width; i < picture.pixels.size(); ++i) {
        if (i % width != 0) {
            enter(
                table,
                std::min({valueAt(i), valueAt(i - 1), valueAt(i - width), valueAt(i - width - 1)}),
                picture.pixels[i]);
        }
    }
    return topOfTable(table, 128, 0.1, 0.01);
}

void snapMidtones(const Picture& picture, Levels& levels) {
    const auto midtone = findMidtone(picture, levels);
    if (!midtone) {
        return;
    }
    const auto exponent = [](int value, int black, int white) {
        const double d = std::max(std::min(value, white - 1), black + 1) - black;
        return std::log((white - black) / d) / std::log(2.0);
    };
    Color ratios;
    for (std::size_t c = 0; c < 3; ++c) {
        const ChannelLevels& v = levels[c];
        const double ratio = exponent(nearestLevel((*midtone)[c]), v.inputBlack, v.inputWhite) /
                             exponent(128, v.outputBlack, v.outputWhite);
        ratios[c] = std::isfinite(ratio) && ratio > 0 ? ratio : 1.0;
    }
    const double mean = std::exp(std::log(ratios[0] * ratios[1] * ratios[2]) / 3.0);
    for (std::size_t c = 0; c < 3; ++c) {
        levels[c].gamma = std::clamp(nearest(100.0 * ratios[c] / mean), -32768, 32767);
    }
}

} // namespace

Levels findLevels(const Frame& input, const Controls& controls) {
    const Picture picture = levelsOf(input);
    const auto hundredths = [](double percent) {
        return static_cast<std::uint32_t>(truncate(percent * 100.0));
    };
    const ClipPoints clip =
        findClipPoints(picture, hundredths(controls.blackClip), hundredths(controls.whiteClip));
    Levels levels{};
    for (std::size_t c = 0; c < 3; ++c) {
        if (clip.high[c] - clip.low[c] < 4) {
            return levels;
        }
    }
    levels = solveLines(findTones(picture), clip);
    if (controls.snap != 0) {
        snapMidtones(picture, levels);
    }
    return levels;
}

Frame render(const Frame& input, const Controls& controls) {
    Frame output = input;
    const Levels levels = findLevels(input, controls);
    const std::uint64_t alpha = input.alphaLast ? 3 : 0;
    const std::array<std::size_t, 3> positions = colorPositions(input);
    for (std::size_t c = 0; c < 3; ++c) {
        const Curve curve = levelsCurve(levels[c], {input.deep});
        for (auto& p : output.pixels) {
            std::uint32_t& sample = p[positions[c]];
            sample = static_cast<std::uint32_t>(
                curve[static_cast<int>(input.deep ? std::min(sample >> 3, 4096U) : sample)]);
        }
    }
    const auto weight =
        static_cast<std::uint64_t>(std::clamp(truncate(controls.blend * 65536 / 100), 0, 65536));
    for (std::size_t i = 0; i < output.pixels.size() && weight != 0; ++i) {
        auto& pixel = output.pixels[i];
        const auto& original = input.pixels[i];
        const std::uint64_t pc = pixel[alpha] * (65536 - weight);
        const std::uint64_t po = original[alpha] * weight;
        pixel[alpha] = static_cast<std::uint32_t>((pc + po + 32768) >> 16);
        for (const std::size_t c : positions) {
            if (weight == 65536 || pc == 0) {
                pixel[c] = original[c];
            } else if (po != 0) {
                pixel[c] = static_cast<std::uint32_t>(
                    (pixel[c] * pc + original[c] * po + ((pc + po) >> 1)) / (pc + po));
            }
        }
    }
    return output;
}

} // namespace tintwell::reference
