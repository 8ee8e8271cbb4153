#pragma once

#include "media/check/written_check.h"
#include "media/files/descriptor_io.h"
#include "media/files/input_files.h"
#include "media/metadata/picture_source.h"
#include "media/read/clip_reader.h"
#include "media/stream_wishes.h"
#include "media/streams/carried_streams.h"
#include "media/streams/stream_plan.h"
#include "media/write/output_target.h"
#include "media/write/video_encoder.h"

#include <cstdint>
#include <deque>
#include <exception>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace tintwell::media {

struct WriterOptions {
    std::string format; ///< muxer's name; empty: from the output's name
    EncoderOptions encoder;
    bool overwrite = false;
    std::shared_ptr<InputFiles> inputs = {}; ///< not to be written to; null: those of the name
    std::shared_ptr<Interruption> interruption = {}; ///< may be null
    StreamWishes streams = {};
    NamedValues container = {}; ///< options of the muxer, as FFmpeg names them
    bool check = true;          ///< read files back before they take their names
};

/// What becomes of a stream of the source, in words for the user and for programs.
struct StreamFate {
    int index = 0;      ///< in the source
    std::string kind;   ///< "audio", "subtitle" and so on
    std::string codec;  ///< in the source
    std::string fate;   ///< nameOf(PlannedStream::Fate)
    std::string target; ///< the codec it is converted to; empty: none
    std::string reason; ///< of what is not as the source has it
};

/// Writes a clip whose video is encoded anew, and everything else as the source has it, or as the
/// container can hold it: other streams, metadata, chapters, rotation, aspect ratio, colour tags.
/// The output appears under its name with `finish`; a writer that goes without it leaves nothing.
/// For one thread at a time; errors are MediaErrors, and Interrupted once the interruption is set.
class ClipWriter {
public:
    /// Checks the target and the settings and opens the encoder; takes what it needs of the source
    /// before that is read. `input` is the source's name, `span` the frames that are rendered.
    ClipWriter(const std::string& output, const std::string& input, const ClipReader& source,
               const std::optional<FrameSpan>& span, const WriterOptions& options);

    ClipWriter(const ClipWriter&) = delete;
    ClipWriter& operator=(const ClipWriter&) = delete;

    /// What the frames must be.
    const PictureFormat& pictureFormat() const { return encoder_->pictureFormat(); }

    /// As VideoEncoder has it.
    std::int64_t encoderBytes() const { return encoder_->bytes(); }

    std::string codecName() const { return encoder_->context().codec->name; }

    /// For people, as in EncoderSettings.
    const std::string& rate() const { return encoder_->rate(); }

    /// Of the video that has been written so far.
    std::int64_t videoBytes() const { return videoBytes_; }

    std::string formatName() const { return output_->oformat->name; }

    bool isSequence() const { return target_.isSequence(); }

    /// The source's streams that are to be passed to `writeCopied`.
    std::vector<int> copiedStreams() const { return carried_->indices(); }

    const std::vector<StreamFate>& streams() const { return fates_; }

    /// What is done to the source's streams that loses nothing worth a warning.
    const std::vector<std::string>& notes() const { return notes_; }

    std::vector<std::string> warnings() const;

    /// Once, before anything is written: the moment of the source at which the output starts.
    void begin(const Moment& start);

    /// pts and duration in the source's time base, from the start.
    void writeFrame(const AVFrame& picture);

    /// For a frame of an image sequence that is missing; the picture stands in for it. Shows that
    /// picture, or, where the output is a sequence too, leaves the number out.
    void writeMissing(const AVFrame& picture);

    /// A packet of the source, its timestamps counted from the start.
    void writeCopied(PacketPtr packet);

    /// Writes what is left, reads a file's first and last frame back, and puts it in place. Where
    /// these are not what was encoded, that is an error, and what stood there stays.
    void finish();

private:
    static int openFile(AVFormatContext* container, AVIOContext** io, const char* url, int flags,
                        AVDictionary** options);
    static int closeFile(AVFormatContext* container, AVIOContext* io);
    AVIOContext* openFor(int flags);
    void findContainer(const std::string& format);
    void checkSingleImage(const ClipInfo& source, const std::optional<FrameSpan>& span);
    void checkSeeking() const;
    void checkFrameRate(const ClipInfo& source) const;
    void addStreams(const ClipReader& source, const StreamWishes& wishes);
    void fillBefore(const AVFrame& first);
    void findLosses(const ClipReader& source);
    void note(const PlannedStream& planned, const AVFormatContext& source);
    void addVideo(const AVStream& source);
    void setOptions(const WriterOptions& options);
    void prepareCheck(const EncodingPlan& plan, const WriterOptions& options);
    void checkWritten();
    void writePackets();
    void write(AVPacket& packet);
    void check(int code, const char* action);

    std::shared_ptr<Interruption> interruption_;
    OutputTarget target_;
    std::string name_;
    std::optional<DescriptorIo> file_;     ///< but for images
    std::optional<DescriptorIo> readBack_; ///< the same file, for muxers that move what they wrote
    std::optional<DescriptorIo> image_;    ///< being written
    std::exception_ptr ioError_;           ///< thrown where FFmpeg cannot have it thrown
    OutputPtr output_;
    std::optional<VideoEncoder> encoder_;
    AVStream* video_ = nullptr;
    std::int64_t videoEnd_ = 0; ///< in its time base
    std::optional<CarriedStreams> carried_;
    std::vector<StreamFate> fates_;
    std::vector<std::string> notes_;
    const AVFormatContext* source_; ///< for the chapters, until `begin`
    std::optional<Moment> length_;
    std::int64_t framesBefore_ = 0;            ///< of the source, before those that are rendered
    AVRational frameRate_;                     ///< of the source
    AVRational timeBase_;                      ///< of the source's frames
    std::optional<NotesCarrier> notesCarrier_; ///< between image files
    bool freeKeys_ = false;                    ///< setFreeKeys
    std::optional<std::pair<std::string, std::string>> loop_;
    std::vector<std::string> warnings_;
    std::int64_t nextNumber_ = 0; ///< of an image sequence
    std::int64_t frames_ = 0;
    std::int64_t videoBytes_ = 0;
    std::int64_t videoPackets_ = 0;
    std::set<AVFrameSideDataType> sideData_; ///< kinds that go with the pictures
    std::optional<WrittenCheck> check_;
    std::int64_t firstNumber_ = 0; ///< of the images that were written, as the next
    std::int64_t lastNumber_ = 0;
    NamedValues settings_;             ///< of the muxer
    std::deque<std::int64_t> numbers_; ///< of the images that the encoder still has
    std::int64_t damagedPackets_ = 0;  ///< of copied streams
    bool singleImage_ = false;
};

} // namespace tintwell::media
