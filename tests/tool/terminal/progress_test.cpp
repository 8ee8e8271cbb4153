#include "tool/terminal/progress.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <sstream>
#include <string>
#include <tuple>
#include <vector>

namespace tintwell::tool {
namespace {

/// A job under a clock and on a terminal that the test controls.
class Job {
public:
    explicit Job(ProgressStyle style, std::optional<std::int64_t> total, bool isTerminal = true,
                 const ProgressJob& job = {})
        : progress_(makeProgress(style, {text_, isTerminal, [this] { return columns; },
                                         [this] { return now_; }, job})) {
        progress_->begin(total);
    }

    void advance(std::int64_t framesDone, int milliseconds) {
        now_ += std::chrono::milliseconds(milliseconds);
        progress_->advance(framesDone);
    }

    void end() { progress_->end(); }

    std::vector<std::string> drawings(char separator) const {
        std::vector<std::string> parts;
        std::istringstream stream(text_.str());
        for (std::string part; std::getline(stream, part, separator);) {
            parts.push_back(part);
        }
        return parts;
    }

    int columns = 80;

private:
    std::ostringstream text_;
    std::chrono::steady_clock::time_point now_{std::chrono::hours(1)};
    std::unique_ptr<Progress> progress_;
};

TEST(Progress, BarShowsShareRateAndTimeLeft) {
    Job job(ProgressStyle::Bar, 200);
    job.advance(50, 2000);
    job.advance(200, 6000);
    job.end();
    const std::vector<std::string> kExpected = {
        "", "[######" + std::string(18, '.') + "]  50/200 frames  25 %  25.0 fps  0:06 left",
        "[" + std::string(24, '#') + "]  200/200 frames  100 %  25.0 fps  0:00 left",
        "[" + std::string(24, '#') + "]  200/200 frames  100 %  25.0 fps  0:08     \n"};
    EXPECT_EQ(job.drawings('\r'), kExpected);
}

TEST(Progress, OfSeveralJobsTellsWhichOneItIs) {
    Job bar(ProgressStyle::Bar, 4, true, {"a.mp4", 2, 5});
    bar.columns = 30; // no room for a bar beside the number
    bar.end();
    EXPECT_EQ(bar.drawings('\r').back(), "2/5  0/4 frames  0 %  0:00\n");
    Job json(ProgressStyle::Json, 4, true, {"a\xFF\xE2\x80\xAE.mp4", 2, 5});
    json.end();
    const std::string line = json.drawings('\n').back();
    EXPECT_EQ(line.find("\xE2\x80\xAE"), std::string::npos);
    const auto event = nlohmann::json::parse(line);
    EXPECT_EQ(event.at("clip"), 2);
    EXPECT_EQ(event.at("clips"), 5);
    EXPECT_NE(event.at("input").get<std::string>().find("\xE2\x80\xAE"), std::string::npos);
}

TEST(Progress, IsShownAtMostTenTimesASecondOnABarAndOnceOnLines) {
    for (const auto& [style, separator, shown] :
         {std::tuple(ProgressStyle::Bar, '\r', 30U), std::tuple(ProgressStyle::Lines, '\n', 2U)}) {
        Job job(style, 1000);
        for (int frame = 1; frame <= 2999; ++frame) {
            job.advance(frame, 1);
        }
        EXPECT_EQ(job.drawings(separator).size(), shown);
    }
}

TEST(Progress, BarNeverReachesTheTerminalsLastColumn) {
    Job job(ProgressStyle::Bar, 200);
    for (const int columns : {80, 60, 45, 30, 10, 1, 0}) {
        job.columns = columns;
        job.advance(1, 100'000);
        EXPECT_LE(job.drawings('\r').back().size(), std::max(columns - 1, 1)) << columns;
    }
}

TEST(Progress, UnknownAndWrongTotals) {
    Job unknown(ProgressStyle::Lines, std::nullopt);
    unknown.advance(50, 2000);
    EXPECT_EQ(unknown.drawings('\n').back(), "50 frames  25.0 fps");
    Job tooSmall(ProgressStyle::Lines, 10);
    tooSmall.advance(20, 1000);
    EXPECT_EQ(tooSmall.drawings('\n').back(), "20/10 frames  100 %  20.0 fps  0:00 left");
}

TEST(Progress, JsonIsOneObjectPerLine) {
    Job job(ProgressStyle::Json, std::nullopt);
    job.advance(20, 1000);
    job.end();
    const auto lines = job.drawings('\n');
    ASSERT_EQ(lines.size(), 2U);
    EXPECT_EQ(nlohmann::json::parse(lines[0]), (nlohmann::json{{"event", "progress"},
                                                               {"frame", 20},
                                                               {"total", nullptr},
                                                               {"fps", 20.0},
                                                               {"elapsed", 1.0},
                                                               {"left", nullptr}}));
    EXPECT_EQ(nlohmann::json::parse(lines[1]).at("event"), "end");
}

} // namespace
} // namespace tintwell::tool
