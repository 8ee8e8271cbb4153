#include "media/ffmpeg_log.h"
#include "media/media_error.h"
#include "media/neighbours/file_neighbours.h"
#include "test_clip.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>
#include <random>

namespace tintwell::media {
namespace {

namespace fs = std::filesystem;

constexpr int kFrames = 40;
constexpr int kWidth = 96;
constexpr int kHeight = 64;

/// How a clip is made, and what is done to its packets before they are stored.
struct Recipe {
    std::string name; ///< of the file
    std::string codec;
    std::string settings; ///< x264's own, or empty
    AVPixelFormat pixelFormat = AV_PIX_FMT_YUV420P;
    int skippedPackets = 0;
    int damageEvery = 0;
    bool interlaced = false;
    bool uneven = false;
};

/// A pattern that moves and a tone that changes, so that no two frames are alike.
FramePtr pictureAt(int index, const Recipe& recipe) {
    FramePtr frame = makeFrame();
    frame->width = kWidth;
    frame->height = kHeight;
    frame->format = recipe.pixelFormat;
    frame->pts = recipe.uneven ? 2 * index + index % 2 : 2 * index;
    frame->interlaced_frame = recipe.interlaced ? 1 : 0;
    av_frame_get_buffer(frame.get(), 0);
    for (int plane = 0; plane < 3 && frame->data[plane] != nullptr; ++plane) {
        const int rows =
            recipe.pixelFormat == AV_PIX_FMT_YUV420P && plane > 0 ? kHeight / 2 : kHeight;
        for (int y = 0; y < rows; ++y) {
            for (int x = 0; x < frame->linesize[plane]; ++x) {
                const int value = ((x + 3 * index) ^ (y + index)) * 3 + index * 2 + plane * 40;
                frame->data[plane][y * frame->linesize[plane] + x] =
                    static_cast<std::uint8_t>(value % 160 + 48);
            }
        }
    }
    return frame;
}

class Muxer {
public:
    Muxer(const fs::path& path, const Recipe& recipe) : recipe_(recipe) {
        silenceFfmpeg();
        AVFormatContext* context = nullptr;
        avformat_alloc_output_context2(&context, nullptr, nullptr, path.c_str());
        output_.reset(context);
        const AVCodec* codec = avcodec_find_encoder_by_name(recipe.codec.c_str());
        encoder_.reset(avcodec_alloc_context3(codec));
        encoder_->width = kWidth;
        encoder_->height = kHeight;
        encoder_->pix_fmt = recipe.pixelFormat;
        encoder_->color_range =
            recipe.codec == "mjpeg" ? AVCOL_RANGE_JPEG : AVCOL_RANGE_UNSPECIFIED;
        encoder_->time_base = recipe.codec == "mpeg2video" ? AVRational{1, 25} : AVRational{1, 50};
        encoder_->framerate = {25, 1};
        encoder_->thread_count = 1;
        if (recipe.codec == "mpeg2video") {
            encoder_->gop_size = 12;
            encoder_->max_b_frames = 2;
            encoder_->flags |= recipe.interlaced ? AV_CODEC_FLAG_INTERLACED_DCT : 0;
        }
        if ((output_->oformat->flags & AVFMT_GLOBALHEADER) != 0) {
            encoder_->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
        }
        Dictionary settings;
        if (!recipe.settings.empty()) {
            settings.set("x264-params", recipe.settings);
        }
        EXPECT_GE(avcodec_open2(encoder_.get(), codec, settings.inOut()), 0);
        AVStream* stream = avformat_new_stream(output_.get(), nullptr);
        avcodec_parameters_from_context(stream->codecpar, encoder_.get());
        stream->time_base = encoder_->time_base;
        stream->avg_frame_rate = {25, 1};
        if ((output_->oformat->flags & AVFMT_NOFILE) == 0) {
            EXPECT_GE(avio_open(&output_->pb, path.c_str(), AVIO_FLAG_WRITE), 0);
        }
        EXPECT_GE(avformat_write_header(output_.get(), nullptr), 0);
    }

    void write(FramePtr frame) {
        if (frame && recipe_.codec == "mpeg2video") {
            frame->pts /= 2;
        }
        EXPECT_GE(avcodec_send_frame(encoder_.get(), frame.get()), 0);
        const PacketPtr packet = makePacket();
        while (avcodec_receive_packet(encoder_.get(), packet.get()) == 0) {
            const int number = packets_++;
            if (number < recipe_.skippedPackets) {
                continue;
            }
            if (recipe_.damageEvery > 0 && number % recipe_.damageEvery == 5) {
                av_packet_make_writable(packet.get());
                for (int i = packet->size / 3; i < packet->size; i += 7) {
                    packet->data[i] = static_cast<std::uint8_t>(packet->data[i] ^ 0x5a);
                }
            }
            av_packet_rescale_ts(packet.get(), encoder_->time_base, output_->streams[0]->time_base);
            EXPECT_GE(av_interleaved_write_frame(output_.get(), packet.get()), 0);
        }
    }

    void finish() {
        write(nullptr);
        EXPECT_GE(av_write_trailer(output_.get()), 0);
        if ((output_->oformat->flags & AVFMT_NOFILE) == 0) {
            avio_closep(&output_->pb);
        }
    }

private:
    Recipe recipe_;
    OutputPtr output_;
    CodecContextPtr encoder_;
    int packets_ = 0;
};

void makeClip(const fs::path& path, const Recipe& recipe, int frames) {
    Muxer muxer(path, recipe);
    for (int i = 0; i < frames; ++i) {
        muxer.write(pictureAt(i, recipe));
    }
    muxer.finish();
}

/// The pixels of a world without the padding of its rows.
std::vector<std::byte> bytesOf(const host::FrameBuffer& world) {
    const std::size_t used =
        static_cast<std::size_t>(world.width()) * static_cast<std::size_t>(world.depth()) / 2;
    std::vector<std::byte> bytes;
    for (std::int32_t y = 0; y < world.height(); ++y) {
        bytes.insert(bytes.end(), world.row(y), world.row(y) + used);
    }
    return bytes;
}

using Worlds = std::vector<std::vector<std::byte>>;

Worlds decodeInOrder(const std::string& input, host::SampleDepth depth) {
    ClipReader reader(input, {});
    ClipToWorld toWorld(reader.info(), depth);
    host::FrameBuffer world(reader.info().width, reader.info().height, depth);
    Worlds worlds;
    while (const std::optional<ReadItem> item = reader.read()) {
        if (item->frame) {
            toWorld.convert(*item->frame, world);
            worlds.push_back(bytesOf(world));
        }
    }
    return worlds;
}

/// Forward, backward, as smoothing begins in the middle of a clip, and in no order.
std::vector<std::vector<int>> patternsFor(int frames) {
    std::vector<int> forward(static_cast<std::size_t>(frames));
    std::iota(forward.begin(), forward.end(), 0);
    const std::vector<int> backward(forward.rbegin(), forward.rend());
    std::vector<int> smoothing;
    const int first = 2 * frames / 3;
    for (int step = 1; step <= first; ++step) {
        smoothing.push_back(first - step);
    }
    for (int step = 1; first + step + 1 < frames; ++step) {
        smoothing.insert(smoothing.end(), {first + step, first + step + 1});
    }
    std::vector<int> random = forward;
    random.insert(random.end(), forward.begin(), forward.end());
    std::shuffle(random.begin(), random.end(), std::minstd_rand(7));
    return {forward, backward, smoothing, random};
}

class FileNeighboursTest : public testing::TestWithParam<Recipe> {};

TEST_P(FileNeighboursTest, everyFrameIsThatOfDecodingFromTheStart) {
    const TemporaryFolder folder;
    const std::string input = folder.path() / GetParam().name;
    makeClip(input, GetParam(), kFrames);
    const auto depth = GetParam().pixelFormat == AV_PIX_FMT_YUV420P ? host::SampleDepth::Bits8
                                                                    : host::SampleDepth::Bits16;
    const Worlds expected = decodeInOrder(input, depth);
    const auto frames = static_cast<int>(expected.size());
    ASSERT_GT(frames, kFrames / 2);
    const FileNeighbours::Limits usual;
    for (const auto& limits : {FileNeighbours::Limits{0, 0}, usual}) {
        for (const std::vector<int>& pattern : patternsFor(frames)) {
            FileNeighbours neighbours(input, {}, depth, limits);
            for (const int index : pattern) {
                ASSERT_TRUE(bytesOf(*neighbours.frame(index)) ==
                            expected[static_cast<std::size_t>(index)])
                    << "frame " << index << " of " << frames << ", keeping " << limits.keptBytes;
            }
            EXPECT_FALSE(neighbours.frameCount() && *neighbours.frameCount() != frames);
            EXPECT_THROW(neighbours.frame(frames), MediaError);
            EXPECT_EQ(neighbours.frameCount(), frames);
            EXPECT_TRUE(bytesOf(*neighbours.frame(frames - 1)) == expected.back());
        }
    }
}

INSTANTIATE_TEST_SUITE_P(
    Streams, FileNeighboursTest,
    testing::Values(
        Recipe{"closed.mp4", "libx264", "keyint=12:bframes=3:open-gop=0"},
        Recipe{"open.mkv", "libx264", "keyint=12:min-keyint=12:bframes=3:open-gop=1"},
        Recipe{"refresh.mkv", "libx264", "keyint=12:intra-refresh=1:bframes=0"},
        Recipe{"elementary.h264", "libx264", "keyint=12:bframes=3:open-gop=1"},
        Recipe{"uneven.mkv", "libx264", "keyint=12:bframes=3", AV_PIX_FMT_YUV420P, 0, 0, false,
               true},
        Recipe{"headless.ts", "libx264", "keyint=12:bframes=3:open-gop=1:repeat-headers=1",
               AV_PIX_FMT_YUV420P, 4},
        Recipe{"damaged.mkv", "libx264", "keyint=12:bframes=3", AV_PIX_FMT_YUV420P, 0, 9},
        Recipe{"fields.mpg", "mpeg2video", "", AV_PIX_FMT_YUV420P, 0, 0, true},
        Recipe{"damaged.m2v", "mpeg2video", "", AV_PIX_FMT_YUV420P, 3, 11},
        Recipe{"deep.mkv", "ffv1", "", AV_PIX_FMT_YUV444P10}, Recipe{"stills.avi", "mjpeg", ""},
        Recipe{"still.%03d.png", "png", "", AV_PIX_FMT_RGB24}),
    [](const auto& info) {
        std::string name = info.param.name;
        std::ranges::replace_if(
            name, [](char c) { return c == '.' || c == '%'; }, '_');
        return name;
    });

// Counting from the first frame and from a key frame must come to the same one.
TEST(ClipReader, LeapsToTheFrameThatReadingOnComesTo) {
    constexpr int kLong = 180;
    for (const Recipe& recipe :
         {Recipe{"closed.mp4", "libx264", "keyint=40:bframes=3:open-gop=0"},
          Recipe{"open.mov", "libx264", "keyint=25:min-keyint=25:bframes=5:open-gop=1"},
          Recipe{"refresh.mp4", "libx264", "keyint=25:intra-refresh=1:bframes=0"},
          Recipe{"uneven.mp4", "libx264", "keyint=25", AV_PIX_FMT_YUV420P, 0, 0, false, true},
          Recipe{"index.mkv", "libx264", "keyint=25:bframes=3"},
          Recipe{"fields.mov", "mpeg2video", "", AV_PIX_FMT_YUV420P, 0, 0, true},
          Recipe{"deep.mov", "ffv1", "", AV_PIX_FMT_YUV444P10},
          Recipe{"reordered.avi", "mpeg2video", ""}}) {
        SCOPED_TRACE(recipe.name);
        const TemporaryFolder folder;
        const std::string input = folder.path() / recipe.name;
        makeClip(input, recipe, kLong);
        const Worlds expected = decodeInOrder(input, host::SampleDepth::Bits16);
        ASSERT_EQ(expected.size(), kLong);
        bool leaps = false;
        for (int index = 90; index < kLong; index += 7) {
            ClipReader reader(input, {});
            ASSERT_TRUE(reader.leapTo(index));
            ClipToWorld toWorld(reader.info(), host::SampleDepth::Bits16);
            host::FrameBuffer world(kWidth, kHeight, host::SampleDepth::Bits16);
            const std::optional<ReadItem> item = reader.read();
            leaps = leaps || item->index > 0;
            ASSERT_TRUE(item->index == index || item->index == 0) << index;
            toWorld.convert(*item->frame, world);
            ASSERT_TRUE(bytesOf(world) == expected[static_cast<std::size_t>(item->index)]) << index;
        }
        const std::string extension = fs::path(input).extension();
        EXPECT_EQ(leaps, recipe.name != "uneven.mp4" && extension != ".mkv" && extension != ".avi");
    }
}

} // namespace
} // namespace tintwell::media
