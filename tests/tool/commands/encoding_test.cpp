// What clips are encoded with, in the words of ffprobe, and what is told of it.

#include "command_line_test.h"

#include <nlohmann/json.hpp>

namespace tintwell::tool {
namespace {

class EncodingTest : public CommandLineTest {
protected:
    /// Of the first video stream, "h264,High,avc1,yuv420p,progressive".
    std::string probe(const std::string& name,
                      const std::string& entries =
                          "codec_name,profile,codec_tag_string,pix_fmt,field_order") const {
        const std::string line =
            "cd '" + work_.string() +
            "' && ffprobe -v error -select_streams v:0 -show_entries stream=" + entries +
            " -of csv=p=0 '" + name + "' > ../probed";
        EXPECT_EQ(std::system(line.c_str()), 0) << name;
        const std::string text = contentOf(folder_ / "probed");
        return text.substr(0, text.find('\n'));
    }
};

struct EncodingCase {
    const char* source; ///< ffmpeg's arguments
    Arguments render;   ///< the output first
    const char* video;  ///< how ffprobe's words begin
    const char* told;   ///< a part of the warnings; empty: there are none
};

TEST_F(EncodingTest, StaysAsNearToTheSourceAsTheContainerAllows) {
    const EncodingCase cases[] = {
        {"-c:v libx264 -pix_fmt yuv422p10le a.mkv",
         {"o.mov"},
         "h264,High 4:2:2,avc1,yuv422p10",
         ""},
        {"-c:v libx265 -pix_fmt yuv420p10le -x265-params log-level=none a.mkv",
         {"o.mp4"},
         "hevc,Main 10,hvc1,yuv420p10",
         ""},
        {"-c:v libvpx-vp9 a.webm", {"o.mkv"}, "vp9,", ""},
        {"-c:v libvpx-vp9 a.webm", {"o.mov"}, "h264,High,avc1", "vp9 becomes h264"},
        {"-c:v libvpx-vp9 -pix_fmt yuva420p a.webm", {"o.mp4"}, "vp9,", "transparency is left out"},
        {"-c:v mpeg2video a.mpg", {"o.ts"}, "mpeg2video,", ""},
        {"-c:v mjpeg a.avi", {"o.mov"}, "mjpeg,Baseline,jpeg,yuvj420p", ""},
        {"-c:v prores_ks -profile:v lt a.mov", {"o.mov"}, "prores,LT,apcs,yuv422p10", ""},
        {"-c:v prores_ks -profile:v 4444 -pix_fmt yuva444p10le a.mov",
         {"o.mxf"},
         "prores,4444,ap4h,yuva444p",
         "12 bits become 10"},
        {"-s 256x128 -c:v dnxhd -profile:v dnxhr_hqx -pix_fmt yuv422p10le a.mov",
         {"o.mxf"},
         "dnxhd,DNXHR HQX",
         ""},
        {"-s 256x128 a.y4m", {"o.mov", "--video-codec", "dnxhd"}, "dnxhd,DNXHR HQ,", ""},
        {"-c:v ffv1 -pix_fmt gbrp a.mkv", {"o.mov"}, "png,unknown,png ,rgb24", ""},
        {"-c:v ffv1 a.mkv", {"o.mp4"}, "h264,High,avc1,yuv420p", "lossless becomes lossy"},
        {"-frames:v 3 a%d.png", {"o.mkv"}, "ffv1,unknown,FFV1,bgr0", ""},
        {"-frames:v 3 a%d.png", {"o.mp4", "--for", "web"}, "h264,High,avc1,yuv420p,", "4:2:0"},
        {"-c:v libvpx-vp9 a.webm", {"o.mkv", "--for", "archive"}, "ffv1,", ""},
        {"-c:v qtrle a.mov", {"o.mov", "--for", "edit"}, "prores,4444,ap4h", "which rounds"},
        {"-vf crop=61:47:exact=1 -c:v libvpx-vp9 a.webm",
         {"o.avi"},
         "h264,High 4:4:4 Predictive,H264,yuv444p",
         "few players take h264 of 4:4:4"},
    };
    for (const EncodingCase& c : cases) {
        ffmpeg("-i clip.y4m " + std::string(c.source));
        const std::string source = c.source;
        Arguments arguments{"render", source.substr(source.rfind(' ') + 1)};
        arguments.insert(arguments.end(), c.render.begin(), c.render.end());
        arguments.insert(arguments.end(), {"--overwrite", "--quiet"});
        const Outcome outcome = run(arguments);
        EXPECT_EQ(outcome.exitCode, 0) << c.source << outcome.err;
        EXPECT_NE(outcome.err.find(c.told), std::string::npos) << c.source << outcome.err;
        EXPECT_EQ(outcome.err.empty(), *c.told == 0) << c.source << outcome.err;
        EXPECT_EQ(probe(c.render[0]).rfind(c.video, 0), 0U) << c.source << probe(c.render[0]);
    }
}

TEST_F(EncodingTest, WhatCannotBeIsRefusedWithAWayOn) {
    ffmpeg("-i clip.y4m -vf crop=61:47:exact=1 -c:v libvpx-vp9 odd.webm");
    expectRefusal({"render", "odd.webm", "o.mp4", "--for", "web"}, 1, {"61x47", ".webm"});
    expectRefusal({"render", "clip.y4m", "o.mp4", "--for", "archive"}, 1, {"end in .mkv"});
    expectRefusal({"render", "clip.y4m", "o.mkv", "--for", "edit", "--video-codec", "ffv1"}, 2,
                  {"--for"});
    expectRefusal({"render", "clip.y4m", "o.mkv", "--output-option", "crf=3"}, 1,
                  {"the format matroska does not know the option 'crf'"});
}

/// Animated images of this kind can be encoded, but not decoded.
TEST_F(EncodingTest, WhatDoesNotReadBackLeavesTheOldOutput) {
    write("o0.webp", "old");
    const Arguments render{"render",        "clip.y4m",     "o%d.webp",    "--frames", "0-1",
                           "--video-codec", "libwebp_anim", "--overwrite", "--quiet"};
    EXPECT_EQ(run(render).exitCode, 1);
    EXPECT_EQ(contentOf(work_ / "o0.webp"), "old");
    Arguments unchecked = render;
    unchecked.emplace_back("--no-check");
    EXPECT_EQ(run(unchecked).exitCode, 0);
    EXPECT_NE(contentOf(work_ / "o0.webp"), "old");
}

} // namespace
} // namespace tintwell::tool
