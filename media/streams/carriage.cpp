#include "media/streams/carriage.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <vector>

namespace tintwell::media {
namespace {

using Codecs = std::vector<AVCodecID>;

/// Stands for the PCM that holds all of the source's bits.
constexpr AVCodecID kPcm = AV_CODEC_ID_FIRST_AUDIO;

struct Row {
    std::vector<std::string_view> containers;
    Codecs sound;     ///< that plays
    Codecs subtitles; ///< that are shown
    // What others become.
    AVCodecID lossless = AV_CODEC_ID_NONE; ///< NONE: what the others become
    AVCodecID stereo = AV_CODEC_ID_NONE;
    AVCodecID surround = AV_CODEC_ID_NONE; ///< NONE: the same
    AVCodecID text = AV_CODEC_ID_NONE;
    AVCodecID bitmaps = AV_CODEC_ID_NONE;
};

/// Nobody but FFmpeg's own program plays most of what is not in here.
const std::vector<Row>& rows() {
    static const std::vector<Row> kRows{
        {.containers = {"mp4", "ipod", "ismv", "psp", "f4v", "3gp", "3g2"},
         .sound = {AV_CODEC_ID_AAC, AV_CODEC_ID_MP3, AV_CODEC_ID_MP2, AV_CODEC_ID_AC3,
                   AV_CODEC_ID_EAC3, AV_CODEC_ID_DTS, AV_CODEC_ID_ALAC, AV_CODEC_ID_FLAC,
                   AV_CODEC_ID_OPUS, AV_CODEC_ID_AMR_NB, AV_CODEC_ID_AMR_WB},
         .subtitles = {AV_CODEC_ID_MOV_TEXT, AV_CODEC_ID_EIA_608, AV_CODEC_ID_TTML,
                       AV_CODEC_ID_DVD_SUBTITLE},
         .stereo = AV_CODEC_ID_AAC,
         .text = AV_CODEC_ID_MOV_TEXT},
        {.containers = {"mov"},
         .sound = {AV_CODEC_ID_AAC,          AV_CODEC_ID_ALAC,          AV_CODEC_ID_MP3,
                   AV_CODEC_ID_MP2,          AV_CODEC_ID_AC3,           AV_CODEC_ID_EAC3,
                   AV_CODEC_ID_PCM_U8,       AV_CODEC_ID_PCM_S8,        AV_CODEC_ID_PCM_S16LE,
                   AV_CODEC_ID_PCM_S16BE,    AV_CODEC_ID_PCM_S24LE,     AV_CODEC_ID_PCM_S24BE,
                   AV_CODEC_ID_PCM_S32LE,    AV_CODEC_ID_PCM_S32BE,     AV_CODEC_ID_PCM_F32LE,
                   AV_CODEC_ID_PCM_F32BE,    AV_CODEC_ID_PCM_F64LE,     AV_CODEC_ID_PCM_F64BE,
                   AV_CODEC_ID_PCM_ALAW,     AV_CODEC_ID_PCM_MULAW,     AV_CODEC_ID_ADPCM_MS,
                   AV_CODEC_ID_ADPCM_IMA_QT, AV_CODEC_ID_ADPCM_IMA_WAV, AV_CODEC_ID_QDM2,
                   AV_CODEC_ID_MACE3,        AV_CODEC_ID_MACE6,         AV_CODEC_ID_AMR_NB,
                   AV_CODEC_ID_AMR_WB},
         .subtitles = {AV_CODEC_ID_MOV_TEXT, AV_CODEC_ID_EIA_608},
         .lossless = kPcm,
         .stereo = AV_CODEC_ID_AAC,
         .text = AV_CODEC_ID_MOV_TEXT},
        {.containers = {"webm"},
         .sound = {AV_CODEC_ID_OPUS, AV_CODEC_ID_VORBIS},
         .subtitles = {AV_CODEC_ID_WEBVTT},
         .stereo = AV_CODEC_ID_OPUS,
         .text = AV_CODEC_ID_WEBVTT},
        {.containers = {"avi"},
         .sound = {AV_CODEC_ID_PCM_U8, AV_CODEC_ID_PCM_S16LE, AV_CODEC_ID_PCM_S24LE,
                   AV_CODEC_ID_PCM_S32LE, AV_CODEC_ID_PCM_F32LE, AV_CODEC_ID_PCM_F64LE,
                   AV_CODEC_ID_PCM_ALAW, AV_CODEC_ID_PCM_MULAW, AV_CODEC_ID_MP2, AV_CODEC_ID_MP3,
                   AV_CODEC_ID_AC3, AV_CODEC_ID_AAC, AV_CODEC_ID_DTS, AV_CODEC_ID_ADPCM_MS,
                   AV_CODEC_ID_ADPCM_IMA_WAV, AV_CODEC_ID_WMAV1, AV_CODEC_ID_WMAV2},
         .subtitles = {AV_CODEC_ID_XSUB},
         .lossless = kPcm,
         .stereo = AV_CODEC_ID_MP3,
         .surround = AV_CODEC_ID_AC3,
         .bitmaps = AV_CODEC_ID_XSUB},
        {.containers = {"mpegts"},
         .sound = {AV_CODEC_ID_MP1, AV_CODEC_ID_MP2, AV_CODEC_ID_MP3, AV_CODEC_ID_AAC,
                   AV_CODEC_ID_AAC_LATM, AV_CODEC_ID_AC3, AV_CODEC_ID_EAC3, AV_CODEC_ID_DTS,
                   AV_CODEC_ID_TRUEHD, AV_CODEC_ID_OPUS},
         .subtitles = {AV_CODEC_ID_DVB_SUBTITLE, AV_CODEC_ID_DVB_TELETEXT},
         .stereo = AV_CODEC_ID_AAC,
         .bitmaps = AV_CODEC_ID_DVB_SUBTITLE},
        {.containers = {"mpeg", "vob", "dvd", "svcd", "vcd"},
         .sound = {AV_CODEC_ID_MP1, AV_CODEC_ID_MP2, AV_CODEC_ID_MP3, AV_CODEC_ID_AC3,
                   AV_CODEC_ID_DTS, AV_CODEC_ID_PCM_DVD},
         .subtitles = {AV_CODEC_ID_DVD_SUBTITLE},
         .stereo = AV_CODEC_ID_MP2,
         .surround = AV_CODEC_ID_AC3,
         .bitmaps = AV_CODEC_ID_DVD_SUBTITLE},
        {.containers = {"mxf", "mxf_d10", "mxf_opatom"},
         .sound = {AV_CODEC_ID_PCM_S16LE, AV_CODEC_ID_PCM_S24LE},
         .subtitles = {},
         .lossless = kPcm,
         .stereo = AV_CODEC_ID_PCM_S24LE},
        {.containers = {"dv"},
         .sound = {AV_CODEC_ID_PCM_S16LE},
         .subtitles = {},
         .lossless = kPcm,
         .stereo = AV_CODEC_ID_PCM_S16LE},
        {.containers = {"ogg", "ogv", "oga", "spx", "opus"},
         .sound = {AV_CODEC_ID_OPUS, AV_CODEC_ID_VORBIS, AV_CODEC_ID_FLAC, AV_CODEC_ID_SPEEX},
         .subtitles = {},
         .lossless = AV_CODEC_ID_FLAC,
         .stereo = AV_CODEC_ID_OPUS},
        {.containers = {"flv"},
         .sound = {AV_CODEC_ID_AAC, AV_CODEC_ID_MP3, AV_CODEC_ID_SPEEX, AV_CODEC_ID_NELLYMOSER,
                   AV_CODEC_ID_ADPCM_SWF},
         .subtitles = {},
         .stereo = AV_CODEC_ID_AAC},
        {.containers = {"asf", "asf_stream"},
         .sound = {AV_CODEC_ID_WMAV1, AV_CODEC_ID_WMAV2, AV_CODEC_ID_WMAPRO,
                   AV_CODEC_ID_WMALOSSLESS, AV_CODEC_ID_WMAVOICE, AV_CODEC_ID_MP3, AV_CODEC_ID_AC3,
                   AV_CODEC_ID_AAC, AV_CODEC_ID_PCM_U8, AV_CODEC_ID_PCM_S16LE,
                   AV_CODEC_ID_PCM_S24LE, AV_CODEC_ID_PCM_F32LE},
         .subtitles = {},
         .lossless = kPcm,
         .stereo = AV_CODEC_ID_WMAV2,
         .surround = AV_CODEC_ID_AC3},
        {.containers = {"nut"},
         .sound = {AV_CODEC_ID_PCM_U8,    AV_CODEC_ID_PCM_S16LE, AV_CODEC_ID_PCM_S24LE,
                   AV_CODEC_ID_PCM_S32LE, AV_CODEC_ID_PCM_F32LE, AV_CODEC_ID_PCM_F64LE,
                   AV_CODEC_ID_PCM_S16BE, AV_CODEC_ID_PCM_S24BE, AV_CODEC_ID_PCM_S32BE,
                   AV_CODEC_ID_PCM_F32BE, AV_CODEC_ID_PCM_F64BE, AV_CODEC_ID_AAC,
                   AV_CODEC_ID_MP2,       AV_CODEC_ID_MP3,       AV_CODEC_ID_AC3,
                   AV_CODEC_ID_EAC3,      AV_CODEC_ID_DTS,       AV_CODEC_ID_FLAC,
                   AV_CODEC_ID_OPUS,      AV_CODEC_ID_VORBIS,    AV_CODEC_ID_WAVPACK},
         .subtitles = {AV_CODEC_ID_ASS, AV_CODEC_ID_SSA, AV_CODEC_ID_TEXT, AV_CODEC_ID_DVD_SUBTITLE,
                       AV_CODEC_ID_DVB_SUBTITLE},
         .lossless = kPcm,
         .stereo = kPcm,
         .text = AV_CODEC_ID_ASS,
         .bitmaps = AV_CODEC_ID_DVB_SUBTITLE},
    };
    return kRows;
}

/// Takes what FFmpeg says it does.
const Row kMatroska{.containers = {"matroska"},
                    .sound = {AV_CODEC_ID_PCM_U8, AV_CODEC_ID_PCM_S16LE, AV_CODEC_ID_PCM_S24LE,
                              AV_CODEC_ID_PCM_S32LE, AV_CODEC_ID_PCM_F32LE, AV_CODEC_ID_PCM_F64LE},
                    .subtitles = {},
                    .lossless = kPcm,
                    .stereo = AV_CODEC_ID_AAC,
                    .text = AV_CODEC_ID_SUBRIP};

bool contains(const Codecs& codecs, AVCodecID codec) {
    return std::ranges::find(codecs, codec) != codecs.end();
}

const Row* rowOf(const AVOutputFormat& container) {
    const std::string_view name = container.name;
    const auto row = std::ranges::find_if(rows(), [&](const Row& candidate) {
        return std::ranges::find(candidate.containers, name) != candidate.containers.end();
    });
    if (row != rows().end()) {
        return &*row;
    }
    return name == "matroska" ? &kMatroska : nullptr;
}

bool isFloat(const AVCodecParameters& source) {
    const auto format = av_get_packed_sample_fmt(static_cast<AVSampleFormat>(source.format));
    return format == AV_SAMPLE_FMT_FLT || format == AV_SAMPLE_FMT_DBL;
}

int depthOf(const AVCodecParameters& source) {
    if (source.bits_per_raw_sample > 0) {
        return source.bits_per_raw_sample;
    }
    const int bytes = av_get_bytes_per_sample(static_cast<AVSampleFormat>(source.format));
    const int coded = av_get_bits_per_sample(source.codec_id);
    return coded > 0 ? coded : 8 * bytes;
}

/// The first PCM that holds all of the source's bits, or the one that holds most of them.
AVCodecID pcmFor(const Codecs& offered, const AVCodecParameters& source) {
    Codecs wanted{AV_CODEC_ID_PCM_S16LE, AV_CODEC_ID_PCM_S24LE, AV_CODEC_ID_PCM_S32LE};
    if (isLossless(source.codec_id) && isFloat(source)) {
        wanted.insert(wanted.begin(), {AV_CODEC_ID_PCM_F64LE, AV_CODEC_ID_PCM_F32LE});
        if (source.codec_id != AV_CODEC_ID_PCM_F64LE && source.codec_id != AV_CODEC_ID_PCM_F64BE) {
            wanted.erase(wanted.begin());
        }
    } else if (isLossless(source.codec_id)) {
        const int depth = depthOf(source);
        std::erase_if(wanted,
                      [&](AVCodecID codec) { return av_get_bits_per_sample(codec) < depth; });
    }
    for (const AVCodecID codec : wanted) {
        if (contains(offered, codec)) {
            return codec;
        }
    }
    return contains(offered, AV_CODEC_ID_PCM_S24LE) ? AV_CODEC_ID_PCM_S24LE : AV_CODEC_ID_PCM_S16LE;
}

bool isText(AVCodecID subtitles) {
    const AVCodecDescriptor* descriptor = avcodec_descriptor_get(subtitles);
    return descriptor != nullptr && (descriptor->props & AV_CODEC_PROP_TEXT_SUB) != 0;
}

} // namespace

bool isLossless(AVCodecID sound) {
    constexpr std::array kExact{AV_CODEC_ID_FLAC, AV_CODEC_ID_ALAC,       AV_CODEC_ID_WAVPACK,
                                AV_CODEC_ID_TTA,  AV_CODEC_ID_TRUEHD,     AV_CODEC_ID_MLP,
                                AV_CODEC_ID_APE,  AV_CODEC_ID_WMALOSSLESS};
    const bool isPcm = sound >= AV_CODEC_ID_FIRST_AUDIO && sound < AV_CODEC_ID_ADPCM_IMA_QT;
    return isPcm || std::ranges::find(kExact, sound) != kExact.end();
}

bool canBeWritten(const AVOutputFormat& container, const AVStream& stream) {
    const AVCodecParameters& parameters = *stream.codecpar;
    const bool picturesOnly = container.audio_codec == AV_CODEC_ID_NONE;
    if (parameters.codec_id == AV_CODEC_ID_NONE || picturesOnly) {
        return false;
    }
    // QuickTime's muxer lists them, and refuses them once it is to write.
    constexpr std::array kMp4Only{AV_CODEC_ID_OPUS, AV_CODEC_ID_FLAC, AV_CODEC_ID_TRUEHD};
    if (std::string_view(container.name) == "mov" &&
        std::ranges::find(kMp4Only, parameters.codec_id) != kMp4Only.end()) {
        return false;
    }
    const int answer =
        avformat_query_codec(&container, parameters.codec_id, FF_COMPLIANCE_EXPERIMENTAL);
    if (answer >= 0) {
        return answer == 1;
    }
    // Some containers do not say; then it is tried where they hold streams of this kind at all.
    const AVMediaType kind = parameters.codec_type;
    return kind == AVMEDIA_TYPE_AUDIO || kind == AVMEDIA_TYPE_VIDEO ||
           (kind == AVMEDIA_TYPE_SUBTITLE && container.subtitle_codec != AV_CODEC_ID_NONE);
}

bool playsFrom(const AVOutputFormat& container, const AVStream& stream) {
    const AVCodecParameters& parameters = *stream.codecpar;
    if (parameters.codec_type == AVMEDIA_TYPE_ATTACHMENT) {
        return std::string_view(container.name) == "matroska";
    }
    if (!canBeWritten(container, stream)) {
        return false;
    }
    const Row* row = rowOf(container);
    if (row == nullptr || row == &kMatroska) {
        return true;
    }
    if (parameters.codec_type == AVMEDIA_TYPE_AUDIO) {
        const int rate = onlySampleRate(container);
        return contains(row->sound, parameters.codec_id) &&
               (rate == 0 || rate == parameters.sample_rate);
    }
    return parameters.codec_type != AVMEDIA_TYPE_SUBTITLE ||
           contains(row->subtitles, parameters.codec_id);
}

bool canAttachPicture(const AVOutputFormat& container, const AVStream& stream) {
    const AVCodecID codec = stream.codecpar->codec_id;
    return std::string_view(container.name) == "matroska" && stream.attached_pic.size > 0 &&
           (codec == AV_CODEC_ID_PNG || codec == AV_CODEC_ID_MJPEG);
}

AVCodecID soundCodecFor(const AVOutputFormat& container, const AVCodecParameters& source) {
    const Row* row = rowOf(container);
    if (row == nullptr) {
        return container.audio_codec;
    }
    constexpr int kStereo = 2;
    AVCodecID codec = row->stereo;
    if (isLossless(source.codec_id) && row->lossless != AV_CODEC_ID_NONE) {
        codec = row->lossless;
    } else if (source.ch_layout.nb_channels > kStereo && row->surround != AV_CODEC_ID_NONE) {
        codec = row->surround;
    }
    return codec == kPcm ? pcmFor(row->sound, source) : codec;
}

AVCodecID subtitleCodecFor(const AVOutputFormat& container, AVCodecID source) {
    const Row* row = rowOf(container);
    if (row == nullptr) {
        return AV_CODEC_ID_NONE;
    }
    return isText(source) ? row->text : row->bitmaps;
}

bool countsSamples(const AVOutputFormat& container) {
    constexpr std::array<std::string_view, 5> kNames{"avi", "mxf", "mxf_d10", "mxf_opatom", "dv"};
    return std::ranges::find(kNames, container.name) != kNames.end();
}

int onlySampleRate(const AVOutputFormat& container) {
    constexpr int kBroadcast = 48000;
    return countsSamples(container) && std::string_view(container.name) != "avi" ? kBroadcast : 0;
}

} // namespace tintwell::media
