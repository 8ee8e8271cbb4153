#include "media/write/clip_writer.h"

#include "media/ffmpeg_log.h"
#include "media/media_error.h"
#include "media/write/container_traits.h"
#include "media/write/stream_copy.h"

#include <algorithm>
#include <string_view>
#include <utility>

extern "C" {
#include <libavutil/opt.h>
}

namespace tintwell::media {
namespace {

/// The container in which frames are passed on where none is named.
constexpr char kPipeFormat[] = "nut";

/// Frames of a sequence keep the numbers of the sequence they come from; others count from 0.
std::int64_t firstNumberFor(const std::string& input, const std::optional<FrameSpan>& span) {
    const auto pattern = parseSequence(input);
    const SequenceFiles files = pattern ? findSequence(*pattern) : SequenceFiles{};
    return files.first() + (span ? span->first : 0);
}

/// What the muxer is told. It opens nothing by this name, but tells images by its extension, and
/// numbers them only where it is asked to.
std::string urlFor(const OutputTarget& target) {
    if (!target.isSequence()) {
        return target.name();
    }
    return "image%d" + escapedForPattern(parseSequence(target.name()).value().suffix);
}

} // namespace

ClipWriter::ClipWriter(const std::string& output, const std::string& input,
                       const ClipReader& source, const std::optional<FrameSpan>& span,
                       const WriterOptions& options)
    : interruption_(options.interruption ? options.interruption : std::make_shared<Interruption>()),
      target_(output, options.inputs ? options.inputs : std::make_shared<InputFiles>(input),
              options.overwrite),
      name_(target_.name()), source_(&source.container()) {
    findContainer(options.format);
    checkSingleImage(source.info(), span);
    checkFrameRate(source.info());
    encoder_.emplace(source.info(), source.video().codecpar->field_order, *output_->oformat, name_,
                     output, options.encoder);
    if (span && !span->toEnd) {
        length_ = Moment{*span->count(), av_inv_q(source.info().frameRate)};
    }
    if (target_.isSequence()) {
        nextNumber_ = firstNumberFor(input, span);
    }
    copyMetadata(source.container(), *output_);
    checkOptions();
    addStreams(source);
}

void ClipWriter::findContainer(const std::string& format) {
    const std::string name = format.empty() && target_.isOpenFile() ? kPipeFormat : format;
    const std::string url = urlFor(target_);
    AVFormatContext* context = nullptr;
    const int code = avformat_alloc_output_context2(
        &context, nullptr, name.empty() ? nullptr : name.c_str(), url.c_str());
    if (code == AVERROR(ENOMEM)) {
        throw std::bad_alloc();
    }
    if (code < 0) {
        throw MediaError(name.empty() ? name_ + ": its name does not tell the file format; give it "
                                                "an extension such as .mp4 or name the format"
                                      : "there is no output format '" + name + "'");
    }
    output_.reset(context);
    context->opaque = this;
    context->io_open = openFile;
    context->io_close2 = closeFile;
    const std::string_view muxer = context->oformat->name;
    if ((context->oformat->flags & AVFMT_NOFILE) != 0 && muxer != "image2") {
        throw MediaError(name_ + ": files of the format " + std::string(muxer) +
                         " cannot be written");
    }
    if (target_.isSequence() && muxer != "image2") {
        throw MediaError(name_ + ": a numbered name is for an image sequence, but this is a " +
                         std::string(muxer) + " file");
    }
    singleImage_ = muxer == "image2" && !target_.isSequence();
}

void ClipWriter::checkSingleImage(const ClipInfo& source, const std::optional<FrameSpan>& span) {
    const std::optional<FrameCount> count = framesToRead(source, span);
    if (singleImage_ && count && count->exact && count->frames > 1) {
        throw MediaError(name_ + ": is a single image, but there are several frames; number the "
                                 "files, as in frame.%04d.png");
    }
}

void ClipWriter::checkFrameRate(const ClipInfo& source) const {
    const int greatest = greatestFrameRate(*output_->oformat);
    if (greatest > 0 && av_cmp_q(source.frameRate, {greatest, 1}) > 0) {
        throw MediaError(name_ + ": a " + output_->oformat->name + " file holds at most " +
                         std::to_string(greatest) +
                         " frames per second, and the source has more; choose another file format, "
                         "such as .mp4 or .mkv");
    }
}

/// What the encoder does not know may be meant for the container.
void ClipWriter::checkOptions() const {
    for (const auto& [key, value] : encoder_->leftOptions()) {
        if (key == "atomic_writing") {
            throw MediaError("the option 'atomic_writing' is not needed: outputs always appear "
                             "whole");
        }
        if (av_opt_find(output_.get(), key.c_str(), nullptr, 0, AV_OPT_SEARCH_CHILDREN) ==
            nullptr) {
            throw MediaError("neither the encoder " + codecName() + " nor the format " +
                             output_->oformat->name + " knows the option '" + key + "'");
        }
    }
}

void ClipWriter::addStreams(const ClipReader& source) {
    const AVFormatContext& container = source.container();
    for (unsigned i = 0; i < container.nb_streams; ++i) {
        const AVStream& stream = *container.streams[i];
        const bool moreVideo = stream.codecpar->codec_type == AVMEDIA_TYPE_VIDEO &&
                               (stream.disposition & AV_DISPOSITION_ATTACHED_PIC) == 0;
        if (stream.index == source.video().index) {
            addVideo(stream);
        } else if (isChapterText(stream)) {
            continue; // the chapters are taken over as such
        } else if (canAttachPicture(*output_->oformat, stream)) {
            attachPicture(*output_, stream);
        } else if (!moreVideo && canHold(*output_->oformat, stream)) {
            copied_.push_back({stream.index, stream.time_base, &addCopiedStream(*output_, stream)});
        } else {
            warnings_.push_back(name_ + ": the source's " + describeStream(stream) +
                                " is left out");
        }
    }
}

void ClipWriter::addVideo(const AVStream& source) {
    video_ = avformat_new_stream(output_.get(), nullptr);
    if (video_ == nullptr ||
        avcodec_parameters_from_context(video_->codecpar, &encoder_->context()) < 0) {
        throw std::bad_alloc();
    }
    video_->time_base = encoder_->context().time_base;
    video_->avg_frame_rate = encoder_->context().framerate;
    video_->sample_aspect_ratio = encoder_->context().sample_aspect_ratio;
    copyStreamProperties(source, *video_);
    const bool turned = av_stream_get_side_data(&source, AV_PKT_DATA_DISPLAYMATRIX, nullptr);
    if (turned && !canHoldRotation(*output_->oformat)) {
        warnings_.push_back(name_ + ": a " + output_->oformat->name +
                            " file cannot say that the picture is to be turned for display");
    }
}

std::vector<int> ClipWriter::copiedStreams() const {
    std::vector<int> indices;
    std::ranges::transform(copied_, std::back_inserter(indices), &CopiedStream::sourceIndex);
    return indices;
}

std::vector<std::string> ClipWriter::warnings() const {
    std::vector<std::string> warnings = encoder_->warnings();
    warnings.insert(warnings.end(), warnings_.begin(), warnings_.end());
    if (damagedPackets_ > 0) {
        warnings.push_back(name_ + ": " + std::to_string(damagedPackets_) +
                           (damagedPackets_ == 1 ? " packet" : " packets") +
                           " of the source's other streams could not be copied, as damaged ones");
    }
    return warnings;
}

void ClipWriter::check(int code, const char* action) {
    if (ioError_) {
        std::rethrow_exception(std::exchange(ioError_, {}));
    }
    if (code < 0 && interruption_->isSet()) {
        throw Interrupted();
    }
    if (code == AVERROR(ENOMEM)) {
        throw std::bad_alloc();
    }
    if (code < 0) {
        throw MediaError(name_ + ": " + action + " (" + explainFailure(code) + ")");
    }
}

void ClipWriter::begin(const Moment& start) {
    copyChapters(*std::exchange(source_, nullptr), start, length_, *output_);
    Dictionary settings;
    for (const auto& [key, value] : encoder_->leftOptions()) {
        settings.set(key, value);
    }
    if (singleImage_) {
        settings.set("update", "1");
    }
    takeFfmpegMessage();
    if ((output_->oformat->flags & AVFMT_NOFILE) == 0) {
        file_.emplace(target_.open(*interruption_), DescriptorIo::Direction::Write,
                      target_.isSeekable(), *interruption_);
        output_->pb = file_->context();
        output_->flags |= AVFMT_FLAG_CUSTOM_IO;
    }
    check(avformat_write_header(output_.get(), settings.inOut()), "cannot be started");
}

void ClipWriter::writeFrame(const AVFrame& picture) {
    if (singleImage_ && frames_ > 0) {
        throw MediaError(name_ + ": is a single image, but there are several frames; number the "
                                 "files, as in frame.%04d.png");
    }
    ++frames_;
    numbers_.push_back(nextNumber_++);
    encoder_->send(&picture, picture.pkt_duration);
    writePackets();
}

void ClipWriter::writeMissing(const AVFrame& picture) {
    if (target_.isSequence()) {
        ++nextNumber_;
    } else {
        writeFrame(picture);
    }
}

void ClipWriter::writePackets() {
    while (PacketPtr packet = encoder_->receive()) {
        av_packet_rescale_ts(packet.get(), encoder_->context().time_base, video_->time_base);
        packet->stream_index = video_->index;
        write(*packet);
    }
}

void ClipWriter::writeCopied(PacketPtr packet) {
    const auto stream =
        std::ranges::find(copied_, packet->stream_index, &CopiedStream::sourceIndex);
    if (stream == copied_.end()) {
        return;
    }
    av_packet_rescale_ts(packet.get(), stream->timeBase, stream->target->time_base);
    packet->stream_index = stream->target->index;
    packet->pos = -1;
    if (packet->dts == AV_NOPTS_VALUE) {
        packet->dts = packet->pts;
    }
    // Containers insist on rising times, which a finer source may lose in the rounding.
    if (stream->lastTime != AV_NOPTS_VALUE && packet->dts != AV_NOPTS_VALUE) {
        packet->dts = std::max(packet->dts, stream->lastTime + 1);
        packet->pts =
            packet->pts != AV_NOPTS_VALUE ? std::max(packet->pts, packet->dts) : packet->dts;
    }
    stream->lastTime = packet->dts;
    write(*packet);
}

/// A damaged packet of a copied stream may be noticed only later, on the writing of another one,
/// which is kept in any case.
void ClipWriter::write(AVPacket& packet) {
    const bool isVideo = packet.stream_index == video_->index; // the muxer takes the packet over
    const int code = av_interleaved_write_frame(output_.get(), &packet);
    if (code == AVERROR(EINVAL) && isVideo && !ioError_) {
        const std::string message = takeFfmpegMessage();
        if (message.find("monotonically increasing dts") != std::string::npos) {
            throw MediaError(name_ + ": two frames are closer together than a " +
                             output_->oformat->name +
                             " file can tell; choose another file format, such as .mp4 or .mkv");
        }
        throw MediaError(name_ + ": cannot be written (" + errorText(code) +
                         (message.empty() ? "" : ": " + message) + ")");
    }
    if (code == AVERROR_INVALIDDATA && !copied_.empty()) {
        ++damagedPackets_;
    } else {
        check(code, "cannot be written");
    }
    // Writing is buffered: an error may be noticed here first, long before the end.
    if (file_) {
        check(output_->pb->error, "cannot be written");
    }
}

void ClipWriter::finish() {
    encoder_->send(nullptr, 0);
    writePackets();
    check(av_write_trailer(output_.get()), "cannot be completed");
    if (file_) {
        check(file_->flush(), "cannot be completed");
    }
    target_.commit();
}

/// FFmpeg would open files by their names, which somebody else may have taken.
int ClipWriter::openFile(AVFormatContext* container, AVIOContext** io, const char* /*url*/,
                         int flags, AVDictionary** /*options*/) {
    auto& writer = *static_cast<ClipWriter*>(container->opaque);
    try {
        *io = writer.openFor(flags);
        return 0;
    } catch (...) {
        writer.ioError_ = std::current_exception();
        return AVERROR_EXTERNAL;
    }
}

AVIOContext* ClipWriter::openFor(int flags) {
    if ((flags & AVIO_FLAG_WRITE) == 0 && file_ && target_.isSeekable()) {
        file_->flush();
        readBack_.emplace(target_.descriptor(), DescriptorIo::Direction::Read, true,
                          *interruption_);
        return readBack_->context();
    }
    if (file_ || image_) {
        throw MediaError(name_ + ": files of the format " + output_->oformat->name +
                         " are several at once with these settings, which cannot be written");
    }
    const int descriptor =
        target_.isSequence() ? target_.openNumber(numbers_.front()) : target_.open(*interruption_);
    numbers_.pop_front();
    image_.emplace(descriptor, DescriptorIo::Direction::Write, target_.isSeekable(),
                   *interruption_);
    return image_->context();
}

int ClipWriter::closeFile(AVFormatContext* container, AVIOContext* io) {
    auto& writer = *static_cast<ClipWriter*>(container->opaque);
    if (writer.readBack_ && io == writer.readBack_->context()) {
        writer.readBack_.reset();
        return 0;
    }
    const int code = writer.image_->flush();
    writer.image_.reset();
    if (code < 0) {
        try { // the muxer does not tell
            writer.check(code, "cannot be written");
        } catch (...) {
            writer.ioError_ = std::current_exception();
        }
    }
    return code;
}

} // namespace tintwell::media
