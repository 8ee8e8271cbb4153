#pragma once

#include "media/ffmpeg_objects.h"
#include "media/moment.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

namespace tintwell::media {

/// Packets of the streams that are copied, on their way past the video: cut to the span of the
/// frames that are delivered, and shifted with them so that the span starts at time 0.
class CopiedPackets {
public:
    /// A whole clip: nothing is cut.
    explicit CopiedPackets(const Moment& start) : start_(start) {}

    /// A clip whose first frames are left out: packets are kept until the start is known.
    CopiedPackets() = default;

    /// Timestamps in the time base of the stream given.
    void add(PacketPtr packet, const AVStream& stream);

    /// Forgets the packets of other streams.
    void keepOnly(const std::vector<int>& streams);

    /// Nothing delivered from now on is before this moment; what is known to be is forgotten, but
    /// for subtitles that are still shown then.
    void dropBefore(const Moment& moment);

    /// The span starts here: what lies before it has been dropped.
    void setStart(const Moment& start) { start_ = start; }

    /// Subtitles are shown until then at the latest, counted from the start.
    void setLength(const Moment& length) { length_ = length; }

    const std::optional<Moment>& start() const { return start_; }

    /// What lies before `end`, or everything, in the order it came. The start must be known.
    std::vector<PacketPtr> take(const std::optional<Moment>& end);

    std::size_t size() const { return kept_.size(); }

private:
    struct Kept {
        PacketPtr packet;
        AVRational timeBase;
        bool timeless; ///< a cover picture
        bool subtitle;
        bool gone = false;
    };

    static Moment timeOf(const Kept& kept);
    static bool isOver(const Kept& kept, const Moment& moment);
    void shift(Kept& kept) const;
    static void cut(AVPacket& packet, std::int64_t length);

    std::vector<Kept> kept_;
    std::optional<Moment> start_;
    std::optional<Moment> length_;
};

} // namespace tintwell::media
