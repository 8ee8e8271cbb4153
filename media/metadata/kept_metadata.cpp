#include "media/metadata/kept_metadata.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <new>
#include <set>
#include <string_view>
#include <utility>

extern "C" {
#include <libavutil/avstring.h>
#include <libavutil/mem.h>
#include <libavutil/timecode.h>
}

namespace tintwell::media {
namespace {

constexpr char kFlags[] = "movflags";

template <std::size_t Count>
bool isAnyOf(const char* name, const std::array<std::string_view, Count>& names) {
    return std::ranges::find(names, name) != names.end();
}

bool isQuickTime(const AVOutputFormat& container) {
    return isAnyOf(container.name, std::array<std::string_view, 3>{"mov", "mp4", "ipod"});
}

/// Whether the muxer wants H.264 and the like to be what they say.
bool looksAtData(const AVOutputFormat& container) {
    return isQuickTime(container) || std::string_view(container.name) == "avi";
}

/// A file in memory.
class Memory {
public:
    Memory() = default;
    Memory(const Memory&) = delete;
    Memory& operator=(const Memory&) = delete;

    ~Memory() {
        if (reader_ != nullptr) {
            av_freep(&reader_->buffer);
            avio_context_free(&reader_);
        }
    }

    void take(AVIOContext* written) {
        std::uint8_t* bytes = nullptr;
        const int size = avio_get_dyn_buf(written, &bytes);
        bytes_.assign(bytes, bytes + size);
        // Not to be used: closing pads where the muxer wrote last, which need not be the end.
        avio_close_dyn_buf(written, &bytes);
        av_free(bytes);
    }

    AVIOContext* open() {
        constexpr int kBuffer = 4096;
        auto* buffer = static_cast<std::uint8_t*>(av_malloc(kBuffer));
        reader_ = avio_alloc_context(buffer, kBuffer, 0, this, read, nullptr, seek);
        if (reader_ == nullptr) {
            av_free(buffer);
            throw std::bad_alloc();
        }
        return reader_;
    }

private:
    static int read(void* self, std::uint8_t* target, int size) {
        auto& memory = *static_cast<Memory*>(self);
        const auto count = std::min<std::int64_t>(size, memory.size() - memory.place_);
        if (count <= 0) {
            return AVERROR_EOF;
        }
        std::memcpy(target, memory.bytes_.data() + memory.place_, static_cast<std::size_t>(count));
        memory.place_ += count;
        return static_cast<int>(count);
    }

    static std::int64_t seek(void* self, std::int64_t place, int whence) {
        auto& memory = *static_cast<Memory*>(self);
        if (whence == AVSEEK_SIZE) {
            return memory.size();
        }
        if (whence != SEEK_SET || place < 0 || place > memory.size()) {
            return AVERROR(EINVAL);
        }
        return memory.place_ = place;
    }

    std::int64_t size() const { return static_cast<std::int64_t>(bytes_.size()); }

    std::vector<std::uint8_t> bytes_;
    std::int64_t place_ = 0;
    AVIOContext* reader_ = nullptr;
};

/// Like the stream, but of a codec that muxers take without looking at its data.
void describeSimply(const AVCodecParameters& source, AVCodecParameters& simple) {
    simple.codec_type = source.codec_type;
    if (source.codec_type == AVMEDIA_TYPE_AUDIO) {
        constexpr int kRate = 48000;
        simple.codec_id = AV_CODEC_ID_MP3;
        simple.sample_rate = kRate;
        av_channel_layout_default(&simple.ch_layout, 2);
    } else if (source.codec_type == AVMEDIA_TYPE_SUBTITLE) {
        simple.codec_id = AV_CODEC_ID_MOV_TEXT;
    } else {
        simple.codec_type = AVMEDIA_TYPE_VIDEO;
        simple.codec_id = AV_CODEC_ID_MPEG4;
        simple.width = source.width;
        simple.height = source.height;
    }
}

void addChapter(AVFormatContext& output) {
    auto* chapter = static_cast<AVChapter*>(av_mallocz(sizeof(AVChapter)));
    int count = 0;
    av_dynarray_add(&output.chapters, &count, chapter);
    if (chapter == nullptr || count == 0) {
        av_free(chapter);
        throw std::bad_alloc();
    }
    output.nb_chapters = 1;
    chapter->time_base = {1, 1};
    chapter->end = 1;
    av_dict_set(&chapter->metadata, "title", "1", 0);
}

OutputPtr makeTrial(const AVFormatContext& output, bool hasChapters) {
    AVFormatContext* made = nullptr;
    avformat_alloc_output_context2(&made, output.oformat, nullptr, output.url);
    OutputPtr trial(made);
    if (!trial || av_dict_copy(&trial->metadata, output.metadata, 0) < 0) {
        throw std::bad_alloc();
    }
    trial->strict_std_compliance = output.strict_std_compliance;
    for (unsigned i = 0; i < output.nb_streams; ++i) {
        const AVStream& stream = *output.streams[i];
        AVStream* copy = avformat_new_stream(trial.get(), nullptr);
        if (copy == nullptr || av_dict_copy(&copy->metadata, stream.metadata, 0) < 0) {
            throw std::bad_alloc();
        }
        if (looksAtData(*output.oformat)) {
            describeSimply(*stream.codecpar, *copy->codecpar);
        } else if (avcodec_parameters_copy(copy->codecpar, stream.codecpar) < 0) {
            throw std::bad_alloc();
        }
        copy->time_base = stream.time_base;
        copy->avg_frame_rate = stream.avg_frame_rate;
    }
    if (hasChapters) {
        addChapter(*trial);
    }
    return trial;
}

/// A packet of each stream: some muxers forget streams that have none, some demuxers find no file.
void writePackets(AVFormatContext& trial) {
    for (unsigned i = 0; i < trial.nb_streams; ++i) {
        constexpr int kSize = 16;
        const PacketPtr packet = makePacket();
        if (av_new_packet(packet.get(), kSize) < 0) {
            throw std::bad_alloc();
        }
        std::memset(packet->data, 0, kSize);
        packet->stream_index = static_cast<int>(i);
        packet->pts = packet->dts = 0;
        packet->duration = 1;
        packet->flags |= AV_PKT_FLAG_KEY;
        av_write_frame(&trial, packet.get());
    }
}

/// The trial as its own demuxer reads it; empty where it cannot be written without pictures.
InputPtr readBack(const AVFormatContext& output, bool hasChapters, bool freeKeys, Memory& memory) {
    const OutputPtr trial = makeTrial(output, hasChapters);
    Dictionary settings;
    if (freeKeys) {
        setFreeKeys(settings);
    }
    if (avio_open_dyn_buf(&trial->pb) < 0) {
        throw std::bad_alloc();
    }
    const bool begun = avformat_write_header(trial.get(), settings.inOut()) >= 0;
    if (begun) {
        writePackets(*trial);
    }
    const bool written = begun && av_write_trailer(trial.get()) >= 0;
    memory.take(trial->pb);
    if (!written) {
        return nullptr;
    }
    AVFormatContext* input = avformat_alloc_context();
    if (input == nullptr) {
        throw std::bad_alloc();
    }
    input->pb = memory.open();
    if (avformat_open_input(&input, nullptr, nullptr, nullptr) < 0) {
        return nullptr;
    }
    InputPtr opened(input);
    av_read_frame(input, makePacket().get()); // FLV says it in front of that
    return opened;
}

bool has(const AVDictionary* entries, const AVDictionaryEntry& wanted) {
    const AVDictionaryEntry* found = av_dict_get(entries, wanted.key, nullptr, 0);
    // Some containers know a few languages only.
    return found != nullptr && (std::string_view(wanted.key) != "language" ||
                                std::string_view(found->value) == wanted.value);
}

bool hasAnywhere(const AVFormatContext& input, const AVDictionaryEntry& wanted) {
    return has(input.metadata, wanted) ||
           std::any_of(input.streams, input.streams + input.nb_streams,
                       [&](const AVStream* stream) { return has(stream->metadata, wanted); });
}

/// Of no interest to people: names that programs give to tracks, and the language nobody knows.
bool isIdle(const AVDictionaryEntry& entry) {
    return av_strcasecmp(entry.key, "handler_name") == 0 ||
           (av_strcasecmp(entry.key, "language") == 0 && av_strcasecmp(entry.value, "und") == 0);
}

template <typename Keeps>
std::set<std::string> keysWithout(const AVFormatContext& output, Keeps keeps) {
    std::set<std::string> keys;
    const auto look = [&](const AVDictionary* entries, int stream) {
        const AVDictionaryEntry* entry = nullptr;
        while ((entry = av_dict_get(entries, "", entry, AV_DICT_IGNORE_SUFFIX)) != nullptr) {
            if (!isIdle(*entry) && !keeps(*entry, stream)) {
                const bool language = std::string_view(entry->key) == "language";
                keys.insert(language ? std::string("language ") + entry->value : entry->key);
            }
        }
    };
    look(output.metadata, -1);
    for (unsigned i = 0; i < output.nb_streams; ++i) {
        look(output.streams[i]->metadata, static_cast<int>(i));
    }
    return keys;
}

/// Of containers that cannot be written without pictures.
std::set<std::string> lostByList(const AVFormatContext& output, bool hasChapters) {
    constexpr std::array<std::string_view, 5> kMxf{"timecode", "creation_time", "company_name",
                                                   "product_name", "product_version"};
    constexpr std::array<std::string_view, 3> kTransport{"service_name", "service_provider",
                                                         "language"};
    const std::string_view container = output.oformat->name;
    std::set<std::string> lost =
        keysWithout(output, [&](const AVDictionaryEntry& entry, int /*stream*/) {
            return (container.starts_with("mxf") && isAnyOf(entry.key, kMxf)) ||
                   (container == "mpegts" && isAnyOf(entry.key, kTransport));
        });
    if (hasChapters) {
        lost.insert("chapters");
    }
    return lost;
}

std::set<std::string> lostKeys(const AVFormatContext& output, bool hasChapters, bool freeKeys) {
    Memory memory;
    // What is written stands for pictures, which only some muxers take unseen.
    const bool unseen =
        isAnyOf(output.oformat->name,
                std::array<std::string_view, 11>{"mov", "mp4", "ipod", "avi", "matroska", "webm",
                                                 "flv", "ogg", "ogv", "nut", "asf"});
    const InputPtr input = unseen ? readBack(output, hasChapters, freeKeys, memory) : nullptr;
    if (!input) {
        return lostByList(output, hasChapters);
    }
    std::set<std::string> lost =
        keysWithout(output, [&](const AVDictionaryEntry& entry, int stream) {
            const bool own = stream >= 0 && std::cmp_less(stream, input->nb_streams);
            return std::string_view(entry.key) == "language" && own
                       ? has(input->streams[stream]->metadata, entry)
                       : hasAnywhere(*input, entry);
        });
    if (hasChapters && input->nb_chapters == 0) {
        lost.insert("chapters");
    }
    return lost;
}

void moveTimecode(AVDictionary** metadata, AVRational frameRate, std::int64_t frames) {
    const AVDictionaryEntry* entry = av_dict_get(*metadata, "timecode", nullptr, 0);
    AVTimecode timecode{};
    if (entry == nullptr ||
        av_timecode_init_from_string(&timecode, frameRate, entry->value, nullptr) < 0) {
        return;
    }
    std::array<char, AV_TIMECODE_STR_SIZE> text{};
    av_timecode_make_string(&timecode, text.data(), static_cast<int>(frames));
    av_dict_set(metadata, "timecode", text.data(), 0);
}

} // namespace

KeptMetadata findKeptMetadata(const AVFormatContext& output, bool hasChapters) {
    std::set<std::string> lost = lostKeys(output, hasChapters, false);
    KeptMetadata kept;
    if (!lost.empty() && isQuickTime(*output.oformat)) {
        std::set<std::string> lostStill = lostKeys(output, hasChapters, true);
        kept.needsFreeKeys = lostStill.size() < lost.size();
        lost = kept.needsFreeKeys ? std::move(lostStill) : std::move(lost);
    }
    kept.lost.assign(lost.begin(), lost.end());
    return kept;
}

void setFreeKeys(Dictionary& settings) {
    const AVDictionaryEntry* set = av_dict_get(*settings.inOut(), kFlags, nullptr, 0);
    const std::string before = set != nullptr ? set->value : "";
    settings.set(kFlags, before + "+use_metadata_tags");
}

void moveTimecodes(AVFormatContext& output, AVRational frameRate, std::int64_t frames) {
    moveTimecode(&output.metadata, frameRate, frames);
    for (unsigned i = 0; i < output.nb_streams; ++i) {
        moveTimecode(&output.streams[i]->metadata, frameRate, frames);
    }
}

} // namespace tintwell::media
