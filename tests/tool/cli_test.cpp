#include "inspect/level_curves.h"
#include "preview/preview_picture.h"
#include "tool/analysis_writer.h"
#include "tool/control_catalog.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <random>
#include <set>
#include <sstream>
#include <string>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace fs = std::filesystem;

namespace tintwell::tool {
namespace {

using Arguments = std::vector<std::string>;

struct Outcome {
    int exitCode = -1;
    std::string out;
    std::string err;
};

std::string contentOf(const fs::path& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

/// Runs the program in a folder of its own, which also holds what it prints.
class CommandLineTest : public testing::Test {
public:
    CommandLineTest() {
        std::string pattern = (fs::temp_directory_path() / "tintwell-test-XXXXXX").string();
        folder_ = mkdtemp(pattern.data());
        work_ = folder_ / "here";
        fs::create_directory(work_);
        write("clip.y4m", clip(kClipFrames));
    }

    ~CommandLineTest() override { fs::remove_all(folder_); }

protected:
    static constexpr int kClipFrames = 10;

    static std::string clipHeader() { return "YUV4MPEG2 W64 H48 F25:1 Ip A1:1 C420jpeg\n"; }

    /// A ramp of grey that gets lighter from frame to frame.
    static std::string clipFrame(int index) {
        std::string frame = "FRAME\n";
        for (int i = 0; i < 64 * 48; ++i) {
            frame.push_back(static_cast<char>(60 + i % 64 + index % 8));
        }
        return frame + std::string(2 * 32 * 24, '\x78');
    }

    static std::string clip(int frames) {
        std::string text = clipHeader();
        for (int i = 0; i < frames; ++i) {
            text += clipFrame(i);
        }
        return text;
    }

    void write(const std::string& name, const std::string& text) const {
        std::ofstream(work_ / name, std::ios::binary) << text;
    }

    pid_t start(const Arguments& arguments, int input) const {
        const pid_t child = fork();
        if (child != 0) {
            return child;
        }
        std::vector<const char*> words{TINTWELL_PROGRAM};
        for (const std::string& argument : arguments) {
            words.push_back(argument.c_str());
        }
        words.push_back(nullptr);
        constexpr int kFlags = O_WRONLY | O_CREAT | O_TRUNC;
        dup2(input, STDIN_FILENO);
        dup2(open((folder_ / "out").c_str(), kFlags, 0600), STDOUT_FILENO);
        dup2(open((folder_ / "err").c_str(), kFlags, 0600), STDERR_FILENO);
        if (chdir(work_.c_str()) == 0) {
            execv(TINTWELL_PROGRAM, const_cast<char* const*>(words.data()));
        }
        _exit(127);
    }

    Outcome finish(pid_t child) const {
        int status = 0;
        waitpid(child, &status, 0);
        return {WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status),
                contentOf(folder_ / "out"), contentOf(folder_ / "err")};
    }

    Outcome run(const Arguments& arguments, const fs::path& input = "/dev/null") const {
        const int descriptor = open(input.c_str(), O_RDONLY | O_CLOEXEC);
        Outcome outcome = finish(start(arguments, descriptor));
        close(descriptor);
        return outcome;
    }

    std::set<std::string> filesInWork() const {
        std::set<std::string> names;
        for (const auto& entry : fs::directory_iterator(work_)) {
            names.insert(entry.path().filename().string());
        }
        return names;
    }

    /// The program must end with this code, say these things in one line, and leave no file.
    void expectRefusal(const Arguments& arguments, int exitCode,
                       const std::vector<std::string>& parts) const {
        const std::set<std::string> before = filesInWork();
        const Outcome outcome = run(arguments);
        EXPECT_EQ(outcome.exitCode, exitCode) << outcome.err;
        EXPECT_EQ(outcome.out, "");
        EXPECT_EQ(outcome.err.rfind("tintwell: error: ", 0), 0U) << outcome.err;
        EXPECT_EQ(std::count(outcome.err.begin(), outcome.err.end(), '\n'), 1) << outcome.err;
        for (const std::string& part : parts) {
            EXPECT_NE(outcome.err.find(part), std::string::npos)
                << "'" << part << "' is not in: " << outcome.err;
        }
        EXPECT_EQ(filesInWork(), before) << outcome.err;
    }

    fs::path folder_;
    fs::path work_;
};

TEST_F(CommandLineTest, WrongUsageIsToldWithTheOptionAndExits2) {
    const Arguments render{"render", "clip.y4m", "out.mkv"};

    struct Case {
        Arguments arguments;
        std::vector<std::string> parts;
    };

    const std::vector<Case> cases{
        {{}, {"a command is required", "tintwell --help"}},
        {{"improve"}, {"no command 'improve'"}},
        {{"render"}, {"INPUT", "required", "tintwell render --help"}},
        {{"render", "clip.y4m"}, {"OUTPUT", "required"}},
        {{"render", "clip.y4m", "out.mkv", "third"}, {"third"}},
        {{"--black-clips", "1"}, {"'tintwell render' has no option --black-clips"}},
        {{"--black-clip"}, {"--black-clip needs a value: PERCENT"}},
        {{"--black-clip", "10.5"}, {"--black-clip: '10.5'", "between 0 and 10 (percent)"}},
        {{"--white-clip=-1"}, {"--white-clip: '-1'", "between 0 and 10 (percent)"}},
        {{"--white-clip", "-1"}, {"--white-clip: '-1'"}},
        {{"--temporal-smoothing", "2s"}, {"--temporal-smoothing: '2s'", "(seconds)"}},
        {{"--temporal-smoothing", "11"}, {"between 0 and 10 (seconds)"}},
        {{"--blend-with-original", "nan"}, {"--blend-with-original: 'nan'", "0 and 100"}},
        {{"--scene-detect=maybe"}, {"--scene-detect takes no value"}},
        {{"--quality", "best"}, {"--quality: 'best'", "high|draft"}},
        {{"--depth", "10"}, {"--depth: '10'", "auto|8|16"}},
        {{"--progress", "dots"}, {"--progress: 'dots'", "auto|bar|lines|json|none"}},
        {{"--frames", "9-3"}, {"--frames: '9-3'", "ends before it begins"}},
        {{"--crf", "64"}, {"--crf: '64'", "between 0 and 63"}},
        {{"--encoder-option", "slow"}, {"--encoder-option: 'slow'", "KEY=VALUE"}},
        {{"--frame-rate", "0"}, {"--frame-rate: '0'"}},
    };
    for (const Case& wrong : cases) {
        Arguments arguments = wrong.arguments;
        if (!arguments.empty() && arguments.front().rfind("--", 0) == 0) {
            arguments.insert(arguments.begin(), render.begin(), render.end());
        }
        expectRefusal(arguments, 2, wrong.parts);
    }
    expectRefusal({"analyze", "clip.y4m", "--csv", "--json"}, 2, {"--csv", "--json"});
    expectRefusal({"render", "clip.y4m", "-", "--json"}, 2, {"--json", "standard output"});
    expectRefusal({"lut", "clip.y4m"}, 2, {"-o", "--cdl"});
    expectRefusal({"lut", "clip.y4m", "--cdl", "--size", "9"}, 2, {"--size", "table"});
    expectRefusal({"lut", "-", "--cdl", "--at", "1"}, 2, {"--at", "standard input"});
    expectRefusal({"lut", "clip.y4m", "-o", "a.3dl"}, 2, {"a.3dl", ".cube, .spi1d, .cdl, .ccc"});
    expectRefusal({"lut", "clip.y4m", "-o", "a.cdl", "--size", "9"}, 2, {"a.cdl", "--size"});
    for (const std::string size : {"1", "65537", "2.5", "-9"}) {
        expectRefusal({"lut", "clip.y4m", "-o", "a.cube", "--size=" + size}, 2,
                      {"--size: '" + size, "2 and 65536"});
    }
    expectRefusal({"lut", "clip.y4m", "--cdl", "--at", "noon"}, 2, {"--at: 'noon'"});
}

TEST_F(CommandLineTest, FailuresNameTheFileAndExit1WithoutLeavingAnything) {
    write("text.mp4", "This is no film.\n");
    write("there.mkv", "precious");
    write("empty.mp4", "");
    expectRefusal({"render", "missing.mp4", "out.mkv"}, 1, {"missing.mp4", "no such file"});
    expectRefusal({"render", "controls", "out.mkv"}, 1, {"controls", "no such file"});
    expectRefusal({"render", "text.mp4", "out.mkv"}, 1, {"text.mp4"});
    expectRefusal({"render", "empty.mp4", "out.mkv"}, 1, {"empty.mp4"});
    expectRefusal({"render", ".", "out.mkv"}, 1, {"directory"});
    expectRefusal({"render", "clip.y4m", "clip.y4m", "--overwrite"}, 1, {"clip.y4m", "input"});
    expectRefusal({"render", "clip.y4m", "./../here/clip.y4m", "--overwrite"}, 1, {"input"});
    expectRefusal({"render", "clip.y4m", "there.mkv"}, 1, {"there.mkv", "--overwrite"});
    expectRefusal({"render", "clip.y4m", "no/such/out.mkv"}, 1, {"no/such"});
    expectRefusal({"render", "clip.y4m", "out.mkv", "--frames", "5-10"}, 1,
                  {"frames 5-10", "which has 10"});
    expectRefusal({"render", "clip.y4m", "out.mkv", "--frames", "90-99"}, 1,
                  {"frames 90-99", "which has 10"});
    expectRefusal({"render", "clip.y4m", "out.mkv", "--video-codec", "magic"}, 1, {"magic"});
    expectRefusal({"render", "clip.y4m", "out.mkv", "--module", "no.so"}, 1, {"no.so"});
    expectRefusal({"render", "clip.y4m", "out.mkv", "--module", "text.mp4"}, 1, {"text.mp4"});
    expectRefusal({"render", "clip.y4m", "out.mkv", "--controls", "no.json"}, 1, {"no.json"});
    expectRefusal({"render", "text.mp4", "out.mkv", "--dry-run"}, 1, {"text.mp4"});
    expectRefusal({"render", "clip.y4m", "there.mkv", "--dry-run"}, 1, {"there.mkv"});
    expectRefusal({"analyze", "text.mp4", "--json"}, 1, {"text.mp4"});
    expectRefusal({"analyze", "clip.y4m", "-o", "there.mkv"}, 1, {"there.mkv", "--overwrite"});
    expectRefusal({"lut", "clip.y4m", "--at", "9", "-o", "a.cube"}, 1,
                  {"clip.y4m: shows no frame at 9 seconds", "last frame begins at 0.360"});
    expectRefusal({"lut", "clip.y4m", "-o", "no/a.cube"}, 1, {"no/a.cube"});
    expectRefusal({"lut", "text.mp4", "--cdl"}, 1, {"text.mp4"});
    write("there.cube", "precious");
    expectRefusal({"lut", "clip.y4m", "-o", "there.cube"}, 1, {"there.cube", "--overwrite"});
    expectRefusal({"controls", "--module", "text.mp4"}, 1, {"text.mp4"});
    expectRefusal({"declaration", "text.mp4"}, 1, {"text.mp4", "neither an ELF module nor"});
    EXPECT_EQ(contentOf(work_ / "there.mkv") + contentOf(work_ / "there.cube"), "preciousprecious");
    EXPECT_EQ(contentOf(work_ / "clip.y4m"), clip(kClipFrames));
}

TEST_F(CommandLineTest, ControlsFileErrorsNameFileAndLine) {
    write("c.json", "{\"version\": 1, \"controls\": {\n\"black-clip\": 11}}");
    expectRefusal({"render", "clip.y4m", "out.mkv", "--controls", "c.json"}, 2,
                  {"c.json, line 2", "controls.black-clip: 11"});
}

TEST_F(CommandLineTest, RenderWritesTheClipAndTheSummary) {
    const Outcome outcome =
        run({"render", "--encoder-option", "slices=4", "clip.y4m", "out.mkv", "--video-codec",
             "ffv1", "--frames", "2-7", "--json", "--progress", "json"});
    ASSERT_EQ(outcome.exitCode, 0) << outcome.err;
    const auto summary = nlohmann::json::parse(outcome.out);
    EXPECT_EQ(summary.at("frames"), 6);
    EXPECT_EQ(summary.at("width"), 64);
    EXPECT_EQ(summary.at("output"), "out.mkv");
    EXPECT_EQ(summary.at("video_codec"), "ffv1");
    EXPECT_GT(fs::file_size(work_ / "out.mkv"), 0U);
    EXPECT_EQ(filesInWork(), (std::set<std::string>{"clip.y4m", "out.mkv"}));
    std::istringstream lines(outcome.err);
    std::string line;
    ASSERT_TRUE(std::getline(lines, line));
    EXPECT_EQ(nlohmann::json::parse(line).at("event"), "end");
    ASSERT_TRUE(std::getline(lines, line));
    EXPECT_NE(line.find("out.mkv: 6 frames of 64x48"), std::string::npos) << line;

    ASSERT_TRUE(std::getline(lines, line));
    EXPECT_NE(line.find("the correction changed the average pixel by"), std::string::npos) << line;
    EXPECT_GT(summary.at("correction").at("strength"), 1.0);

    const Outcome again = run({"render", "clip.y4m", "out.mkv", "--overwrite", "--quiet"});
    EXPECT_EQ(again.exitCode, 0);
    EXPECT_EQ(again.out + again.err, "");
}

TEST_F(CommandLineTest, DryRunTellsThePlanAndWritesNothing) {
    const Outcome outcome = run({"render", "clip.y4m", "out.mkv", "--dry-run", "--json", "--frames",
                                 "2-7", "--temporal-smoothing", "0.2", "--depth", "16"});
    ASSERT_EQ(outcome.exitCode, 0) << outcome.err;
    const auto plan = nlohmann::json::parse(outcome.out);
    EXPECT_EQ(plan.at("frames"), 6);
    EXPECT_EQ(plan.at("depth"), 16);
    EXPECT_EQ(plan.at("video_codec"), "libx264");
    EXPECT_EQ(plan.at("neighbours"), 4); // half of five frames, rounded up, and the one beyond
    EXPECT_EQ(plan.at("controls").at("temporal-smoothing"), 0.2);
    EXPECT_EQ(filesInWork(), std::set<std::string>{"clip.y4m"});
}

/// Frames with a cast, the lightest part flickering; other frames from the cut on.
std::string picture(int index, int cut) {
    std::string text = "P6\n64 48\n255\n";
    for (int i = 0; i < 64 * 48; ++i) {
        const int x = i % 64;
        const int level =
            index < cut ? 30 + 2 * x + (x > 55 ? index * 7 % 10 : 0) : 90 + x * x / 40;
        for (const int part : {level, level - 10, level - 25}) {
            text.push_back(static_cast<char>(part));
        }
    }
    return text;
}

std::string numbered(const char* name, int number) {
    return name + std::to_string(number) + ".ppm";
}

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
    const auto ffmpeg = [&](const std::string& arguments) {
        const std::string line = "cd '" + work_.string() + "' && ffmpeg -v error -y " + arguments;
        return std::system(line.c_str());
    };
    ASSERT_EQ(ffmpeg("-i a%d.ppm -start_number 0 -vf format=gbrp16,gblur=3 -pix_fmt rgb48 b%d.ppm"),
              0);
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
            const auto with = [&](Arguments arguments) {
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
            ASSERT_EQ(ffmpeg("-i " + name + "3.ppm -vf " + (bytes == 1 ? "" : "format=gbrp16,") +
                             "lut1d=file=l.cube l.ppm"),
                      0);
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

/// What the report's script reads.
nlohmann::json dataOf(const std::string& page) {
    const std::string begin = "<script type=\"application/json\" id=\"data\">";
    const std::size_t data = page.find(begin) + begin.size();
    return nlohmann::json::parse(page.substr(data, page.find("</script>", data) - data));
}

TEST_F(CommandLineTest, ReportShowsTheLevelsThatAnalyzeTells) {
    constexpr int kFrames = 12;
    for (int i = 0; i < kFrames; ++i) {
        write(numbered("in", i), picture(i, 7));
    }
    const Arguments options{"in%d.ppm", "--temporal-smoothing", "0.4", "--scene-detect", "--frames",
                            "2-11"};
    const auto with = [&](Arguments arguments) {
        arguments.insert(arguments.end(), options.begin(), options.end());
        return arguments;
    };
    const auto analysis = nlohmann::json::parse(run(with({"analyze", "--json"})).out);
    const Outcome outcome = run(with({"report", "-o", "report.html", "--at", "0.2"}));
    ASSERT_EQ(outcome.exitCode, 0) << outcome.err;
    EXPECT_EQ(outcome.err, "tintwell: wrote report.html\n");
    const std::string page = contentOf(work_ / "report.html");
    std::size_t pictures = 0;
    for (std::size_t at = page.find("src=\"data:image/jpeg"); at != std::string::npos;
         at = page.find("src=\"data:image/jpeg", at + 1)) {
        ++pictures;
    }
    EXPECT_EQ(pictures, 2U * (10 + 1)) << "of each frame, and of one of them large";
    const auto data = dataOf(page);
    ASSERT_EQ(data.at("frames").size(), 10U);
    for (std::size_t i = 0; i < 10; ++i) {
        const auto& frame = analysis.at("frames")[i];
        EXPECT_EQ(data.at("frames")[i], frame.at("frame"));
        EXPECT_EQ(data.at("times")[i], frame.at("time"));
        for (const auto& [field, channels] : data.at("levels").items()) {
            for (const auto& [channel, kinds] : channels.items()) {
                EXPECT_EQ(kinds.at("found")[i], frame.at("found").at(channel).at(field));
                EXPECT_EQ(kinds.at("smoothed")[i], frame.at("smoothed").at(channel).at(field));
            }
        }
    }
    for (const char* part :
         {"Frame 5, at 0.20 s", "cut at 0.28 s", "took out an orange (warm) cast",
          "<span>corrected-in%d.ppm</span> <span>--temporal-smoothing</span> <span>0.4</span>"}) {
        EXPECT_NE(page.find(part), std::string::npos) << part;
    }
    expectRefusal(with({"report", "-o", "report.html"}), 1, {"report.html", "--overwrite"});
    expectRefusal(with({"report", "-o", "new.html", "--at", "0"}), 2, {"--at", "--frames"});
}

TEST_F(CommandLineTest, ReportsOfAnyFileNameHaveTheSameMarkup) {
    const std::string name = "\"'><img src=x onerror=f()>&amp;<!--<script>\xFF.y4m";
    write(name, clip(2));
    const auto tagsOf = [&](const std::string& input) {
        const Outcome outcome = run({"report", input, "-o", "-"}, work_ / "clip.y4m");
        EXPECT_EQ(outcome.exitCode, 0) << outcome.err;
        std::map<std::string, int> tags;
        for (std::size_t at = outcome.out.find('<'); at != std::string::npos;
             at = outcome.out.find('<', at + 1)) {
            ++tags[outcome.out.substr(at, outcome.out.find_first_of(" >\n", at) - at)];
        }
        return tags;
    };
    write("plain.y4m", clip(2));
    EXPECT_EQ(tagsOf(name), tagsOf("plain.y4m"));
    EXPECT_GT(tagsOf("-").at("<img"), 2); // of the clip that comes through the pipe
}

TEST_F(CommandLineTest, PreviewWritesThePictureOfOneFrameOnceUnderItsName) {
    for (int i = 1; i <= 2; ++i) {
        write(numbered("shot.", i), picture(i, 0));
    }
    const Outcome written = run({"preview", "shot.%d.ppm", "--at", "0.04"});
    ASSERT_EQ(written.exitCode, 0) << written.err;
    EXPECT_EQ(written.err, "tintwell: wrote shot-preview-1.png\n");
    const std::string named = contentOf(work_ / "shot-preview-1.png");
    EXPECT_EQ(run({"preview", "shot.%d.ppm", "--at", "0:0.05", "-o", "-"}).out, named);
    EXPECT_NE(run({"preview", "shot.%d.ppm", "-o", "-"}).out, named);
    expectRefusal({"preview", "shot.%d.ppm", "--at", "0.04"}, 1,
                  {"shot-preview-1.png", "--overwrite"});
    EXPECT_EQ(run({"preview", "shot.%d.ppm", "--at", "0.04", "--split", "--overwrite"}).exitCode,
              0);
    EXPECT_NE(contentOf(work_ / "shot-preview-1.png"), named);

    // Rendering with all of the original turns the picture into pixels that can be read here.
    write("shown-preview.png", named);
    ASSERT_EQ(run({"render", "shot.%d.ppm", "done.%d.ppm"}).exitCode, 0);
    ASSERT_EQ(
        run({"render", "shown-preview.png", "shown.ppm", "--blend-with-original", "100"}).exitCode,
        0);
    media::ClipInfo info;
    info.width = 64;
    info.height = 48;
    const preview::PreviewLayout layout = preview::layoutOf(info, {});
    const std::string shown = contentOf(work_ / "shown.ppm");
    const auto from = [&](const preview::Box& box) {
        const std::string size = shown.substr(3, shown.find('\n', 3) - 3);
        const std::size_t width = std::stoul(size);
        const std::size_t start = 3 + size.size() + 5; // "P6\n", the size, "\n255\n"
        std::string pixels = "P6\n64 48\n255\n";
        for (int y = box.y; y < box.bottom(); ++y) {
            const auto offset =
                static_cast<std::size_t>(y) * width + static_cast<std::size_t>(box.x);
            pixels += shown.substr(start + 3 * offset, 3 * 64);
        }
        return pixels;
    };
    EXPECT_EQ(from(layout.before), picture(2, 0));
    EXPECT_EQ(from(layout.after), contentOf(work_ / "done.2.ppm"));

    expectRefusal({"preview", "clip.y4m", "--at", "0.4"}, 1, {"no frame at 0.4 seconds", "0.360"});
    expectRefusal({"preview", "clip.y4m", "--at", "noon"}, 2, {"--at: 'noon'", "1:02.5"});
    expectRefusal({"preview", "clip.y4m", "--width", "100"}, 2, {"--width: '100'", "624"});
    expectRefusal({"preview", "clip.y4m", "--at=-1"}, 2, {"--at: '-1'", "count from 0"});
    expectRefusal({"preview", "clip.y4m", "-o", "x.jpg"}, 2, {"x.jpg", ".png"});
    expectRefusal({"preview", "clip.y4m", "-o", "none/x.png"}, 1, {"none/x.png", "folder"});
    expectRefusal({"preview", "none.mp4"}, 1, {"none.mp4", "no such file"});
    expectRefusal({"preview", "-", "--at", "0"}, 2, {"standard input", "file"});
}

TEST_F(CommandLineTest, OptionsReplaceWhatTheControlsFileSays) {
    write("c.json", R"({"version": 1, "controls": {"blend-with-original": [
        {"frame": 0, "value": 0}, {"frame": 9, "value": 100}]}})");
    const auto render = [this](const Arguments& more) {
        Arguments arguments{"render", "clip.y4m", "-", "--output-format", "yuv4mpegpipe"};
        arguments.insert(arguments.end(), more.begin(), more.end());
        const Outcome outcome = run(arguments);
        EXPECT_EQ(outcome.exitCode, 0) << outcome.err;
        return outcome.out;
    };
    const std::string corrected = render({});
    const std::string original = render({"--blend-with-original", "100"});
    const std::string keyframed = render({"--controls", "c.json"});
    EXPECT_EQ(render({"--controls", "c.json", "--blend-with-original", "100"}), original);
    ASSERT_EQ(keyframed.size(), original.size());
    const std::size_t frame = clipFrame(0).size();
    const std::size_t header = original.size() - kClipFrames * frame;
    EXPECT_NE(corrected, original);
    EXPECT_EQ(keyframed.substr(header, frame), corrected.substr(header, frame));
    EXPECT_EQ(keyframed.substr(keyframed.size() - frame), original.substr(original.size() - frame));
    EXPECT_NE(keyframed.substr(header + 5 * frame, frame),
              original.substr(header + 5 * frame, frame));
}

TEST_F(CommandLineTest, StandardInputAndOutputCarryTheSameFramesAsFiles) {
    const Arguments output{"-", "--output-format", "yuv4mpegpipe"};
    Arguments fromFile{"render", "clip.y4m"};
    Arguments fromPipe{"render", "-"};
    fromFile.insert(fromFile.end(), output.begin(), output.end());
    fromPipe.insert(fromPipe.end(), output.begin(), output.end());
    const Outcome file = run(fromFile);
    const Outcome pipe = run(fromPipe, work_ / "clip.y4m");
    ASSERT_EQ(file.exitCode, 0) << file.err;
    ASSERT_EQ(pipe.exitCode, 0) << pipe.err;
    EXPECT_GT(file.out.size(), kClipFrames * (clipFrame(0).size() - 1));
    EXPECT_EQ(pipe.out, file.out);
}

/// A smoothed frame depends on frames before and after it, rendered or not.
TEST_F(CommandLineTest, SmoothedRangesAreThoseOfTheWholeClipFromFileAndPipe) {
    constexpr int kFrames = 24;
    write("long.y4m", clip(kFrames));
    write("keys.json", R"({"version": 1, "controls": {"temporal-smoothing": [
        {"frame": 0, "value": 0}, {"frame": 9, "value": 0, "interpolation": "hold"},
        {"frame": 10, "value": 0.5}]}})");
    const auto render = [this](const std::string& input, Arguments arguments) {
        arguments.insert(arguments.begin(),
                         {"render", input, "-", "--output-format", "yuv4mpegpipe"});
        const Outcome outcome = run(arguments, work_ / "long.y4m");
        EXPECT_EQ(outcome.exitCode, 0) << outcome.err;
        return outcome.out;
    };
    const std::size_t frame = clipFrame(0).size();
    const std::string plain = render("long.y4m", {});
    for (const Arguments& smoothing : {Arguments{"--temporal-smoothing", "0.3"},
                                       Arguments{"--temporal-smoothing", "2", "--scene-detect"},
                                       Arguments{"--controls", "keys.json"}}) {
        const std::string whole = render("long.y4m", smoothing);
        const std::size_t header = whole.size() - kFrames * frame;
        EXPECT_NE(whole, plain);
        EXPECT_EQ(render("-", smoothing), whole);
        for (const auto& [first, last] :
             std::vector<std::pair<int, int>>{{0, 2}, {5, 16}, {11, 11}, {20, 23}, {23, 23}}) {
            Arguments range = smoothing;
            range.insert(range.end(),
                         {"--frames", std::to_string(first) + "-" + std::to_string(last)});
            const std::string expected =
                whole.substr(0, header) +
                whole.substr(header + static_cast<std::size_t>(first) * frame,
                             static_cast<std::size_t>(last - first + 1) * frame);
            EXPECT_TRUE(render("long.y4m", range) == expected) << first << " from a file";
            EXPECT_TRUE(render("-", range) == expected) << first << " from a pipe";
        }
    }
}

TEST_F(CommandLineTest, LongClipsAreSmoothedAcrossWhereTheModuleForgets) {
    constexpr std::size_t kFrames = 4120;
    constexpr std::size_t kFrame = 6 + 16 * 8 * 3 / 2;
    std::string text = "YUV4MPEG2 W16 H8 F25:1 Ip A1:1 C420jpeg\n";
    std::minstd_rand random(1);
    for (std::size_t i = 0; i < kFrames; ++i) {
        text += "FRAME\n";
        std::generate_n(std::back_inserter(text), kFrame - 6,
                        [&] { return static_cast<char>(100 + random() % 50); });
    }
    write("long.y4m", text);
    const auto render = [this](const Arguments& range) {
        Arguments arguments{"render", "long.y4m",        "-",           "--temporal-smoothing",
                            "1",      "--output-format", "yuv4mpegpipe"};
        arguments.insert(arguments.end(), range.begin(), range.end());
        return run(arguments).out;
    };
    const std::string range = render({"--frames", "4080-4112"});
    const std::size_t header = range.size() - 33 * kFrame;
    EXPECT_TRUE(render({}).substr(header + 4080 * kFrame, 33 * kFrame) == range.substr(header));
}

TEST_F(CommandLineTest, AWindowThatAPipeCannotHoldIsForFilesOnly) {
    const std::string header = "YUV4MPEG2 W1920 H1080 F25:1 Ip A1:1 C420jpeg\nFRAME\n";
    write("large.y4m", header + std::string(1920 * 1080 * 3 / 2, '\x78'));
    const std::set<std::string> before = filesInWork();
    const auto render = [&](const std::string& input, const std::string& seconds) {
        return run({"render", input, "out.mkv", "--temporal-smoothing", seconds, "--video-codec",
                    "rawvideo", "--overwrite"},
                   work_ / "large.y4m");
    };
    const Outcome refused = render("-", "10");
    EXPECT_EQ(refused.exitCode, 1);
    EXPECT_EQ(filesInWork(), before);
    const std::string fit = "up to 3.2 seconds fit";
    EXPECT_NE(refused.err.find("standard input: smoothing over 10"), std::string::npos);
    EXPECT_NE(refused.err.find(fit), std::string::npos) << refused.err;
    EXPECT_EQ(render("-", "3.2").exitCode, 0);
    EXPECT_EQ(render("large.y4m", "10").exitCode, 0);
}

TEST_F(CommandLineTest, InterruptRemovesThePartialFileAndExits130) {
    std::signal(SIGPIPE, SIG_IGN);
    int ends[2] = {};
    ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
    const pid_t child = start({"render", "-", "out.mkv", "--video-codec", "ffv1"}, ends[0]);
    close(ends[0]);
    // The clip never ends; the signal comes once part of the output exists.
    std::string chunk = clipHeader();
    bool interrupted = false;
    int frame = 0;
    siginfo_t state{};
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    while (waitid(P_PID, static_cast<id_t>(child), &state, WEXITED | WNOHANG | WNOWAIT) == 0 &&
           state.si_pid == 0 && std::chrono::steady_clock::now() < deadline) {
        if (::write(ends[1], chunk.data(), chunk.size()) < 0) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        chunk = clipFrame(frame++);
        if (!interrupted && filesInWork().size() > 1) {
            kill(child, SIGINT);
            interrupted = true;
        }
    }
    close(ends[1]);
    const Outcome outcome = finish(child);
    EXPECT_TRUE(interrupted);
    EXPECT_EQ(outcome.exitCode, 130) << outcome.err;
    EXPECT_EQ(filesInWork(), std::set<std::string>{"clip.y4m"});
}

TEST_F(CommandLineTest, ControlsListWhatTheModuleDeclaresAndTheOptionsAgree) {
    const Outcome outcome = run({"controls", "--json"});
    ASSERT_EQ(outcome.exitCode, 0) << outcome.err;
    const auto controls = nlohmann::json::parse(outcome.out).at("controls");
    ASSERT_EQ(controls.size(), controlCatalog().size());
    for (std::size_t i = 0; i < controls.size(); ++i) {
        const ControlInfo& info = controlCatalog()[i];
        const auto& control = controls[i];
        EXPECT_EQ(control.at("key"), info.key);
        EXPECT_EQ(control.at("index"), static_cast<int>(info.control));
        EXPECT_EQ(control.at("type"), info.isCheckbox ? "checkbox" : "slider");
        if (info.isCheckbox) {
            EXPECT_EQ(control.at("default"), info.initial != 0.0);
        } else {
            EXPECT_EQ(control.at("default"), info.initial);
            EXPECT_EQ(control.at("minimum"), info.minimum);
            EXPECT_EQ(control.at("maximum"), info.maximum);
            EXPECT_EQ(control.at("unit"), info.unit);
        }
    }
    const Outcome table = run({"controls"});
    EXPECT_NE(table.out.find("Snap Neutral Midtones"), std::string::npos);
}

TEST_F(CommandLineTest, DeclarationIsPrintedForPeopleAndForPrograms) {
    const Outcome outcome = run({"declaration", "--json"});
    ASSERT_EQ(outcome.exitCode, 0) << outcome.err;
    const auto document = nlohmann::json::parse(outcome.out);
    std::map<std::string, nlohmann::json> values;
    for (const auto& property : document.at("properties")) {
        values[property.at("key")] = property.at("value");
    }
    EXPECT_EQ(values.size(), 12U);
    EXPECT_EQ(values["eMNA"], "ZQVN Tintwell");
    EXPECT_EQ(values["eSVR"], nlohmann::json::array({13, 2}));
    EXPECT_EQ(values["eGLO"], 0x2000002);
    EXPECT_NE(run({"declaration"}).out.find("525824 (0x80600)"), std::string::npos);
}

TEST_F(CommandLineTest, HelpAndVersionGoToStandardOutput) {
    EXPECT_NE(run({"--version"}).out.find("Tintwell"), std::string::npos);
    for (const Arguments& arguments :
         {Arguments{"--help"}, Arguments{"render", "--help"}, Arguments{"controls", "--help"},
          Arguments{"declaration", "--help"}, Arguments{"report", "--help"}}) {
        const Outcome outcome = run(arguments);
        EXPECT_EQ(outcome.exitCode, 0);
        EXPECT_NE(outcome.out.find("Example"), std::string::npos);
        EXPECT_EQ(outcome.err, "");
    }
}

} // namespace
} // namespace tintwell::tool
