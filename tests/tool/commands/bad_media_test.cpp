// What is damaged is rendered as far as it can be read, with a warning; what cannot be is refused,
// and whatever happens, nothing that the user has is lost.

#include "command_line_test.h"

#include <chrono>
#include <csignal>
#include <random>
#include <sys/resource.h>
#include <thread>

namespace tintwell::tool {
namespace {

class BadMediaTest : public CommandLineTest {
protected:
    static constexpr int kFrames = 60;

    BadMediaTest() {
        ffmpeg("-f lavfi -i testsrc2=size=160x90:rate=25 -f lavfi -i sine -frames:v 60 -t 2.4 "
               "-c:v libx264 -g 12 -c:a aac -pix_fmt yuv420p good.mkv");
        for (const char* name : {"good.ts", "good.mp4", "-movflags +faststart fast.mp4",
                                 "-an raw.h264", "-vn sound.m4a"}) {
            ffmpeg(std::string("-i good.mkv -c copy ") + name);
        }
    }

    std::string good(const char* name) const { return contentOf(work_ / name); }

    int frameCount(const std::string& name) const {
        ffmpeg("-i " + name + " -map 0:v -fps_mode passthrough -f framecrc count.txt");
        const std::string list = contentOf(work_ / "count.txt");
        return static_cast<int>(std::count(list.begin(), list.end(), '\n') -
                                std::count(list.begin(), list.end(), '#'));
    }
};

std::string withoutASixth(std::string clip) {
    return clip.replace(clip.size() / 3, clip.size() / 6, clip.size() / 6, '\0');
}

/// A number for which there may be no name.
std::string withMatrix(int number, std::string clip) {
    const std::string element = "\x55\xB1\x81";
    const std::size_t at = clip.find(element);
    EXPECT_NE(at, std::string::npos);
    clip[at + element.size()] = static_cast<char>(number);
    return clip;
}

std::string withWrongBytes(std::string clip) {
    std::minstd_rand random(2);
    for (int i = 0; i < 200; ++i) {
        char& byte = clip[clip.size() / 4 + random() % (clip.size() / 2)];
        byte = static_cast<char>(byte ^ 0x5a);
    }
    return clip;
}

TEST_F(BadMediaTest, WhatCanBeDecodedIsRenderedWithAWarning) {
    write("cut.mkv", good("good.mkv").substr(0, good("good.mkv").size() / 2));
    write("cut.mp4", good("fast.mp4").substr(0, good("fast.mp4").size() / 2));
    write("hole.mkv", withoutASixth(good("good.mkv")));
    write("wrong.ts", withWrongBytes(good("good.ts")));
    ffmpeg("-i good.mkv -an -c:v libx264 -pix_fmt yuv444p -f mpegts other.ts");
    write("formats.ts", good("good.ts") + good("other.ts"));
    ffmpeg("-i good.mkv -an -c:v ffv1 -colorspace bt709 tagged.mkv");
    write("matrix.mkv", withMatrix(15, good("tagged.mkv")));
    write("far.mkv", withMatrix(200, good("tagged.mkv")));

    for (const char* kind : {"y4m", "gif", "nut"}) {
        ffmpeg(std::string("-i good.mkv -an whole.") + kind);
        const std::string whole = good((std::string("whole.") + kind).c_str());
        write(std::string("cut.") + kind, whole.substr(0, whole.size() / 2));
    }
    ffmpeg("-i good.mkv -an -target pal-dv whole.dv");
    write("cut.dv", good("whole.dv").substr(0, good("whole.dv").size() / 2 + 5000));
    write("cut.ts", good("good.ts").substr(0, good("good.ts").size() / 2 / 188 * 188 + 80));

    struct Case {
        const char* input;
        int leastFrames;
        int mostFrames;
        const char* warning;
    };

    for (const auto& [input, least, most, warning] :
         {Case{"cut.mkv", 10, kFrames - 1, "seems to be cut off"},
          Case{"cut.mp4", 10, kFrames - 1, "seems to be cut off"},
          Case{"cut.y4m", 29, 30, "seems to be cut off"},
          Case{"cut.gif", 10, kFrames - 1, "seems to be cut off"},
          Case{"cut.nut", 10, kFrames - 1, "seems to be cut off"},
          Case{"cut.dv", 29, 31, "seems to be cut off"},
          Case{"cut.ts", 10, kFrames - 1, "seems to be cut off"},
          Case{"hole.mkv", 10, kFrames - 1, "missing between others"},
          Case{"wrong.ts", 10, kFrames, "of the video are damaged"},
          Case{"formats.ts", 2 * kFrames, 2 * kFrames, ""},
          Case{"matrix.mkv", kFrames, kFrames, "its colour matrix tag has no known value"},
          Case{"far.mkv", kFrames, kFrames, "its colour matrix tag has no known value"},
          Case{"raw.h264", kFrames, kFrames, ""}}) {
        const Outcome outcome =
            run({"render", input, "out.mkv", "--overwrite", "--temporal-smoothing", "0.4"});
        EXPECT_EQ(outcome.exitCode, 0) << input << outcome.err;
        EXPECT_NE(outcome.err.find(warning), std::string::npos) << outcome.err;
        const int frames = frameCount("out.mkv");
        EXPECT_TRUE(frames >= least && frames <= most) << input << frames;
    }
}

TEST_F(BadMediaTest, ImagesThatCannotBeReadAreToldAndTheOthersKeepTheirNumbers) {
    ffmpeg("-i good.mkv -frames:v 6 good%d.ppm");
    ASSERT_EQ(run({"render", "good%d.ppm", "whole%d.ppm"}).exitCode, 0);
    const std::string picture = good("good1.ppm");
    int shot = 0;
    for (const int bad : {1, 3, 6}) {
        for (const char* content : {"", "no picture", "P6 160 90", "folder", "none"}) {
            const std::string name = "s" + std::to_string(++shot) + "-";
            const std::string out = "o" + std::to_string(shot) + "-";
            for (int i = 1; i <= 6; ++i) {
                write(numbered(name.c_str(), i), good(numbered("good", i).c_str()));
            }
            const std::string file = numbered(name.c_str(), bad);
            fs::remove(work_ / file);
            if (content == std::string("folder")) {
                fs::create_directory(work_ / file);
            } else if (content != std::string("none")) {
                write(file, content);
            }
            // Neither the first nor the last number of a sequence can be known to be missing.
            const bool unknown = content == std::string("none") && bad != 3;
            const Outcome outcome = run({"render", name + "%d.ppm", out + "%d.ppm"});
            EXPECT_EQ(outcome.exitCode, unknown ? 0 : 3) << bad << content << outcome.err;
            EXPECT_EQ(outcome.err.find(file) != std::string::npos, !unknown) << outcome.err;
            for (int i = 1; i <= 6; ++i) {
                EXPECT_EQ(good(numbered(out.c_str(), i).c_str()),
                          i == bad ? "" : good(numbered("whole", i).c_str()))
                    << content << bad << i;
            }
            EXPECT_EQ(run({"render", name + "%d.ppm", "out.mkv", "--overwrite",
                           "--temporal-smoothing", "0.2"})
                          .exitCode,
                      unknown ? 0 : 3);
            EXPECT_EQ(frameCount("out.mkv"), unknown ? 5 : 6);
        }
    }
    write("s1-2000.ppm", picture); // too far away to belong to it
    const Outcome far = run({"analyze", "s1-%d.ppm", "-o", "far.txt"});
    EXPECT_EQ(far.exitCode, 3);
    EXPECT_NE(far.err.find("1 file further on"), std::string::npos) << far.err;
    expectRefusal({"preview", "s6-%d.ppm", "-o", "p.png", "--at", "0.08"}, 1, {"frame 2"});
    expectRefusal({"render", "s6-%d.ppm", "o%d.png", "--frames", "2"}, 1, {"none of these"});
}

TEST_F(BadMediaTest, WhatCannotBeRenderedIsRefusedAndLeavesNothing) {
    write("cut.mp4", good("good.mp4").substr(0, good("good.mp4").size() / 2));
    write("empty.mp4", "");
    write("nothing.y4m", clipHeader());
    ffmpeg("-i good.mkv -an -c:v libx264 -vf scale=80:46 -f mpegts small.ts");
    write("sizes.ts", good("good.ts") + good("small.ts"));
    fs::create_symlink("good.mkv", work_ / "link.mkv");
    fs::create_hard_link(work_ / "good.mkv", work_ / "hard.mkv");
    fs::create_directory(work_ / "folder.mkv");
    const std::string before = good("good.mkv");
    ffmpeg("-f lavfi -i color=s=9000x8000 -frames:v 1 large.png");
    write("over.m3u8", "#EXTM3U\n#EXT-X-TARGETDURATION:3\n#EXTINF:3,\n../good.ts\n");
    write("net.m3u8", "#EXTM3U\n#EXT-X-TARGETDURATION:3\n#EXTINF:3,\nhttp://127.0.0.1:9/good.ts\n");
    for (const char* rate : {"200", "1200"}) {
        ffmpeg(std::string("-f lavfi -i testsrc2=size=64x48:rate=") + rate +
               " -frames:v 4 -video_track_timescale 1200 quick" + rate + ".mp4");
    }
    ffmpeg("-f lavfi -i testsrc2=size=64x48 -frames:v 1 -pix_fmt pal8 palette.png");
    ffmpeg("-f rawvideo -pixel_format bayer_bggr8 -video_size 64x48 -i good.ts -frames:v 1 -c copy "
           "bayer.nut");
    for (const auto& [input, output, part] : std::vector<std::array<const char*, 3>>{
             {"large.png", "out.mkv", "9000x8000 have 72000000 pixels"},
             {"over.m3u8", "out.mkv", "--allow-network"},
             {"net.m3u8", "out.mkv", "--allow-network"},
             {"http://127.0.0.1:9/good.ts", "out.mkv", "--allow-network"},
             {"quick200.mp4", "out.gif", "at most 100 frames per second"},
             {"quick200.mp4", "out.mxf", "at most 120 frames per second"},
             {"quick1200.mp4", "out.avi", "at most 1000 frames per second"},
             {"quick1200.mp4", "out.mpg", "at most 240 frames per second"},
             {"quick1200.mp4", "out.asf", "at most 1000 frames per second"},
             {"quick1200.mp4", "out.swf", "at most 255 frames per second"},
             {"palette.png", "out.nut", "pixel format pal8"},
             {"bayer.nut", "out2.nut", "pixel format bayer_bggr8"},
             {"cut.mp4", "out.mkv", "moov atom not found"},
             {"empty.mp4", "out.mkv", "not a media file"},
             {"nothing.y4m", "out.mkv", "no picture"},
             {"sizes.ts", "out.mkv", "size changes from 160x90 to 80x46 at frame 60"},
             {"sound.m4a", "out.mkv", "no video stream"},
             {"folder.mkv", "out.mkv", "is a directory"},
             {"good.mkv", "folder.mkv", "folder.mkv"},
             {"good.mkv", "good.mkv", "is the input"},
             {"good.mkv", "link.mkv", "is the input"},
             {"good.mkv", "hard.mkv", "is the input"},
             {"good.mkv", "/proc/out.mkv", "/proc/out.mkv"},
             {"good.mkv", "/dev/full", "/dev/full"}}) {
        expectRefusal({"render", input, output, "--overwrite"}, 1, {part});
    }
    EXPECT_EQ(good("good.mkv"), before);

    for (const char* command : {"analyze", "report"}) {
        expectRefusal({command, "good.mkv", "-o", "/dev/full", "--overwrite"}, 1,
                      {"No space left"});
    }

    rlimit limit{};
    getrlimit(RLIMIT_FSIZE, &limit);
    const rlimit small{20000, limit.rlim_max};
    setrlimit(RLIMIT_FSIZE, &small);
    for (const char* output : {"out.mkv", "out%d.bmp"}) {
        expectRefusal({"render", "good.mkv", output, "--quiet"}, 1, {output, "File too large"});
    }
    setrlimit(RLIMIT_FSIZE, &limit);
}

TEST_F(BadMediaTest, MessagesAreAboutWhatFailedAndNothingElseIsPrinted) {
    write("wrong.ts", withWrongBytes(good("good.ts"))); // of which the decoder says a lot
    EXPECT_EQ(run({"render", "wrong.ts", "/dev/full", "--output-format", "nut", "--quiet"}).err,
              "tintwell: error: /dev/full: cannot be written (No space left on device)\n");
    for (const auto& [encoder, option] :
         std::vector<std::array<const char*, 2>>{{"libx264", "crf=20"},
                                                 {"libx265", "x265-params=crf=20"},
                                                 {"libvpx-vp9", "crf=20"},
                                                 {"libsvtav1", "preset=12"}}) {
        const Outcome outcome =
            run({"render", "good.mkv", "out.mkv", "--frames", "0-1", "--quiet", "--overwrite",
                 "--video-codec", encoder, "--encoder-option", option});
        EXPECT_EQ(outcome.exitCode, 0) << encoder;
        EXPECT_EQ(outcome.err, "") << encoder;
    }
}

TEST_F(BadMediaTest, StoppedAtAnyMomentItLeavesTheOldOutputOrTheWholeNewOne) {
    constexpr int kMoments = 24;
    const std::string old = "what was there";
    int stopped = 0;
    for (int i = 0; i < kMoments; ++i) {
        const int signal = std::array{SIGINT, SIGTERM, SIGKILL}[static_cast<std::size_t>(i % 3)];
        write("out.mkv", old);
        const std::set<std::string> before = filesInWork();
        const int input = open("/dev/null", O_RDONLY | O_CLOEXEC);
        const pid_t child = start({"render", "good.mkv", "out.mkv", "--overwrite",
                                   "--temporal-smoothing", "0.4", "--video-codec", "ffv1"},
                                  input);
        close(input);
        std::this_thread::sleep_for(std::chrono::milliseconds(8 * i));
        kill(child, signal);
        kill(child, signal); // as timeout does
        const Outcome outcome = finish(child);
        if (contentOf(work_ / "out.mkv") == old) {
            ++stopped;
            EXPECT_TRUE(outcome.exitCode == -signal || outcome.exitCode == 128 + signal)
                << outcome.exitCode;
        } else {
            EXPECT_EQ(frameCount("out.mkv"), kFrames);
            fs::remove(work_ / "count.txt");
        }
        for (const std::string& name : filesInWork()) {
            const bool left = signal == SIGKILL && name.find(".partial-") != std::string::npos;
            EXPECT_TRUE(left || before.contains(name)) << name;
        }
    }
    EXPECT_GT(stopped, 0);
}

} // namespace
} // namespace tintwell::tool
