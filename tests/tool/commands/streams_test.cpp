// What the program reads and writes may be a pipe that nobody serves, or one and the same file.

#include "command_line_test.h"

#include <chrono>
#include <csignal>
#include <fstream>
#include <sys/stat.h>
#include <thread>

namespace tintwell::tool {
namespace {

class StreamsTest : public CommandLineTest {
protected:
    struct Pipe {
        Pipe() { EXPECT_EQ(pipe2(ends, O_CLOEXEC), 0); }

        ~Pipe() { closeBoth(); }

        void closeBoth() {
            for (int& end : ends) {
                close(std::exchange(end, -1));
            }
        }

        int ends[2] = {-1, -1};
    };

    static constexpr int kPatience = 20; ///< seconds, on a busy machine

    /// Waits until the program has begun to listen to signals, however slowly it starts.
    static void awaitSignalHandler(pid_t child) {
        const std::string status = "/proc/" + std::to_string(child) + "/status";
        for (int i = 0; i < 100 * kPatience; ++i) {
            std::ifstream lines(status);
            for (std::string name, value; lines >> name && std::getline(lines, value);) {
                if (name == "SigCgt:" &&
                    (std::stoull(value, nullptr, 16) >> (SIGTERM - 1) & 1U) != 0) {
                    return;
                }
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
    }

    bool endsSoon(pid_t child) const {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(kPatience);
        siginfo_t state{};
        while (waitid(P_PID, static_cast<id_t>(child), &state, WEXITED | WNOHANG | WNOWAIT) == 0 &&
               state.si_pid == 0 && std::chrono::steady_clock::now() < deadline) {
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        if (state.si_pid == 0) {
            kill(child, SIGKILL);
        }
        return state.si_pid != 0;
    }
};

TEST_F(StreamsTest, ASignalEndsItWhereverItWaits) {
    ASSERT_EQ(mkfifo((work_ / "pipe.y4m").c_str(), 0600), 0);
    write("list.ffconcat", "ffconcat version 1.0\nfile clip.y4m\n");
    write("long.y4m", clip(200));
    const std::set<std::string> before = filesInWork();
    for (const Arguments& arguments : {
             Arguments{"render", "pipe.y4m", "out.mkv"},
             Arguments{"render", "-", "out.mkv"},
             Arguments{"render", "-", "out%d.png"},
             Arguments{"render", "clip.y4m", "pipe.y4m"},
             Arguments{"render", "long.y4m", "-"},
             Arguments{"render", "long.y4m", "/dev/stdout"},
             Arguments{"analyze", "pipe.y4m"},
             Arguments{"analyze", "long.y4m"},
             Arguments{"analyze", "clip.y4m", "-o", "pipe.y4m"},
             Arguments{"report", "-", "-o", "out.html"},
         }) {
        const Pipe input;
        const Pipe output; // its other end is open, but nobody reads
        fcntl(output.ends[1], F_SETPIPE_SZ, 4096);
        const pid_t child = start(arguments, input.ends[0], output.ends[1]);
        awaitSignalHandler(child);
        std::this_thread::sleep_for(std::chrono::milliseconds(200));
        kill(child, SIGTERM);
        EXPECT_TRUE(endsSoon(child)) << testing::PrintToString(arguments);
        const Outcome outcome = finish(child);
        EXPECT_EQ(outcome.exitCode, 128 + SIGTERM) << outcome.err;
        EXPECT_NE(outcome.err.find("interrupted"), std::string::npos) << outcome.err;
        EXPECT_EQ(filesInWork(), before);
    }
}

TEST_F(StreamsTest, AFailureEndsItThoughTheInputStalls) {
    const Pipe input;
    const std::string beginning = clip(8);
    Pipe output;
    close(std::exchange(output.ends[0], -1));
    std::thread feeder(
        [&] { EXPECT_GT(::write(input.ends[1], beginning.data(), beginning.size()), 0); });
    const pid_t child = start({"render", "-", "-"}, input.ends[0], output.ends[1]);
    EXPECT_TRUE(endsSoon(child));
    EXPECT_NE(finish(child).err.find("Broken pipe"), std::string::npos);
    feeder.join();
}

/// The clip is endless: it must be noticed that there is no reader.
TEST_F(StreamsTest, WithoutAReaderTheAnalysisEndsEarly) {
    for (const Arguments& arguments :
         {Arguments{"analyze", "-"}, Arguments{"analyze", "-", "--json"},
          Arguments{"report", "-", "-o", "-"}}) {
        std::signal(SIGPIPE, SIG_IGN);
        Pipe input;
        Pipe output;
        const pid_t child = start(arguments, input.ends[0], output.ends[1]);
        output.closeBoth();
        close(std::exchange(input.ends[0], -1));
        std::string chunk = clipHeader();
        for (int frame = 0; ::write(input.ends[1], chunk.data(), chunk.size()) > 0; ++frame) {
            chunk = clipFrame(frame);
            ASSERT_LT(frame, 2000);
        }
        const Outcome outcome = finish(child);
        EXPECT_EQ(outcome.exitCode, 0);
        EXPECT_EQ(outcome.err, "");
    }
}

TEST_F(StreamsTest, ASlowReaderGetsAllOfADescriptorThatDoesNotWait) {
    const Outcome expected = run({"analyze", "clip.y4m", "--json"});
    const Outcome clip = run({"render", "clip.y4m", "-", "--output-format", "yuv4mpegpipe"});
    for (const auto& [arguments, whole] :
         {std::pair(Arguments{"analyze", "clip.y4m", "--json"}, expected.out),
          std::pair(Arguments{"render", "clip.y4m", "-", "--output-format", "yuv4mpegpipe"},
                    clip.out)}) {
        Pipe output;
        fcntl(output.ends[1], F_SETFL, O_NONBLOCK);
        fcntl(output.ends[1], F_SETPIPE_SZ, 4096);
        const int input = open("/dev/null", O_RDONLY | O_CLOEXEC);
        const pid_t child = start(arguments, input, output.ends[1]);
        close(input);
        close(std::exchange(output.ends[1], -1));
        std::string text;
        std::array<char, 1000> part{};
        for (ssize_t size = 1; size > 0;) {
            std::this_thread::sleep_for(std::chrono::microseconds(200));
            size = ::read(output.ends[0], part.data(), part.size());
            text.append(part.data(), static_cast<std::size_t>(std::max<ssize_t>(size, 0)));
        }
        EXPECT_EQ(finish(child).exitCode, 0);
        EXPECT_TRUE(text == whole) << text.size() << " of " << whole.size();
    }
}

/// However the same file is reached, it is refused, and stays.
TEST_F(StreamsTest, WhatIsReadIsNotWrittenTo) {
    for (const char* name : {"a.mkv", "b.mkv", "a.ts", "-frames:v 2 s%d.png"}) {
        ffmpeg("-i clip.y4m " + std::string(name));
    }
    write("list.ffconcat", "ffconcat version 1.0\nfile a.mkv\nfile b.mkv\n");
    write("bare.txt", "file a.mkv\nfile 'b'.mkv\n");
    write("nested.ffconcat", "ffconcat version 1.0\nfile list.ffconcat\n");
    write("list.m3u8", "#EXTM3U\n#EXT-X-TARGETDURATION:1\n#EXTINF:1,\na.ts\n#EXT-X-ENDLIST\n");
    fs::create_symlink("s2.png", work_ / "other.png");
    fs::create_symlink("s2.png", work_ / "t1.png");
    const std::string address = "file://" + work_.string() + "/a.mkv";
    const std::set<std::string> before = filesInWork();
    std::map<std::string, std::string> contents;
    for (const std::string& name : before) {
        contents[name] = contentOf(work_ / name);
    }
    for (const auto& [input, output] :
         std::vector<std::pair<std::string, std::string>>{{address, "a.mkv"},
                                                          {"list.ffconcat", "b.mkv"},
                                                          {"list.ffconcat", "list.ffconcat"},
                                                          {"nested.ffconcat", "b.mkv"},
                                                          {"bare.txt", "b.mkv"},
                                                          {"list.m3u8", "a.ts"},
                                                          {"-", "a.mkv"},
                                                          {"/dev/stdin", "a.mkv"},
                                                          {"s%d.png", "s1.png"},
                                                          {"s%d.png", "other.png"},
                                                          {"t%d.png", "s%d.png"},
                                                          {"s%d.png", "t%d.png"}}) {
        Arguments arguments{"render", input, output, "--overwrite"};
        if (input.ends_with(".ffconcat") || input == "bare.txt") {
            arguments.insert(arguments.end(), {"--input-format", "concat"});
        }
        const Outcome outcome = run(arguments, work_ / "a.mkv");
        EXPECT_NE(outcome.exitCode, 0) << input << " " << output;
        EXPECT_NE(outcome.err.find("is the input"), std::string::npos) << input << outcome.err;
        for (const auto& [name, content] : contents) {
            EXPECT_TRUE(contentOf(work_ / name) == content) << input << " " << output << name;
        }
        EXPECT_EQ(filesInWork(), before);
    }
    for (const char* command : {"render", "analyze"}) {
        const int input = open("/dev/null", O_RDONLY | O_CLOEXEC);
        const int end = open((work_ / "a.ts").c_str(), O_WRONLY | O_APPEND | O_CLOEXEC);
        Arguments arguments{command, "a.ts"};
        if (std::string(command) == "render") {
            arguments.insert(arguments.end(), {"-", "--output-format", "mpegts"});
        }
        const Outcome outcome = finish(start(arguments, input, end));
        close(end);
        close(input);
        EXPECT_EQ(outcome.exitCode, 1);
        EXPECT_NE(outcome.err.find("is the input"), std::string::npos) << outcome.err;
        EXPECT_TRUE(contentOf(work_ / "a.ts") == contents["a.ts"]);
    }
}

TEST_F(StreamsTest, OpenFilesAreWrittenToAndKept) {
    const Outcome plain = run({"render", "clip.y4m", "-", "--output-format", "yuv4mpegpipe"});
    for (const char* name : {"/dev/stdout", "/dev/fd/1", "/proc/self/fd/1"}) {
        const Outcome outcome =
            run({"render", "clip.y4m", name, "--output-format", "yuv4mpegpipe", "--quiet"});
        EXPECT_EQ(outcome.exitCode, 0) << outcome.err;
        EXPECT_TRUE(outcome.out == plain.out) << name;
    }
    // A muxer that reads back what it wrote.
    const Outcome fast = run(
        {"render", "clip.y4m", "fast.mp4", "--encoder-option", "movflags=+faststart", "--quiet"});
    EXPECT_EQ(fast.exitCode, 0) << fast.err;
    const std::string text = contentOf(work_ / "fast.mp4");
    EXPECT_LT(text.find("moov"), text.find("mdat"));
    ffmpeg("-i fast.mp4 -f null -");
    expectRefusal(
        {"render", "clip.y4m", "f%d.y", "--output-format", "image2", "--video-codec", "rawvideo"},
        1, {"several at once"});
}

} // namespace
} // namespace tintwell::tool
