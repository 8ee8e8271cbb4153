#include "media/color/picture_samples.h"

#include "media/media_error.h"

#include <new>

namespace tintwell::media {

zimg_image_format pictureSamples(const PictureFormat& format, bool greyAsYuv) {
    const PixelFormatTraits traits = traitsOf(format.pixelFormat);
    const bool yuv =
        traits.model == ColorModel::Yuv || (traits.model == ColorModel::Grey && greyAsYuv);
    zimg_image_format samples;
    zimg_image_format_default(&samples, ZIMG_API_VERSION);
    samples.width = static_cast<unsigned>(format.width);
    samples.height = static_cast<unsigned>(format.height);
    samples.pixel_type = traits.depth <= 8 ? ZIMG_PIXEL_BYTE : ZIMG_PIXEL_WORD;
    samples.depth = static_cast<unsigned>(traits.depth);
    samples.color_family = yuv ? ZIMG_COLOR_YUV : ZIMG_COLOR_RGB;
    // Both libraries use the numbers of ITU-T H.273.
    samples.matrix_coefficients =
        yuv ? static_cast<zimg_matrix_coefficients_e>(format.color.matrix) : ZIMG_MATRIX_RGB;
    samples.pixel_range = format.color.fullRange ? ZIMG_RANGE_FULL : ZIMG_RANGE_LIMITED;
    samples.alpha = traits.alpha ? ZIMG_ALPHA_STRAIGHT : ZIMG_ALPHA_NONE;
    return samples;
}

zimg_image_format worldSamples(const PictureFormat& format, host::SampleDepth depth) {
    zimg_image_format samples;
    zimg_image_format_default(&samples, ZIMG_API_VERSION);
    samples.width = static_cast<unsigned>(format.width);
    samples.height = static_cast<unsigned>(format.height);
    samples.pixel_type = depth == host::SampleDepth::Bits8 ? ZIMG_PIXEL_BYTE : ZIMG_PIXEL_WORD;
    samples.depth = depth == host::SampleDepth::Bits8 ? 8 : 16;
    samples.color_family = ZIMG_COLOR_RGB;
    samples.matrix_coefficients = ZIMG_MATRIX_RGB;
    samples.pixel_range = ZIMG_RANGE_FULL;
    samples.alpha = traitsOf(format.pixelFormat).alpha ? ZIMG_ALPHA_STRAIGHT : ZIMG_ALPHA_NONE;
    return samples;
}

PictureFormat directVersion(const PictureFormat& format) {
    PictureFormat direct = format;
    direct.pixelFormat = directFormatFor(format.pixelFormat);
    if (direct.pixelFormat == AV_PIX_FMT_NONE) {
        throw MediaError("pictures in pixel format " + nameOf(format.pixelFormat) +
                         " cannot be converted");
    }
    return direct;
}

Repacker::Repacker(const PictureFormat& from, const PictureFormat& to)
    : scaler_(sws_getContext(from.width, from.height, from.pixelFormat, to.width, to.height,
                             to.pixelFormat,
                             SWS_POINT | SWS_ACCURATE_RND | SWS_FULL_CHR_H_INP | SWS_FULL_CHR_H_INT,
                             nullptr, nullptr, nullptr)) {
    if (!scaler_) {
        throw MediaError("pictures in pixel format " + nameOf(from.pixelFormat) +
                         " cannot be converted to " + nameOf(to.pixelFormat));
    }
}

void Repacker::repack(const AVFrame& from, AVFrame& to) {
    sws_scale(scaler_.get(), from.data, from.linesize, 0, from.height, to.data, to.linesize);
}

FramePtr makePicture(const PictureFormat& format) {
    FramePtr picture = makeFrame();
    picture->width = format.width;
    picture->height = format.height;
    picture->format = format.pixelFormat;
    if (av_frame_get_buffer(picture.get(), 0) < 0) {
        throw std::bad_alloc();
    }
    return picture;
}

} // namespace tintwell::media
