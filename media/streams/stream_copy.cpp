#include "media/streams/stream_copy.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <new>
#include <string_view>
#include <utility>

extern "C" {
#include <libavutil/mathematics.h>
#include <libavutil/mem.h>
}

namespace tintwell::media {
namespace {

constexpr std::array kPictureSideData{
    AV_PKT_DATA_DISPLAYMATRIX,       AV_PKT_DATA_STEREO3D,
    AV_PKT_DATA_SPHERICAL,           AV_PKT_DATA_MASTERING_DISPLAY_METADATA,
    AV_PKT_DATA_CONTENT_LIGHT_LEVEL,
};

/// Said of the file or of the encoded stream rather than of the clip: no longer true of the copy.
constexpr std::array<std::string_view, 21> kStaleMetadata{"major_brand",
                                                          "minor_version",
                                                          "compatible_brands",
                                                          "encoder",
                                                          "duration",
                                                          "bps",
                                                          "number_of_",
                                                          "_statistics_",
                                                          "vendor_id",
                                                          "rotate",
                                                          "generation_uid",
                                                          "product_uid",
                                                          "toolkit_version",
                                                          "operational_pattern_ul",
                                                          "application_platform",
                                                          "material_package_",
                                                          "file_package_",
                                                          "data_type",
                                                          "track_name",
                                                          "variant_bitrate",
                                                          "uid"};

bool isStale(std::string key) {
    std::ranges::transform(key, key.begin(),
                           [](unsigned char letter) { return std::tolower(letter); });
    return std::ranges::any_of(kStaleMetadata,
                               [&](std::string_view stale) { return key.starts_with(stale); });
}

void copyEntries(const AVDictionary* source, AVDictionary** target) {
    const AVDictionaryEntry* entry = nullptr;
    while ((entry = av_dict_get(source, "", entry, AV_DICT_IGNORE_SUFFIX)) != nullptr) {
        if (!isStale(entry->key) && av_dict_set(target, entry->key, entry->value, 0) < 0) {
            throw std::bad_alloc();
        }
    }
}

} // namespace

bool isMadeAnew(const AVStream& stream) {
    const std::uint32_t tag = stream.codecpar->codec_tag;
    const bool chapters =
        stream.codecpar->codec_id == AV_CODEC_ID_BIN_DATA && tag == MKTAG('t', 'e', 'x', 't');
    return chapters ||
           (stream.codecpar->codec_type == AVMEDIA_TYPE_DATA && tag == MKTAG('t', 'm', 'c', 'd'));
}

std::string describeStream(const AVStream& stream) {
    const char* kind = av_get_media_type_string(stream.codecpar->codec_type);
    const AVCodecParameters& parameters = *stream.codecpar;
    std::array<char, AV_FOURCC_MAX_STRING_SIZE> tag{};
    const bool unnamed = parameters.codec_id == AV_CODEC_ID_NONE && parameters.codec_tag != 0;
    const std::string codec = unnamed ? av_fourcc_make_string(tag.data(), parameters.codec_tag)
                                      : avcodec_get_name(parameters.codec_id);
    return std::string(kind != nullptr ? kind : "unknown") + " stream " +
           std::to_string(stream.index) + " (" + codec + ")";
}

AVStream& addCopiedStream(AVFormatContext& output, const AVStream& source) {
    AVStream* target = avformat_new_stream(&output, nullptr);
    if (target == nullptr || avcodec_parameters_copy(target->codecpar, source.codecpar) < 0) {
        throw std::bad_alloc();
    }
    const AVCodecTag* const* tags = output.oformat->codec_tag;
    unsigned ownTag = 0;
    // A tag of the source's container is kept only where this one means the same by it.
    if (tags != nullptr &&
        av_codec_get_id(tags, target->codecpar->codec_tag) != source.codecpar->codec_id &&
        av_codec_get_tag2(tags, source.codecpar->codec_id, &ownTag) != 0) {
        target->codecpar->codec_tag = 0;
    }
    target->time_base = source.time_base;
    target->avg_frame_rate = source.avg_frame_rate;
    target->sample_aspect_ratio = source.sample_aspect_ratio;
    target->duration = 0;
    copyStreamProperties(source, *target);
    return *target;
}

void attachPicture(AVFormatContext& output, const AVStream& source) {
    AVStream* target = avformat_new_stream(&output, nullptr);
    const AVPacket& picture = source.attached_pic;
    const auto size = static_cast<std::size_t>(picture.size);
    auto* data = static_cast<std::uint8_t*>(av_mallocz(size + AV_INPUT_BUFFER_PADDING_SIZE));
    if (target == nullptr || data == nullptr) {
        av_free(data);
        throw std::bad_alloc();
    }
    std::memcpy(data, picture.data, size);
    AVCodecParameters& parameters = *target->codecpar;
    parameters.codec_type = AVMEDIA_TYPE_ATTACHMENT;
    parameters.codec_id = source.codecpar->codec_id;
    parameters.extradata = data;
    parameters.extradata_size = picture.size;
    const bool png = parameters.codec_id == AV_CODEC_ID_PNG;
    av_dict_set(&target->metadata, "filename", png ? "cover.png" : "cover.jpg", 0);
    copyEntries(source.metadata, &target->metadata);
}

void copyStreamProperties(const AVStream& source, AVStream& target) {
    target.disposition = source.disposition;
    copyEntries(source.metadata, &target.metadata);
    for (const AVPacketSideDataType type : kPictureSideData) {
        std::size_t size = 0;
        const std::uint8_t* data = av_stream_get_side_data(&source, type, &size);
        if (data == nullptr) {
            continue;
        }
        std::uint8_t* copy = av_stream_new_side_data(&target, type, size);
        if (copy == nullptr) {
            throw std::bad_alloc();
        }
        std::memcpy(copy, data, size);
    }
}

void useOldLanguageCodes(AVFormatContext& output) {
    constexpr std::array<std::pair<const char*, const char*>, 8> kCodes{{{"fre", "fra"},
                                                                         {"deu", "ger"},
                                                                         {"nld", "dut"},
                                                                         {"swe", "sve"},
                                                                         {"ell", "gre"},
                                                                         {"isl", "ice"},
                                                                         {"zho", "chi"},
                                                                         {"fas", "per"}}};
    if (std::string_view(output.oformat->name) != "mov") {
        return;
    }
    for (unsigned i = 0; i < output.nb_streams; ++i) {
        AVDictionary** metadata = &output.streams[i]->metadata;
        const AVDictionaryEntry* language = av_dict_get(*metadata, "language", nullptr, 0);
        for (const auto& [code, known] : kCodes) {
            if (language != nullptr && std::string_view(language->value) == code) {
                av_dict_set(metadata, "language", known, 0);
                break;
            }
        }
    }
}

void nameTracks(AVFormatContext& output) {
    for (unsigned i = 0; i < output.nb_streams; ++i) {
        AVDictionary** metadata = &output.streams[i]->metadata;
        if (const AVDictionaryEntry* title = av_dict_get(*metadata, "title", nullptr, 0)) {
            av_dict_set(metadata, "handler_name", title->value, 0);
        }
    }
}

void copyMetadata(const AVFormatContext& source, AVFormatContext& output) {
    copyEntries(source.metadata, &output.metadata);
}

void copyChapters(const AVFormatContext& source, const Moment& start,
                  const std::optional<Moment>& length, AVFormatContext& output) {
    for (unsigned i = 0; i < source.nb_chapters; ++i) {
        const AVChapter& chapter = *source.chapters[i];
        const std::int64_t offset = ticksOf(start, chapter.time_base);
        const std::int64_t begin = std::max<std::int64_t>(0, chapter.start - offset);
        std::int64_t end = chapter.end - offset;
        if (length) {
            end = std::min(end, ticksOf(*length, chapter.time_base));
        }
        if (end <= begin) {
            continue;
        }
        auto* copy = static_cast<AVChapter*>(av_mallocz(sizeof(AVChapter)));
        int count = static_cast<int>(output.nb_chapters);
        // Frees the list and forgets the count where there is no memory.
        av_dynarray_add(&output.chapters, &count, copy);
        output.nb_chapters = static_cast<unsigned>(count);
        if (copy == nullptr || count == 0) {
            av_free(copy);
            throw std::bad_alloc();
        }
        copy->id = chapter.id;
        copy->time_base = chapter.time_base;
        copy->start = begin;
        copy->end = end;
        copyEntries(chapter.metadata, &copy->metadata);
    }
}

} // namespace tintwell::media
