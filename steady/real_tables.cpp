#include "steady/real_tables.h"

#include "module/numeric/rounding.h"

#include <algorithm>
#include <cmath>

namespace tintwell::steady {
namespace {

constexpr double kDeepTop = LevelsTable::kDeepSize - 1;
constexpr double kDeepWhite = 32768.0;
constexpr double kWhite = 255.0;
constexpr double kLeastGamma = 0.10;
constexpr double kGreatestGamma = 9.99;

/// The effect's curve of a gamma that need not be a whole number of hundredths: shares of white for
/// shares of the way from black to white.
class GammaCurve {
public:
    explicit GammaCurve(double gamma)
        : gamma100_(100.0 * std::clamp(gamma, kLeastGamma, kGreatestGamma)), lower_(true),
          upper_(true) {
        buildGammaCurve(lower_, nearestInt16(std::floor(gamma100_)));
        buildGammaCurve(upper_, nearestInt16(std::ceil(gamma100_)));
    }

    double at(double way) const {
        const double position = way * kDeepTop;
        const auto index = static_cast<std::size_t>(position);
        const std::size_t next = std::min(index + 1, LevelsTable::kDeepSize - 1);
        return std::lerp(entry(index), entry(next), position - static_cast<double>(index)) /
               kDeepWhite;
    }

private:
    double entry(std::size_t index) const {
        return std::lerp(static_cast<double>(lower_.table16[index]),
                         static_cast<double>(upper_.table16[index]),
                         gamma100_ - std::floor(gamma100_));
    }

    double gamma100_;
    LevelsTable lower_;
    LevelsTable upper_;
};

/// The share of white that an input becomes.
template <class Curve>
void fillTable(const RealLine& line, LevelsTable& table, const Curve& curve) {
    const double range = std::max(line.white - line.black, 1.0);
    const auto output = [&](double level) {
        return curve(std::clamp((level - line.black) / range, 0.0, 1.0));
    };
    for (std::size_t x = 0; x < table.table8.size(); ++x) {
        table.table8[x] = nearestLevel(output(static_cast<double>(x)) * kWhite);
    }
    for (std::size_t i = 0; i < table.table16.size(); ++i) {
        const double level = static_cast<double>(i) * kWhite / kDeepTop;
        table.table16[i] = clampTo<std::uint16_t>(nearest(output(level) * kDeepWhite), 0, 32768);
    }
}

} // namespace

void buildRealTable(const RealLine& line, LevelsTable& table) {
    if (line.gamma == 1.0) {
        fillTable(line, table, [](double way) { return way; });
        return;
    }
    const GammaCurve gamma(line.gamma);
    fillTable(line, table, [&](double way) { return gamma.at(way); });
}

std::array<LevelsTable, 4> realTables(const RealLevels& levels, bool deep) {
    std::array<LevelsTable, 4> tables = {LevelsTable(deep), LevelsTable(deep), LevelsTable(deep),
                                         LevelsTable(deep)};
    buildRealTable(RealLine{}, tables[0]);
    for (std::size_t c = 0; c < levels.size(); ++c) {
        buildRealTable(levels[c], tables[c + 1]);
    }
    return tables;
}

} // namespace tintwell::steady
