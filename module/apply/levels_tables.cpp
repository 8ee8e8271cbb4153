#include "module/apply/levels_tables.h"

#include "module/numeric/real_functions.h"
#include "module/numeric/rounding.h"

#include <algorithm>
#include <atomic>
#include <numbers>

namespace tintwell {
namespace {

constexpr int kModeRgb = 3;
constexpr int kDeepTop = static_cast<int>(LevelsTable::kDeepSize) - 1;
constexpr int kDeepWhite = deepSample(255);

void beginBuild(LevelsTable& table) {
    static std::atomic<std::uint32_t> counter{0};
    table.stamp = counter.fetch_add(1, std::memory_order_relaxed);
    table.isIdentity = false;
}

constexpr int signOf(int value) {
    return value < 0 ? -1 : 1;
}

std::uint16_t& deepEntry(LevelsTable& table, int index) {
    return table.table16[static_cast<std::size_t>(index)];
}

std::uint8_t& entry(LevelsTable& table, int level) {
    return table.table8[static_cast<std::size_t>(level)];
}

/// A ramp between levels (`scale` 255) or between table16 entries (`scale` kDeepWhite), rounded to
/// the nearest output, halves away from zero.
struct Line {
    int first;
    int last;
    int outputAtFirst;
    int outputAtLast;

    int at(int index) const {
        const int rise = outputAtLast - outputAtFirst;
        const int range = last - first;
        return outputAtFirst + (rise * (index - first) + signOf(rise) * (range >> 1)) / range;
    }
};

Line deepLine(const LevelsRamp& ramp) {
    return {deepIndex(ramp.inputBlack), deepIndex(ramp.inputWhite), deepSample(ramp.outputBlack),
            deepSample(ramp.outputWhite)};
}

/// A gamma above 1 starts infinitely steep. Its toe is replaced by a cubic that starts at 0 with a
/// finite slope and meets the power curve at entry `count` with its value and slope.
template <class Sample>
void replaceToe(Sample* table, double exponent, double span, double slopeScale) {
    const double kneeShare =
        real::exp((1.0 / exponent / (exponent - 1.0) + 1.0) * std::numbers::ln2);
    const double slope = real::exp(std::numbers::ln2 / exponent);
    const int knee = nearestInt16(span * kneeShare);
    if (knee < 2) {
        return;
    }
    const double valueAtKnee = table[knee];
    for (int i = 1; i < knee; ++i) {
        const double t = static_cast<double>(i) / knee;
        const double u = 1.0 - t;
        const double start = slopeScale * slope * knee * t * (u * u);
        const double end = ((2.0 - t + u) * valueAtKnee - u * exponent * valueAtKnee) * (t * t);
        table[i] = static_cast<Sample>(truncateToInt32(start + end + 0.5));
    }
}

void buildIdentityCurve(LevelsTable& table) {
    for (int x = 0; x < 256; ++x) {
        entry(table, x) = static_cast<std::uint8_t>(x);
    }
    if (table.hasDeep) {
        for (int i = 0; i <= kDeepTop; ++i) {
            deepEntry(table, i) = static_cast<std::uint16_t>((2048 + kDeepWhite * i) >> 12);
        }
    }
    table.isIdentity = true;
}

void mapCurve(const LevelsTable& curve, LevelsTable& table, const LevelsRamp& ramp) {
    const int range = ramp.inputWhite - ramp.inputBlack;
    const int rise = ramp.outputWhite - ramp.outputBlack;
    for (int x = ramp.inputBlack; x <= ramp.inputWhite; ++x) {
        const int j = (range / 2 + 255 * (x - ramp.inputBlack)) / range;
        const int v = curve.table8[static_cast<std::size_t>(j)] * rise + signOf(rise) * 127;
        entry(table, x) = clampTo<std::uint8_t>(ramp.outputBlack + v / 255, 0, 255);
    }
}

void mapDeepCurve(const LevelsTable& curve, LevelsTable& table, const Line& line) {
    const int range = line.last - line.first;
    const int rise = line.outputAtLast - line.outputAtFirst;
    for (int i = line.first; i <= line.last; ++i) {
        const int j = (range / 2 + kDeepTop * (i - line.first)) / range;
        const int v = curve.table16[static_cast<std::size_t>(j)] * rise + signOf(rise) * 16384;
        deepEntry(table, i) = clampTo<std::uint16_t>((v >> 15) + line.outputAtFirst, 0, kDeepWhite);
    }
}

LevelsEntry clampedToLevels(LevelsEntry levels) {
    for (std::uint16_t* field :
         {&levels.inputBlack, &levels.inputWhite, &levels.outputBlack, &levels.outputWhite}) {
        *field = std::min<std::uint16_t>(*field, 255);
    }
    return levels;
}

std::int16_t signedGamma(const LevelsEntry& levels) {
    return static_cast<std::int16_t>(levels.gamma);
}

void buildEntryTable(LevelsTable& table, const LevelsEntry& levels) {
    fillLevelsRange(table, 0, levels.inputBlack, levels.outputBlack);
    fillLevelsRange(table, levels.inputWhite, 255, levels.outputWhite);
    const LevelsRamp ramp = {levels.inputBlack, levels.inputWhite, levels.outputBlack,
                             levels.outputWhite};
    if (levels.gamma != 100) {
        buildGammaLevels(table, ramp, signedGamma(levels) * 0.01);
    } else {
        buildLinearLevels(table, ramp);
    }
}

int mergedGamma(const LevelsEntry& composite, const LevelsEntry& channel) {
    return signedGamma(composite) * signedGamma(channel) / 100;
}

/// Whether one curve from the channel's inputs to the composite's outputs can stand for both.
bool canMerge(const LevelsEntry& composite, const LevelsEntry& channel) {
    const int gamma = mergedGamma(composite, channel);
    return composite.inputBlack == 0 && composite.inputWhite == 255 && channel.outputBlack == 0 &&
           channel.outputWhite == 255 && gamma >= 10 && gamma <= 999;
}

bool changesInput(const LevelsEntry& channel) {
    return channel.inputBlack != 0 || channel.gamma != 100 || channel.inputWhite != 255;
}

} // namespace

LevelsTable::LevelsTable(bool deep) : hasDeep(deep), table16(deep ? kDeepSize : 0) {
    beginBuild(*this);
}

void fillLevelsRange(LevelsTable& table, int from, int to, int level) {
    beginBuild(table);
    for (int x = from; x <= to; ++x) {
        entry(table, x) = static_cast<std::uint8_t>(level);
    }
    if (table.hasDeep && from <= to) {
        for (int i = deepIndex(from); i <= deepIndex(to); ++i) {
            deepEntry(table, i) = static_cast<std::uint16_t>(deepSample(level));
        }
    }
}

void buildLinearLevels(LevelsTable& table, const LevelsRamp& ramp) {
    beginBuild(table);
    if (ramp.inputBlack == ramp.inputWhite) {
        // With different outputs this is a step, and the fills on both sides have made it.
        if (ramp.outputBlack == ramp.outputWhite) {
            entry(table, ramp.inputBlack) = static_cast<std::uint8_t>(ramp.outputBlack);
            const int end = std::min(deepIndex(ramp.inputBlack + 1), kDeepTop);
            for (int i = deepIndex(ramp.inputBlack); table.hasDeep && i < end; ++i) {
                deepEntry(table, i) = static_cast<std::uint16_t>(deepSample(ramp.outputBlack));
            }
        }
        return;
    }
    const Line line = {ramp.inputBlack, ramp.inputWhite, ramp.outputBlack, ramp.outputWhite};
    for (int x = line.first; x <= line.last; ++x) {
        entry(table, x) = static_cast<std::uint8_t>(line.at(x));
    }
    if (table.hasDeep) {
        const Line deep = deepLine(ramp);
        for (int i = deep.first; i <= deep.last; ++i) {
            deepEntry(table, i) = static_cast<std::uint16_t>(deep.at(i));
        }
    }
}

void buildGammaLevels(LevelsTable& table, const LevelsRamp& ramp, double gamma) {
    beginBuild(table);
    if (ramp.inputBlack == ramp.inputWhite && ramp.outputBlack == ramp.outputWhite) {
        entry(table, ramp.inputBlack) = static_cast<std::uint8_t>(ramp.outputBlack);
        if (table.hasDeep) {
            // One entry only: a gamma leaves the rest of a single level to its neighbours.
            deepEntry(table, deepIndex(ramp.inputBlack)) =
                static_cast<std::uint16_t>(deepSample(ramp.outputBlack));
        }
        return;
    }
    const std::int16_t gamma100 = nearestInt16(gamma * 100.0);
    const int range = ramp.inputWhite - ramp.inputBlack;
    if (gamma100 == 100 || range < 2 || ramp.outputBlack == ramp.outputWhite) {
        buildLinearLevels(table, ramp);
        return;
    }
    if (range == 255 && ramp.outputWhite - ramp.outputBlack == 255) {
        buildGammaCurve(table, gamma100);
        return;
    }
    LevelsTable curve(true);
    buildGammaCurve(curve, gamma100);
    mapCurve(curve, table, ramp);
    if (table.hasDeep) {
        mapDeepCurve(curve, table, deepLine(ramp));
    }
}

void buildGammaCurve(LevelsTable& table, std::int16_t gamma100) {
    beginBuild(table);
    if (gamma100 == 100) {
        buildIdentityCurve(table);
        return;
    }
    table.table8.fill(0);
    std::ranges::fill(table.table16, std::uint16_t{0});
    if (gamma100 == 0) {
        return;
    }
    const double exponent = 100.0 / gamma100;
    for (int x = 1; x < 256; ++x) {
        entry(table, x) = clampTo<std::uint8_t>(
            truncateToInt32(real::pow(x / 255.0, exponent) * 255.0 + 0.5), 0, 255);
    }
    for (int i = 1; table.hasDeep && i <= kDeepTop; ++i) {
        deepEntry(table, i) = clampTo<std::uint16_t>(
            truncateToInt32(real::pow(i * 0.000244140625, exponent) * 32768.0 + 0.5), 0,
            kDeepWhite);
    }
    if (gamma100 > 100) {
        replaceToe(table.table8.data(), exponent, 255.0, 1.0);
        if (table.hasDeep) {
            replaceToe(table.table16.data(), exponent, 4096.0, 8.0);
        }
    }
}

void composeLevelsTables(LevelsTable& target, const LevelsTable& source,
                         const LevelsTable& composite) {
    beginBuild(target);
    for (std::size_t x = 0; x < 256; ++x) {
        target.table8[x] = composite.table8[source.table8[x]];
    }
    if (target.hasDeep) {
        for (std::size_t i = 0; i < LevelsTable::kDeepSize - 1; ++i) {
            target.table16[i] = composite.table16[source.table16[i] >> 3U];
        }
    }
}

int channelCountForMode(int mode) {
    switch (mode) {
    case 0:
    case 1:
    case 2:
    case 8:
        return 1;
    case 3:
    case 5:
    case 6:
    case 9:
        return 3;
    case 4:
        return 4;
    default:
        return 0;
    }
}

void buildChannelTables(const LevelsRecord& levels, std::array<LevelsTable, 4>& tables) {
    std::array<LevelsEntry, 4> entries;
    for (std::size_t c = 0; c < entries.size(); ++c) {
        entries[c] = clampedToLevels(levels.entries[c]);
        buildEntryTable(tables[c], entries[c]);
    }
    const LevelsEntry& composite = entries[0];
    if (composite == LevelsEntry{}) {
        return;
    }
    const auto channels = static_cast<std::size_t>(channelCountForMode(kModeRgb));
    bool merge = true;
    bool anyChannel = false;
    for (std::size_t c = 1; c <= channels; ++c) {
        merge = merge && canMerge(composite, entries[c]);
        anyChannel = anyChannel || changesInput(entries[c]);
    }
    for (std::size_t c = 1; c <= channels; ++c) {
        if (merge && anyChannel) {
            const int gamma = mergedGamma(composite, entries[c]);
            buildEntryTable(tables[c],
                            {entries[c].inputBlack, entries[c].inputWhite, composite.outputBlack,
                             composite.outputWhite, static_cast<std::uint16_t>(gamma)});
        } else {
            composeLevelsTables(tables[c], tables[c], tables[0]);
        }
    }
}

} // namespace tintwell
