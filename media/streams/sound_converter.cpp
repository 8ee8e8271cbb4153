#include "media/streams/sound_converter.h"

#include "media/ffmpeg_log.h"
#include "media/media_error.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <new>
#include <span>
#include <utility>

extern "C" {
#include <libavutil/channel_layout.h>
#include <libavutil/mathematics.h>
#include <libavutil/samplefmt.h>
}

namespace tintwell::media {
namespace {

/// Of the sample rate. Timestamps in milliseconds and damaged ones are off by less.
constexpr int kToleratedPart = 20;
/// Samples per packet where the encoder takes any number.
constexpr int kUsualFrame = 1024;
constexpr std::int64_t kSilenceAtOnce = 1 << 16;

template <typename Value>
std::span<const Value> listOf(const Value* first, Value end) {
    std::size_t count = 0;
    while (first != nullptr && first[count] != end) {
        ++count;
    }
    return {first, count};
}

/// The same rate, or the next one above, or the highest.
int rateFor(const AVCodec& codec, int wanted) {
    const std::span<const int> offered = listOf(codec.supported_samplerates, 0);
    if (offered.empty() || std::ranges::find(offered, wanted) != offered.end()) {
        return wanted;
    }
    int best = 0;
    for (const int rate : offered) {
        const bool closer = rate >= wanted ? best < wanted || rate < best : rate > best;
        best = closer ? rate : best;
    }
    return best;
}

/// The sample format that holds all of the source's bits, and as few more as may be.
AVSampleFormat formatFor(const AVCodec& codec, AVSampleFormat wanted) {
    const auto offered = listOf(codec.sample_fmts, AV_SAMPLE_FMT_NONE);
    if (offered.empty()) {
        return wanted;
    }
    const auto isReal = [](AVSampleFormat format) {
        const AVSampleFormat packed = av_get_packed_sample_fmt(format);
        return packed == AV_SAMPLE_FMT_FLT || packed == AV_SAMPLE_FMT_DBL;
    };
    const auto cost = [&](AVSampleFormat format) {
        const int more = av_get_bytes_per_sample(format) - av_get_bytes_per_sample(wanted);
        return (more < 0 ? -100 * more : more) + (isReal(format) != isReal(wanted) ? 10 : 0);
    };
    return *std::ranges::min_element(offered, {}, cost);
}

/// The source's channels, or the most of them that the encoder knows.
void chooseLayout(const AVCodec& codec, const AVChannelLayout& source, AVChannelLayout& chosen) {
    const int count = source.nb_channels;
    const AVChannelLayout* best = nullptr;
    for (const AVChannelLayout* one = codec.ch_layouts; one != nullptr && one->nb_channels != 0;
         ++one) {
        const bool same = av_channel_layout_compare(one, &source) == 0;
        const bool better =
            one->nb_channels <= count && (best == nullptr || one->nb_channels > best->nb_channels);
        best = same || better ? one : best;
        if (same) {
            break;
        }
    }
    if (best != nullptr) {
        av_channel_layout_copy(&chosen, best);
    } else if (source.order == AV_CHANNEL_ORDER_UNSPEC) {
        av_channel_layout_default(&chosen, count);
    } else {
        av_channel_layout_copy(&chosen, &source);
    }
}

/// What nobody hears the difference of, per channel; 0 where the encoder knows.
std::int64_t bitRateFor(AVCodecID codec) {
    constexpr std::array<std::pair<AVCodecID, std::int64_t>, 6> kRates{
        {{AV_CODEC_ID_AAC, 96'000},
         {AV_CODEC_ID_OPUS, 80'000},
         {AV_CODEC_ID_MP2, 128'000},
         {AV_CODEC_ID_MP3, 128'000},
         {AV_CODEC_ID_AC3, 96'000},
         {AV_CODEC_ID_WMAV2, 96'000}}};
    const auto found = std::ranges::find(kRates, codec, &std::pair<AVCodecID, std::int64_t>::first);
    return found != kRates.end() ? found->second : 0;
}

void require(bool there) {
    if (!there) {
        throw std::bad_alloc();
    }
}

} // namespace

SoundConverter::SoundConverter(const AVStream& source, const Target& target,
                               const std::string& name)
    : name_(name), timeBase_(source.time_base), startsAtZero_(target.startsAtZero) {
    openDecoder(source);
    openEncoder(source, target);
    fifo_.reset(av_audio_fifo_alloc(encoder_->sample_fmt, encoder_->ch_layout.nb_channels, 1));
    require(fifo_ != nullptr);
}

void SoundConverter::fail(int code, FfmpegPart part, const char* action) const {
    if (code == AVERROR(ENOMEM)) {
        throw std::bad_alloc();
    }
    if (code < 0) {
        throw MediaError(name_ + ": " + action + " (" + explainFailure(code, part) + ")");
    }
}

void SoundConverter::openDecoder(const AVStream& source) {
    const AVCodec* codec = avcodec_find_decoder(source.codecpar->codec_id);
    decoder_.reset(avcodec_alloc_context3(codec));
    require(decoder_ != nullptr &&
            avcodec_parameters_to_context(decoder_.get(), source.codecpar) >= 0);
    decoder_->pkt_timebase = source.time_base; // to take the codec's delay off
    takeFfmpegMessage(FfmpegPart::Decoder);
    fail(avcodec_open2(decoder_.get(), codec, nullptr), FfmpegPart::Decoder, "cannot be decoded");
}

void SoundConverter::openEncoder(const AVStream& source, const Target& target) {
    const AVCodec& codec = target.encoder;
    const AVCodecParameters& parameters = *source.codecpar;
    encoder_.reset(avcodec_alloc_context3(&codec));
    require(encoder_ != nullptr);
    encoder_->sample_rate =
        rateFor(codec, target.sampleRate != 0 ? target.sampleRate : parameters.sample_rate);
    encoder_->sample_fmt = formatFor(codec, static_cast<AVSampleFormat>(parameters.format));
    chooseLayout(codec, parameters.ch_layout, encoder_->ch_layout);
    mixesDown_ = encoder_->ch_layout.nb_channels < parameters.ch_layout.nb_channels;
    encoder_->time_base = {1, encoder_->sample_rate};
    encoder_->bits_per_raw_sample =
        std::min(parameters.bits_per_raw_sample, 8 * av_get_bytes_per_sample(encoder_->sample_fmt));
    if (const std::int64_t rate = bitRateFor(codec.id); rate > 0) {
        encoder_->bit_rate = rate * encoder_->ch_layout.nb_channels;
    }
    encoder_->strict_std_compliance = FF_COMPLIANCE_EXPERIMENTAL;
    if (target.globalHeader) {
        encoder_->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
    }
    takeFfmpegMessage(FfmpegPart::Encoder);
    fail(avcodec_open2(encoder_.get(), &codec, nullptr), FfmpegPart::Encoder,
         (std::string("cannot be converted to ") + codec.name).c_str());
}

std::vector<PacketPtr> SoundConverter::convert(AVPacket* packet) {
    decode(packet);
    if (packet == nullptr) {
        if (resampler_) {
            resample(nullptr);
        }
        addSilence(end_ - stored_);
        encode(true);
        encodeFrame(nullptr);
    } else {
        encode(false);
    }
    return std::exchange(packets_, {});
}

void SoundConverter::decode(const AVPacket* packet) {
    const int sent = avcodec_send_packet(decoder_.get(), packet);
    if (sent < 0 && sent != AVERROR_EOF) {
        fail(sent == AVERROR(ENOMEM) ? sent : 0, FfmpegPart::Decoder, "");
        ++damaged_;
    }
    FramePtr frame = makeFrame();
    int code = 0;
    while ((code = avcodec_receive_frame(decoder_.get(), frame.get())) >= 0) {
        place(*frame);
        resample(frame.get());
        av_frame_unref(frame.get());
    }
    if (code != AVERROR(EAGAIN) && code != AVERROR_EOF) {
        fail(code == AVERROR(ENOMEM) ? code : 0, FfmpegPart::Decoder, "");
        ++damaged_;
    }
}

/// Sees to it that the frame's first sample gets its own time.
void SoundConverter::place(const AVFrame& frame) {
    if (frame.best_effort_timestamp == AV_NOPTS_VALUE) {
        begun_ = true;
        return;
    }
    const std::int64_t time =
        av_rescale_q(frame.best_effort_timestamp, timeBase_, encoder_->time_base);
    if (!begun_) {
        begun_ = true;
        stored_ = encoded_ = startsAtZero_ ? 0 : time;
        toDrop_ = std::max<std::int64_t>(0, stored_ - time);
        addSilence(std::max<std::int64_t>(0, time - stored_));
        return;
    }
    const std::int64_t waiting =
        resampler_ ? swr_get_delay(resampler_.get(), encoder_->sample_rate) : 0;
    const std::int64_t gap = time - (stored_ - toDrop_ + waiting);
    if (std::abs(gap) * kToleratedPart < encoder_->sample_rate) {
        return;
    }
    if (gap > 0) {
        addSilence(gap);
    } else {
        toDrop_ = -gap;
    }
}

void SoundConverter::makeResampler(const AVFrame& frame) {
    resampled_ = makeFrame();
    resampled_->format = frame.format;
    resampled_->sample_rate = frame.sample_rate;
    SwrContext* made = nullptr;
    int code = av_channel_layout_copy(&resampled_->ch_layout, &frame.ch_layout);
    if (code >= 0) {
        code = swr_alloc_set_opts2(&made, &encoder_->ch_layout, encoder_->sample_fmt,
                                   encoder_->sample_rate, &resampled_->ch_layout,
                                   static_cast<AVSampleFormat>(frame.format), frame.sample_rate, 0,
                                   nullptr);
        resampler_.reset(made);
    }
    fail(code >= 0 ? swr_init(made) : code, FfmpegPart::Encoder, "cannot be converted");
}

/// Null: what the resampler still has.
void SoundConverter::resample(const AVFrame* frame) {
    const bool changed =
        frame != nullptr && resampled_ &&
        (frame->format != resampled_->format || frame->sample_rate != resampled_->sample_rate ||
         av_channel_layout_compare(&frame->ch_layout, &resampled_->ch_layout) != 0);
    if (changed) {
        resample(nullptr);
        resampler_.reset();
    }
    if (!resampler_) {
        makeResampler(*frame);
    }
    const int room =
        swr_get_out_samples(resampler_.get(), frame != nullptr ? frame->nb_samples : 0);
    if (room <= 0) {
        return;
    }
    const FramePtr output = makeSamples(room);
    const int count = swr_convert(
        resampler_.get(), output->extended_data, room,
        frame != nullptr ? const_cast<const std::uint8_t**>(frame->extended_data) : nullptr,
        frame != nullptr ? frame->nb_samples : 0);
    fail(count, FfmpegPart::Encoder, "cannot be converted");
    output->nb_samples = count;
    store(*output);
}

FramePtr SoundConverter::makeSamples(int count) const {
    FramePtr frame = makeFrame();
    frame->format = encoder_->sample_fmt;
    frame->sample_rate = encoder_->sample_rate;
    frame->nb_samples = count;
    fail(av_channel_layout_copy(&frame->ch_layout, &encoder_->ch_layout), FfmpegPart::Encoder,
         "cannot be converted");
    fail(av_frame_get_buffer(frame.get(), 0), FfmpegPart::Encoder, "cannot be converted");
    return frame;
}

void SoundConverter::store(const AVFrame& samples) {
    const int skipped = static_cast<int>(std::min<std::int64_t>(toDrop_, samples.nb_samples));
    toDrop_ -= skipped;
    const int planar = av_sample_fmt_is_planar(encoder_->sample_fmt);
    const int channels = encoder_->ch_layout.nb_channels;
    const std::ptrdiff_t step = std::ptrdiff_t{av_get_bytes_per_sample(encoder_->sample_fmt)} *
                                (planar != 0 ? 1 : channels);
    std::vector<void*> planes;
    for (int plane = 0; plane < (planar != 0 ? channels : 1); ++plane) {
        planes.push_back(samples.extended_data[plane] + step * skipped);
    }
    const int count = samples.nb_samples - skipped;
    require(av_audio_fifo_write(fifo_.get(), planes.data(), count) >= count);
    stored_ += count;
}

void SoundConverter::addSilence(std::int64_t count) {
    while (count > 0) {
        const int part = static_cast<int>(std::min(count, kSilenceAtOnce));
        const FramePtr silence = makeSamples(part);
        av_samples_set_silence(silence->extended_data, 0, part, encoder_->ch_layout.nb_channels,
                               encoder_->sample_fmt);
        const std::int64_t toDrop = std::exchange(toDrop_, 0);
        store(*silence);
        toDrop_ = toDrop;
        count -= part;
        encode(false);
    }
}

void SoundConverter::encode(bool ends) {
    const int size = encoder_->frame_size > 0 ? encoder_->frame_size : kUsualFrame;
    while (av_audio_fifo_size(fifo_.get()) >= (ends ? 1 : size)) {
        const FramePtr frame = makeSamples(std::min(size, av_audio_fifo_size(fifo_.get())));
        require(av_audio_fifo_read(fifo_.get(), reinterpret_cast<void**>(frame->extended_data),
                                   frame->nb_samples) == frame->nb_samples);
        frame->pts = encoded_;
        encoded_ += frame->nb_samples;
        encodeFrame(frame.get());
    }
}

void SoundConverter::encodeFrame(const AVFrame* frame) {
    fail(avcodec_send_frame(encoder_.get(), frame), FfmpegPart::Encoder, "cannot be encoded");
    while (true) {
        PacketPtr packet = makePacket();
        const int code = avcodec_receive_packet(encoder_.get(), packet.get());
        if (code == AVERROR(EAGAIN) || code == AVERROR_EOF) {
            return;
        }
        fail(code, FfmpegPart::Encoder, "cannot be encoded");
        // What the codec puts in front would delay all the rest where nobody tells it apart.
        if (!startsAtZero_ || packet->pts == AV_NOPTS_VALUE ||
            2 * packet->pts >= -packet->duration) {
            packets_.push_back(std::move(packet));
        }
    }
}

} // namespace tintwell::media
