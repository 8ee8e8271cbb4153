#include "tool/progress.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <sstream>
#include <string>
#include <vector>

namespace tintwell::tool {
namespace {

/// A job under a clock and on a terminal that the test controls.
class Job {
public:
    explicit Job(ProgressStyle style, bool isTerminal = true)
        : progress_(makeProgress(
              style, {text_, isTerminal, [this] { return columns_; }, [this] { return now_; }})) {}

    Progress& progress() { return *progress_; }

    void setColumns(int columns) { columns_ = columns; }

    void advance(std::int64_t framesDone, int milliseconds) {
        now_ += std::chrono::milliseconds(milliseconds);
        progress_->advance(framesDone);
    }

    std::string text() const { return text_.str(); }

    std::vector<std::string> drawings(char separator) const {
        std::vector<std::string> parts;
        std::istringstream stream(text());
        for (std::string part; std::getline(stream, part, separator);) {
            parts.push_back(part);
        }
        return parts;
    }

private:
    std::ostringstream text_;
    int columns_ = 80;
    std::chrono::steady_clock::time_point now_{std::chrono::hours(1)};
    std::unique_ptr<Progress> progress_;
};

TEST(Progress, BarShowsShareRateAndTimeLeft) {
    Job job(ProgressStyle::Bar);
    job.progress().begin(200);
    job.advance(50, 2000);
    EXPECT_EQ(job.text(),
              "\r[######" + std::string(18, '.') + "]  50/200 frames  25 %  25.0 fps  0:06 left");
    job.advance(200, 6000);
    job.progress().end();
    EXPECT_EQ(job.drawings('\r').back(),
              "[" + std::string(24, '#') + "]  200/200 frames  100 %  25.0 fps  0:08     \n");
}

TEST(Progress, BarIsRedrawnAtMostTenTimesASecond) {
    Job job(ProgressStyle::Bar);
    job.progress().begin(1000);
    for (int frame = 1; frame <= 1000; ++frame) {
        job.advance(frame, 1);
    }
    EXPECT_EQ(job.drawings('\r').size() - 1, 10U);
}

TEST(Progress, BarNeverReachesTheTerminalsLastColumnAndWipesWhatItDrewBefore) {
    Job job(ProgressStyle::Bar);
    job.progress().begin(200);
    job.advance(1, 100'000);
    const std::size_t longest = job.drawings('\r').back().size();
    EXPECT_LT(longest, 80U);
    job.advance(100, 100'000);
    EXPECT_EQ(job.drawings('\r').back().size(), longest);
    for (const int columns : {60, 45, 30, 10, 1, 0}) {
        job.setColumns(columns);
        job.advance(100, 1000);
        EXPECT_LE(job.drawings('\r').back().size(), std::max(columns - 1, 1)) << columns;
    }
}

TEST(Progress, UnknownAndWrongTotals) {
    Job unknown(ProgressStyle::Lines);
    unknown.progress().begin(std::nullopt);
    unknown.advance(50, 2000);
    EXPECT_EQ(unknown.text(), "50 frames  25.0 fps\n");

    Job tooSmall(ProgressStyle::Lines);
    tooSmall.progress().begin(10);
    tooSmall.advance(20, 1000);
    EXPECT_EQ(tooSmall.text(), "20/10 frames  100 %  20.0 fps  0:00 left\n");

    Job failedEarly(ProgressStyle::Bar);
    failedEarly.progress().end();
    EXPECT_EQ(failedEarly.text(), "");
}

TEST(Progress, LinesComeOnceASecond) {
    Job job(ProgressStyle::Lines);
    job.progress().begin(100);
    for (int frame = 1; frame <= 30; ++frame) {
        job.advance(frame, 100);
    }
    job.progress().end();
    const auto lines = job.drawings('\n');
    ASSERT_EQ(lines.size(), 4U);
    EXPECT_EQ(lines[0], "10/100 frames  10 %  10.0 fps  0:09 left");
}

TEST(Progress, JsonIsOneObjectPerLine) {
    Job job(ProgressStyle::Json);
    job.progress().begin(std::nullopt);
    job.advance(20, 1000);
    job.progress().end();
    const auto lines = job.drawings('\n');
    ASSERT_EQ(lines.size(), 2U);
    const auto first = nlohmann::json::parse(lines[0]);
    EXPECT_EQ(first, (nlohmann::json{{"event", "progress"},
                                     {"frame", 20},
                                     {"total", nullptr},
                                     {"fps", 20.0},
                                     {"elapsed", 1.0},
                                     {"left", nullptr}}));
    EXPECT_EQ(nlohmann::json::parse(lines[1]).at("event"), "end");
}

TEST(Progress, AutoIsSilentWhereThereIsNoTerminal) {
    for (const bool isTerminal : {true, false}) {
        Job job(ProgressStyle::Auto, isTerminal);
        job.progress().begin(2);
        job.advance(1, 1000);
        job.progress().end();
        EXPECT_EQ(job.text().empty(), !isTerminal);
    }
}

} // namespace
} // namespace tintwell::tool
