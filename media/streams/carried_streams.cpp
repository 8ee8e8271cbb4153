#include "media/streams/carried_streams.h"

#include "media/streams/carriage.h"
#include "media/streams/sound_converter.h"
#include "media/streams/stream_copy.h"
#include "media/streams/subtitle_converter.h"

#include <algorithm>
#include <iterator>
#include <new>
#include <string_view>
#include <utility>

namespace tintwell::media {

std::unique_ptr<StreamConverter> CarriedStreams::makeConverter(const AVStream& source,
                                                               const AVStream& video,
                                                               const AVCodec& encoder) {
    const AVOutputFormat& container = *output_.oformat;
    const std::string name = name_ + ": the source's " + describeStream(source);
    if (encoder.type == AVMEDIA_TYPE_SUBTITLE) {
        return std::make_unique<SubtitleConverter>(source, encoder, video, name);
    }
    const SoundConverter::Target target{encoder, onlySampleRate(container),
                                        countsSamples(container),
                                        (container.flags & AVFMT_GLOBALHEADER) != 0};
    auto converter = std::make_unique<SoundConverter>(source, target, name);
    if (converter->mixesDown()) {
        warnings_.push_back(name + " is mixed down to " +
                            std::to_string(converter->encoder().ch_layout.nb_channels) +
                            " channels, as " + encoder.name + " knows no more");
    }
    return converter;
}

void CarriedStreams::add(const AVStream& source, const AVStream& video,
                         const PlannedStream& planned) {
    if (planned.fate == PlannedStream::Fate::Copy) {
        streams_.push_back(
            {source.index, source.time_base, &addCopiedStream(output_, source), nullptr});
        return;
    }
    auto converter = makeConverter(source, video, *planned.encoder);
    AVStream* target = avformat_new_stream(&output_, nullptr);
    if (target == nullptr ||
        avcodec_parameters_from_context(target->codecpar, &converter->encoder()) < 0) {
        throw std::bad_alloc();
    }
    target->time_base = converter->encoder().time_base;
    copyStreamProperties(source, *target);
    streams_.push_back({source.index, source.time_base, target, std::move(converter)});
}

std::vector<int> CarriedStreams::indices() const {
    std::vector<int> indices;
    std::ranges::transform(streams_, std::back_inserter(indices), &Carried::sourceIndex);
    return indices;
}

void CarriedStreams::begin() {
    const std::string_view container = output_.oformat->name;
    for (Carried& carried : streams_) {
        const AVCodecParameters& parameters = *carried.target->codecpar;
        if ((container == "matroska" || container == "webm") &&
            parameters.codec_id == AV_CODEC_ID_OPUS) {
            carried.delay = av_rescale_q(parameters.initial_padding, {1, parameters.sample_rate},
                                         carried.target->time_base);
        }
    }
}

/// Makes it a packet of the output.
void CarriedStreams::address(Carried& carried, AVPacket& packet, AVRational timeBase) {
    av_packet_rescale_ts(&packet, timeBase, carried.target->time_base);
    for (std::int64_t* stamp : {&packet.pts, &packet.dts}) {
        *stamp += *stamp != AV_NOPTS_VALUE ? carried.delay : 0;
    }
    packet.stream_index = carried.target->index;
    packet.pos = -1;
    if (packet.dts == AV_NOPTS_VALUE) {
        packet.dts = packet.pts;
    }
    // Containers insist on rising times, which a finer source may lose in the rounding.
    if (carried.lastTime != AV_NOPTS_VALUE && packet.dts != AV_NOPTS_VALUE) {
        packet.dts = std::max(packet.dts, carried.lastTime + 1);
        packet.pts = packet.pts != AV_NOPTS_VALUE ? std::max(packet.pts, packet.dts) : packet.dts;
    }
    carried.lastTime = packet.dts;
}

std::vector<PacketPtr> CarriedStreams::pass(PacketPtr packet) {
    std::vector<PacketPtr> packets;
    const auto carried = std::ranges::find(streams_, packet->stream_index, &Carried::sourceIndex);
    if (carried == streams_.end()) {
        return packets;
    }
    if (carried->converter) {
        packets = carried->converter->convert(packet.get());
    } else {
        packets.push_back(std::move(packet));
    }
    for (const PacketPtr& one : packets) {
        address(*carried, *one,
                carried->converter ? carried->converter->encoder().time_base : carried->timeBase);
    }
    return packets;
}

std::vector<PacketPtr> CarriedStreams::finish(const Moment& videoEnd) {
    // Its muxer drops whatever is longer than the shortest stream.
    const bool evenly = std::string_view(output_.oformat->name).starts_with("mxf");
    std::vector<PacketPtr> packets;
    for (Carried& carried : streams_) {
        if (!carried.converter) {
            continue;
        }
        if (evenly) {
            carried.converter->lastUntil(videoEnd);
        }
        for (PacketPtr& packet : carried.converter->convert(nullptr)) {
            address(carried, *packet, carried.converter->encoder().time_base);
            packets.push_back(std::move(packet));
        }
        const Moment last{carried.lastTime, carried.target->time_base};
        if (evenly && carried.lastTime != AV_NOPTS_VALUE && videoEnd < last) {
            warnings_.push_back(name_ + ": the sound of stream " +
                                std::to_string(carried.sourceIndex) +
                                " ends with the pictures, as a " + output_.oformat->name +
                                " file holds all streams for the same time; the rest is lost");
        }
    }
    return packets;
}

std::int64_t CarriedStreams::damaged() const {
    std::int64_t damaged = 0;
    for (const Carried& carried : streams_) {
        damaged += carried.converter ? carried.converter->damaged() : 0;
    }
    return damaged;
}

} // namespace tintwell::media
