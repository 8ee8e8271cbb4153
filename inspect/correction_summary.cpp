#include "inspect/correction_summary.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

namespace tintwell::inspect {
namespace {

/// A window is worth its side effects when it takes away at least this share of the flicker, and a
/// longer one when it takes away that share of what a shorter one leaves.
constexpr double kWorthwhileShare = 0.15;

void addEnds(const LevelsRecord& levels, CorrectionSummary& sums) {
    double contrast = 0.0;
    for (std::size_t c = 0; c < 3; ++c) {
        const LevelsEntry& entry = levels.entries[c + 1];
        sums.black.input[c] += entry.inputBlack;
        sums.black.output[c] += entry.outputBlack;
        sums.white.input[c] += entry.inputWhite;
        sums.white.output[c] += entry.outputWhite;
        const int span = std::max(1, entry.inputWhite - entry.inputBlack);
        contrast += static_cast<double>(entry.outputWhite - entry.outputBlack) / span / 3.0;
    }
    sums.contrast += contrast;
}

LevelsEnd dividedBy(LevelsEnd end, double frames) {
    for (std::size_t c = 0; c < end.input.size(); ++c) {
        end.input[c] /= frames;
        end.output[c] /= frames;
    }
    return end;
}

/// How far apart the curves are for the average pixel of the frame.
double distanceOf(const LevelCurves& a, const LevelCurves& b, const ChannelHistogram& histogram) {
    double sum = 0.0;
    double samples = 0.0;
    for (std::size_t c = 0; c < a.size(); ++c) {
        const LevelCounts& counts = histogram.channels[c + 1];
        for (std::size_t level = 0; level < counts.size(); ++level) {
            sum += static_cast<double>(std::abs(a[c][level] - b[c][level])) * counts[level];
            samples += counts[level];
        }
    }
    return sum / std::max(samples, 1.0);
}

std::array<double, 3> correctedMeans(const ChannelHistogram& histogram, const LevelCurves& curves) {
    std::array<double, 3> means{};
    for (std::size_t c = 0; c < means.size(); ++c) {
        const LevelCounts& counts = histogram.channels[c + 1];
        double pixels = 0.0;
        for (std::size_t level = 0; level < counts.size(); ++level) {
            means[c] += static_cast<double>(curves[c][level]) * counts[level];
            pixels += counts[level];
        }
        means[c] /= std::max(pixels, 1.0);
    }
    return means;
}

} // namespace

const std::vector<SmoothingTrial>& adviceTrials() {
    static const std::vector<SmoothingTrial> kTrials{{0.0, true},  {0.5, true},  {1.0, true},
                                                     {2.0, true},  {4.0, true},  {0.5, false},
                                                     {1.0, false}, {2.0, false}, {4.0, false}};
    return kTrials;
}

void SummaryBuilder::Changes::add(const FrameFindings& findings, const LevelsRecord& levels) {
    const LevelCurves curves = curvesOf(levels);
    const Frame frame{curves, correctedMeans(findings.histogram, curves)};
    if (previous_ && !findings.startsScene) {
        for (std::size_t c = 0; c < frame.means.size(); ++c) {
            sums_.flicker += std::abs(frame.means[c] - previous_->means[c]) / 3.0;
        }
        sums_.levelsChange += distanceOf(previous_->curves, curves, findings.histogram);
    }
    previous_ = frame;
}

Steadiness SummaryBuilder::Changes::perPair(std::int64_t pairs) const {
    const auto count = static_cast<double>(std::max<std::int64_t>(pairs, 1));
    return {sums_.flicker / count, sums_.levelsChange / count};
}

void SummaryBuilder::add(const FrameFindings& findings) {
    change_.add(findings);
    addEnds(findings.smoothed, sums_);
    if (findings.startsScene) {
        sums_.cuts.push_back(
            {findings.frame, findings.seconds, greatestOf(*findings.fromPrevious)});
    } else if (sums_.frames > 0) {
        ++pairs_;
        sums_.lightChanges += cutBefore(findings) ? 1 : 0;
    }
    before_.add(findings, LevelsRecord{});
    found_.add(findings, findings.found);
    smoothed_.add(findings, findings.smoothed);
    trials_.resize(findings.trials.size());
    for (std::size_t i = 0; i < trials_.size(); ++i) {
        trials_[i].add(findings, findings.trials[i]);
    }
    ++sums_.frames;
}

CorrectionSummary SummaryBuilder::summary() const {
    CorrectionSummary summary = sums_;
    const auto frames = static_cast<double>(std::max<std::int64_t>(sums_.frames, 1));
    summary.change = change_.change();
    summary.black = dividedBy(sums_.black, frames);
    summary.white = dividedBy(sums_.white, frames);
    summary.contrast = sums_.contrast / frames;
    summary.before = before_.perPair(pairs_);
    summary.found = found_.perPair(pairs_);
    summary.smoothed = smoothed_.perPair(pairs_);
    summary.advice = advice(summary.smoothed);
    return summary;
}

std::optional<SmoothingAdvice> SummaryBuilder::advice(const Steadiness& smoothed) const {
    std::optional<SmoothingAdvice> best;
    if (smoothed.flicker < kHighFlicker) {
        return best;
    }
    // Without Scene Detect a correction leaks over cuts: only where the light keeps setting it off.
    const bool everyTrial = sums_.lightChanges > static_cast<std::int64_t>(sums_.cuts.size());
    for (std::size_t i = 0; i < trials_.size(); ++i) {
        const SmoothingTrial& trial = adviceTrials()[i];
        const Steadiness left = trials_[i].perPair(pairs_);
        const double now = best ? best->left.flicker : smoothed.flicker;
        if ((trial.sceneDetect || everyTrial) && left.flicker <= now * (1.0 - kWorthwhileShare)) {
            best = {trial, left};
        }
    }
    return best;
}

} // namespace tintwell::inspect
