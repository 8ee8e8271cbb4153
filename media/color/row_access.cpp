#include "media/color/row_access.h"

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstring>
#include <span>

namespace tintwell::media {
namespace {

bool hasPlainPlanes(const AVPixFmtDescriptor& description) {
    const bool bigEndian = (description.flags & AV_PIX_FMT_FLAG_BE) != 0;
    for (int i = 0; i < description.nb_components; ++i) {
        const AVComponentDescriptor& component = description.comp[i];
        const int bytes = component.depth > 8 ? 2 : 1;
        const auto sharesPlane = [&](const AVComponentDescriptor& other) {
            return &other != &component && other.plane == component.plane;
        };
        const auto components =
            std::span(description.comp).first(static_cast<std::size_t>(description.nb_components));
        if (component.step != bytes || component.offset != 0 || component.shift != 0 ||
            (bytes == 2 && bigEndian != (std::endian::native == std::endian::big)) ||
            std::ranges::any_of(components, sharesPlane)) {
            return false;
        }
    }
    return true;
}

std::uint8_t* sampleAddress(const AVFrame& frame, const AVPixFmtDescriptor& description,
                            int component, int row, int column) {
    const AVComponentDescriptor& layout = description.comp[component];
    return frame.data[layout.plane] + std::ptrdiff_t{frame.linesize[layout.plane]} * row +
           std::ptrdiff_t{layout.step} * column;
}

} // namespace

RowAccess::RowAccess(AVPixelFormat format)
    : description_(av_pix_fmt_desc_get(format)), planar_(hasPlainPlanes(*description_)) {}

template <class Sample>
void RowAccess::read(const AVFrame& frame, int component, int row, int first, int count,
                     Sample* samples) {
    if (planar_) {
        std::memcpy(samples, sampleAddress(frame, *description_, component, row, first),
                    static_cast<std::size_t>(count) * sizeof(Sample));
        return;
    }
    // The library reads into 16 bits at least.
    scratch_.resize(static_cast<std::size_t>(count));
    const std::uint8_t* data[4] = {frame.data[0], frame.data[1], frame.data[2], frame.data[3]};
    av_read_image_line2(scratch_.data(), data, frame.linesize, description_, first, row, component,
                        count, 0, sizeof(std::uint16_t));
    std::ranges::transform(scratch_, samples,
                           [](std::uint16_t value) { return static_cast<Sample>(value); });
}

template <class Sample>
void RowAccess::write(AVFrame& frame, int component, int row, int first, int count,
                      const Sample* samples) {
    if (planar_) {
        std::memcpy(sampleAddress(frame, *description_, component, row, first), samples,
                    static_cast<std::size_t>(count) * sizeof(Sample));
        return;
    }
    scratch_.assign(samples, samples + count);
    std::uint8_t* data[4] = {frame.data[0], frame.data[1], frame.data[2], frame.data[3]};
    av_write_image_line2(scratch_.data(), data, frame.linesize, description_, first, row, component,
                         count, sizeof(std::uint16_t));
}

template void RowAccess::read(const AVFrame&, int, int, int, int, std::uint8_t*);
template void RowAccess::read(const AVFrame&, int, int, int, int, std::uint16_t*);
template void RowAccess::write(AVFrame&, int, int, int, int, const std::uint8_t*);
template void RowAccess::write(AVFrame&, int, int, int, int, const std::uint16_t*);

} // namespace tintwell::media
