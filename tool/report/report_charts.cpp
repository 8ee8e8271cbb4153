#include "tool/report/report_charts.h"

#include "inspect/histogram_scale.h"
#include "tool/values/option_values.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <set>
#include <string>

namespace tintwell::tool {
namespace {

using Json = nlohmann::ordered_json;

/// The drawings' own units, as the template's view boxes have them.
constexpr double kWidth = 1000.0;
constexpr double kHeight = 100.0;
constexpr double kMostMarkSteps = 3.5; ///< their texts must find room on a phone
constexpr double kMargin = 50.0;       ///< closer to an edge, a mark's text does not stick out

template <typename... Numbers>
std::string formatted(const char* format, Numbers... numbers) {
    char text[96];
    std::snprintf(text, sizeof text, format, numbers...);
    return text;
}

std::string capitalized(std::string text) {
    text.front() = static_cast<char>(std::toupper(static_cast<unsigned char>(text.front())));
    return text;
}

/// "Input black" for "input_black".
std::string titleOf(const LevelsField& field) {
    std::string title(field.name);
    std::replace(title.begin(), title.end(), '_', ' ');
    return capitalized(title);
}

std::string unitOf(const LevelsField& field) {
    return field.scale == 1.0 ? "level, 0 to 255" : "1 leaves the picture as it is";
}

template <typename Visit>
void eachCurve(const FieldCurves& curves, Visit visit) {
    for (std::size_t c = 0; c < kChannelNames.size(); ++c) {
        visit("found", c, curves.found[c]);
        visit("smoothed", c, curves.smoothed[c]);
    }
}

/// What the vertical axis spans.
struct Span {
    double low = 0.0;
    double high = 0.0;

    double yOf(double value) const { return kHeight * (high - value) / (high - low); }
};

/// Round numbers around all values, but nothing that the field cannot be.
Span spanOf(const FieldCurves& curves, const LevelsField& field) {
    Span span{HUGE_VAL, -HUGE_VAL};
    eachCurve(curves, [&](const char*, std::size_t, const LevelCurve& curve) {
        for (const LevelCurve::Place& place : curve.places) {
            span.low = std::min(span.low, place.low);
            span.high = std::max(span.high, place.high);
        }
    });
    constexpr double kStep = 10.0; // before scaling, so that 1.2 is 1.2
    span.low =
        std::max(0.0, std::floor(span.low * field.scale / kStep - 0.1) * kStep) / field.scale;
    span.high = std::ceil(span.high * field.scale / kStep + 0.1) * kStep / field.scale;
    span.high = field.scale == 1.0 ? std::min(255.0, span.high) : span.high;
    return span;
}

/// Seconds between marks on the time axis: a round number.
double markStep(double duration) {
    for (const double step : {0.01, 0.02, 0.05, 0.1,  0.2,   0.5,   1.0,   2.0,   5.0,    10.0,
                              15.0, 20.0, 30.0, 60.0, 120.0, 300.0, 600.0, 900.0, 1200.0, 1800.0}) {
        if (duration <= kMostMarkSteps * step) {
            return step;
        }
    }
    constexpr double kHour = 3600.0;
    return kHour * std::ceil(duration / kHour / kMostMarkSteps);
}

/// Where times are from left to right.
class TimeAxis {
public:
    explicit TimeAxis(const LevelSeries& series)
        : begin_(series.secondsAt(0)),
          duration_(series.secondsAt(series.placeCount() - 1) - begin_) {}

    double xOf(double seconds) const {
        return duration_ > 0.0 ? kWidth * (seconds - begin_) / duration_ : kWidth / 2.0;
    }

    Json marks() const {
        Json marks = Json::array();
        for (const double seconds : markedTimes()) {
            const double x = xOf(seconds);
            const int shift = x < kMargin ? 0 : x > kWidth - kMargin ? -100 : -50;
            std::string text = clockText(seconds);
            if (const std::size_t zeros = text.find(".000"); zeros != std::string::npos) {
                text.erase(zeros, 4);
            }
            marks.push_back({{"text", text}, {"x", formatted("%.1f", x)}, {"shift", shift}});
        }
        return marks;
    }

    std::string gridPath() const {
        std::string path = "M0 0H1000M0 50H1000M0 100H1000";
        for (const double seconds : markedTimes()) {
            path += formatted("M%.1f 0V100", xOf(seconds));
        }
        return path;
    }

private:
    std::vector<double> markedTimes() const {
        const double step = markStep(duration_);
        const std::int64_t first = std::llround(std::ceil(begin_ / step - 1e-6));
        const std::int64_t last = std::llround(std::floor((begin_ + duration_) / step + 1e-6));
        std::vector<double> times;
        for (std::int64_t number = first; number <= last; ++number) {
            times.push_back(static_cast<double>(number) * step);
        }
        return times;
    }

    double begin_;
    double duration_;
};

/// Through the highest and lowest value of each place, by turns the one first or the other, so
/// that the line does not jump between places without need.
std::string pathOf(const LevelCurve& curve, const LevelSeries& series, const TimeAxis& axis,
                   const Span& span) {
    std::string path;
    const auto add = [&](double x, double value) {
        path += formatted("%s%.1f %.1f", path.empty() ? "M" : "L", x, span.yOf(value));
    };
    for (std::size_t i = 0; i < curve.places.size(); ++i) {
        const LevelCurve::Place& place = curve.places[i];
        const double x = axis.xOf(series.secondsAt(i));
        const bool highFirst = i % 2 == 1;
        add(x, highFirst ? place.high : place.low);
        if (place.low != place.high) {
            add(x, highFirst ? place.low : place.high);
        }
    }
    return curve.places.size() == 1 ? path + "h0.1" : path;
}

/// Cuts that fall on one spot are drawn once, so that there are never more than spots.
std::string cutsPath(const std::vector<double>& cuts, const TimeAxis& axis) {
    std::set<long> spots;
    for (const double seconds : cuts) {
        spots.insert(std::lround(std::clamp(axis.xOf(seconds), 0.0, kWidth)));
    }
    std::string path;
    for (const long x : spots) {
        path += formatted("M%ld 0V100", x);
    }
    return path;
}

bool isConstant(const FieldCurves& curves) {
    bool constant = true;
    for (std::size_t c = 0; c < kChannelNames.size(); ++c) {
        const double value = curves.found[c].places.front().low;
        for (const LevelCurve* curve : {&curves.found[c], &curves.smoothed[c]}) {
            constant = constant && std::all_of(curve->places.begin(), curve->places.end(),
                                               [&](const LevelCurve::Place& place) {
                                                   return place.low == value && place.high == value;
                                               });
        }
    }
    return constant;
}

std::string constantText(const FieldCurves& curves) {
    std::string text;
    for (std::size_t c = 0; c < kChannelNames.size(); ++c) {
        text += (c == 0 ? "" : ", ") + std::string(kChannelNames[c]) + " " +
                numberText(curves.found[c].places.front().low);
    }
    return text;
}

/// Levels 0 to 255 as steps, from one foot to the other.
std::string histogramPath(const LevelCounts& counts, const inspect::HistogramScale& scale) {
    std::string path = "M0 100";
    for (std::size_t level = 0; level < counts.size(); ++level) {
        path += formatted("V%.1fH%zu", kHeight * (1.0 - scale.heightOf(counts[level])), level + 1);
    }
    return path + "V100Z";
}

} // namespace

std::string clockText(double seconds) {
    const double rounded = std::round(std::abs(seconds) * 1000.0) / 1000.0;
    const std::string sign = seconds < 0.0 && rounded > 0.0 ? "-" : "";
    const auto minutes = static_cast<long long>(std::floor(rounded / 60.0));
    const double rest = rounded - 60.0 * static_cast<double>(minutes);
    if (minutes == 0) {
        return sign + formatted("%.3f s", rest);
    }
    return sign + (minutes < 60
                       ? formatted("%lld:%06.3f", minutes, rest)
                       : formatted("%lld:%02lld:%06.3f", minutes / 60, minutes % 60, rest));
}

LevelCharts levelCharts(const LevelSeries& series, bool smoothed, const std::vector<double>& cuts) {
    LevelCharts result;
    const TimeAxis axis(series);
    for (const LevelsField& field : kLevelsFields) {
        const FieldCurves curves = series.curvesOf(field);
        if (isConstant(curves)) {
            result.constants.push_back({{"title", titleOf(field)}, {"text", constantText(curves)}});
            continue;
        }
        const Span span = spanOf(curves, field);
        Json paths = Json::array();
        eachCurve(curves, [&](const std::string& kind, std::size_t c, const LevelCurve& curve) {
            if (smoothed || kind == "smoothed") {
                paths.push_back({{"kind", kind + " " + std::string(kChannelNames[c])},
                                 {"path", pathOf(curve, series, axis, span)}});
            }
        });
        result.charts.push_back({{"field", field.name},
                                 {"title", titleOf(field)},
                                 {"unit", unitOf(field)},
                                 {"top", numberText(span.high)},
                                 {"centre", numberText((span.high + span.low) / 2.0)},
                                 {"bottom", numberText(span.low)},
                                 {"grid", axis.gridPath()},
                                 {"cuts", cutsPath(cuts, axis)},
                                 {"curves", paths},
                                 {"times", axis.marks()}});
    }
    return result;
}

Json levelsData(const LevelSeries& series) {
    Json data = Json::object();
    for (const LevelsField& field : kLevelsFields) {
        Json& channels = data[std::string(field.name)];
        eachCurve(series.curvesOf(field),
                  [&](const char* kind, std::size_t c, const LevelCurve& curve) {
                      Json& list = channels[std::string(kChannelNames[c])][kind];
                      for (const auto& [low, high] : curve.places) {
                          list.push_back(low == high ? Json(low) : Json::array({low, high}));
                      }
                  });
    }
    return data;
}

Json histogramCharts(const ChannelHistogram& before, const ChannelHistogram& after,
                     const LevelsRecord& levels) {
    Json charts = Json::array();
    for (std::size_t c = 0; c < kChannelNames.size(); ++c) {
        const LevelCounts& countsBefore = before.channels[c + 1];
        const LevelCounts& countsAfter = after.channels[c + 1];
        const LevelsEntry& entry = levels.entries[c + 1];
        inspect::HistogramScale scale;
        scale.include(countsBefore);
        scale.include(countsAfter);
        const std::string channel(kChannelNames[c]);
        charts.push_back({{"channel", channel},
                          {"title", capitalized(channel)},
                          {"before", histogramPath(countsBefore, scale)},
                          {"after", histogramPath(countsAfter, scale)},
                          {"text", formatted("%d–%d becomes %d–%d, gamma %.2f", entry.inputBlack,
                                             entry.inputWhite, entry.outputBlack, entry.outputWhite,
                                             entry.gamma / 100.0)}});
    }
    return charts;
}

} // namespace tintwell::tool
