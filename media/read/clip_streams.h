#pragma once

#include "media/input/packet_reader.h"
#include "media/input/video_decoder.h"
#include "media/read/copied_packets.h"
#include "media/read/stand_ins.h"

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace tintwell::media {

/// What a clip's file holds, one thing after the other: the frames of its video in the order of
/// presentation, and the packets of the other streams beside them. All times are the clip's own.
class ClipStreams {
public:
    /// Decodes the first frame. `name` is what messages call the input.
    ClipStreams(const std::string& name, InputFile file, bool copyOthers);

    const InputFile& file() const { return packets_.file(); }

    /// Only packets of these streams are put beside from now on.
    void keepOnly(const std::vector<int>& streams);

    /// One step towards the next frame: takes it from the decoder, or gives the decoder more to do.
    /// False at the end. Only while there is no frame.
    bool advance();

    /// Decoded and not taken yet; may be empty.
    const FramePtr& frame() const { return frame_; }

    /// Whether that frame stands in for one that its file does not give.
    bool isStandIn() const { return standIns_.isStandIn(); }

    FramePtr takeFrame() { return std::move(frame_); }

    /// The packets put beside so far.
    CopiedPackets& copied() { return copied_; }

    const CopiedPackets& copied() const { return copied_; }

    /// Ends the video here, and reads on for the packets that accompany it until this moment.
    void finish(const std::optional<Moment>& end);

    /// Goes to a key frame at or before this time, in the video's time base; false where the input
    /// cannot.
    bool seek(std::int64_t time);

    /// Goes to this frame, where that spares decoding and the first frame has not been taken. What
    /// comes of it says which frame is next.
    enum class Landing : std::uint8_t { Stayed, Arrived, Failed };
    Landing leapTo(std::int64_t index);

    /// Damaged parts of the video so far, without pictures that are missing.
    std::int64_t damaged() const;

    std::int64_t decoderBytes() const { return decoder_.bytes(); }

    const std::string& readFailure() const { return packets_.failure(); }

    bool failedToRead() const { return packets_.failedToRead(); }

    bool endedEarly(AVRational frameRate) const { return packets_.endedEarly(frameRate); }

private:
    void decodeFirstFrame(const std::string& name);
    void readPacket();

    bool copyOthers_;
    PacketReader packets_;
    VideoDecoder decoder_;
    CopiedPackets copied_;
    StandIns standIns_;
    FramePtr frame_;
};

} // namespace tintwell::media
