// What clips are encoded with, in the words of ffprobe, and what is told of it.

#include "command_line_test.h"

#include <nlohmann/json.hpp>

namespace tintwell::tool {
namespace {

struct EncodingCase {
    const char* source; ///< ffmpeg's arguments
    Arguments render;   ///< the output first
    const char* video;  ///< how ffprobe's words begin
    const char* told;   ///< a part of the warnings; empty: there are none
};

class EncodingTest : public CommandLineTest {
protected:
    /// What ffprobe says of the first video stream.
    std::string probe(const std::string& name, const std::string& entries) const {
        const std::string line =
            "cd '" + work_.string() +
            "' && ffprobe -v error -select_streams v:0 -show_entries stream=" + entries +
            " -of csv=p=0 '" + name + "' > ../probed";
        EXPECT_EQ(std::system(line.c_str()), 0) << name;
        const std::string text = contentOf(folder_ / "probed");
        return text.substr(0, text.find('\n'));
    }

    void expectVideo(const EncodingCase& c, const std::string& entries) const {
        ffmpeg("-i clip.y4m " + std::string(c.source));
        const std::string source = c.source;
        Arguments arguments{"render", source.substr(source.rfind(' ') + 1)};
        arguments.insert(arguments.end(), c.render.begin(), c.render.end());
        arguments.insert(arguments.end(), {"--overwrite", "--quiet"});
        const Outcome outcome = run(arguments);
        EXPECT_EQ(outcome.exitCode, 0) << c.source << outcome.err;
        EXPECT_NE(outcome.err.find(c.told), std::string::npos) << c.source << outcome.err;
        EXPECT_EQ(outcome.err.empty(), *c.told == 0) << c.source << outcome.err;
        const std::string video = probe(c.render[0], entries);
        EXPECT_EQ(video.rfind(c.video, 0), 0U) << c.source << ": " << video;
    }
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
        {"-frames:v 3 a%d.png", {"o.mp4", "--for", "web"}, "h264,High,avc1,yuv420p", "4:2:0"},
        {"-c:v libvpx-vp9 a.webm", {"o.mkv", "--for", "archive"}, "ffv1,", ""},
        {"-c:v qtrle a.mov", {"o.mov", "--for", "edit"}, "prores,4444,ap4h", "which rounds"},
        {"-vf crop=61:47:exact=1 -c:v libvpx-vp9 a.webm",
         {"o.avi"},
         "h264,High 4:4:4 Predictive,H264,yuv444p",
         "few players take h264 of 4:4:4"},
    };
    for (const EncodingCase& c : cases) {
        expectVideo(c, "codec_name,profile,codec_tag_string,pix_fmt");
    }
}

/// Where decoders or containers tell of fields, the output does.
TEST_F(EncodingTest, FieldsStayFields) {
    const EncodingCase cases[] = {
        {"-s 720x576 -pix_fmt yuv420p -c:v dvvideo a.avi", {"o.mov"}, "dvvideo,yuv420p,bb", ""},
        {"-s 720x576 -pix_fmt yuv420p -c:v dvvideo a.avi",
         {"o.mkv"},
         "prores,yuv422p10le,bb",
         "dvvideo becomes prores"},
        {"-vf setfield=tff -c:v mpeg4 -flags +ildct+ilme a.avi", {"o.mkv"}, "mpeg4,yuv420p,tt", ""},
        {"-vf setfield=tff -c:v mpeg2video -flags +ildct+ilme a.ts",
         {"o.mkv"},
         "mpeg2video,yuv420p,tt",
         ""},
        {"-vf setfield=bff -c:v libx264 -flags +ildct+ilme a.mkv",
         {"o.mkv"},
         "h264,yuv420p,bb",
         ""},
        {"-vf setfield=tff -c:v ffv1 -flags +ildct -field_order tt a.mkv",
         {"o.mov"},
         "v210,yuv422p10le,tt",
         ""},
        {"-vf setfield=tff -c:v libx264 -flags +ildct+ilme a.mkv",
         {"o.mkv", "--video-codec", "libx265"},
         "hevc,yuv420p,tt",
         "fields are coded together"},
    };
    for (const EncodingCase& c : cases) {
        expectVideo(c, "codec_name,pix_fmt,field_order");
    }
}

TEST_F(EncodingTest, HighDynamicRangeIsRefusedOrKeepsItsPeak) {
    // Brightest at 0.46 of the signal, which is 68 cd/m².
    ffmpeg("-i clip.y4m -vf lutyuv=y=val*0.7:u=128:v=128 -pix_fmt yuv420p10le -color_range tv "
           "-color_primaries bt2020 -color_trc smpte2084 -colorspace bt2020nc -c:v libx265 "
           "-x265-params log-level=none:max-cll=84,40:master-display="
           "'G(13250,34500)B(7500,3000)R(34000,16000)WP(15635,16450)L(10000000,1)' hdr.mp4");
    expectRefusal({"render", "hdr.mp4", "o.mp4"}, 1, {"PQ", "keep-peak", "treat-as-sdr"});
    expectRefusal({"analyze", "hdr.mp4"}, 1, {"PQ"});
    const auto brightest = [&](const std::string& name) {
        ffmpeg("-i " + name + " -frames:v 1 -f rawvideo -pix_fmt yuv420p10le plane.yuv");
        const std::string samples = contentOf(work_ / "plane.yuv").substr(0, 64 * 48 * 2);
        int most = 0;
        for (std::size_t i = 0; i < samples.size(); i += 2) {
            most = std::max(most, static_cast<unsigned char>(samples[i]) +
                                      256 * static_cast<unsigned char>(samples[i + 1]));
        }
        return most;
    };
    for (const char* output : {"o.mp4", "o.mov", "o.mkv"}) {
        const Outcome outcome = run({"render", "hdr.mp4", output, "--hdr", "keep-peak", "--quiet"});
        EXPECT_EQ(outcome.exitCode, 0) << outcome.err;
        EXPECT_EQ(outcome.err, "");
        EXPECT_LE(brightest(output), brightest("hdr.mp4") + 3);
        const std::string sideData = probe(output, "color_transfer:stream_side_data=max_content");
        EXPECT_NE(sideData.find("smpte2084"), std::string::npos) << sideData;
        EXPECT_NE(sideData.find("84"), std::string::npos) << sideData;
    }
    EXPECT_EQ(run({"render", "hdr.mp4", "sdr.mp4", "--hdr", "treat-as-sdr", "--quiet"}).exitCode,
              0);
    EXPECT_GT(brightest("sdr.mp4"), brightest("hdr.mp4") + 100);
    const Outcome lost = run(
        {"render", "hdr.mp4", "o.avi", "--hdr", "keep-peak", "--quiet", "--video-codec", "ffv1"});
    EXPECT_NE(lost.err.find("Content light level"), std::string::npos) << lost.err;
}

TEST_F(EncodingTest, WhatCannotBeIsRefusedWithAWayOn) {
    ffmpeg("-i clip.y4m -vf crop=61:47:exact=1 -c:v libvpx-vp9 odd.webm");
    expectRefusal({"render", "odd.webm", "o.mp4", "--for", "web"}, 1, {"61x47", ".webm"});
    ffmpeg("-i clip.y4m -frames:v 2 -pix_fmt gbrpf32le a%d.exr");
    expectRefusal({"render", "a%d.exr", "o%d.exr"}, 1, {"floating point", ".dpx"});
    const Outcome integers = run({"render", "a%d.exr", "o%d.png", "--quiet"});
    EXPECT_NE(integers.err.find("outside of 0 to 1"), std::string::npos) << integers.err;
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
