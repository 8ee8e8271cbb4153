#pragma once

#include "media/ffmpeg_objects.h"
#include "media/streams/stream_converter.h"
#include "media/streams/stream_plan.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace tintwell::media {

/// The streams beside the video on their way from one container into another: each copied or
/// converted, as it was planned. Errors are MediaErrors.
class CarriedStreams {
public:
    /// `output` outlives it; `name` is what messages call it.
    CarriedStreams(AVFormatContext& output, const std::string& name)
        : output_(output), name_(name) {}

    /// Adds a stream for one of the source's, whose fate is to be copied or converted.
    void add(const AVStream& source, const AVStream& video, const PlannedStream& planned);

    /// Once the container's header is written, which settles the time bases.
    void begin();

    /// The source's streams that are to be passed.
    std::vector<int> indices() const;

    bool empty() const { return streams_.empty(); }

    /// What becomes of a packet of the source whose times start with the output: packets that can
    /// be written. Those of other streams become none.
    std::vector<PacketPtr> pass(PacketPtr packet);

    /// What the converters still have. The video ends at this moment.
    std::vector<PacketPtr> finish(const Moment& videoEnd);

    /// Packets that could not be converted.
    std::int64_t damaged() const;

    const std::vector<std::string>& warnings() const { return warnings_; }

private:
    struct Carried {
        int sourceIndex;
        AVRational timeBase;
        AVStream* target;
        std::unique_ptr<StreamConverter> converter; ///< null where packets are copied
        std::int64_t delay = 0; ///< added to the times, as the container takes it off again
        std::int64_t lastTime = AV_NOPTS_VALUE;
    };

    std::unique_ptr<StreamConverter> makeConverter(const AVStream& source, const AVStream& video,
                                                   const AVCodec& encoder);
    static void address(Carried& carried, AVPacket& packet, AVRational timeBase);

    AVFormatContext& output_;
    std::string name_;
    std::vector<Carried> streams_;
    std::vector<std::string> warnings_;
};

} // namespace tintwell::media
