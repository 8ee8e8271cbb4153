#include "media/read/copied_packets.h"

#include <algorithm>
#include <functional>
#include <set>
#include <utility>

namespace tintwell::media {

void CopiedPackets::add(PacketPtr packet, const AVStream& stream) {
    const bool timeless = (stream.disposition & AV_DISPOSITION_ATTACHED_PIC) != 0;
    const bool subtitle = stream.codecpar->codec_type == AVMEDIA_TYPE_SUBTITLE;
    kept_.push_back({std::move(packet), stream.time_base, timeless, subtitle});
}

void CopiedPackets::keepOnly(const std::vector<int>& streams) {
    std::erase_if(kept_, [&](const Kept& kept) {
        return std::ranges::find(streams, kept.packet->stream_index) == streams.end();
    });
}

Moment CopiedPackets::timeOf(const Kept& kept) {
    const AVPacket& packet = *kept.packet;
    return {packet.pts != AV_NOPTS_VALUE ? packet.pts : packet.dts, kept.timeBase};
}

bool CopiedPackets::isOver(const Kept& kept, const Moment& moment) {
    Moment time = timeOf(kept);
    if (kept.timeless || time.ticks == AV_NOPTS_VALUE) {
        return false;
    }
    if (kept.subtitle && kept.packet->duration > 0) {
        time.ticks += kept.packet->duration;
        return !(moment < time);
    }
    return time < moment;
}

void CopiedPackets::dropBefore(const Moment& moment) {
    // A subtitle that does not say when it ends is shown until the next one.
    std::set<int> shown;
    for (auto kept = kept_.rbegin(); kept != kept_.rend(); ++kept) {
        if (isOver(*kept, moment)) {
            const bool last = kept->subtitle && kept->packet->duration <= 0 &&
                              shown.insert(kept->packet->stream_index).second;
            kept->gone = !last;
        }
    }
    std::erase_if(kept_, [](const Kept& kept) { return kept.gone; });
}

void CopiedPackets::shift(Kept& kept) const {
    const std::int64_t offset = ticksOf(*start_, kept.timeBase);
    AVPacket& packet = *kept.packet;
    if (kept.timeless) {
        packet.pts = 0;
        packet.dts = 0;
        return;
    }
    for (std::int64_t* stamp : {&packet.pts, &packet.dts}) {
        if (*stamp != AV_NOPTS_VALUE) {
            *stamp -= offset;
        }
    }
    if (kept.subtitle && length_ && packet.pts != AV_NOPTS_VALUE) {
        cut(packet, ticksOf(*length_, kept.timeBase));
    }
}

/// To what is shown from 0 to `length`.
void CopiedPackets::cut(AVPacket& packet, std::int64_t length) {
    const std::int64_t late = std::max<std::int64_t>(0, -packet.pts);
    packet.pts += late;
    packet.dts = packet.pts;
    if (packet.duration > 0) {
        packet.duration =
            std::max<std::int64_t>(1, std::min(packet.duration - late, length - packet.pts));
    }
}

std::vector<PacketPtr> CopiedPackets::take(const std::optional<Moment>& end) {
    const auto isLater = [&](const Kept& kept) {
        return end && !kept.timeless && !(timeOf(kept) < *end);
    };
    const auto firstLater = std::stable_partition(kept_.begin(), kept_.end(), std::not_fn(isLater));
    std::vector<PacketPtr> taken;
    for (auto kept = kept_.begin(); kept != firstLater; ++kept) {
        shift(*kept);
        taken.push_back(std::move(kept->packet));
    }
    kept_.erase(kept_.begin(), firstLater);
    return taken;
}

} // namespace tintwell::media
