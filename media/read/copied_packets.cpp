#include "media/read/copied_packets.h"

#include <algorithm>
#include <functional>
#include <utility>

namespace tintwell::media {

void CopiedPackets::add(PacketPtr packet, const AVStream& stream) {
    const bool timeless = (stream.disposition & AV_DISPOSITION_ATTACHED_PIC) != 0;
    kept_.push_back({std::move(packet), stream.time_base, timeless});
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

void CopiedPackets::dropBefore(const Moment& moment) {
    std::erase_if(kept_, [&](const Kept& kept) {
        return !kept.timeless && timeOf(kept).ticks != AV_NOPTS_VALUE && timeOf(kept) < moment;
    });
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
