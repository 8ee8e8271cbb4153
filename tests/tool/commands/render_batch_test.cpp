#include "command_line_test.h"

#include <nlohmann/json.hpp>

#include <chrono>
#include <csignal>
#include <thread>

namespace tintwell::tool {
namespace {

class RenderBatchTest : public CommandLineTest {
public:
    RenderBatchTest() {
        fs::create_directory(work_ / "out");
        fs::create_directory(work_ / "more");
        write("second.y4m", clip(4));
    }
};

TEST_F(RenderBatchTest, EachInputIsRenderedAsByItselfAndFailuresDoNotStopTheOthers) {
    write("text.y4m", "This is no film.\n");
    write("out/there.y4m", "precious");
    write("there.y4m", clip(2));
    const Outcome outcome =
        run({"render", "text.y4m", "clip.y4m", "there.y4m", "no.y4m", "second.y4m",
             "--output-folder", "out", "--json", "--progress", "json", "--frames", "1-"});
    EXPECT_EQ(outcome.exitCode, 1);
    const auto clips = nlohmann::json::parse(outcome.out).at("clips");
    const std::vector<std::pair<std::string, int>> kExpected{
        {"failed", 0}, {"done", 9}, {"failed", 0}, {"failed", 0}, {"done", 3}};
    ASSERT_EQ(clips.size(), kExpected.size());
    for (std::size_t i = 0; i < clips.size(); ++i) {
        EXPECT_EQ(clips[i].at("state"), kExpected[i].first) << i;
        EXPECT_EQ(clips[i].value("frames", 0), kExpected[i].second) << i;
        EXPECT_EQ(clips[i].contains("error"), kExpected[i].second == 0) << i;
    }
    for (const char* part :
         {"5 clips: 2 done, 3 failed", "second.y4m  out/second.y4m  done: 3 frames of 64x48",
          "no.y4m      out/no.y4m      failed: no.y4m: there is no such file",
          R"("clip":5,"clips":5,"input":"second.y4m")"}) {
        EXPECT_NE(outcome.err.find(part), std::string::npos) << part << "\n" << outcome.err;
    }
    for (const std::string name : {"clip", "second"}) {
        EXPECT_EQ(
            run({"render", name + ".y4m", "one.y4m", "--overwrite", "--quiet", "--frames", "1-"})
                .err,
            "");
        EXPECT_EQ(contentOf(work_ / "one.y4m"), contentOf(work_ / "out" / (name + ".y4m")));
    }
    EXPECT_EQ(contentOf(work_ / "out/there.y4m"), "precious");
    EXPECT_FALSE(fs::exists(work_ / "out/text.y4m"));
}

TEST_F(RenderBatchTest, NamesThatCollideAreFoundBeforeAnythingIsWritten) {
    write("more/clip.y4m", clip(2));
    write("frame1.pgm", "P5 2 2 255\nabcd");
    write("clip-x.y4m", clip(2));

    struct Case {
        Arguments inputs;
        std::string folder;
        std::string pattern;
        std::vector<std::string> parts;
    };

    for (const auto& [inputs, folder, pattern, parts] : std::vector<Case>{
             {{"clip.y4m", "more/clip.y4m"},
              "out",
              "{stem}{ext}",
              {"out/clip.y4m", "both clip.y4m and more/clip.y4m"}},
             {{"clip.y4m", "second.y4m"}, "out", "a.mkv", {"out/a.mkv", "second.y4m"}},
             {{"second.y4m"}, "more/..", "{stem}{ext}", {"is the input second.y4m", "--name"}},
             {{"clip.y4m", "clip-x.y4m"}, ".", "{stem}-x{ext}", {"is the input clip-x.y4m"}},
             {{"frame%d.pgm", "frame1.pgm"},
              "out",
              "{stem}{ext}",
              {"out/frame1.pgm", "images of out/frame%d.pgm"}},
             {{"clip.y4m"}, "no", "{stem}{ext}", {"no: there is no such folder"}},
             {{"clip.y4m"}, "clip.y4m", "{stem}{ext}", {"clip.y4m: is not a folder"}}}) {
        Arguments arguments{"render", "--overwrite", "--output-folder", folder, "--name", pattern};
        arguments.insert(arguments.end(), inputs.begin(), inputs.end());
        expectRefusal(arguments, 1, parts);
        EXPECT_TRUE(fs::is_empty(work_ / "out"));
    }
    EXPECT_EQ(contentOf(work_ / "clip.y4m"), clip(kClipFrames));
}

TEST_F(RenderBatchTest, PatternsMakeNamesOfPartsOfTheInputs) {
    write("a {ext} 50%d.tar.y4m", clip(2));
    EXPECT_EQ(run({"render", "a {ext} 50%d.tar.y4m", "clip.y4m", "--output-folder", "out", "--name",
                   "{stem}-new{ext}", "--quiet"})
                  .err,
              "");
    EXPECT_TRUE(fs::exists(work_ / "out/a {ext} 50_d.tar-new.y4m"));
    EXPECT_TRUE(fs::exists(work_ / "out/clip-new.y4m"));
    const Outcome plan =
        run({"render", "clip.y4m", "second.y4m", "--output-folder", "more", "--dry-run", "--json"});
    EXPECT_EQ(nlohmann::json::parse(plan.out).at("clips").at(1).at("output"), "more/second.y4m");
    EXPECT_TRUE(fs::is_empty(work_ / "more"));
}

TEST_F(RenderBatchTest, ASignalStopsAllOfThem) {
    ASSERT_EQ(mkfifo((work_ / "endless").c_str(), 0600), 0);
    const pid_t child = start({"render", "clip.y4m", "endless", "second.y4m", "--output-folder",
                               "out", "--name", "{stem}.mkv"},
                              STDIN_FILENO);
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    int feed = -1; // can be opened once the second one is read
    while (feed < 0 && std::chrono::steady_clock::now() < deadline) {
        feed = open((work_ / "endless").c_str(), O_WRONLY | O_NONBLOCK | O_CLOEXEC);
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    kill(child, SIGINT);
    close(feed);
    const Outcome outcome = finish(child);
    EXPECT_EQ(outcome.exitCode, 130);
    EXPECT_NE(outcome.err.find("3 clips: 1 done, 1 interrupted, 1 not begun"), std::string::npos)
        << outcome.err;
    EXPECT_FALSE(fs::exists(work_ / "out/second.mkv"));
}

} // namespace
} // namespace tintwell::tool
