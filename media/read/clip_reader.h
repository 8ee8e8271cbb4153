#pragma once

#include "media/clip_info.h"
#include "media/ffmpeg_objects.h"
#include "media/input/input_file.h"
#include "media/moment.h"
#include "media/read/clip_streams.h"
#include "media/read/missing_frames.h"
#include "media/read/span_gate.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace tintwell::media {

struct ReaderOptions {
    InputOptions input;
    std::optional<FrameSpan> frames; ///< empty: all
    bool copyOtherStreams = false;   ///< deliver the packets of the streams beside the video
};

/// What comes next of a clip: a frame, packets of other streams that belong before it, both, or a
/// frame outside the span. Times start at 0 with the clip, or with the first frame of the span.
struct ReadItem {
    FramePtr frame;         ///< pts in ClipInfo::timeBase, AV_NOPTS_VALUE where the clip has none
    FramePtr outside;       ///< a frame that is passed over, for those who look at neighbours
    std::int64_t index = 0; ///< of the frame in the clip, either one
    bool isStandIn = false; ///< the frame is another one, as this one's file does not give it
    std::vector<PacketPtr> copied; ///< timestamps in the time bases of their streams
};

/// Reads a clip once from its start: decodes the video in the order of presentation and passes the
/// other streams' packets by. Size and colour are those of the first frame; a frame of another size
/// ends the reading with an error, one of another pixel format is delivered as it is. Damaged parts
/// are passed over and counted. For one thread at a time; errors are MediaErrors.
class ClipReader {
public:
    /// Opens the input (see openInput) and decodes the first frame.
    ClipReader(const std::string& input, const ReaderOptions& options);

    const ClipInfo& info() const { return info_; }

    /// For the writer, which takes over streams and metadata; not while another thread reads.
    const AVFormatContext& container() const { return *streams_.file().container; }

    const AVStream& video() const { return *streams_.file().video; }

    /// What is said of the clip's first frame, without its pixels.
    const AVFrame& firstProperties() const { return *firstProperties_; }

    /// From now on only packets of these streams are delivered. Before the first read.
    void keepStreams(const std::vector<int>& indices) { streams_.keepOnly(indices); }

    /// From now on up to so many frames behind the span are passed over too. Before the first read.
    void readBeyondSpan(std::int64_t frames) { gate_.passBehind(frames); }

    /// Goes to a key frame at or before the frame of this pts, where the input can: what is read
    /// next is decoded from there, may begin with pictures that lack what they were predicted from,
    /// and has no index. For readers without span and other streams.
    bool seek(std::int64_t pts);

    /// Goes to this frame without decoding everything before it, where the container's index tells
    /// which frame is shown when, and there is much before it; the frames keep their indices. False
    /// where that went wrong, and the reader has to be opened anew. Before the first read, for
    /// readers that pass no other streams by.
    bool leapTo(std::int64_t index);

    /// Empty at the end. Throws where the span turns out to lie outside the clip.
    std::optional<ReadItem> read();

    /// The moment of the clip that is time 0 of what is delivered; known from the first frame on,
    /// and from any thread that has been handed one.
    const std::optional<Moment>& start() const { return streams_.copied().start(); }

    /// What the decoder's pictures take at most, estimated.
    std::int64_t decoderBytes() const { return streams_.decoderBytes(); }

    /// How many of the frames of an image sequence that were to be delivered are missing so far.
    std::int64_t framesMissing() const;

    /// Whether the system could not read the input to its end; the warnings tell why.
    bool failedToRead() const { return streams_.failedToRead(); }

    /// What the user should hear about the clip; complete at the end.
    std::vector<std::string> warnings() const;

private:
    std::string missingImages() const;
    bool hasClipSize() const;
    void checkSize() const;
    Moment timeOfFrame() const;

    ReadItem readFrame();
    ReadItem takeFrame();
    ReadItem passFrame();
    ReadItem takePackets();
    ReadItem finish();

    std::string name_;
    SpanGate gate_;
    ClipStreams streams_;
    ClipInfo info_;
    FramePtr firstProperties_ = makeFrame();
    MissingFrames missing_;
    std::vector<std::int64_t> missingImages_; ///< of a sequence
    std::int64_t nextIndex_ = 0; ///< of the frame that is delivered or passed over next
    bool finished_ = false;
};

} // namespace tintwell::media
