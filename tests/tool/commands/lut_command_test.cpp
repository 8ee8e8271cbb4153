#include "command_line_test.h"
#include "inspect/level_curves.h"
#include "tool/findings/analysis_writer.h"

#include <array>
#include <cmath>
#include <sstream>

namespace tintwell::tool {
namespace {

/// The samples behind the head of a PPM file.
std::vector<int> samplesOf(const std::string& file, std::size_t bytes) {
    std::vector<int> samples;
    for (std::size_t i = file.size() - 3 * 64 * 48 * bytes; i < file.size(); i += bytes) {
        const auto byte = [&](std::size_t at) { return static_cast<unsigned char>(file[at]); };
        samples.push_back(bytes == 1 ? byte(i) : byte(i) * 256 + byte(i + 1));
    }
    return samples;
}

int largestDifference(const std::vector<int>& some, const std::vector<int>& others) {
    int largest = 0;
    for (std::size_t i = 0; i < some.size(); ++i) {
        largest = std::max(largest, std::abs(some[i] - others.at(i)));
    }
    return largest;
}

/// The numbers behind a line.
std::vector<double> numbersAfter(const std::string& text, const std::string& line) {
    std::istringstream stream(text.substr(text.find(line) + line.size()));
    return {std::istream_iterator<double>(stream), {}};
}

/// A picture that also has every level of every channel.
std::string pictureWithRamps(int index) {
    std::string text = picture(index, 9);
    const std::size_t first = text.size() - 3 * 64 * 48;
    for (std::size_t i = 0; i < 256; ++i) {
        const std::array<std::size_t, 3> levels{i, 255 - i, i * 7 % 256};
        for (std::size_t c = 0; c < 3; ++c) {
            text[first + 3 * i + c] = static_cast<char>(levels[c]);
        }
    }
    return text;
}

TEST_F(CommandLineTest, ALookupTableInFfmpegGivesTheRenderedFrame) {
    for (int i = 0; i < 6; ++i) {
        write(numbered("a", i), pictureWithRamps(i));
    }
    ffmpeg("-i a%d.ppm -start_number 0 -vf format=gbrp16,gblur=3 -pix_fmt rgb48 b%d.ppm");
    write("c.json", R"({"version": 1, "controls": {"black-clip": 10, "blend-with-original": [
        {"frame": 1, "value": 0}, {"frame": 5, "value": 70}]}})");

    struct Case {
        Arguments controls;
        Arguments table;
        int largest; ///< difference at 8 bits
    };

    constexpr int kLargestDeep =
        64; // the module steps from entry to entry, and filters interpolate
    for (const auto& [controls, table, largest] : std::vector<Case>{
             {{}, {}, 0},
             {{"--black-clip", "10", "--temporal-smoothing", "0.1"}, {}, 0},
             {{"--snap-neutral-midtones", "--black-clip", "8", "--white-clip", "9"}, {}, 0},
             {{"--snap-neutral-midtones", "--controls", "c.json"}, {"--size", "4096"}, 1},
             {{"--blend-with-original", "100"}, {"--size", "65536"}, 1}}) {
        for (const std::size_t bytes : {1U, 2U}) {
            const std::string name = bytes == 1 ? "a" : "b";
            const auto with = [&controls = controls](Arguments arguments) {
                arguments.insert(arguments.end(), controls.begin(), controls.end());
                return arguments;
            };
            ASSERT_EQ(run(with({"render", name + "%d.ppm", "r%d.ppm", "--overwrite"})).exitCode, 0);
            for (const std::string path : {"l.cube", "l.spi1d"}) {
                Arguments lut =
                    with({"lut", name + "%d.ppm", "--at", "0:00.13", "--overwrite", "-o", path});
                lut.insert(lut.end(), table.begin(), table.end());
                ASSERT_EQ(run(lut).err, "tintwell: wrote " + path + "\n");
            }
            ffmpeg(bytes == 1 ? "-i a3.ppm -vf lut1d=file=l.cube l.ppm"
                              : "-i b3.ppm -vf format=gbrp16,lut1d=file=l.cube l.ppm");
            const std::vector<int> ours = samplesOf(contentOf(work_ / "r3.ppm"), bytes);
            EXPECT_LE(largestDifference(ours, samplesOf(contentOf(work_ / "l.ppm"), bytes)),
                      bytes == 1 ? largest : kLargestDeep)
                << name << testing::PrintToString(controls);
            const auto entries = numbersAfter(contentOf(work_ / "l.cube"), "MAX 1.0 1.0 1.0\n");
            EXPECT_EQ(numbersAfter(contentOf(work_ / "l.spi1d"), "{\n"), entries);
            EXPECT_EQ(entries.size(),
                      3 * (table.empty() ? bytes == 1 ? 256U : 4097U : std::stoul(table.back())));
        }
    }
}

TEST_F(CommandLineTest, ACubeInFfmpegIsOffByWhatIsTold) {
    write("a.ppm", pictureWithRamps(0));
    for (const auto& [controls, size] : std::vector<std::pair<Arguments, std::string>>{
             {{}, ""},
             {{"--snap-neutral-midtones", "--black-clip", "8"}, "17"},
             {{"--snap-neutral-midtones", "--blend-with-original", "30"}, "65"},
             {{"--white-clip", "9"}, "2"}}) {
        Arguments render{"render", "a.ppm", "r.ppm", "--overwrite"};
        Arguments lut{"lut", "a.ppm", "-o", "l.cube", "--format", "cube3d", "--overwrite"};
        for (Arguments* arguments : {&render, &lut}) {
            arguments->insert(arguments->end(), controls.begin(), controls.end());
        }
        if (!size.empty()) {
            lut.insert(lut.end(), {"--size", size});
        }
        ASSERT_EQ(run(render).exitCode, 0);
        const Outcome outcome = run(lut);
        ASSERT_EQ(outcome.exitCode, 0) << outcome.err;
        const double told = numbersAfter(outcome.err, "off by at most ").at(0);
        EXPECT_NE(outcome.err.find(" its " + (size.empty() ? "33" : size) + " points"),
                  std::string::npos)
            << outcome.err;
        const std::vector<int> ours = samplesOf(contentOf(work_ / "r.ppm"), 1);
        for (const char* interpolation : {"trilinear", "tetrahedral"}) {
            ffmpeg(std::string("-i a.ppm -vf format=gbrp,lut3d=file=l.cube:interp=") +
                   interpolation + " l.ppm");
            const int found = largestDifference(ours, samplesOf(contentOf(work_ / "l.ppm"), 1));
            EXPECT_LE(std::abs(found - told), 1.0) << interpolation << size; // levels are whole
        }
    }
    const Outcome piped = run({"lut", "a.ppm", "-o", "-", "--format", "cube3d", "--size", "9"});
    EXPECT_EQ(numbersAfter(piped.out, "MAX 1.0 1.0 1.0\n").size(), 3 * 9 * 9 * 9U);
}

TEST_F(CommandLineTest, AColorDecisionIsTheNearestAndTellsItsLargestError) {
    write("a.ppm", picture(0, 1));
    const Arguments lut{"lut", "a.ppm", "--snap-neutral-midtones", "--quiet", "-o"};
    const auto with = [&](Arguments more) {
        more.insert(more.begin(), lut.begin(), lut.end());
        return more;
    };
    ASSERT_EQ(run(with({"a.cube"})).exitCode, 0);
    const auto table = numbersAfter(contentOf(work_ / "a.cube"), "MAX 1.0 1.0 1.0\n");
    ASSERT_EQ(table.size(), 3 * 256U);
    for (const std::string path : {"a.cdl", "a.ccc", "a.cc"}) {
        const Outcome outcome = run(with({path, "--cdl"}));
        const std::string document = contentOf(work_ / path);
        const auto of = [&](const char* element) { return numbersAfter(document, element); };
        const std::array<std::vector<double>, 3> written{of("<Slope>"), of("<Offset>"),
                                                         of("<Power>")};
        for (std::size_t c = 0; c < 3; ++c) {
            const auto errorsWith = [&](std::size_t changed, double change) {
                std::array<double, 3> number{written[0].at(c), written[1].at(c), written[2].at(c)};
                number[changed] += change;
                std::pair<double, double> errors; // sum of squares, largest
                for (std::size_t i = 0; i < 256; ++i) {
                    const double in = static_cast<double>(i) / 255.0 * number[0] + number[1];
                    const double error =
                        std::pow(std::clamp(in, 0.0, 1.0), number[2]) - table[3 * i + c];
                    errors.first += error * error;
                    errors.second = std::max(errors.second, std::abs(error) * 255.0);
                }
                return errors;
            };
            const auto [sum, largest] = errorsWith(0, 0.0);
            const auto row = outcome.out.find(std::string(kChannelNames[c]) + " ");
            const auto end = outcome.out.find('\n', row);
            const auto last = outcome.out.rfind(' ', end);
            EXPECT_NEAR(std::stod(outcome.out.substr(last)), largest, 0.006) << outcome.out;
            EXPECT_GT(largest, 0.1);
            for (std::size_t changed = 0; changed < 3; ++changed) {
                EXPECT_GT(errorsWith(changed, 0.0005).first, sum) << changed;
                EXPECT_GT(errorsWith(changed, -0.0005).first, sum) << changed;
            }
        }
    }
}

} // namespace
} // namespace tintwell::tool
