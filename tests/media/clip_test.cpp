#include "media/color/picture_pool.h"
#include "media/media_error.h"
#include "media/read/clip_reader.h"
#include "media/write/clip_writer.h"
#include "test_clip.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
#include <vector>

extern "C" {
#include <libavutil/mathematics.h>
}

namespace tintwell::media {
namespace {

namespace fs = std::filesystem;

/// What a clip shows and sounds like.
struct Contents {
    std::vector<std::int64_t> times; ///< of the frames, in 1/600 s
    std::vector<int> luma;           ///< of the frames' first pixels
    std::vector<std::int16_t> sound;
    std::int64_t soundStart = -1; ///< 1/600 s
};

void addItem(const ReadItem& item, const ClipReader& reader, Contents& contents) {
    if (item.frame) {
        contents.times.push_back(av_rescale_q(item.frame->pts, reader.info().timeBase, {1, 600}));
        contents.luma.push_back(item.frame->data[0][0]);
    }
    for (const PacketPtr& packet : item.copied) {
        const AVStream& stream = *reader.container().streams[packet->stream_index];
        if (stream.codecpar->codec_type != AVMEDIA_TYPE_AUDIO) {
            continue;
        }
        if (contents.sound.empty()) {
            contents.soundStart = av_rescale_q(packet->pts, stream.time_base, {1, 600});
        }
        const std::size_t samples = static_cast<std::size_t>(packet->size) / 2;
        contents.sound.resize(contents.sound.size() + samples);
        std::memcpy(contents.sound.data() + contents.sound.size() - samples, packet->data,
                    2 * samples);
    }
}

Contents readAll(ClipReader& reader) {
    Contents contents;
    while (const auto item = reader.read()) {
        addItem(*item, reader, contents);
    }
    return contents;
}

Contents readAll(const fs::path& path) {
    ReaderOptions options;
    options.copyOtherStreams = true;
    ClipReader reader(path.string(), options);
    return readAll(reader);
}

class ClipTest : public testing::Test {
protected:
    ClipTest() { writeTestClip(clip_); }

    std::string path(const char* name) const { return (folder_.path() / name).string(); }

    void transcode(const std::string& output, const WriterOptions& options = {},
                   std::optional<FrameSpan> span = {}) {
        ReaderOptions readerOptions;
        readerOptions.copyOtherStreams = true;
        readerOptions.frames = span;
        ClipReader reader(clip_, readerOptions);
        ClipWriter writer(output, clip_, reader, span, options);
        reader.keepStreams(writer.copiedStreams());
        bool begun = false;
        while (auto item = reader.read()) {
            if (item->frame && !begun) {
                writer.begin(*reader.start());
                begun = true;
            }
            for (PacketPtr& packet : item->copied) {
                writer.writeCopied(std::move(packet));
            }
            if (item->frame) {
                writer.writeFrame(*converted(reader.info(), writer, *item->frame));
            }
        }
        writer.finish();
    }

    static FramePtr converted(const ClipInfo& info, const ClipWriter& writer,
                              const AVFrame& frame) {
        constexpr auto kDepth = host::SampleDepth::Bits8;
        host::FrameBuffer world(info.width, info.height, kDepth);
        FrameToWorld({info.width, info.height, info.pixelFormat, info.color}, kDepth)
            .convert(frame, world);
        FramePtr picture = PicturePool(writer.pictureFormat()).take();
        copyProperties(frame, *picture);
        WorldToFrame(kDepth, writer.pictureFormat()).convert(world, *picture);
        return picture;
    }

    /// The message of the MediaError that the action throws.
    static std::string errorOf(const std::function<void()>& action) {
        try {
            action();
        } catch (const MediaError& error) {
            return error.what();
        }
        return "no error";
    }

    std::size_t fileCount() const {
        return static_cast<std::size_t>(
            std::distance(fs::directory_iterator(folder_.path()), fs::directory_iterator()));
    }

    TemporaryFolder folder_;
    std::string clip_ = path("clip.mov");
};

TEST_F(ClipTest, ReaderDescribesAndDecodesInOrderOfPresentation) {
    ClipReader reader(clip_, {});
    const ClipInfo& info = reader.info();
    EXPECT_EQ(info.width, kTestWidth);
    EXPECT_EQ(info.pixelFormat, AV_PIX_FMT_YUV420P);
    EXPECT_EQ(info.tags.matrix, AVCOL_SPC_BT709);
    EXPECT_EQ(info.rotation, -90.0);
    EXPECT_TRUE(info.variableFrameRate);
    ASSERT_TRUE(info.frameCount && info.frameCount->exact);
    EXPECT_EQ(info.frameCount->frames, 10);
    const Contents contents = readAll(reader);
    EXPECT_EQ(contents.times, kFrameTimes);
    ASSERT_EQ(contents.luma.size(), kFrameTimes.size());
    for (std::size_t i = 0; i < contents.luma.size(); ++i) {
        EXPECT_NEAR(contents.luma[i], 16 + 20 * static_cast<int>(i), 4) << i;
    }
    EXPECT_TRUE(reader.warnings().empty());
}

TEST_F(ClipTest, EverythingBesideThePicturesSurvives) {
    const Contents before = readAll(clip_);
    ASSERT_EQ(before.sound.size(), 4000U);
    for (const char* name : {"out.mov", "out.mkv"}) {
        SCOPED_TRACE(name);
        transcode(path(name));
        const Contents after = readAll(path(name));
        ASSERT_EQ(after.times.size(), before.times.size());
        for (std::size_t i = 0; i < after.times.size(); ++i) {
            EXPECT_NEAR(static_cast<double>(after.times[i]), static_cast<double>(before.times[i]),
                        1.0);
        }
        EXPECT_EQ(after.sound, before.sound);

        ClipReader reader(path(name), {});
        EXPECT_EQ(reader.info().tags.matrix, AVCOL_SPC_BT709);
        EXPECT_EQ(reader.info().tags.range, AVCOL_RANGE_MPEG);
        EXPECT_EQ(reader.info().tags.primaries, AVCOL_PRI_UNSPECIFIED);
        EXPECT_EQ(av_cmp_q(reader.info().sampleAspectRatio, {4, 3}), 0);
        const AVFormatContext& container = reader.container();
        const AVDictionaryEntry* title = av_dict_get(container.metadata, "title", nullptr, 0);
        ASSERT_NE(title, nullptr);
        EXPECT_STREQ(title->value, "A title");
        ASSERT_EQ(container.nb_chapters, 1U);
        EXPECT_STREQ(av_dict_get(container.chapters[0]->metadata, "title", nullptr, 0)->value,
                     "A chapter");
        EXPECT_EQ(
            av_rescale_q(container.chapters[0]->end, container.chapters[0]->time_base, {1, 1000}),
            400);
    }
    EXPECT_EQ(ClipReader(path("out.mov"), {}).info().rotation, -90.0);
}

TEST_F(ClipTest, SpanCutsAllStreamsAlike) {
    // Frames 3 to 6, from 70/600 s to 180/600 s, which is from sample 933 to sample 2400.
    transcode(path("part.mov"), {}, FrameSpan{3, 6});
    const Contents part = readAll(path("part.mov"));
    EXPECT_EQ(part.times, (std::vector<std::int64_t>{0, 20, 80, 100}));
    EXPECT_NEAR(part.luma.front(), 16 + 20 * 3, 4);
    const Contents whole = readAll(clip_);
    ASSERT_FALSE(part.sound.empty());
    const auto first =
        std::search(whole.sound.begin(), whole.sound.end(), part.sound.begin(), part.sound.end()) -
        whole.sound.begin();
    const auto last = first + static_cast<std::ptrdiff_t>(part.sound.size());
    EXPECT_NEAR(static_cast<double>(first),
                933.0 + static_cast<double>(part.soundStart) * 8000 / 600, 20.0);
    // Packets are not cut through.
    EXPECT_GE(last, 2400);
    EXPECT_LE(last, 2400 + 1024);
}

TEST_F(ClipTest, SequencesCountFromTheSpansFirstFrame) {
    transcode(path("f.%03d.png"), {}, FrameSpan{4, 6});
    EXPECT_TRUE(fs::exists(path("f.004.png")) && fs::exists(path("f.006.png")));
    EXPECT_EQ(fileCount(), 4U);
    ReaderOptions options;
    options.input.frameRate = "12";
    ClipReader reader(path("f.%03d.png"), options);
    EXPECT_EQ(reader.info().frameCount->frames, 3);
    EXPECT_EQ(av_cmp_q(reader.info().frameRate, {12, 1}), 0);
    EXPECT_EQ(readAll(reader).times.size(), 3U);
}

TEST_F(ClipTest, DamageIsToldAndWhatIsLeftIsDelivered) {
    transcode(path("cut.mkv"));
    fs::resize_file(path("cut.mkv"), fs::file_size(path("cut.mkv")) / 3);
    ClipReader reader(path("cut.mkv"), {});
    const std::size_t frames = readAll(reader).times.size();
    EXPECT_GT(frames, 0U);
    EXPECT_LT(frames, 10U);
    EXPECT_FALSE(reader.warnings().empty());
}

TEST_F(ClipTest, InputErrorsNameTheFileAndTheReason) {
    std::ofstream(path("text.mp4")) << "This is no video.";
    fs::copy_file(clip_, path("cut.mov"));
    fs::resize_file(path("cut.mov"), fs::file_size(clip_) / 2);
    const auto open = [&](const std::string& input, const ReaderOptions& options = {}) {
        return errorOf([&] { const ClipReader reader(input, options); });
    };
    EXPECT_NE(open(path("none.mp4")).find("none.mp4: there is no such file"), std::string::npos);
    EXPECT_NE(open(path("f.%d.png")).find("no files of this image sequence"), std::string::npos);
    EXPECT_NE(open(folder_.path().string()).find("is a directory"), std::string::npos);
    EXPECT_NE(open(path("text.mp4")).find("text.mp4: is not a media file"), std::string::npos);
    EXPECT_NE(open(path("cut.mov")).find("moov atom not found"), std::string::npos);
    EXPECT_NE(open(clip_, {{"nonsense", ""}, {}, false}).find("'nonsense'"), std::string::npos);
    EXPECT_NE(open(clip_, {{"", "", {{"odd", "1"}}}, {}, false}).find("'odd'"), std::string::npos);
    EXPECT_NE(open(clip_, {{}, FrameSpan{3, 10}, false}).find("has 10 (0-9)"), std::string::npos);
    EXPECT_NE(errorOf([] { checkPictureSize("x", 40000, 2, kMaximumPixels); }).find("40000x2"),
              std::string::npos);
    EXPECT_NE(errorOf([] { checkPictureSize("x", 20000, 20000, kMaximumPixels); }).find("2^28"),
              std::string::npos);
}

TEST_F(ClipTest, SpanBeyondAnUncountedClipFailsAtItsEnd) {
    transcode(path("uncounted.nut"));
    ReaderOptions options;
    options.frames = FrameSpan{8, 20};
    ClipReader reader(path("uncounted.nut"), options);
    EXPECT_NE(errorOf([&] { readAll(reader); }).find("has 10 (0-9)"), std::string::npos);
}

TEST_F(ClipTest, OutputErrorsTellWhatToChangeAndLeaveNothing) {
    struct Case {
        const char* output;
        WriterOptions options; // container's format, encoder, pixel format, encoder's options
        const char* message;
    };

    const Case cases[] = {
        {"a.mp4", {{}, {"nonsense", {}, {}}, false}, "no video encoder 'nonsense'"},
        {"a.mp4", {{}, {"aac", {}, {}}, false}, "not a video encoder"},
        {"a.webm", {{}, {"libx264", {}, {}}, false}, "cannot hold h264"},
        {"a.mp4", {{}, {{}, "rgb24", {}}, false}, "does not take pixel format rgb24"},
        {"a.gif", {{}, {{}, "pal8", {}}, false}, "cannot be written in pixel format pal8"},
        {"a.mp4", {{}, {{}, "nonsense", {}}, false}, "no pixel format 'nonsense'"},
        {"a.mp4", {{}, {{}, {}, {{"crf", "abc"}}}, false}, "crf to value abc"},
        {"a.mp4", {{}, {{}, {}, {{"nonsense", "1"}}}, false}, "the option 'nonsense'"},
        {"a.nonsense", {}, "does not tell the file format"},
        {"a.mp4", {"nonsense", {}, false}, "no output format 'nonsense'"},
        {"a.png", {}, "is a single image"},
        {"a.%d.mp4", {}, "numbered name is for an image sequence"},
        {"clip.mov", {}, "is the input"},
        {"/dev/full", {"nut", {}, false}, "No space left"},
    };
    for (const Case& c : cases) {
        const std::string output = c.output[0] == '/' ? c.output : path(c.output);
        const std::string error = errorOf([&] { transcode(output, c.options); });
        EXPECT_NE(error.find(c.message), std::string::npos) << c.output << " gave: " << error;
        EXPECT_EQ(fileCount(), 1U) << c.message;
    }
}

} // namespace
} // namespace tintwell::media
