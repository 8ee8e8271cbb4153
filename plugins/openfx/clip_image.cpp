#include "plugins/openfx/clip_image.h"

#include <algorithm>
#include <cstdlib>
#include <limits>

namespace tintwell::openfx {
namespace {

using plugins::Alpha;
using plugins::SampleType;

[[noreturn]] void refuse(const std::string& what) {
    throw Failure(status::kImageFormat, "Tintwell cannot read this image: " + what);
}

SampleType sampleTypeOf(const std::string& depth) {
    if (depth == value::kByte) {
        return SampleType::Byte;
    }
    if (depth == value::kShort) {
        return SampleType::Short;
    }
    if (depth == value::kFloat) {
        return SampleType::Float;
    }
    refuse("its samples are \"" + depth + "\", not bytes, shorts or floats");
}

/// Hosts that say nothing of it, as they should, multiply.
Alpha alphaOf(const std::string& components, const std::string& preMultiplication) {
    if (components == value::kRgb) {
        return Alpha::None;
    }
    if (components != value::kRgba) {
        refuse("its components are \"" + components + "\", not RGBA");
    }
    const bool isStraight =
        preMultiplication == value::kOpaque || preMultiplication == value::kUnpremultiplied;
    return isStraight ? Alpha::Straight : Alpha::Premultiplied;
}

} // namespace

Area Area::within(const Area& other) const {
    return {std::max(x1, other.x1), std::max(y1, other.y1), std::min(x2, other.x2),
            std::min(y2, other.y2)};
}

ClipImage::ClipImage(const HostServices& host, ClipHandle clip, double time) : host_(host) {
    const Status got = host.effects().clipGetImage(clip, time, nullptr, &handle_);
    if (got != status::kOk) {
        handle_ = nullptr;
    }
    if (got == status::kOutOfMemory) {
        throw Failure(got, "");
    }
    if (handle_ == nullptr) {
        return;
    }
    try {
        read();
    } catch (...) { // the destructor is for whole objects only
        host_.effects().clipReleaseImage(handle_);
        throw;
    }
}

ClipImage::~ClipImage() {
    if (handle_ != nullptr) {
        host_.effects().clipReleaseImage(handle_);
    }
}

void ClipImage::read() {
    const Properties properties = host_.properties(handle_);
    const auto bounds = properties.getRectangle(property::kBounds);
    const auto rowBytes = properties.getInt(property::kRowBytes);
    void* const data = properties.getPointer(property::kData);
    if (!bounds || !rowBytes || data == nullptr) {
        refuse("it has no pixels, bounds or row bytes");
    }
    bounds_ = {(*bounds)[0], (*bounds)[1], (*bounds)[2], (*bounds)[3]};
    whole_.data = static_cast<std::byte*>(data);
    whole_.samples = sampleTypeOf(properties.getString(property::kPixelDepth));
    whole_.alpha = alphaOf(properties.getString(property::kComponents),
                           properties.getString(property::kPreMultiplication));
    const auto sample = static_cast<std::ptrdiff_t>(plugins::bytesOf(whole_.samples));
    whole_.channels = {0, sample, 2 * sample, 3 * sample};
    whole_.pixelStep = (whole_.alpha == Alpha::None ? 3 : 4) * sample;
    whole_.rowStep = *rowBytes;
    const std::int64_t width = std::int64_t{bounds_.x2} - bounds_.x1;
    const std::int64_t height = std::int64_t{bounds_.y2} - bounds_.y1;
    constexpr std::int64_t kMost = std::numeric_limits<std::int32_t>::max();
    if (width > kMost || height > kMost) {
        refuse("its bounds are infinite");
    }
    if (!bounds_.isEmpty() && height > 1 &&
        std::abs(std::int64_t{*rowBytes}) < width * whole_.pixelStep) {
        refuse("its rows overlap");
    }
}

plugins::TargetFrame ClipImage::pixels(const Area& area) const {
    plugins::TargetFrame frame = whole_;
    if (!area.isEmpty()) {
        frame.data += (std::ptrdiff_t{area.y2} - 1 - bounds_.y1) * whole_.rowStep +
                      (std::ptrdiff_t{area.x1} - bounds_.x1) * whole_.pixelStep;
        frame.rowStep = -whole_.rowStep;
        frame.width = area.x2 - area.x1;
        frame.height = area.y2 - area.y1;
    }
    return frame;
}

plugins::SourceFrame ClipImage::readablePixels(const Area& area) const {
    const plugins::TargetFrame frame = pixels(area);
    return {frame.data,  frame.channels, frame.pixelStep, frame.rowStep,
            frame.width, frame.height,   frame.samples,   frame.alpha};
}

} // namespace tintwell::openfx
