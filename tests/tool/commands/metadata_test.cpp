// What files say beside pictures and sound, told by other programs than the one that wrote them.

#include "command_line_test.h"

namespace tintwell::tool {
namespace {

using namespace std::string_literals;

class MetadataTest : public CommandLineTest {
protected:
    /// A photograph from an upright camera: turned, of a maker.
    void writePhotograph(const std::string& name) const {
        ffmpeg("-i clip.y4m -frames:v 1 plain.jpg");
        const std::string exif = "Exif\0\0II*\0\x08\0\0\0\x02\0"
                                 "\x0F\x01\x02\0\x04\0\0\0Mak\0"
                                 "\x12\x01\x03\0\x01\0\0\0\x06\0\0\0\0\0\0\0"s;
        std::string jpeg = contentOf(work_ / "plain.jpg");
        const auto length = static_cast<char>(exif.size() + 2);
        jpeg.insert(2, "\xFF\xE1\0"s + length + exif);
        write(name, jpeg);
    }

    std::string framesOf(const std::string& file) const {
        return outputOf("ffprobe -v error -show_frames " + file);
    }

    std::string warningOf(const std::string& input, const std::string& output) const {
        return run({"render", input, output, "--dry-run"}).err;
    }
};

TEST_F(MetadataTest, ContainersKeepWhatTheyCanAndTheRestIsNamed) {
    ffmpeg("-i clip.y4m -movflags use_metadata_tags -timecode 01:00:00:00 "
           "-metadata com.apple.quicktime.make=Maker -metadata title=Holiday "
           "-metadata creation_time=2020-01-02T03:04:05Z phone.mov");
    for (const char* name : {"a.mov", "a.mp4", "a.mkv"}) {
        SCOPED_TRACE(name);
        const Outcome outcome = run({"render", "phone.mov", name, "--frames", "3-6", "--quiet"});
        EXPECT_EQ(outcome.err, "");
        const std::string tags = probed(name, "-show_entries format_tags:stream_tags");
        for (const char* value : {"Maker", "Holiday", "2020-01-02T03:04:05", "01:00:00:03"}) {
            EXPECT_NE(tags.find(value), std::string::npos) << value << " is not in " << tags;
        }
    }
    EXPECT_NE(
        warningOf("phone.mov", "a.avi").find("is lost: com.apple.quicktime.make, creation_time\n"),
        std::string::npos);
    EXPECT_EQ(warningOf("clip.y4m", "a.avi"), "");
    EXPECT_NE(warningOf("phone.mov", "a%d.png").find("title"), std::string::npos);
}

TEST_F(MetadataTest, PhotographsKeepWhatTheCameraSaid) {
    writePhotograph("photo.jpg");
    ASSERT_NE(framesOf("photo.jpg").find("TAG:Make=Mak"), std::string::npos);
    for (const char* name : {"a.jpg", "b.png", "c.jpg"}) { // the last from the one before
        const std::string input = name == "c.jpg"s ? "b.png" : "photo.jpg";
        const Outcome outcome = run({"render", input, name, "--quiet"});
        EXPECT_EQ(outcome.err.find("lost"), std::string::npos) << outcome.err;
        EXPECT_EQ(outcome.err.find("turned"), std::string::npos) << outcome.err;
    }
    for (const char* name : {"a.jpg", "c.jpg"}) {
        const std::string told = framesOf(name);
        EXPECT_NE(told.find("TAG:Make=Mak"), std::string::npos) << name << told;
        EXPECT_NE(told.find("rotation=-90"), std::string::npos) << name << told;
    }
    EXPECT_NE(warningOf("photo.jpg", "a.bmp").find("lost: EXIF"), std::string::npos);
    ASSERT_EQ(run({"render", "photo.jpg", "a.mp4", "--quiet"}).exitCode, 0);
    EXPECT_NE(outputOf("ffprobe -v error -show_streams a.mp4").find("rotation=-90"),
              std::string::npos);
}

TEST_F(MetadataTest, AnimationsLoopAsOften) {
    for (const char* loops : {"-1", "0", "3"}) {
        ffmpeg("-i clip.y4m -loop "s + loops + " a.gif");
        ASSERT_EQ(run({"render", "a.gif", "b.gif", "--quiet", "--overwrite"}).exitCode, 0);
        const auto loopOf = [&](const char* name) {
            const std::string file = contentOf(work_ / name);
            const std::size_t place = file.find("NETSCAPE2.0");
            return place == std::string::npos ? "" : file.substr(place, 16);
        };
        EXPECT_EQ(loopOf("b.gif"), loopOf("a.gif")) << loops;
    }
}

TEST_F(MetadataTest, TheHeaderOfDpxComesThrough) {
    ffmpeg("-i clip.y4m -frames:v 1 -pix_fmt rgb24 plain.dpx");
    std::string dpx = contentOf(work_ / "plain.dpx");
    dpx.replace(260, 8, "Project\0"s);
    // FFmpeg begins the picture where film and television have their headers.
    dpx.insert(1664, 384, '\xFF');
    for (const std::size_t offset : {4, 808}) {
        dpx.replace(offset, 4, "\x00\x08\x00\x00"s);
    }
    dpx.replace(1920, 4, "\x01\x02\x03\x04");
    write("a.dpx", dpx);
    ASSERT_EQ(run({"render", "a.dpx", "b.dpx", "--quiet"}).exitCode, 0);
    const std::string after = contentOf(work_ / "b.dpx");
    EXPECT_EQ(after.substr(260, 8), "Project\0"s);
    EXPECT_EQ(after.substr(1920, 4), "\x01\x02\x03\x04");
    ASSERT_EQ(run({"render", "plain.dpx", "c.dpx", "--quiet"}).exitCode, 0);
    EXPECT_EQ(contentOf(work_ / "c.dpx").size(), contentOf(work_ / "plain.dpx").size());
}

} // namespace
} // namespace tintwell::tool
