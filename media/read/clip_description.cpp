#include "media/read/clip_description.h"

#include "media/read/frame_spacing.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <new>
#include <optional>

extern "C" {
#include <libavutil/display.h>
}

namespace tintwell::media {
namespace {

constexpr AVRational kUsualFrameRate{25, 1};

bool isRate(AVRational rate) {
    return rate.num > 0 && rate.den > 0;
}

bool isClose(double value, double other) {
    return std::abs(value / other - 1.0) < 0.002;
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

/// Of a photograph, which tells it with the picture: from here on as films do.
void takeOverRotation(AVStream& stream, const AVFrame& first) {
    const AVFrameSideData* matrix = av_frame_get_side_data(&first, AV_FRAME_DATA_DISPLAYMATRIX);
    if (matrix == nullptr ||
        av_stream_get_side_data(&stream, AV_PKT_DATA_DISPLAYMATRIX, nullptr) != nullptr) {
        return;
    }
    std::uint8_t* copy = av_stream_new_side_data(&stream, AV_PKT_DATA_DISPLAYMATRIX, matrix->size);
    if (copy == nullptr) {
        throw std::bad_alloc();
    }
    std::memcpy(copy, matrix->data, matrix->size);
}

/// In which order fields are shown the decoder knows; how they lie in the file, only the container.
AVFieldOrder fieldOrderOf(const AVFrame& first, AVFieldOrder container) {
    if (first.interlaced_frame == 0) {
        return container;
    }
    const bool topFirst = first.top_field_first != 0;
    const bool containersTopFirst = container == AV_FIELD_TT || container == AV_FIELD_BT;
    if (container > AV_FIELD_PROGRESSIVE && topFirst == containersTopFirst) {
        return container;
    }
    return topFirst ? AV_FIELD_TT : AV_FIELD_BB;
}

void describePicture(const InputFile& file, AVFrame& first, ClipInfo& info) {
    info.width = first.width;
    info.height = first.height;
    info.pixelFormat = static_cast<AVPixelFormat>(first.format);
    const PixelFormatTraits traits = traitsOf(info.pixelFormat);
    info.bitsPerChannel = traits.depth;
    info.alpha = traits.alpha;
    info.tags = tagsOf(first, *file.video->codecpar);
    info.color = resolveColor(info.pixelFormat, info.width, info.height, info.tags);
    info.sampleAspectRatio = av_guess_sample_aspect_ratio(file.container.get(), file.video, &first);
    takeOverRotation(*file.video, first);
    info.fieldOrder = fieldOrderOf(first, file.video->codecpar->field_order);
    info.rotation = rotationOf(*file.video);
}

void describeRate(AVStream& stream, ClipInfo& info) {
    const AVRational average = stream.avg_frame_rate;
    const AVRational smallest = stream.r_frame_rate; // the rate that all timestamps fit in
    const bool fieldRate = stream.codecpar->field_order > AV_FIELD_PROGRESSIVE;
    const std::optional<bool> even = isEvenlySpaced(stream);
    if (!isRate(average) || !isRate(smallest)) {
        info.frameRate = isRate(average) ? average : kUsualFrameRate;
    } else if (even.value_or(isClose(av_q2d(average), av_q2d(smallest)))) {
        info.frameRate = isClose(av_q2d(average), av_q2d(smallest)) ? smallest : average;
    } else if (!even && fieldRate && isClose(2 * av_q2d(average), av_q2d(smallest))) {
        info.frameRate = av_mul_q(smallest, {1, 2});
    } else {
        info.frameRate = average;
        info.variableFrameRate = true;
    }
    info.rateIsExact = even.value_or(av_cmp_q(av_inv_q(info.timeBase), info.frameRate) == 0);
}

std::optional<FrameCount> countFrames(const InputFile& file, AVRational frameRate) {
    if (file.images) {
        return FrameCount{file.images->length(), true};
    }
    const AVStream& stream = *file.video;
    if (stream.nb_frames > 0) {
        return FrameCount{stream.nb_frames, true};
    }
    const std::int64_t duration =
        stream.duration != AV_NOPTS_VALUE
            ? av_rescale_q(stream.duration, stream.time_base, AVRational{1, AV_TIME_BASE})
            : file.container->duration;
    if (duration <= 0) {
        return {};
    }
    const std::int64_t frames =
        av_rescale(duration, frameRate.num, std::int64_t{AV_TIME_BASE} * frameRate.den);
    return FrameCount{std::max<std::int64_t>(1, frames), false};
}

} // namespace

ClipInfo describeClip(const InputFile& file, AVFrame& first) {
    ClipInfo info;
    describePicture(file, first, info);
    info.timeBase = file.video->time_base;
    describeRate(*file.video, info);
    info.frameCount = countFrames(file, info.frameRate);
    info.formatName = file.container->iformat->name;
    info.codecName = avcodec_get_name(file.video->codecpar->codec_id);
    return info;
}

} // namespace tintwell::media
