#include "command_line_test.h"
#include "tool/values/control_catalog.h"

#include <nlohmann/json.hpp>

#include <sstream>

namespace tintwell::tool {
namespace {

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
        {{"--frames", "2-", "--from", "1"}, {"--from", "--frames", "exclude"}},
        {{"--from", "-1"}, {"--from: '-1'", "before the beginning"}},
        {{"--name", "{stem}"}, {"--name", "--output-folder"}},
        {{"--output-folder", ".", "--name", "a/{stem}"}, {"--name: 'a/{stem}'", "folders"}},
        {{"--output-folder", ".", "--name", "{name}.mkv"}, {"'{name}.mkv'", "{stem}-corrected"}},
        {{"--output-folder", ".", "-"}, {"standard input has no name"}},
        {{"--to", "1:75"}, {"--to: '1:75'", "hours, minutes"}},
        {{"--from", "2", "--to", "2.0"}, {"nothing between --from and --to"}},
        {{"--input-matrix", "bt2100"}, {"--input-matrix: 'bt2100'", "bt709", "bt601"}},
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
    expectRefusal({"lut", "clip.y4m", "-o", "a.cube", "--format", "cube3d", "--size", "130"}, 2,
                  {"a.cube", "at most 129 points"});
    expectRefusal({"lut", "clip.y4m", "-o", "-", "--format", "cdl", "--cdl"}, 2,
                  {"--cdl", "standard output"});
    for (const std::string size : {"1", "65537", "2.5", "-9"}) {
        expectRefusal({"lut", "clip.y4m", "-o", "a.cube", "--size=" + size}, 2,
                      {"--size: '" + size, "2 and 65536"});
    }
    expectRefusal({"lut", "clip.y4m", "--cdl", "--at", "noon"}, 2, {"--at: 'noon'"});
    expectRefusal({"analyze", ""}, 2, {"INPUT", "cannot be empty"});
    expectRefusal({"analyze", "clip.y4m", "-o", ""}, 2, {"--output", "cannot be empty"});
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
    expectRefusal({"render", "clip.y4m", "out.mkv", "--frames", "10-"}, 1,
                  {"frames 10-", "which has 10"});
    expectRefusal({"render", "clip.y4m", "out.mkv", "--from", "0:00.4"}, 1,
                  {"clip.y4m", "no frame of it begins"});
    expectRefusal({"render", "clip.y4m", "out.mkv", "--video-codec", "magic"}, 1, {"magic"});
    expectRefusal({"render", "clip.y4m", "out.mkv", "--module", "no.so"}, 1, {"no.so"});
    expectRefusal({"render", "clip.y4m", "out.mkv", "--module", "text.mp4"}, 1, {"text.mp4"});
    expectRefusal({"render", "clip.y4m", "out.mkv", "--controls", "no.json"}, 1, {"no.json"});
    expectRefusal({"render", "text.mp4", "out.mkv", "--dry-run"}, 1, {"text.mp4"});
    expectRefusal({"render", "clip.y4m", "there.mkv", "--dry-run"}, 1, {"there.mkv"});
    expectRefusal({"analyze", "text.mp4", "--json"}, 1, {"text.mp4"});
    expectRefusal({"analyze", "clip.y4m", "-o", "there.mkv"}, 1, {"there.mkv", "--overwrite"});
    expectRefusal({"lut", "clip.y4m", "--at", "9", "-o", "a.cube"}, 1,
                  {"clip.y4m: shows no frame at 9 seconds", "last one begins at 0.360"});
    expectRefusal({"lut", "clip.y4m", "-o", "no/a.cube"}, 1, {"no/a.cube"});
    expectRefusal({"lut", "text.mp4", "--cdl"}, 1, {"text.mp4"});
    write("a.ppm", picture(0, 1));
    expectRefusal({"analyze", "a.ppm", "--input-matrix", "bt709"}, 1,
                  {"a.ppm: its pixel format is rgb24, which has no matrix"});
    write("there.cube", "precious");
    expectRefusal({"lut", "clip.y4m", "-o", "there.cube"}, 1, {"there.cube", "--overwrite"});
    expectRefusal({"controls", "--module", "text.mp4"}, 1, {"text.mp4"});
    expectRefusal({"declaration", "text.mp4"}, 1, {"text.mp4", "neither an ELF module nor"});
    EXPECT_EQ(contentOf(work_ / "there.mkv") + contentOf(work_ / "there.cube"), "preciousprecious");
    EXPECT_EQ(contentOf(work_ / "clip.y4m"), clip(kClipFrames));
    write("look.json", R"({"version": 1, "controls": {}})");
    expectRefusal(
        {"analyze", "clip.y4m", "--controls", "look.json", "-o", "look.json", "--overwrite"}, 1,
        {"look.json: is the controls file"});
    expectRefusal({"render", "clip.y4m", "out.mkv", "--dry-run", "--encoder-option", "foo=1"}, 1,
                  {"knows the option 'foo'"});
}

TEST_F(CommandLineTest, ControlsFileErrorsNameFileAndLine) {
    write("c.json", "{\"version\": 1, \"controls\": {\n\"black-clip\": 11}}");
    expectRefusal({"render", "clip.y4m", "out.mkv", "--controls", "c.json"}, 2,
                  {"c.json, line 2", "controls.black-clip: 11"});
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
