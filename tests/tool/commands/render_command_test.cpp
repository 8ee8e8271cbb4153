#include "command_line_test.h"

#include <nlohmann/json.hpp>

#include <chrono>
#include <csignal>
#include <random>
#include <sstream>
#include <thread>

namespace tintwell::tool {
namespace {

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
    EXPECT_NE(line.find("encoded as ffv1, yuv420p, lossless, "), std::string::npos) << line;
    ASSERT_TRUE(std::getline(lines, line));
    EXPECT_NE(line.find("the correction changed the average pixel by"), std::string::npos) << line;
    EXPECT_GT(summary.at("correction").at("strength"), 1.0);

    const Outcome again = run({"render", "clip.y4m", "out.mkv", "--overwrite", "--quiet"});
    EXPECT_EQ(again.exitCode, 0);
    EXPECT_EQ(again.out + again.err, "");
}

TEST_F(CommandLineTest, RangesAreThoseThatPeopleName) {
    ffmpeg("-i clip.y4m -c:v ffv1 clip.mov"); // evenly spaced by its index

    struct Case {
        Arguments range;
        std::size_t first;
        std::size_t count;
    };

    for (const char* input : {"clip.y4m", "clip.mov"}) {
        for (const auto& [range, first, count] :
             {Case{{"--frames", "7-"}, 7, 3}, Case{{"--frames", "-2"}, 0, 3},
              Case{{"--from", "0.08"}, 2, 8}, Case{{"--from", "0.081", "--to", "0:00.2"}, 3, 2},
              Case{{"--to", "1:00:00"}, 0, 10}}) {
            Arguments render{
                "render", input, "-", "--output-format", "yuv4mpegpipe", "--blend-with-original",
                "100"};
            render.insert(render.end(), range.begin(), range.end());
            const Outcome outcome = run(render);
            EXPECT_EQ(outcome.exitCode, 0) << outcome.err;
            std::string frames;
            for (std::size_t i = 0; i < count; ++i) {
                frames += clipFrame(static_cast<int>(first + i));
            }
            EXPECT_TRUE(outcome.out.substr(outcome.out.find('\n') + 1) == frames)
                << input << testing::PrintToString(range);
        }
    }
    EXPECT_EQ(run({"render", "clip.mov", "one.png", "--from", "0.36"}).exitCode, 0);
    const Outcome page =
        run({"report", "clip.y4m", "--from", "0.2", "--at", "0.1", "-o", "r.html"});
    EXPECT_NE(page.err.find("frame 2, which --frames, or --from and"), std::string::npos)
        << page.err;
}

TEST_F(CommandLineTest, DeclaredColoursCountAsTagsDo) {
    ffmpeg("-i clip.y4m -c:v ffv1 -colorspace bt709 -color_range pc -color_primaries bt2020 "
           "-color_trc smpte170m tagged.mkv");
    ffmpeg("-i clip.y4m -c:v ffv1 -colorspace smpte170m -color_range tv -color_primaries bt709 "
           "-color_trc bt709 wrong.mkv");
    const Arguments declared{"--input-matrix",    "bt709",  "--input-range",    "full",
                             "--input-primaries", "bt2020", "--input-transfer", "smpte170m"};
    const auto with = [&](Arguments arguments, bool declare) {
        arguments.insert(arguments.end(), declared.begin(),
                         declare ? declared.end() : declared.begin());
        const Outcome outcome = run(arguments);
        EXPECT_EQ(outcome.exitCode, 0) << outcome.err;
        return outcome;
    };
    const std::string levels = with({"analyze", "tagged.mkv", "--csv"}, false).out;
    EXPECT_NE(with({"analyze", "wrong.mkv", "--csv"}, false).out, levels);
    for (const std::string input : {"clip.y4m", "wrong.mkv"}) {
        EXPECT_EQ(with({"analyze", input, "--csv"}, true).out, levels);
        const Outcome rendered = with(
            {"render", input, "out.mkv", "--video-codec", "ffv1", "--json", "--overwrite"}, true);
        EXPECT_NE(rendered.err.find("taken as declared: matrix bt709, range pc, primaries "
                                    "bt2020, transfer smpte170m"),
                  std::string::npos)
            << rendered.err;
        EXPECT_EQ(nlohmann::json::parse(rendered.out).at("color_declared").at("range"), "pc");
        // What another program reads of the output, and of the tagged input's, is the same.
        with({"render", "tagged.mkv", "same.mkv", "--video-codec", "ffv1", "--overwrite"}, false);
        for (const std::string name : {"out", "same"}) {
            ASSERT_EQ(std::system(("cd '" + work_.string() +
                                   "' && ffprobe -v error -select_streams "
                                   "v -show_entries stream=pix_fmt,color_range,color_space,"
                                   "color_primaries,color_transfer " +
                                   name + ".mkv > " + name + ".tags && ffmpeg -v error -i " + name +
                                   ".mkv -f framemd5 - >> " + name + ".tags")
                                      .c_str()),
                      0);
        }
        EXPECT_NE(contentOf(work_ / "out.tags").find("color_primaries=bt2020"), std::string::npos);
        EXPECT_EQ(contentOf(work_ / "out.tags"), contentOf(work_ / "same.tags"));
    }
    ffmpeg("-i clip.y4m -c:v mjpeg -q:v 2 full.avi"); // full range by the pixel format's name
    const Outcome limited = run(
        {"render", "full.avi", "l.mkv", "--video-codec", "ffv1", "--json", "--input-range", "tv"});
    EXPECT_EQ(nlohmann::json::parse(limited.out).at("output_pixel_format"), "yuv420p");
    EXPECT_EQ(nlohmann::json::parse(limited.out).at("color_range"), "tv");
}

TEST_F(CommandLineTest, DryRunTellsThePlanAndWritesNothing) {
    const Outcome outcome = run({"render", "clip.y4m", "out.mkv", "--dry-run", "--json", "--frames",
                                 "2-7", "--temporal-smoothing", "0.2", "--depth", "16"});
    ASSERT_EQ(outcome.exitCode, 0) << outcome.err;
    const auto plan = nlohmann::json::parse(outcome.out);
    EXPECT_EQ(plan.at("frames"), 6);
    EXPECT_EQ(plan.at("depth"), 16);
    EXPECT_EQ(plan.at("video_codec"), "ffv1");
    EXPECT_EQ(plan.at("video_quality"), "lossless");
    EXPECT_EQ(plan.at("neighbours"), 4); // half of five frames, rounded up, and the one beyond
    EXPECT_EQ(plan.at("controls").at("temporal-smoothing"), 0.2);
    EXPECT_GT(plan.at("memory"), 64 << 20);
    expectRefusal({"render", "clip.y4m", "out.mkv", "--memory", "64"}, 1,
                  {"clip.y4m: ", "within 64 MiB", "are enough (--memory)"});
    EXPECT_EQ(filesInWork(), std::set<std::string>{"clip.y4m"});
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

TEST_F(CommandLineTest, PercentSignsInFoldersAndNamesStayWhatTheyAre) {
    for (const char* folder : {"50%", "50%d", "%%"}) {
        fs::create_directory(work_ / folder);
        const std::string first = std::string(folder) + "/a%02d%%.png";
        const std::string second = std::string(folder) + "/b%d.png";
        for (const auto& [input, output] :
             {std::pair(std::string("clip.y4m"), first), std::pair(first, second)}) {
            const Outcome outcome = run({"render", input, output, "--frames", "0-2"});
            EXPECT_EQ(outcome.exitCode, 0) << input << outcome.err;
        }
        for (const char* name : {"a00%.png", "a02%.png", "b0.png", "b2.png"}) {
            EXPECT_TRUE(fs::exists(work_ / folder / name)) << folder << name;
        }
        const std::string single = std::string(folder) + "/100%.png";
        fs::copy_file(work_ / folder / "b0.png", work_ / single);
        EXPECT_EQ(run({"render", single, single + ".mkv"}).exitCode, 0) << single;
    }
}

/// Control characters of both kinds, one that turns the direction, and no UTF-8.
TEST_F(CommandLineTest, WhatNamesHoldDoesNotReachTheTerminal) {
    const std::string name = "a\x1b]0;x\a\n\xC2\x9B"
                             "31m\xE2\x80\xAE\xFF\xC0\x80.y4m";
    write(name, clip(2));
    for (const Arguments& arguments :
         {Arguments{"render", name, name + ".mkv"}, Arguments{"render", name, "x.mkv", "--dry-run"},
          Arguments{"render", name, "y.mkv", "--json"}, Arguments{"analyze", name, "--json"},
          Arguments{"analyze", name, "-o", name}, Arguments{"preview", name},
          Arguments{"report", name, "-o", name + ".html"}, Arguments{name},
          Arguments{"lut", name, "-o", name}, Arguments{"controls", "--module", name},
          Arguments{"render", "clip.y4m", "z.mkv", "--video-codec", name},
          Arguments{"declaration", name}, Arguments{"manual", "--all", name}}) {
        const Outcome outcome = run(arguments);
        for (const std::string& text : {outcome.out, outcome.err}) {
            for (const char* part : {"\x1b", "\a", "\xC2\x9B", "\xE2\x80\xAE", "\xFF", "\xC0"}) {
                EXPECT_EQ(text.find(part), std::string::npos) << arguments[0] << text;
            }
        }
        EXPECT_NE(outcome.out + outcome.err, "");
    }
    const std::string page = contentOf(work_ / (name + ".html"));
    EXPECT_EQ(page.find("\x1b"), std::string::npos);
    EXPECT_EQ(page.find("\xE2\x80\xAE"), std::string::npos);
    EXPECT_NE(page.find("cannot show"), std::string::npos);
    const auto summary = nlohmann::json::parse(run({"render", name, "w.mkv", "--json"}).out);
    EXPECT_NE(summary.at("input").get<std::string>().find("\xE2\x80\xAE"), std::string::npos);
}

class InterruptTest : public CommandLineTest, public testing::WithParamInterface<Arguments> {};

INSTANTIATE_TEST_SUITE_P(
    Commands, InterruptTest,
    testing::Values(Arguments{"render", "-", "out.mkv", "--video-codec", "ffv1"},
                    Arguments{"analyze", "-", "-o", "out.txt", "--frames", "9999999"},
                    Arguments{"report", "-", "-o", "out.html"},
                    Arguments{"lut", "/dev/stdin", "--at", "9999999", "-o", "out.cube"}),
    [](const auto& each) { return each.param[0]; });

TEST_P(InterruptTest, RemovesThePartialFileAndExits130) {
    std::signal(SIGPIPE, SIG_IGN);
    int ends[2] = {};
    ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
    const pid_t child = start(GetParam(), ends[0]);
    close(ends[0]);
    // The clip never ends; the signal comes once part of it has been read.
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
        if (!interrupted && frame > 100) {
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

/// Tiny frames with a flicker and some cuts.
std::string longClip(const char* rate, int frames) {
    std::string text = std::string("YUV4MPEG2 W16 H16 F") + rate + " Ip A1:1 C420jpeg\n";
    for (int i = 0; i < frames; ++i) {
        text += "FRAME\n";
        for (int x = 0; x < 256; ++x) {
            const int flicker = x % 16 > 11 ? i * 37 % 30 : 0;
            text.push_back(static_cast<char>(20 + i / 700 % 3 * 20 + x % 16 * 6 + flicker));
        }
        text += std::string(128, static_cast<char>(110 + i * 37 % 5));
    }
    return text;
}

TEST_F(CommandLineTest, ClipsGoOnWhereTheTimesOfTheirEffectHaveNoRoomLeft) {
    constexpr int kFrames = 9500; // 2147 take 2^31 units of the odd rate
    constexpr std::size_t kFrameBytes = 6 + 384;
    write("plain.y4m", longClip("30:1", kFrames));
    write("odd.y4m", longClip("30000000:1000001", kFrames));
    const auto output = [&](const char* name, Arguments arguments) {
        arguments.insert(arguments.end(), {"--quiet", "--temporal-smoothing", "0.2"});
        const Outcome outcome = run(arguments, work_ / name);
        EXPECT_EQ(outcome.exitCode, 0) << name << outcome.err;
        return outcome.out;
    };
    const auto frames = [&](const char* name, const Arguments& more = {}) {
        Arguments arguments{"render", "-", "-", "--output-format", "yuv4mpegpipe"};
        arguments.insert(arguments.end(), more.begin(), more.end());
        const std::string clip = output(name, arguments);
        return clip.substr(clip.find('\n') + 1);
    };
    const auto levels = [&](const char* name) {
        std::istringstream table(output(name, {"analyze", "-", "--csv"}));
        std::string list;
        for (std::string line; std::getline(table, line);) {
            const std::size_t time = line.find(',');
            list += line.erase(time, line.find(',', time + 1) - time) + "\n";
        }
        return list;
    };
    const std::string whole = frames("plain.y4m");
    ASSERT_EQ(whole.size(), kFrames * kFrameBytes);
    EXPECT_TRUE(frames("odd.y4m") == whole);
    EXPECT_TRUE(frames("odd.y4m", {"--frames", "9300-9310"}) ==
                whole.substr(9300 * kFrameBytes, 11 * kFrameBytes));
    EXPECT_TRUE(levels("odd.y4m") == levels("plain.y4m"));
}

} // namespace
} // namespace tintwell::tool
