#include "tool/findings/level_series.h"
#include "tool/report/page_template.h"
#include "tool/report/report_charts.h"
#include "tool/report/shell_command.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <stdexcept>
#include <vector>

namespace tintwell::tool {
namespace {

using Json = nlohmann::ordered_json;

TEST(PageTemplate, FillsInSafeTextListsAndWhatIsThere) {
    struct Case {
        const char* page;
        const char* text;
    };

    const Json document{{"name", "<a href=\"x\" title='y'>&\x01\xff"},
                        {"raw", "<b>"},
                        {"list", Json::array({{{"n", 1}}, {{"n", 2}, {"raw", "own"}}})},
                        {"none", nullptr},
                        {"empty", Json::array()},
                        {"off", false}};
    const std::array cases{
        Case{"{{name}}", "&lt;a href=&quot;x&quot; title=&#39;y&#39;&gt;&amp;␁\xEF\xBF\xBD"},
        Case{"{{{raw}}}|{{raw}}", "<b>|&lt;b&gt;"},
        Case{"<ul>\n{{#list}}\n{{n}}{{{raw}}}\n{{/list}}\n</ul>", "<ul>\n1<b>\n2own\n</ul>"},
        Case{"{{#name}}there {{raw}}{{/name}}", "there &lt;b&gt;"},
        Case{"{{#none}}{{raw}}{{#list}}{{n}}{{/list}}{{/none}}{{#empty}}2{{/empty}}{{#off}}3{{/"
             "off}}",
             ""},
    };
    for (const Case& filled : cases) {
        EXPECT_EQ(fillTemplate(filled.page, document), filled.text) << filled.page;
    }
    for (const char* wrong : {"{{name", "{{#list}}", "{{#list}}{{/name}}"}) {
        EXPECT_THROW(fillTemplate(wrong, document), std::logic_error) << wrong;
    }
}

TEST(PageTemplate, JsonInAScriptDoesNotEndIt) {
    const Json document{{"a</script>", "<!--\"</SCRIPT>"}};
    const std::string text = scriptJson(document);
    EXPECT_EQ(text.find('<'), std::string::npos) << text;
    EXPECT_EQ(Json::parse(text), document);
}

std::string spokenBy(const std::string& shell, const std::string& word) {
    const std::string command =
        shell + " <<'END-OF-SCRIPT'\nprintf %s. " + word + "\nEND-OF-SCRIPT";
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> pipe(popen(command.c_str(), "r"), pclose);
    std::string spoken;
    for (int letter = std::fgetc(pipe.get()); letter != EOF; letter = std::fgetc(pipe.get())) {
        spoken.push_back(static_cast<char>(letter));
    }
    return spoken;
}

TEST(ShellCommand, AShellReadsTheWordsBack) {
    EXPECT_EQ(shellWord("films/a-b_1.%04d.png"), "films/a-b_1.%04d.png");
    EXPECT_EQ(shellWord("\xC3\xA4 b"), "'\xC3\xA4 b'");
    for (const std::string word :
         {"", "a b", "it's", "$(id) `id` \"x\" \\ ! * ~", "line\nbreak's \\1", "'\n$(id)\n'",
          "\x1b[31m\t\r", "\xFF\x37\xC3(", "-n"}) {
        for (const char* shell : {"sh", "bash"}) {
            EXPECT_EQ(spokenBy(shell, shellWord(word)), word + ".") << shellWord(word);
        }
    }
}

std::string commandLine(const ClipOptions& clip, const EffectOptions& effect) {
    std::string line;
    for (const std::string& word : renderCommand(clip, effect)) {
        line += (line.empty() ? "" : " ") + word;
    }
    return line;
}

TEST(ShellCommand, RepeatsWhatWasAskedFor) {
    ClipOptions clip;
    clip.input = "-my films/b.mov";
    EffectOptions effect;
    EXPECT_EQ(commandLine(clip, effect),
              "tintwell render './-my films/b.mov' './-my films/corrected-b.mov'");
    clip.input = "clip.bin";
    clip.inputFormat = "rawvideo";
    clip.inputOptions = {{"video_size", "64x48"}};
    clip.frameRate = "30000/1001";
    clip.frames = media::FrameSpan::from(3);
    clip.declared.matrix = AVCOL_SPC_SMPTE170M;
    clip.declared.range = AVCOL_RANGE_JPEG;
    clip.depth = host::SampleDepth::Bits16;
    clip.hdr = media::HdrHandling::KeepPeak;
    clip.highQuality = false;
    effect.controlsFile = "c d.json";
    effect.values = {{host::Control::TemporalSmoothing, 0.1}, {host::Control::SceneDetect, 0.0}};
    EXPECT_EQ(commandLine(clip, effect),
              "tintwell render clip.bin corrected-clip.bin.mkv --controls 'c d.json' "
              "--temporal-smoothing 0.1 --no-scene-detect --frames 3- --input-format rawvideo "
              "--input-option video_size=64x48 --input-matrix smpte170m --input-range pc "
              "--hdr keep-peak --frame-rate 30000/1001 --depth 16 --quality draft");
}

/// One file must not become a sequence, as which its name could be read, nor a sequence one file.
TEST(ShellCommand, NumbersInNamesStayWhatTheyAre) {
    std::string pattern = (std::filesystem::temp_directory_path() / "tintwell-XXXXXX").string();
    const std::filesystem::path folder = mkdtemp(pattern.data());
    std::ofstream(folder / "a%d.mp4") << "one file";
    const std::string beside = folder.string() + "/corrected-";
    for (const auto& [input, output] : std::vector<std::pair<std::string, std::string>>{
             {"a%d.mp4", "a_d.mp4"}, {"f%d.png", "f%d.png"}, {"f%02d.cr2", "f_02d.cr2.mkv"}}) {
        ClipOptions clip;
        clip.input = folder / input;
        EXPECT_EQ(renderCommand(clip, {}).at(3), beside + output);
    }
    std::filesystem::remove_all(folder);
}

TEST(LevelSeries, APlaceOfALongClipHasTheRangeOfItsFrames) {
    constexpr std::int64_t kFrames = 10 * LevelSeries::kMostPlaces + 7;
    constexpr std::int64_t kSpike = 1234;
    LevelSeries series;
    for (std::int64_t i = 0; i < kFrames; ++i) {
        inspect::FrameFindings findings;
        findings.frame = i;
        findings.found.entries[2].inputBlack = i == kSpike ? 99 : 20;
        series.add(findings);
    }
    ASSERT_EQ(series.placeCount(), LevelSeries::kMostPlaces);
    const FieldCurves curves = series.curvesOf(kLevelsFields[0]);
    std::size_t ranges = 0;
    for (std::size_t i = 0; i < series.placeCount(); ++i) {
        const LevelCurve::Place& place = curves.found[1].places[i];
        const bool last = i + 1 == series.placeCount();
        const std::int64_t end = last ? kFrames : series.frameAt(i + 1);
        const bool holdsSpike = series.frameAt(i) <= kSpike && kSpike < end;
        EXPECT_EQ(place.high, holdsSpike ? 99.0 : 20.0) << i;
        EXPECT_EQ(place.low, 20.0);
        ranges += holdsSpike ? 1 : 0;
    }
    EXPECT_EQ(ranges, 1U);
}

TEST(LevelCharts, HaveRoundAxesAndMarkTheCuts) {
    struct Case {
        double begin;
        double end;
        std::vector<std::string> marks;
    };

    const std::array cases{
        Case{0.0, 7200.0, {"0 s", "1:00:00", "2:00:00"}},
        Case{58.5, 61.5, {"59 s", "1:00", "1:01"}},
        Case{-0.25, 0.25, {"-0.200 s", "0 s", "0.200 s"}},
        Case{4.0, 4.0, {"4 s"}},
    };
    for (const Case& axis : cases) {
        LevelSeries series;
        for (const double seconds : {axis.begin, axis.end}) {
            inspect::FrameFindings findings;
            findings.seconds = seconds;
            findings.found.entries[3].gamma = seconds == axis.begin ? 81 : 119;
            findings.smoothed.entries[3].gamma = 100;
            series.add(findings);
        }
        const double middle = (axis.begin + axis.end) / 2.0;
        const LevelCharts charts = levelCharts(series, true, {middle, middle + 1e-9});
        const Json& gamma = charts.charts.back();
        std::vector<std::string> marks;
        for (const Json& mark : gamma.at("times")) {
            marks.push_back(mark.at("text"));
        }
        EXPECT_EQ(marks, axis.marks);
        EXPECT_EQ(gamma.at("cuts"), "M500 0V100") << "two cuts on one spot";
        EXPECT_EQ(gamma.at("curves").size(), 6U);
        if (axis.begin < axis.end) {
            EXPECT_EQ(gamma.at("top"), "1.2");
        }
    }
}

} // namespace
} // namespace tintwell::tool
