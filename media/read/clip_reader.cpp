#include "media/read/clip_reader.h"

#include "media/ffmpeg_log.h"
#include "media/media_error.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <string_view>
#include <thread>
#include <utility>

extern "C" {
#include <libavutil/display.h>
#include <libavutil/pixdesc.h>
}

namespace tintwell::media {
namespace {

constexpr AVRational kUsualFrameRate{25, 1};
/// Packets that may wait for the next frame before they are delivered without one.
constexpr std::size_t kPacketsPerItem = 64;
/// From this distance on, in frames, one is missing in between. Fields that are shown twice, as for
/// film on video, make distances of one and a half.
constexpr double kGap = 1.9;
/// A longer gap, in seconds, is a clock that was set anew.
constexpr double kLongestGap = 3600.0;
/// Decoded before a frame that is leapt to: the container's idea of the key frame before it may be
/// off by the pictures that are stored in another order than they are shown in.
constexpr std::int64_t kLeapRun = 32;
/// Less is decoded as quickly as it is leapt over.
constexpr std::int64_t kShortestLeap = 64;
/// A decoder that fails this often without taking a packet will not recover.
constexpr int kMaximumFailuresInARow = 100;

/// Every thread of a decoder holds frames, so that many threads are memory before they are speed.
int decoderThreads(const AVCodecParameters& parameters) {
    const bool large = std::int64_t{parameters.width} * parameters.height > 1920 * 1200;
    const int processors = static_cast<int>(std::max(1U, std::thread::hardware_concurrency()));
    return std::min(processors, large ? 4 : 8);
}

/// Where a stream is damaged, decoders can leave parts of a picture as they find them. They must
/// not find what was there before: the same clip is to give the same pictures, always.
int getClearedBuffer(AVCodecContext* decoder, AVFrame* frame, int flags) {
    const int code = avcodec_default_get_buffer2(decoder, frame, flags);
    for (AVBufferRef* buffer : frame->buf) {
        if (code == 0 && buffer != nullptr) {
            std::memset(buffer->data, 0, static_cast<std::size_t>(buffer->size));
        }
    }
    return code;
}

void clearNewPictures(AVCodecContext& decoder) {
    decoder.get_buffer2 = getClearedBuffer;
#if FF_API_THREAD_SAFE_CALLBACKS
    // FFmpeg 5 calls it from one thread at a time, and decodes more slowly, unless told not to.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
    decoder.thread_safe_callbacks = 1;
#pragma GCC diagnostic pop
#endif
}

/// FFmpeg's own decoders of VP8 and VP9 leave the transparency out.
const AVCodec* findDecoder(const AVStream& stream) {
    const AVCodecID id = stream.codecpar->codec_id;
    const AVDictionaryEntry* alpha = av_dict_get(stream.metadata, "alpha_mode", nullptr, 0);
    const AVCodec* codec = nullptr;
    if (alpha != nullptr && std::string_view(alpha->value) == "1") {
        codec = id == AV_CODEC_ID_VP9   ? avcodec_find_decoder_by_name("libvpx-vp9")
                : id == AV_CODEC_ID_VP8 ? avcodec_find_decoder_by_name("libvpx")
                                        : nullptr;
    }
    return codec != nullptr ? codec : avcodec_find_decoder(id);
}

bool isRate(AVRational rate) {
    return rate.num > 0 && rate.den > 0;
}

bool isClose(double value, double other) {
    return std::abs(value / other - 1.0) < 0.002;
}

/// Whether all frames follow each other at the same distance, where the container's index tells.
std::optional<bool> isEvenlySpaced(AVStream& stream) {
    const int count = avformat_index_get_entries_count(&stream);
    if (count < 2 || count != stream.nb_frames) {
        return {};
    }
    const auto time = [&](int entry) {
        return avformat_index_get_entry(&stream, entry)->timestamp;
    };
    const std::int64_t step = time(1) - time(0);
    for (int entry = 2; entry < count; ++entry) {
        if (std::abs(time(entry) - time(entry - 1) - step) > 1) {
            return false;
        }
    }
    return true;
}

/// How long a clip of evenly spaced frames is.
struct Pace {
    std::int64_t ticks;
    std::int64_t frames;
};

/// Empty where the container's index does not tell, or the frames are not evenly spaced.
std::optional<Pace> paceOf(AVStream& stream) {
    if (!isEvenlySpaced(stream).value_or(false)) {
        return {};
    }
    const int last = avformat_index_get_entries_count(&stream) - 1;
    const std::int64_t ticks = avformat_index_get_entry(&stream, last)->timestamp -
                               avformat_index_get_entry(&stream, 0)->timestamp;
    return ticks > 0 ? std::optional(Pace{ticks, last}) : std::nullopt;
}

double rotationOf(const AVStream& stream) {
    std::size_t size = 0;
    const std::uint8_t* matrix = av_stream_get_side_data(&stream, AV_PKT_DATA_DISPLAYMATRIX, &size);
    if (matrix == nullptr || size < 9 * sizeof(std::int32_t)) {
        return 0.0;
    }
    const double angle = av_display_rotation_get(reinterpret_cast<const std::int32_t*>(matrix));
    return std::isnan(angle) ? 0.0 : angle;
}

} // namespace

ClipReader::ClipReader(const std::string& input, const ReaderOptions& options)
    : name_(inputName(input)), options_(options), file_(openInput(input, options.input)) {
    openDecoder();
    for (unsigned i = 0; i < file_.container->nb_streams; ++i) {
        AVStream* stream = file_.container->streams[i];
        if (stream != file_.video && !options_.copyOtherStreams) {
            stream->discard = AVDISCARD_ALL;
        }
    }
    if (!options_.frames) {
        const std::int64_t start = file_.container->start_time;
        copied_.setStart({start != AV_NOPTS_VALUE ? start : 0, {1, AV_TIME_BASE}});
    }
    decodeFirstFrame();
    describe();
    checkSpan();
}

void ClipReader::openDecoder() {
    const AVCodecParameters& parameters = *file_.video->codecpar;
    const AVCodec* codec = findDecoder(*file_.video);
    if (codec == nullptr) {
        throw MediaError(name_ + ": there is no decoder for its video (" +
                         avcodec_get_name(parameters.codec_id) + ")");
    }
    checkPictureSize(name_, parameters.width, parameters.height);
    decoder_.reset(avcodec_alloc_context3(codec));
    if (!decoder_ || avcodec_parameters_to_context(decoder_.get(), &parameters) < 0) {
        throw std::bad_alloc();
    }
    decoder_->pkt_timebase = file_.video->time_base;
    decoder_->thread_count = decoderThreads(parameters);
    decoder_->max_pixels = kMaximumPixels;
    clearNewPictures(*decoder_);
    if (const int code = avcodec_open2(decoder_.get(), codec, nullptr); code < 0) {
        throw MediaError(name_ + ": its video (" + codec->name + ") cannot be decoded (" +
                         explainFailure(code) + ")");
    }
}

void ClipReader::decodeFirstFrame() {
    while (!frame_) {
        if (step() == Step::End) {
            const std::string message = readFailure_.empty() ? takeFfmpegMessage() : readFailure_;
            throw MediaError(name_ + ": no picture in it can be decoded" +
                             (message.empty() ? "" : " (" + message + ")"));
        }
    }
    checkPictureSize(name_, frame_->width, frame_->height);
}

void ClipReader::describe() {
    const AVCodecParameters& parameters = *file_.video->codecpar;
    info_.width = frame_->width;
    info_.height = frame_->height;
    info_.pixelFormat = static_cast<AVPixelFormat>(frame_->format);
    const PixelFormatTraits traits = traitsOf(info_.pixelFormat);
    info_.bitsPerChannel = traits.depth;
    info_.alpha = traits.alpha;
    const auto stated = [](auto frameTag, auto streamTag, auto unspecified) {
        return frameTag != unspecified ? frameTag : streamTag;
    };
    info_.tags.matrix = stated(frame_->colorspace, parameters.color_space, AVCOL_SPC_UNSPECIFIED);
    info_.tags.range = stated(frame_->color_range, parameters.color_range, AVCOL_RANGE_UNSPECIFIED);
    info_.tags.primaries =
        stated(frame_->color_primaries, parameters.color_primaries, AVCOL_PRI_UNSPECIFIED);
    info_.tags.transfer = stated(frame_->color_trc, parameters.color_trc, AVCOL_TRC_UNSPECIFIED);
    info_.tags.chromaLocation =
        stated(frame_->chroma_location, parameters.chroma_location, AVCHROMA_LOC_UNSPECIFIED);
    info_.color = resolveColor(info_.pixelFormat, info_.width, info_.height, info_.tags);
    info_.sampleAspectRatio =
        av_guess_sample_aspect_ratio(file_.container.get(), file_.video, frame_.get());
    info_.rotation = rotationOf(*file_.video);
    info_.formatName = file_.container->iformat->name;
    info_.codecName = avcodec_get_name(parameters.codec_id);
    describeTiming();
}

void ClipReader::describeTiming() {
    const AVStream& stream = *file_.video;
    const AVRational average = stream.avg_frame_rate;
    const AVRational smallest = stream.r_frame_rate; // the rate that all timestamps fit in
    info_.timeBase = stream.time_base;
    const bool fieldRate = stream.codecpar->field_order > AV_FIELD_PROGRESSIVE;
    const std::optional<bool> even = isEvenlySpaced(*file_.video);
    if (!isRate(average) || !isRate(smallest)) {
        info_.frameRate = isRate(average) ? average : kUsualFrameRate;
    } else if (even.value_or(isClose(av_q2d(average), av_q2d(smallest)))) {
        info_.frameRate = isClose(av_q2d(average), av_q2d(smallest)) ? smallest : average;
    } else if (!even && fieldRate && isClose(2 * av_q2d(average), av_q2d(smallest))) {
        info_.frameRate = av_mul_q(smallest, {1, 2});
    } else {
        info_.frameRate = average;
        info_.variableFrameRate = true;
    }
    info_.rateIsExact = even.value_or(av_cmp_q(av_inv_q(info_.timeBase), info_.frameRate) == 0);
    const std::int64_t duration =
        stream.duration != AV_NOPTS_VALUE
            ? av_rescale_q(stream.duration, stream.time_base, AVRational{1, AV_TIME_BASE})
            : file_.container->duration;
    if (file_.sequenceLength) {
        info_.frameCount = file_.sequenceLength;
    } else if (stream.nb_frames > 0) {
        info_.frameCount = FrameCount{stream.nb_frames, true};
    } else if (duration > 0) {
        info_.frameCount = FrameCount{
            std::max<std::int64_t>(1, av_rescale(duration, info_.frameRate.num,
                                                 std::int64_t{AV_TIME_BASE} * info_.frameRate.den)),
            false};
    }
}

void ClipReader::throwOutsideClip(std::int64_t frameCount) const {
    throw MediaError(name_ + ": the frames " + std::to_string(options_.frames->first) + "-" +
                     std::to_string(options_.frames->last) +
                     " are not all in the clip, which has " + std::to_string(frameCount) + " (0-" +
                     std::to_string(frameCount - 1) + ")");
}

void ClipReader::checkSpan() const {
    if (options_.frames && info_.frameCount && info_.frameCount->exact &&
        options_.frames->last >= info_.frameCount->frames) {
        throwOutsideClip(info_.frameCount->frames);
    }
}

void ClipReader::keepStreams(const std::vector<int>& indices) {
    for (unsigned i = 0; i < file_.container->nb_streams; ++i) {
        AVStream* stream = file_.container->streams[i];
        const bool kept = std::ranges::find(indices, stream->index) != indices.end();
        if (stream != file_.video && !kept) {
            stream->discard = AVDISCARD_ALL;
        }
    }
    copied_.keepOnly(indices);
}

std::optional<ReadItem> ClipReader::read() {
    if (finished_) {
        return {};
    }
    if (!frame_ && step() == Step::End) {
        if (spanEnd_) {
            return finish(spanEnd_);
        }
        if (options_.frames && nextIndex_ <= options_.frames->last) {
            throwOutsideClip(nextIndex_);
        }
        return finish({});
    }
    if (!frame_) {
        const bool deliver = !options_.frames && copied_.size() >= kPacketsPerItem;
        ReadItem item;
        if (deliver) {
            item.copied = copied_.take({});
        }
        return item;
    }
    if (options_.frames && nextIndex_ > options_.frames->last) {
        return passBeyond();
    }
    checkFrame();
    if (options_.frames && nextIndex_ < options_.frames->first) {
        return skipFrame();
    }
    return takeFrame();
}

/// One step towards the next frame: takes it from the decoder, or gives the decoder more to do.
ClipReader::Step ClipReader::step() {
    FramePtr frame = makeFrame();
    const int code = avcodec_receive_frame(decoder_.get(), frame.get());
    if (code == 0) {
        failuresInARow_ = 0;
        if (frame->decode_error_flags != 0 || (frame->flags & AV_FRAME_FLAG_CORRUPT) != 0) {
            ++damaged_;
        }
        frame_ = std::move(frame);
        return Step::Frame;
    }
    if (code == AVERROR(ENOMEM)) {
        throw std::bad_alloc();
    }
    if (code == AVERROR(EAGAIN)) {
        feedDecoder();
        return Step::Fed;
    }
    if (code == AVERROR_EOF || ++failuresInARow_ > kMaximumFailuresInARow) {
        return Step::End;
    }
    ++damaged_;
    return Step::Fed;
}

/// Reads one packet, of whichever stream.
void ClipReader::feedDecoder() {
    PacketPtr packet = readPacket();
    if (packet && packet->stream_index != file_.video->index) {
        if (options_.copyOtherStreams) {
            const AVStream& stream = *file_.container->streams[packet->stream_index];
            copied_.add(std::move(packet), stream);
        }
        return;
    }
    const int code = avcodec_send_packet(decoder_.get(), packet.get());
    if (code == AVERROR(ENOMEM)) {
        throw std::bad_alloc();
    }
    if (code < 0 && code != AVERROR_EOF) {
        ++damaged_;
    }
}

/// Empty at the end of the input, also where the rest of it cannot be read.
PacketPtr ClipReader::readPacket() {
    PacketPtr packet = makePacket();
    int code = AVERROR_EOF;
    if (!inputEnded_) {
        do {
            code = av_read_frame(file_.container.get(), packet.get());
        } while (code == AVERROR(EAGAIN));
    }
    if (code == 0) {
        if ((packet->flags & AV_PKT_FLAG_CORRUPT) != 0) {
            ++damaged_;
        }
        // A subtitle may say that it stays beyond where the file was cut off.
        const AVStream& stream = *file_.container->streams[packet->stream_index];
        if (packet->pts != AV_NOPTS_VALUE && stream.codecpar->codec_type != AVMEDIA_TYPE_SUBTITLE) {
            const AVRational timeBase = stream.time_base;
            lastTime_ = std::max(lastTime_, av_rescale_q(packet->pts + packet->duration, timeBase,
                                                         AVRational{1, AV_TIME_BASE}));
        }
        return packet;
    }
    if (code == AVERROR(ENOMEM)) {
        throw std::bad_alloc();
    }
    // A sequence with a gap ends there with an error; that has been told already.
    if (code != AVERROR_EOF && !file_.sequenceLength) {
        readFailure_ = explainFailure(code);
    }
    inputEnded_ = true;
    return nullptr;
}

/// Whether the container promised clearly more than was found before its end.
bool ClipReader::endedEarly() const {
    const AVFormatContext& container = *file_.container;
    if (file_.sequenceLength || !inputEnded_ || lastTime_ == AV_NOPTS_VALUE ||
        container.duration <= 0 || container.start_time == AV_NOPTS_VALUE ||
        container.duration_estimation_method == AVFMT_DURATION_FROM_BITRATE) {
        return false;
    }
    const std::int64_t frame = av_rescale_q(1, av_inv_q(info_.frameRate), {1, AV_TIME_BASE});
    return lastTime_ - container.start_time < container.duration / 20 * 19 - frame;
}

bool ClipReader::hasClipSize() const {
    return frame_->width == info_.width && frame_->height == info_.height;
}

void ClipReader::checkFrame() const {
    if (!hasClipSize()) {
        const auto size = [](int width, int height) {
            return std::to_string(width) + "x" + std::to_string(height);
        };
        throw MediaError(name_ + ": the picture size changes from " +
                         size(info_.width, info_.height) + " to " +
                         size(frame_->width, frame_->height) + " at frame " +
                         std::to_string(nextIndex_) + "; render the parts one by one");
    }
}

/// In the clip's own time; by the frame rate where there is no timestamp.
Moment ClipReader::timeOfFrame() const {
    if (frame_->best_effort_timestamp != AV_NOPTS_VALUE) {
        return {frame_->best_effort_timestamp, info_.timeBase};
    }
    return {nextIndex_, av_inv_q(info_.frameRate)};
}

/// Some containers pass over what is damaged without a word.
void ClipReader::noteMissingFrames() {
    const std::int64_t time = frame_->best_effort_timestamp;
    const std::int64_t previous = std::exchange(previousTime_, time);
    if (info_.variableFrameRate || time == AV_NOPTS_VALUE || previous == AV_NOPTS_VALUE) {
        return;
    }
    const double seconds =
        (static_cast<double>(time) - static_cast<double>(previous)) * av_q2d(info_.timeBase);
    const double frames = seconds * av_q2d(info_.frameRate);
    if (frames > kGap && seconds < kLongestGap) {
        missing_ += std::llround(frames) - 1;
    }
}

ReadItem ClipReader::takeFrame() {
    noteMissingFrames();
    const Moment time = timeOfFrame();
    if (!copied_.start()) {
        copied_.dropBefore(time);
        copied_.setStart(time);
    }
    ReadItem item;
    // Of a span, only what lies before this frame is sure to lie before the span's end too.
    item.copied = copied_.take(options_.frames ? std::optional(time) : std::nullopt);
    item.frame = std::move(frame_);
    item.index = nextIndex_;
    if (item.frame->best_effort_timestamp == AV_NOPTS_VALUE) {
        item.frame->pts = AV_NOPTS_VALUE;
    } else {
        item.frame->pts = time.ticks - ticksOf(*copied_.start(), info_.timeBase);
    }
    ++nextIndex_;
    return item;
}

ReadItem ClipReader::skipFrame() {
    copied_.dropBefore(timeOfFrame());
    ReadItem item;
    item.outside = std::move(frame_);
    item.index = nextIndex_++;
    return item;
}

ReadItem ClipReader::passBeyond() {
    if (!spanEnd_) {
        spanEnd_ = timeOfFrame();
    }
    if (nextIndex_ > options_.frames->last + framesBeyond_ || !hasClipSize()) {
        return finish(spanEnd_);
    }
    ReadItem item;
    item.outside = std::move(frame_);
    item.index = nextIndex_++;
    return item;
}

bool ClipReader::seek(std::int64_t pts) {
    return seekTime(pts + ticksOf(*copied_.start(), info_.timeBase));
}

bool ClipReader::leapTo(std::int64_t index) {
    if (index < kLeapRun + kShortestLeap) {
        return true;
    }
    // Without a pts where the container knows the order of storage only.
    const std::int64_t first = frame_->pts;
    const std::optional<Pace> pace = paceOf(*file_.video);
    if (!pace || first == AV_NOPTS_VALUE) {
        return true;
    }
    const auto timeOf = [&](std::int64_t frame) {
        return first + av_rescale(frame, pace->ticks, pace->frames);
    };
    if (!seekTime(timeOf(index - kLeapRun))) {
        return false;
    }
    while (!frame_ || frame_->pts < timeOf(index) - 1) {
        frame_.reset();
        if (step() == Step::End) {
            return false;
        }
    }
    nextIndex_ = index;
    damaged_ = 0; // of pictures that lack what they were predicted from
    return frame_->pts <= timeOf(index) + 1;
}

/// In the clip's own time.
bool ClipReader::seekTime(std::int64_t time) {
    if (av_seek_frame(file_.container.get(), file_.video->index, time, AVSEEK_FLAG_BACKWARD) < 0) {
        return false;
    }
    avcodec_flush_buffers(decoder_.get());
    frame_.reset();
    failuresInARow_ = 0;
    inputEnded_ = false;
    finished_ = false;
    return true;
}

/// The packets that lie before the end, or all there are.
ReadItem ClipReader::finish(const std::optional<Moment>& end) {
    finished_ = true;
    frame_.reset();
    if (end && options_.copyOtherStreams) {
        readPacketsUntil(*end);
    }
    ReadItem item;
    item.copied = copied_.take(end);
    return item;
}

/// The other streams' packets may lie in the file behind the video that they accompany: reads on
/// until the video is a second ahead.
void ClipReader::readPacketsUntil(const Moment& end) {
    const AVRational timeBase = file_.video->time_base;
    const std::int64_t enough = ticksOf(end, timeBase) + av_rescale_q(1, {1, 1}, timeBase);
    while (PacketPtr packet = readPacket()) {
        const AVStream& stream = *file_.container->streams[packet->stream_index];
        if (&stream != file_.video) {
            copied_.add(std::move(packet), stream);
        } else if (packet->dts != AV_NOPTS_VALUE && packet->dts > enough) {
            return;
        }
    }
}

std::vector<std::string> ClipReader::warnings() const {
    std::vector<std::string> warnings = file_.warnings;
    if (damaged_ > 0) {
        // Decoders with several threads do not always tell of all.
        warnings.push_back(
            name_ + ": at least " + std::to_string(damaged_) +
            (damaged_ == 1 ? " part of the video is damaged" : " parts of the video are damaged") +
            "; what could be decoded was used");
    }
    if (missing_ > 0) {
        warnings.push_back(name_ + ": " + std::to_string(missing_) +
                           (missing_ == 1 ? " frame is missing" : " frames are missing") +
                           " between others; the frame before stands longer there");
    }
    if (!readFailure_.empty()) {
        warnings.push_back(name_ + ": could not be read to its end (" + readFailure_ + ")");
    }
    if (readFailure_.empty() && endedEarly()) {
        warnings.push_back(name_ +
                           ": ends before the end that it announces; it seems to be cut off");
    }
    if (matrixIsReplaced(info_.pixelFormat, info_.tags)) {
        warnings.push_back(name_ + ": its colour matrix (" +
                           av_color_space_name(info_.tags.matrix) +
                           ") is not supported; taken for " + matrixName(info_.color));
    }
    return warnings;
}

} // namespace tintwell::media
