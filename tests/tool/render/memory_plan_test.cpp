#include "media/input/decoder_threads.h"
#include "media/memory_estimate.h"
#include "media/write/encoder_memory.h"
#include "tool/render/memory_plan.h"

#include <gtest/gtest.h>

namespace tintwell::tool {
namespace {

struct Rendering {
    const char* name;
    int width;
    AVPixelFormat format;
    AVCodecID input;
    const char* encoder;
    std::int64_t usual; ///< MiB that it keeps to if nobody says otherwise; 0: it takes more
};

class Planned {
public:
    Planned(const Rendering& rendering, std::int64_t memory, int processors)
        : plan_(needs(rendering, memory, processors), memory) {
        const media::PictureFormat pictures{
            rendering.width, rendering.width / 16 * 9, rendering.format, {}};
        encoder_ = media::EncoderMemory::plan(*avcodec_find_encoder_by_name(rendering.encoder),
                                              pictures, {}, plan_.encoderBytes(), processors);
        problem_ = plan_.settle(encoder_.bytes);
    }

    std::int64_t total() const { return plan_.total(encoder_.bytes); }

    std::string problem() const { return problem_; }

    const MemoryPlan& plan() const { return plan_; }

private:
    static MemoryNeeds needs(const Rendering& rendering, std::int64_t memory, int processors) {
        const int height = rendering.width / 16 * 9;
        AVCodecParameters parameters{};
        parameters.codec_id = rendering.input;
        parameters.format = rendering.format;
        parameters.width = rendering.width;
        parameters.height = height;
        parameters.level = rendering.input == AV_CODEC_ID_HEVC ? 153 : 51;
        const std::int64_t all = memory > 0 ? memory : media::usualMemory(rendering.width, height);
        MemoryNeeds needs;
        needs.width = rendering.width;
        needs.height = height;
        needs.pixelFormat = rendering.format;
        needs.depth = rendering.format == AV_PIX_FMT_YUV420P ? host::SampleDepth::Bits8
                                                             : host::SampleDepth::Bits16;
        needs.decoderBytes = media::planDecoder(*avcodec_find_decoder(rendering.input), parameters,
                                                media::decoderShare(all), processors)
                                 .bytes;
        needs.neighbours = NeighbourKind::ReadAgain;
        needs.processors = processors;
        return needs;
    }

    MemoryPlan plan_;
    media::EncoderMemory encoder_;
    std::string problem_;
};

constexpr std::int64_t kMebibyte = std::int64_t{1} << 20;

TEST(MemoryPlan, KeepsToWhatItIsGivenOrSaysWhatIsEnough) {
    for (const Rendering& rendering :
         {Rendering{"8 bits", 1920, AV_PIX_FMT_YUV420P, AV_CODEC_ID_H264, "libx264", 600},
          Rendering{"large", 3840, AV_PIX_FMT_YUV420P, AV_CODEC_ID_H264, "libx264", 1536},
          Rendering{"10 bits", 1920, AV_PIX_FMT_YUV420P10, AV_CODEC_ID_HEVC, "libx265", 0},
          Rendering{"ffv1", 1920, AV_PIX_FMT_YUV420P10, AV_CODEC_ID_HEVC, "ffv1", 0},
          Rendering{"ProRes", 1920, AV_PIX_FMT_YUV422P10, AV_CODEC_ID_PRORES, "prores_ks", 600},
          Rendering{"4:4:4", 3840, AV_PIX_FMT_YUV444P10, AV_CODEC_ID_PRORES, "prores_ks", 0}}) {
        SCOPED_TRACE(rendering.name);
        for (const int processors : {1, 2, 16, 256}) {
            SCOPED_TRACE(processors);
            const Planned usual(rendering, 0, processors);
            EXPECT_EQ(usual.problem(), "");
            if (rendering.usual > 0) {
                EXPECT_LE(usual.total(), rendering.usual * kMebibyte + processors * kMebibyte * 4);
            }
            // What it asks for is enough.
            const std::string problem = Planned(rendering, kMebibyte, processors).problem();
            const std::int64_t least = std::atoll(problem.c_str() + problem.find("memory; ") + 8);
            ASSERT_GT(least, 0) << problem;
            const Planned given(rendering, least * kMebibyte, processors);
            EXPECT_EQ(given.problem(), "");
            EXPECT_LE(given.total(), least * kMebibyte);
        }
    }
}

TEST(MemoryPlan, HasFewerFramesUnderWayWhereThereIsLessRoom) {
    const Rendering clip{"", 1920, AV_PIX_FMT_YUV420P, AV_CODEC_ID_H264, "libx264", 600};
    const Planned rich(clip, 0, 4);
    const Planned poor(clip, 300 * kMebibyte, 4);
    EXPECT_EQ(rich.plan().inputWorlds(), 3U);
    EXPECT_EQ(poor.plan().inputWorlds(), 1U);
    EXPECT_LT(poor.total(), rich.total());
}

} // namespace
} // namespace tintwell::tool
