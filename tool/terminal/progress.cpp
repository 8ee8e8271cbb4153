#include "tool/terminal/progress.h"

#include "tool/terminal/printable.h"
#include "tool/terminal/terminal.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <iostream>
#include <string>
#include <utility>

namespace tintwell::tool {
namespace {

using Clock = std::chrono::steady_clock;

/// How far the job is, at one moment.
struct State {
    std::int64_t done = 0;
    std::optional<std::int64_t> total;
    double elapsedSeconds = 0.0;
    double framesPerSecond = 0.0; ///< 0 while unknown
    std::optional<double> secondsLeft;
    bool isLast = false;
};

/// The total may be an estimate from the file's header, so it can turn out too small.
double fractionOf(const State& state) {
    return std::min(1.0, static_cast<double>(state.done) / static_cast<double>(*state.total));
}

std::string clockText(double seconds) {
    constexpr double kLongest = 359999.0; // 99:59:59
    const auto whole = static_cast<int>(std::clamp(std::ceil(seconds), 0.0, kLongest));
    char text[16];
    if (whole < 3600) {
        std::snprintf(text, sizeof text, "%d:%02d", whole / 60, whole % 60);
    } else {
        std::snprintf(text, sizeof text, "%d:%02d:%02d", whole / 3600, whole / 60 % 60, whole % 60);
    }
    return text;
}

std::string oneDecimal(double value) {
    char text[32];
    std::snprintf(text, sizeof text, "%.1f", value);
    return text;
}

/// "2/5  " for the second of five jobs.
std::string jobText(const ProgressJob& job) {
    return job.number == 0 ? ""
                           : std::to_string(job.number) + "/" + std::to_string(job.count) + "  ";
}

/// "12/144 frames  8 %  45.2 fps  0:03 left", with what is known.
std::string stateText(const State& state) {
    std::string text = std::to_string(state.done);
    if (state.total) {
        text.append("/").append(std::to_string(*state.total));
    }
    text += " frames";
    if (state.total) {
        text += "  " + std::to_string(static_cast<int>(fractionOf(state) * 100.0)) + " %";
    }
    if (state.framesPerSecond > 0.0) {
        text += "  " + oneDecimal(state.framesPerSecond) + " fps";
    }
    if (state.isLast) {
        text += "  " + clockText(state.elapsedSeconds);
    } else if (state.secondsLeft) {
        text += "  " + clockText(*state.secondsLeft) + " left";
    }
    return text;
}

class NoProgress : public Progress {
public:
    void begin(std::optional<std::int64_t> /*totalFrames*/) override {}

    void advance(std::int64_t /*framesDone*/) override {}

    void end() override {}
};

/// Measures the job and calls `show` no more often than `interval`, and once at the end.
class PacedProgress : public Progress {
public:
    PacedProgress(ProgressOutput output, Clock::duration interval)
        : output_(std::move(output)), interval_(interval) {}

    void begin(std::optional<std::int64_t> totalFrames) override {
        if (totalFrames && *totalFrames > 0) {
            total_ = totalFrames;
        }
        start_ = output_.now();
        nextShow_ = *start_ + interval_;
    }

    void advance(std::int64_t framesDone) override {
        done_ = framesDone;
        const Clock::time_point now = output_.now();
        if (now >= nextShow_) {
            nextShow_ = now + interval_;
            show(output_, measure(now, false));
            output_.stream.flush();
        }
    }

    void end() override {
        if (!start_) {
            return; // the job failed before it began
        }
        show(output_, measure(output_.now(), true));
        output_.stream.flush();
    }

private:
    virtual void show(const ProgressOutput& output, const State& state) = 0;

    State measure(Clock::time_point now, bool isLast) const {
        State state;
        state.done = done_;
        state.total = total_;
        state.isLast = isLast;
        state.elapsedSeconds = std::chrono::duration<double>(now - *start_).count();
        if (done_ > 0 && state.elapsedSeconds > 0.0) {
            state.framesPerSecond = static_cast<double>(done_) / state.elapsedSeconds;
            if (total_) {
                const auto left = static_cast<double>(std::max<std::int64_t>(*total_ - done_, 0));
                state.secondsLeft = left / state.framesPerSecond;
            }
        }
        return state;
    }

    ProgressOutput output_;
    Clock::duration interval_;
    std::optional<std::int64_t> total_;
    std::int64_t done_ = 0;
    std::optional<Clock::time_point> start_;
    Clock::time_point nextShow_;
};

/// One line that is drawn over itself, with a bar where there is room for one.
class BarProgress : public PacedProgress {
public:
    explicit BarProgress(const ProgressOutput& output)
        : PacedProgress(output, std::chrono::milliseconds(100)) {}

private:
    void show(const ProgressOutput& output, const State& state) override {
        // The last column stays free: a terminal may wrap once it is written.
        const auto room = static_cast<std::size_t>(std::max(output.columns() - 1, 1));
        std::string line = stateText(state);
        const std::string job = jobText(output.job);
        line = job + bar(state, room, job.size() + line.size()) + line;
        line.resize(std::min(line.size(), room));
        const std::size_t drawn = line.size();
        // Blanks wipe what the last, longer line left; a narrowed terminal must not wrap them.
        line.resize(std::clamp(lastDrawn_, drawn, room), ' ');
        output.stream << '\r' << line << (state.isLast ? "\n" : "");
        lastDrawn_ = drawn;
    }

    static std::string bar(const State& state, std::size_t room, std::size_t textLength) {
        constexpr std::size_t kWidest = 24; // steady on 80 columns, however long the numbers
        constexpr std::size_t kNarrowest = 5;
        constexpr std::size_t kFrame = 4; // brackets and two blanks
        if (!state.total || room < textLength + kFrame + kNarrowest) {
            return {};
        }
        const std::size_t width = std::min(kWidest, room - textLength - kFrame);
        const auto filled =
            static_cast<std::size_t>(fractionOf(state) * static_cast<double>(width));
        return std::string("[").append(filled, '#').append(width - filled, '.').append("]  ");
    }

    std::size_t lastDrawn_ = 0;
};

class LinesProgress : public PacedProgress {
public:
    explicit LinesProgress(const ProgressOutput& output)
        : PacedProgress(output, std::chrono::seconds(1)) {}

private:
    void show(const ProgressOutput& output, const State& state) override {
        output.stream << jobText(output.job) + stateText(state) + "\n";
    }
};

/// One object per line, for programs that watch.
class JsonProgress : public PacedProgress {
public:
    explicit JsonProgress(const ProgressOutput& output)
        : PacedProgress(output, std::chrono::seconds(1)) {}

private:
    void show(const ProgressOutput& output, const State& state) override {
        const auto orNull = [](const auto& value) {
            return value ? nlohmann::ordered_json(*value) : nlohmann::ordered_json();
        };
        nlohmann::ordered_json line{
            {"event", state.isLast ? "end" : "progress"},
            {"frame", state.done},
            {"total", orNull(state.total)},
            {"fps", state.framesPerSecond},
            {"elapsed", state.elapsedSeconds},
            {"left", orNull(state.secondsLeft)},
        };
        if (const ProgressJob& job = output.job; job.number > 0) {
            line["clip"] = job.number;
            line["clips"] = job.count;
            line["input"] = job.input;
        }
        using ErrorHandler = nlohmann::ordered_json::error_handler_t;
        output.stream << printableJson(line.dump(-1, ' ', false, ErrorHandler::replace)) + "\n";
    }
};

} // namespace

ProgressOutput standardErrorOutput(const ProgressJob& job) {
    return {std::cerr, standardErrorIsTerminal(), standardErrorColumns, Clock::now, job};
}

std::unique_ptr<Progress> makeProgress(ProgressStyle style, const ProgressOutput& output) {
    if (style == ProgressStyle::Auto) {
        style = output.isTerminal ? ProgressStyle::Bar : ProgressStyle::None;
    }
    switch (style) {
    case ProgressStyle::Bar:
        return std::make_unique<BarProgress>(output);
    case ProgressStyle::Lines:
        return std::make_unique<LinesProgress>(output);
    case ProgressStyle::Json:
        return std::make_unique<JsonProgress>(output);
    case ProgressStyle::Auto:
    case ProgressStyle::None:
        break;
    }
    return std::make_unique<NoProgress>();
}

} // namespace tintwell::tool
