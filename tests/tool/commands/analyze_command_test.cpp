#include "command_line_test.h"
#include "inspect/level_curves.h"
#include "tool/findings/analysis_writer.h"
#include "tool/values/control_catalog.h"

#include <nlohmann/json.hpp>

#include <cmath>
#include <map>
#include <sstream>

namespace tintwell::tool {
namespace {

TEST_F(CommandLineTest, AnalyzedLevelsAreThoseThatRenderApplies) {
    constexpr int kFrames = 12;
    constexpr int kCut = 7;
    for (int i = 0; i < kFrames; ++i) {
        write(numbered("in", i), picture(i, kCut));
    }
    const Arguments options{"--temporal-smoothing",    "0.4",      "--scene-detect",
                            "--snap-neutral-midtones", "--frames", "2-11"};
    const auto with = [&](Arguments arguments) {
        arguments.insert(arguments.end(), options.begin(), options.end());
        return arguments;
    };
    ASSERT_EQ(run(with({"render", "in%d.ppm", "out%d.ppm"})).exitCode, 0);
    const Outcome analyzed = run(with({"analyze", "in%d.ppm", "--json", "-o", "levels.json"}));
    ASSERT_EQ(analyzed.exitCode, 0) << analyzed.err;
    const auto analysis = nlohmann::json::parse(contentOf(work_ / "levels.json"));
    ASSERT_EQ(analysis.at("frames").size(), 10U);
    bool anySmoothed = false;
    for (const auto& frame : analysis.at("frames")) {
        const int index = frame.at("frame");
        EXPECT_DOUBLE_EQ(frame.at("time"), index / 25.0);
        EXPECT_EQ(frame.at("new_scene"), index == kCut);
        anySmoothed = anySmoothed || frame.at("smoothed") != frame.at("found");
        LevelsRecord levels;
        for (std::size_t c = 0; c < 3; ++c) {
            const auto& entry = frame.at("smoothed").at(std::string(kChannelNames[c]));
            for (const LevelsField& field : kLevelsFields) {
                levels.entries[c + 1].*field.member = static_cast<std::uint16_t>(
                    std::lround(entry.at(std::string(field.name)).get<double>() * field.scale));
            }
        }
        const inspect::LevelCurves curves = inspect::curvesOf(levels);
        std::string expected = picture(index, kCut);
        for (std::size_t i = 0, first = expected.size() - 3 * 64 * 48; first + i < expected.size();
             ++i) {
            char& sample = expected[first + i];
            sample = static_cast<char>(curves[i % 3][static_cast<unsigned char>(sample)]);
        }
        EXPECT_EQ(contentOf(work_ / numbered("out", index)), expected) << index;
    }
    EXPECT_TRUE(anySmoothed);
    ASSERT_EQ(analysis.at("summary").at("cuts").size(), 1U);
    EXPECT_DOUBLE_EQ(analysis.at("summary").at("cuts")[0].at("time"), kCut / 25.0);
    EXPECT_EQ(analysis.at("summary").at("correction").at("cast").at("name"), "orange (warm)");

    const Outcome table = run(with({"analyze", "in%d.ppm", "--csv"}));
    const auto lines = std::count(table.out.begin(), table.out.end(), '\n');
    EXPECT_EQ(lines, 11) << table.err;
    EXPECT_EQ(run(with({"analyze", "in%d.ppm"})).out.find('\033'), std::string::npos);
}

// Deep in a clip that can be leapt into, where the first frames that matter are decoded again.
TEST_F(CommandLineTest, FramesDeepInAClipAreAnalyzedAsFromItsBeginning) {
    ffmpeg("-f lavfi -i testsrc2=size=64x36:rate=30000/1001 -t 12 -c:v libx264 -g 48 -bf 3 c.mp4");
    const auto analyze = [&](const Arguments& span) {
        Arguments arguments{"analyze", "c.mp4", "--json", "--temporal-smoothing", "1"};
        arguments.insert(arguments.end(), span.begin(), span.end());
        return nlohmann::json::parse(run(arguments).out).at("frames");
    };
    const auto all = analyze({});
    ASSERT_EQ(all.size(), 360U);
    for (const int first : {144, 200, 353}) {
        const auto part =
            analyze({"--frames", std::to_string(first) + "-" + std::to_string(first + 6)});
        for (std::size_t i = 0; i < 7; ++i) {
            EXPECT_EQ(part.at(i), all.at(static_cast<std::size_t>(first) + i)) << first + i;
        }
    }
}

} // namespace
} // namespace tintwell::tool
