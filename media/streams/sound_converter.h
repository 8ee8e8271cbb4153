#pragma once

#include "media/ffmpeg_log.h"
#include "media/streams/stream_converter.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

extern "C" {
#include <libavutil/audio_fifo.h>
#include <libswresample/swresample.h>
}

namespace tintwell::media {

struct ResamplerDeleter {
    void operator()(SwrContext* resampler) const { swr_free(&resampler); }
};

struct SampleFifoDeleter {
    void operator()(AVAudioFifo* fifo) const { av_audio_fifo_free(fifo); }
};

/// Sound in another codec, with the source's channels and sample rate where the codec has them.
/// Every sample keeps its time: gaps become silence, the delay of either codec is taken off.
class SoundConverter : public StreamConverter {
public:
    struct Target {
        const AVCodec& encoder;
        int sampleRate = 0;        ///< the only one that will do; 0: any
        bool startsAtZero = false; ///< sound that begins later is to begin with silence
        bool globalHeader = false; ///< as AV_CODEC_FLAG_GLOBAL_HEADER has it
    };

    /// `name` is what messages call the stream.
    SoundConverter(const AVStream& source, const Target& target, const std::string& name);

    const AVCodecContext& encoder() const override { return *encoder_; }

    std::vector<PacketPtr> convert(AVPacket* packet) override;

    /// With silence, where it is shorter.
    void lastUntil(const Moment& end) override { end_ = ticksOf(end, encoder_->time_base); }

    std::int64_t damaged() const override { return damaged_; }

    /// Whether there are fewer channels than the source's.
    bool mixesDown() const { return mixesDown_; }

private:
    void openDecoder(const AVStream& source);
    void openEncoder(const AVStream& source, const Target& target);
    void decode(const AVPacket* packet);
    void place(const AVFrame& frame);
    void makeResampler(const AVFrame& frame);
    void resample(const AVFrame* frame);
    void store(const AVFrame& samples);
    void addSilence(std::int64_t count);
    void encode(bool ends);
    void encodeFrame(const AVFrame* frame);
    FramePtr makeSamples(int count) const;
    void fail(int code, FfmpegPart part, const char* action) const;

    std::string name_;
    AVRational timeBase_;
    CodecContextPtr decoder_;
    CodecContextPtr encoder_;
    std::unique_ptr<SwrContext, ResamplerDeleter> resampler_;
    FramePtr resampled_; ///< the format that the resampler was made for
    std::unique_ptr<AVAudioFifo, SampleFifoDeleter> fifo_;
    bool startsAtZero_;
    bool mixesDown_ = false;
    bool begun_ = false;
    std::int64_t stored_ = 0;  ///< the sample that is stored next, counted from time 0
    std::int64_t toDrop_ = 0;  ///< of those that come next
    std::int64_t encoded_ = 0; ///< the sample that is encoded next
    std::int64_t end_ = 0;     ///< the sample that nothing has to come after
    std::int64_t damaged_ = 0;
    std::vector<PacketPtr> packets_;
};

} // namespace tintwell::media
