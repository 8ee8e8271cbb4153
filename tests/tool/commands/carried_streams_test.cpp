// What becomes of sound and subtitles, told by other programs than the one that wrote them.

#include "command_line_test.h"

#include <cmath>
#include <cstdint>
#include <cstring>

namespace tintwell::tool {
namespace {

using namespace std::string_literals;

class CarriedStreamsTest : public CommandLineTest {
protected:
    static constexpr double kToneStart = 0.5; ///< seconds, in all sources

    CarriedStreamsTest() {
        write("text.srt", "1\n00:00:00,200 --> 00:00:00,900\n<i>Hello</i> you\n\n");
        const std::string pictures = "-f lavfi -i testsrc2=s=64x48:r=25:d=1 ";
        const std::string tone = "-f lavfi -i \"aevalsrc='if(gt(t,0.5),0.5*sin(3000*t),0)'"
                                 ":s=48000:d=1\" ";
        ffmpeg(pictures + tone + "-c:v mpeg4 -c:a pcm_s16le source.mkv");
        ffmpeg("-i source.mkv -c:v copy -c:a libopus opus.mkv");
        ffmpeg("-i source.mkv -c:v copy -c:a aac aac.mp4");
        ffmpeg("-i source.mkv -c:v copy -c:a flac flac.mkv");
        ffmpeg("-i source.mkv -i text.srt -map 0 -map 1 -c copy -metadata:s:s language=ger "
               "text.mkv");
        // Sound that begins 0.4 s after the pictures, which begin 0.02 s after the clip.
        ffmpeg("-itsoffset 0.02 -i source.mkv -ss 0.4 -itsoffset 0.4 -i source.mkv -map 0:v "
               "-map 1:a -c copy -copyts late.mkv");
    }

    /// When the tone begins, on the clock whose 0 is the first picture.
    double toneStart(const std::string& file) const {
        const std::string samples =
            outputOf("ffmpeg -nostdin -v error -copyts -i " + file +
                     " -map 0:a -af aresample=48000:async=1:first_pts=0 -ac 1 -f s16le -");
        const double start =
            std::atof(probed(file, "-select_streams v -show_entries stream=start_time").c_str());
        for (std::size_t i = 0; i + 1 < samples.size(); i += 2) {
            std::int16_t sample = 0;
            std::memcpy(&sample, samples.data() + i, sizeof sample);
            if (std::abs(sample) > 3000) {
                return static_cast<double>(i / 2) / 48000 - start;
            }
        }
        return -1.0;
    }
};

TEST_F(CarriedStreamsTest, SoundPlaysFromEveryContainerAndKeepsItsPlace) {
    struct Case {
        const char* input;
        const char* output;
        const char* codec;
        const char* note; ///< what the user is told; empty: nothing
        double tolerance;
    };

    for (const Case& one : {
             Case{"source.mkv", "a.mov", "pcm_s16le", "", 0.001},
             Case{"source.mkv", "a.mp4", "aac", "warning: a.mp4: the source's audio stream 1",
                  0.003},
             Case{"source.mkv", "a.avi", "pcm_s16le", "", 0.001},
             Case{"source.mkv", "a.ts", "aac", "is converted to aac", 0.003},
             Case{"flac.mkv", "a.mov", "pcm_s16le", "is converted to pcm_s16le", 0.001},
             Case{"flac.mkv", "a.mp4", "flac", "", 0.001},
             Case{"opus.mkv", "a.mov", "aac", "is converted to aac", 0.003},
             Case{"opus.mkv", "a.mkv", "opus", "", 0.003},
             Case{"opus.mkv", "a.avi", "mp3", "is converted to mp3", 0.013},
             Case{"aac.mp4", "a.mp4", "aac", "", 0.003},
             Case{"aac.mp4", "a.mkv", "aac", "", 0.003},
             Case{"aac.mp4", "a.webm", "opus", "is converted to opus", 0.003},
             Case{"aac.mp4", "a.mxf", "pcm_s24le", "is converted to pcm_s24le", 0.003},
             Case{"late.mkv", "a.mov", "pcm_s16le", "", 0.001},
             Case{"late.mkv", "a.avi", "pcm_s16le", "", 0.021},
         }) {
        SCOPED_TRACE(std::string(one.input) + " to " + one.output);
        const Outcome outcome = run({"render", one.input, one.output, "--overwrite"});
        ASSERT_EQ(outcome.exitCode, 0) << outcome.err;
        EXPECT_EQ(probed(one.output, "-select_streams a -show_entries stream=codec_name"),
                  std::string(one.codec) + "\n");
        EXPECT_NE(outcome.err.find(one.note), std::string::npos) << outcome.err;
        EXPECT_EQ(outcome.err.find("converted") == std::string::npos, *one.note == '\0')
            << outcome.err;
        EXPECT_NEAR(toneStart(one.output), toneStart(one.input), one.tolerance);
        fs::remove(work_ / one.output);
    }
}

/// Five frames late, in containers that begin all streams at once.
TEST_F(CarriedStreamsTest, PicturesThatBeginLateStandUntilThen) {
    ffmpeg("-itsoffset 0.2 -i source.mkv -i source.mkv -map 0:v -map 1:a -c copy late.mkv");
    for (const char* name : {"a.avi", "a.mxf"}) {
        const Outcome outcome = run({"render", "late.mkv", name});
        EXPECT_NE(outcome.err.find("standing for 5 frames"), std::string::npos) << outcome.err;
        EXPECT_EQ(probed(name, "-count_packets -select_streams v -show_entries "
                               "stream=nb_read_packets")
                      .substr(0, 2),
                  "30");
        EXPECT_NEAR(toneStart(name), kToneStart, 0.001);
    }
}

TEST_F(CarriedStreamsTest, NothingMovesFromGenerationToGeneration) {
    for (const char* ending : {"mkv", "mp4"}) {
        std::string before = "opus.mkv";
        for (int generation = 1; generation < 4; ++generation) {
            const std::string next = "g" + std::to_string(generation) + "." + ending;
            ASSERT_EQ(run({"render", before, next, "--quiet"}).exitCode, 0);
            before = next;
        }
        EXPECT_NEAR(toneStart(before), toneStart("opus.mkv"), 0.0015) << ending;
    }
}

TEST_F(CarriedStreamsTest, SubtitlesAreShownFromEveryContainerThatHasSome) {
    for (const auto& [output, codec] : std::vector<std::pair<std::string, std::string>>{
             {"a.mkv", "subrip"}, {"a.mp4", "mov_text"}, {"a.webm", "webvtt"}}) {
        ASSERT_EQ(run({"render", "text.mkv", output, "--quiet"}).exitCode, 0);
        EXPECT_EQ(probed(output, "-select_streams s -show_entries "
                                 "stream=codec_name:stream_tags=language"),
                  codec + ",ger\n");
        const std::string text =
            outputOf("ffmpeg -nostdin -v error -copyts -i " + output + " -f srt -");
        EXPECT_NE(text.find("00:00:00,200 --> 00:00:00,900\n<i>Hello</i> you"), std::string::npos)
            << text;
    }
    const Outcome outcome = run({"render", "text.mkv", "a.ts", "--dry-run"});
    EXPECT_NE(outcome.err.find("subtitle stream 2 (subrip) is left out"), std::string::npos);
    // Frames 10 to 14, 0.4 to 0.6 s, lie within the one subtitle.
    ASSERT_EQ(run({"render", "text.mkv", "part.mkv", "--frames", "10-14", "--quiet"}).exitCode, 0);
    EXPECT_EQ(probed("part.mkv", "-select_streams s -show_entries packet=pts_time,duration_time"),
              "0.000000,0.200000\n");
    EXPECT_LT(std::atof(probed("part.mkv", "-show_entries format=duration").c_str()), 0.25);
}

TEST_F(CarriedStreamsTest, OnlyWhatIsCutOffIsTakenForIt) {
    write("long.srt", "1\n00:00:00,200 --> 00:00:20,000\nStays\n\n");
    ffmpeg("-i source.mkv -i long.srt -map 0 -map 1 -c copy -c:s srt long.mkv");
    ffmpeg("-i aac.mp4 -i long.srt -map 0 -map 1 -c copy -c:s mov_text long.mp4");
    ffmpeg("-itsoffset 5 -i source.mkv -c copy begins_late.mov");
    ffmpeg("-itsoffset 5 -i source.mkv -c copy begins_late.mkv");
    ffmpeg("-i aac.mp4 -c copy -timecode 01:00:00:00 timecode.mov");
    for (const char* name :
         {"long.mkv", "long.mp4", "begins_late.mov", "begins_late.mkv", "timecode.mov"}) {
        const Outcome outcome = run({"render", name, "a.mkv", "--overwrite", "--quiet"});
        EXPECT_EQ(outcome.err, "") << name;
    }
    for (const char* name : {"long.mkv", "begins_late.mkv"}) {
        const std::string whole = contentOf(work_ / name);
        write("cut.mkv", whole.substr(0, whole.size() * 6 / 10));
        const Outcome outcome = run({"render", "cut.mkv", "a.mkv", "--overwrite", "--quiet"});
        EXPECT_NE(outcome.err.find("cut off"), std::string::npos) << name << outcome.err;
    }
}

TEST_F(CarriedStreamsTest, PipesGetWhatCanBeReadFromThem) {
    const auto piped = [&](const std::string& format, const std::string& more) {
        return outputOf("'" TINTWELL_PROGRAM "' render aac.mp4 - --quiet --output-format " +
                        format + more + " 2>&1 | cat");
    };
    for (const char* format : {"mp4", "mov", "avi", "mxf"}) {
        const std::string said = piped(format, "");
        EXPECT_EQ(said.find("tintwell: error: "), said.rfind("tintwell: ")) << said;
        EXPECT_NE(said.find("nut"), std::string::npos) << said;
    }
    for (const char* format : {"matroska", "mpegts", "nut", "mp4"}) {
        const bool fragments = format == "mp4"s;
        write(
            "piped",
            piped(format, fragments ? " --encoder-option movflags=frag_keyframe+empty_moov" : ""));
        EXPECT_EQ(probed("piped", "-count_packets -select_streams v "
                                  "-show_entries stream=nb_read_packets"),
                  "25\n")
            << format;
    }
}

TEST_F(CarriedStreamsTest, WishesAreFollowedOrRefused) {
    const auto streams = [&](const Arguments& more) {
        Arguments arguments{"render", "text.mkv", "a.mkv", "--overwrite", "--quiet"};
        arguments.insert(arguments.end(), more.begin(), more.end());
        const Outcome outcome = run(arguments);
        EXPECT_EQ(outcome.exitCode, 0) << outcome.err;
        EXPECT_EQ(outcome.err.find("left out"), std::string::npos) << outcome.err;
        return probed("a.mkv", "-show_entries stream=codec_name");
    };
    EXPECT_EQ(streams({"--audio", "none"}), "mpeg4\nsubrip\n");
    EXPECT_EQ(streams({"--subtitles", "none"}), "mpeg4\npcm_s16le\n");
    EXPECT_EQ(streams({"--streams", "2"}), "mpeg4\nsubrip\n");
    EXPECT_EQ(streams({"--audio-codec", "flac"}), "mpeg4\nflac\nsubrip\n");
    expectRefusal({"render", "opus.mkv", "b.mov", "--audio", "copy"}, 1, {"opus", "copied"});
    expectRefusal({"render", "text.mkv", "b.mp4", "--subtitles", "copy"}, 1, {"subrip", "copied"});
    expectRefusal({"render", "text.mkv", "b.mp4", "--streams", "1,9"}, 1, {"no stream 9"});
    expectRefusal({"render", "text.mkv", "b.mp4", "--streams", "a"}, 2, {"--streams"});
    expectRefusal({"render", "text.mkv", "b.webm", "--audio-codec", "aac"}, 1, {"aac"});

    const std::string json = run({"render", "opus.mkv", "b.mov", "--json", "--quiet"}).out;
    EXPECT_NE(json.find("\"converted_to\": \"aac\""), std::string::npos) << json;
}

} // namespace
} // namespace tintwell::tool
