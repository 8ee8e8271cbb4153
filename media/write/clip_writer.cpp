#include "media/write/clip_writer.h"

#include "media/check/written_video.h"
#include "media/encoding/container_video.h"
#include "media/ffmpeg_log.h"
#include "media/media_error.h"
#include "media/metadata/kept_metadata.h"
#include "media/metadata/loop_count.h"
#include "media/streams/carriage.h"
#include "media/streams/stream_copy.h"
#include "media/write/container_traits.h"
#include "media/write/picture_side_data.h"

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
      name_(target_.name()), source_(&source.container()), frameRate_(source.info().frameRate),
      timeBase_(source.info().timeBase) {
    findContainer(options.format);
    checkSingleImage(source.info(), span);
    checkFrameRate(source.info());
    const SourceVideo video{source.info(), *source.video().codecpar, source.firstProperties()};
    noteSideData(video.first, sideData_);
    const EncodingPlan plan =
        planEncoding(video, *output_->oformat, output, name_, options.encoder);
    encoder_.emplace(video, *output_->oformat, name_, plan, options.encoder);
    prepareCheck(plan, options);
    if (span) {
        framesBefore_ = span->first;
    }
    if (span && !span->toEnd) {
        length_ = Moment{*span->count(), av_inv_q(source.info().frameRate)};
    }
    if (target_.isSequence()) {
        nextNumber_ = firstNumberFor(input, span);
    }
    copyMetadata(source.container(), *output_);
    setOptions(options);
    checkSeeking();
    loop_ = loopOption(source.container(), *output_->oformat);
    if (isImageFile(*source.container().iformat)) {
        notesCarrier_.emplace(source.video().codecpar->codec_id, encoder_->context().codec_id);
    }
    addStreams(source, options.streams);
    useOldLanguageCodes(*output_);
    if (isQuickTimeFamily(*output_->oformat)) {
        nameTracks(*output_);
    }
    findLosses(source);
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
    if (countsSamples(*context->oformat)) {
        // Pictures that are moved together with the first sound would no longer lie on the grid.
        context->avoid_negative_ts = 0;
    }
    // Such as FLAC in MP4, which browsers have played for years, and tags that we choose.
    context->strict_std_compliance = FF_COMPLIANCE_EXPERIMENTAL;
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

void ClipWriter::checkSeeking() const {
    const bool fragments = std::ranges::any_of(settings_, [](const auto& option) {
        return option.first == "movflags" &&
               (option.second.find("frag") != std::string::npos ||
                option.second.find("empty_moov") != std::string::npos);
    });
    if (!target_.isSequence() && !target_.isSeekable() && needsSeeking(*output_->oformat) &&
        !fragments) {
        throw MediaError(name_ + ": a " + output_->oformat->name +
                         " file cannot be written to a pipe, as its beginning is completed last; "
                         "write it to a file, or choose another format (--output-format matroska, "
                         "nut or mpegts)");
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
void ClipWriter::setOptions(const WriterOptions& options) {
    if (options.encoder.purpose == Purpose::Web && isQuickTimeFamily(*output_->oformat)) {
        settings_.emplace_back("movflags", "+faststart");
    }
    std::ranges::copy(options.container, std::back_inserter(settings_));
    std::ranges::copy(encoder_->leftOptions(), std::back_inserter(settings_));
    for (const auto& [key, value] : settings_) {
        if (key == "atomic_writing") {
            throw MediaError("the option 'atomic_writing' is not needed: outputs always appear "
                             "whole");
        }
        const bool known =
            av_opt_find(output_.get(), key.c_str(), nullptr, 0, AV_OPT_SEARCH_CHILDREN) != nullptr;
        const bool isContainers =
            std::ranges::any_of(options.container, [&](const auto& o) { return o.first == key; });
        if (!known) {
            throw MediaError(isContainers
                                 ? "the format " + formatName() + " does not know the option '" +
                                       key + "'"
                                 : "neither the encoder " + codecName() + " nor the format " +
                                       formatName() + " knows the option '" + key + "'");
        }
    }
}

void ClipWriter::addStreams(const ClipReader& source, const StreamWishes& wishes) {
    using Fate = PlannedStream::Fate;
    const AVFormatContext& container = source.container();
    carried_.emplace(*output_, name_);
    for (const PlannedStream& planned :
         planStreams(container, source.video(), *output_->oformat, wishes, name_)) {
        const AVStream& stream = *container.streams[planned.index];
        note(planned, container);
        if (planned.fate == Fate::Correct) {
            addVideo(stream);
            copyLight(source.firstProperties(), *video_);
        } else if (planned.fate == Fate::Attach) {
            attachPicture(*output_, stream);
        } else if (planned.fate == Fate::Copy || planned.fate == Fate::Convert) {
            carried_->add(stream, source.video(), planned);
        }
    }
}

/// Of metadata, so that the user hears of them before the work.
void ClipWriter::findLosses(const ClipReader& source) {
    const KeptMetadata kept = findKeptMetadata(*output_, source.container().nb_chapters > 0);
    freeKeys_ = kept.needsFreeKeys;
    std::vector<std::string> lost = kept.lost;
    if (isImageFile(*source.container().iformat)) {
        const std::vector<std::string> notes = notesCarrier_->lost(source.firstProperties());
        lost.insert(lost.end(), notes.begin(), notes.end());
    }
    std::string list;
    for (const std::string& key : lost) {
        list += (list.empty() ? "" : ", ") + key;
    }
    if (!list.empty()) {
        warnings_.push_back(
            name_ + ": a " + output_->oformat->name +
            " file has no place for some of the source's metadata, which is lost: " + list);
    }
}

void ClipWriter::note(const PlannedStream& planned, const AVFormatContext& source) {
    const AVCodecParameters& parameters = *source.streams[planned.index]->codecpar;
    const char* kind = av_get_media_type_string(parameters.codec_type);
    fates_.push_back({planned.index, kind != nullptr ? kind : "unknown",
                      avcodec_get_name(parameters.codec_id), nameOf(planned.fate),
                      planned.encoder != nullptr ? avcodec_get_name(planned.encoder->id) : "",
                      planned.reason});
    const std::string sentence = tell(planned, source);
    if (!sentence.empty()) {
        (planned.loses ? warnings_ : notes_).push_back(name_ + ": " + sentence);
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
    const bool noted = notesCarrier_ && notesCarrier_->carriesOrientation();
    if (turned && !noted && !canHoldRotation(*output_->oformat)) {
        warnings_.push_back(name_ + ": a " + output_->oformat->name +
                            " file cannot say that the picture is to be turned for display");
    }
}

std::vector<std::string> ClipWriter::warnings() const {
    std::vector<std::string> warnings = encoder_->warnings();
    warnings.insert(warnings.end(), warnings_.begin(), warnings_.end());
    for (const AVFrameSideDataType kind : sideData_) {
        if (!carries(kind, *encoder_->context().codec, *output_->oformat)) {
            warnings.push_back(name_ + ": what goes with the pictures is left out: " +
                               av_frame_side_data_name(kind));
        }
    }
    const std::vector<std::string>& more = carried_->warnings();
    warnings.insert(warnings.end(), more.begin(), more.end());
    if (const std::int64_t damaged = damagedPackets_ + carried_->damaged(); damaged > 0) {
        warnings.push_back(name_ + ": " + std::to_string(damaged) +
                           (damaged == 1 ? " packet" : " packets") +
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
        throw MediaError(name_ + ": " + action + " (" + explainFailure(code, FfmpegPart::Muxer) +
                         ")");
    }
}

void ClipWriter::begin(const Moment& start) {
    copyChapters(*std::exchange(source_, nullptr), start, length_, *output_);
    moveTimecodes(*output_, frameRate_, framesBefore_);
    Dictionary settings;
    if (loop_) {
        settings.set(loop_->first, loop_->second);
    }
    for (const auto& [key, value] : settings_) {
        settings.set(key, value);
    }
    if (freeKeys_) {
        setFreeKeys(settings);
    }
    if (singleImage_) {
        settings.set("update", "1");
    }
    takeFfmpegMessage(FfmpegPart::Muxer);
    if ((output_->oformat->flags & AVFMT_NOFILE) == 0) {
        file_.emplace(target_.open(*interruption_), DescriptorIo::Direction::Write,
                      target_.isSeekable(), *interruption_);
        output_->pb = file_->context();
        output_->flags |= AVFMT_FLAG_CUSTOM_IO;
    }
    check(avformat_write_header(output_.get(), settings.inOut()), "cannot be started");
    carried_->begin();
}

void ClipWriter::writeFrame(const AVFrame& picture) {
    if (singleImage_ && frames_ > 0) {
        throw MediaError(name_ + ": is a single image, but there are several frames; number the "
                                 "files, as in frame.%04d.png");
    }
    if (frames_ == 0 && countsSamples(*output_->oformat)) {
        fillBefore(picture);
    }
    firstNumber_ = frames_ == 0 ? nextNumber_ : firstNumber_;
    lastNumber_ = nextNumber_;
    ++frames_;
    numbers_.push_back(nextNumber_++);
    if (notesCarrier_) {
        notesCarrier_->expect(picture);
    }
    noteSideData(picture, sideData_);
    encoder_->send(&picture, picture.pkt_duration);
    if (check_) {
        check_->note(picture, encoder_->secondsSent());
    }
    writePackets();
}

/// Containers that count begin all streams at once: the first picture stands until its time comes,
/// so that the others keep their distance to it. The start of a codec, a fraction of a frame, is
/// not worth a picture.
void ClipWriter::fillBefore(const AVFrame& first) {
    const AVRational frame = av_inv_q(frameRate_);
    const AVRational quarter = av_mul_q(frame, {1, 4});
    const std::int64_t count =
        first.pts != AV_NOPTS_VALUE ? (av_rescale_q(first.pts, timeBase_, quarter) + 1) / 4 : 0;
    for (std::int64_t before = count; before > 0; --before) {
        const FramePtr copy(av_frame_clone(&first));
        if (!copy) {
            throw std::bad_alloc();
        }
        copy->pts = first.pts - av_rescale_q(before, frame, timeBase_);
        encoder_->send(copy.get(), copy->pkt_duration);
        writePackets();
    }
    if (count > 0) {
        warnings_.push_back(name_ + ": begins with its first picture standing for " +
                            std::to_string(count) + (count == 1 ? " frame" : " frames") +
                            ", as a " + output_->oformat->name +
                            " file cannot tell that it begins later than the sound");
    }
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
        // What is counted begins at 0.
        const std::int64_t start =
            countsSamples(*output_->oformat) ? 0 : ticksOf(encoder_->start(), video_->time_base);
        packet->pts += start;
        packet->dts += start;
        videoEnd_ = std::max(videoEnd_, packet->pts + packet->duration);
        packet->stream_index = video_->index;
        if (notesCarrier_) {
            notesCarrier_->complete(*packet);
        }
        videoBytes_ += packet->size;
        ++videoPackets_;
        write(*packet);
    }
}

void ClipWriter::writeCopied(PacketPtr packet) {
    for (const PacketPtr& one : carried_->pass(std::move(packet))) {
        write(*one);
    }
}

/// A damaged packet of a copied stream may be noticed only later, on the writing of another one,
/// which is kept in any case.
void ClipWriter::write(AVPacket& packet) {
    const bool isVideo = packet.stream_index == video_->index; // the muxer takes the packet over
    const int code = av_interleaved_write_frame(output_.get(), &packet);
    if (code == AVERROR(EINVAL) && isVideo && !ioError_) {
        const std::string message = takeFfmpegMessage(FfmpegPart::Muxer);
        if (message.find("monotonically increasing dts") != std::string::npos) {
            throw MediaError(name_ + ": two frames are closer together than a " +
                             output_->oformat->name +
                             " file can tell; choose another file format, such as .mp4 or .mkv");
        }
        throw MediaError(name_ + ": cannot be written (" + errorText(code) +
                         (message.empty() ? "" : ": " + message) + ")");
    }
    if (code == AVERROR_INVALIDDATA && !carried_->empty()) {
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
    for (const PacketPtr& packet : carried_->finish({videoEnd_, video_->time_base})) {
        write(*packet);
    }
    check(av_write_trailer(output_.get()), "cannot be completed");
    if (file_) {
        check(file_->flush(), "cannot be completed");
    }
    checkWritten();
    target_.commit();
}

/// What becomes nobody's file cannot be looked at, and raw samples do not say what they are.
void ClipWriter::prepareCheck(const EncodingPlan& plan, const WriterOptions& options) {
    if (!options.check || !target_.isNamedAtTheEnd() || !canBeReadBack(*output_->oformat)) {
        return;
    }
    // v210 keeps the ends of the scale for timing, and cuts them off.
    const bool isExact = plan.isLossless && plan.codec->id != AV_CODEC_ID_V210;
    Likeness likeness = isExact ? Likeness::Equal : Likeness::Near;
    if (!options.encoder.options.empty()) {
        likeness = Likeness::Rough;
    }
    check_.emplace(encoder_->pictureFormat(), encoder_->tags(), likeness);
}

void ClipWriter::checkWritten() {
    if (!check_ || frames_ == 0) {
        return;
    }
    takeFfmpegMessage(FfmpegPart::Demuxer);
    takeFfmpegMessage(FfmpegPart::Decoder);
    if (file_) {
        check_->checkFile(name_, target_.descriptor(), videoPackets_, *interruption_);
    } else if (target_.isSequence()) {
        using Which = WrittenCheck::Which;
        const auto checkNumber = [&](std::int64_t number, Which which) {
            const Descriptor image = target_.openToRead(number);
            check_->checkImage(name_, image.get(), which, *interruption_);
        };
        checkNumber(firstNumber_, Which::First);
        checkNumber(lastNumber_, Which::Last);
    } else {
        check_->checkImage(name_, target_.descriptor(), WrittenCheck::Which::First, *interruption_);
    }
    const std::vector<std::string>& found = check_->warnings();
    warnings_.insert(warnings_.end(), found.begin(), found.end());
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
