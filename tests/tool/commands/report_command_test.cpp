#include "command_line_test.h"

#include <nlohmann/json.hpp>

#include <map>

namespace tintwell::tool {
namespace {

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
         {"Frame 5, at 0.200 s", "cut at 0.280 s", "takes out an orange (warm) cast",
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

} // namespace
} // namespace tintwell::tool
