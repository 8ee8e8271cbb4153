#include "media/streams/stream_plan.h"

#include "media/media_error.h"
#include "media/streams/carriage.h"
#include "media/streams/stream_copy.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <optional>
#include <string_view>
#include <utility>

extern "C" {
#include <libavutil/mathematics.h>
}

namespace tintwell::media {
namespace {

using Fate = PlannedStream::Fate;

/// What the decision on a stream depends on.
struct Case {
    const AVFormatContext& source;
    const AVStream& stream;
    const AVOutputFormat& container;
    const StreamWishes& wishes;
    const std::string& name;

    AVCodecID codec() const { return stream.codecpar->codec_id; }

    std::string codecName() const { return avcodec_get_name(codec()); }

    std::string file() const { return std::string("a ") + container.name + " file"; }

    [[noreturn]] void refuse(const std::string& why) const {
        throw MediaError(name + ": the source's " + describeStream(stream) + " " + why);
    }
};

PlannedStream leftOut(const Case& one, const std::string& reason, bool asked = false) {
    return {one.stream.index, Fate::LeaveOut, nullptr, reason, asked, !asked};
}

PlannedStream kept(const Case& one, Fate fate = Fate::Copy) {
    return {one.stream.index, fate, nullptr, {}, false, false};
}

/// What can be said without looking at what the container holds; empty where nothing can.
std::optional<PlannedStream> planByWish(const Case& one, StreamWish wish, const char* option) {
    if (wish == StreamWish::None) {
        return leftOut(one, std::string("as asked for with ") + option + " none", true);
    }
    if (wish != StreamWish::Copy) {
        return {};
    }
    if (!canBeWritten(one.container, one.stream)) {
        one.refuse("cannot be copied: " + one.file() + " does not take it; without " + option +
                   " copy it is converted where that can be");
    }
    return kept(one);
}

/// Containers that count samples lose what tells that a stream begins after the others.
bool losesItsStart(const Case& one) {
    constexpr std::int64_t kNoticeable = AV_TIME_BASE / 50;
    const std::int64_t clip = one.source.start_time;
    const std::int64_t own = one.stream.start_time;
    return countsSamples(one.container) && clip != AV_NOPTS_VALUE && own != AV_NOPTS_VALUE &&
           av_rescale_q(own, one.stream.time_base, {1, AV_TIME_BASE}) - clip > kNoticeable;
}

const AVCodec* wantedEncoder(const Case& one) {
    const std::string& wanted = one.wishes.audioCodec;
    const AVCodec* encoder = avcodec_find_encoder_by_name(wanted.c_str());
    if (encoder == nullptr) {
        const AVCodecDescriptor* descriptor = avcodec_descriptor_get_by_name(wanted.c_str());
        encoder = descriptor != nullptr ? avcodec_find_encoder(descriptor->id) : nullptr;
    }
    if (encoder == nullptr || encoder->type != AVMEDIA_TYPE_AUDIO) {
        throw MediaError("there is no audio encoder '" + wanted +
                         "'; 'ffmpeg -encoders' lists them");
    }
    if (avformat_query_codec(&one.container, encoder->id, FF_COMPLIANCE_EXPERIMENTAL) == 0) {
        throw MediaError(one.name + ": " + one.file() + " cannot hold " +
                         avcodec_get_name(encoder->id) + " sound; choose another codec");
    }
    return encoder;
}

/// FFmpeg's own encoders of these are worse than the libraries', or experimental.
const AVCodec* encoderFor(AVCodecID codec) {
    constexpr std::array<std::pair<AVCodecID, const char*>, 2> kBetter{
        {{AV_CODEC_ID_OPUS, "libopus"}, {AV_CODEC_ID_MP3, "libmp3lame"}}};
    for (const auto& [id, name] : kBetter) {
        if (const AVCodec* encoder = avcodec_find_encoder_by_name(name); encoder && id == codec) {
            return encoder;
        }
    }
    return avcodec_find_encoder(codec);
}

PlannedStream convertedSound(const Case& one, const AVCodec& encoder, const std::string& reason) {
    PlannedStream planned{one.stream.index, Fate::Convert, &encoder, reason, false, false};
    // Samples that are only put into other packets are none of the user's business.
    if (encoder.id == one.codec() && isLossless(encoder.id)) {
        planned.reason.clear();
    } else if (isLossless(one.codec()) && !isLossless(encoder.id)) {
        planned.reason += "; the source's sound is lossless, the output's is not";
        planned.loses = true;
    }
    return planned;
}

PlannedStream planSound(const Case& one) {
    if (auto planned = planByWish(one, one.wishes.audio, "--audio")) {
        return *planned;
    }
    const bool asked = one.wishes.audio == StreamWish::Convert || !one.wishes.audioCodec.empty();
    const bool plays = playsFrom(one.container, one.stream);
    // Uncompressed sound costs nothing to put right.
    const bool counted = plays && countsSamples(one.container) &&
                         (losesItsStart(one) || av_get_exact_bits_per_sample(one.codec()) > 0);
    if (plays && !asked && !counted) {
        return kept(one);
    }
    const AVCodec* encoder = nullptr;
    if (!one.wishes.audioCodec.empty()) {
        encoder = wantedEncoder(one);
    } else {
        const bool keepsCodec = plays && !asked && avcodec_find_encoder(one.codec()) != nullptr;
        encoder = encoderFor(keepsCodec ? one.codec()
                                        : soundCodecFor(one.container, *one.stream.codecpar));
    }
    if (encoder == nullptr || one.container.audio_codec == AV_CODEC_ID_NONE) {
        return leftOut(one, "as " + one.file() + " holds no sound");
    }
    if (avcodec_find_decoder(one.codec()) == nullptr) {
        return leftOut(one, "as " + one.codecName() + " cannot be decoded and does not play from " +
                                one.file());
    }
    const int rate = onlySampleRate(one.container);
    const bool otherRate = rate != 0 && one.stream.codecpar->sample_rate != rate;
    return convertedSound(
        one, *encoder,
        asked       ? "as asked for"
        : counted   ? "as it begins late, which " + one.file() + " cannot tell"
        : otherRate ? "as " + one.file() + " holds sound of " + std::to_string(rate) + " Hz only"
                    : "as " + one.codecName() + " does not play from " + one.file());
}

/// Subtitles without a way into the container.
PlannedStream unconvertible(const Case& one, bool asked) {
    const AVCodecDescriptor* descriptor = avcodec_descriptor_get(one.codec());
    const bool bitmaps =
        descriptor != nullptr && (descriptor->props & AV_CODEC_PROP_BITMAP_SUB) != 0;
    const std::string reason = "as " + one.file() + " does not hold " +
                               (bitmaps ? "subtitles that are pictures" : one.codecName());
    if (asked) {
        one.refuse("cannot be converted, " + reason);
    }
    return leftOut(one, reason + (bitmaps ? "" : ", nor what it could be converted to"));
}

PlannedStream planSubtitles(const Case& one) {
    if (auto planned = planByWish(one, one.wishes.subtitles, "--subtitles")) {
        return *planned;
    }
    const bool asked = one.wishes.subtitles == StreamWish::Convert;
    // Lines without an end stand until the next one.
    const bool endless = std::string_view(one.container.name) == "nut";
    const std::string loss = "without the times at which its lines end";
    if (playsFrom(one.container, one.stream) && !asked) {
        PlannedStream planned = kept(one);
        planned.loses = endless;
        planned.reason = endless ? loss : "";
        return planned;
    }
    const AVCodecID target = subtitleCodecFor(one.container, one.codec());
    const AVCodec* encoder = target != AV_CODEC_ID_NONE ? avcodec_find_encoder(target) : nullptr;
    if (encoder == nullptr || avcodec_find_decoder(one.codec()) == nullptr) {
        return unconvertible(one, asked);
    }
    const std::string reason =
        asked ? "as asked for" : "as " + one.codecName() + " is not shown from " + one.file();
    return {one.stream.index, Fate::Convert, encoder, reason + (endless ? ", " + loss : ""), false,
            endless};
}

/// FFmpeg passes on few kinds of data so that they mean the same again.
bool isKnownData(const Case& one) {
    constexpr std::array kOfTransport{AV_CODEC_ID_SMPTE_KLV, AV_CODEC_ID_SCTE_35,
                                      AV_CODEC_ID_TIMED_ID3};
    const bool transports = std::string_view(one.container.name) == "mpegts" &&
                            std::string_view(one.source.iformat->name) == "mpegts";
    return transports && std::ranges::find(kOfTransport, one.codec()) != kOfTransport.end();
}

PlannedStream planOther(const Case& one) {
    const AVMediaType kind = one.stream.codecpar->codec_type;
    const bool cover = (one.stream.disposition & AV_DISPOSITION_ATTACHED_PIC) != 0;
    if (canAttachPicture(one.container, one.stream)) {
        return kept(one, Fate::Attach);
    }
    if (kind == AVMEDIA_TYPE_VIDEO && !cover && !one.wishes.streams) {
        return leftOut(one,
                       "as one video is corrected; --streams with its number takes it along as "
                       "it is");
    }
    const bool holds =
        kind == AVMEDIA_TYPE_DATA ? isKnownData(one) : playsFrom(one.container, one.stream);
    return holds ? kept(one)
                 : leftOut(one,
                           "as " + one.file() +
                               (cover ? " has no place for cover pictures" : " does not hold it"));
}

PlannedStream planStream(const Case& one) {
    const auto& chosen = one.wishes.streams;
    if (isMadeAnew(one.stream)) {
        return kept(one, Fate::Replace);
    }
    if (chosen && std::ranges::find(*chosen, one.stream.index) == chosen->end()) {
        return leftOut(one, "as it was not chosen", true);
    }
    switch (one.stream.codecpar->codec_type) {
    case AVMEDIA_TYPE_AUDIO:
        return planSound(one);
    case AVMEDIA_TYPE_SUBTITLE:
        return planSubtitles(one);
    default:
        return planOther(one);
    }
}

} // namespace

std::vector<PlannedStream> planStreams(const AVFormatContext& source, const AVStream& video,
                                       const AVOutputFormat& container, const StreamWishes& wishes,
                                       const std::string& name) {
    for (const int index : wishes.streams.value_or(std::vector<int>{})) {
        if (index < 0 || std::cmp_greater_equal(index, source.nb_streams)) {
            throw MediaError("the source has no stream " + std::to_string(index) + "; its " +
                             std::to_string(source.nb_streams) + " are counted from 0");
        }
    }
    std::vector<PlannedStream> planned;
    for (unsigned i = 0; i < source.nb_streams; ++i) {
        const AVStream& stream = *source.streams[i];
        const Case one{source, stream, container, wishes, name};
        planned.push_back(stream.index == video.index ? kept(one, Fate::Correct) : planStream(one));
    }
    return planned;
}

std::string tell(const PlannedStream& planned, const AVFormatContext& source) {
    if (planned.reason.empty()) {
        return {};
    }
    const std::string stream = describeStream(*source.streams[planned.index]);
    if (planned.fate == Fate::Convert) {
        return "the source's " + stream + " is converted to " +
               avcodec_get_name(planned.encoder->id) + ", " + planned.reason;
    }
    if (planned.fate == Fate::Copy) {
        return "the source's " + stream + " is kept " + planned.reason;
    }
    return "the source's " + stream + " is left out, " + planned.reason;
}

const char* nameOf(PlannedStream::Fate fate) {
    switch (fate) {
    case Fate::Correct:
        return "correct";
    case Fate::Copy:
        return "copy";
    case Fate::Convert:
        return "convert";
    case Fate::Attach:
        return "attach";
    case Fate::Replace:
        return "replace";
    case Fate::LeaveOut:
        break;
    }
    return "leave out";
}

} // namespace tintwell::media
