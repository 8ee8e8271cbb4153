#include "media/check/picture_likeness.h"

#include "host/frame_buffer.h"

#include <cmath>
#include <cstddef>
#include <cstring>

extern "C" {
#include <libavutil/imgutils.h>
#include <libavutil/pixdesc.h>
}

namespace tintwell::media {
namespace {

constexpr int kBlock = 16;
constexpr std::size_t kChannels = 4;

/// Whether every bit of the rows belongs to a sample.
bool hasNoPadding(const AVPixFmtDescriptor& description) {
    int bits = 0;
    for (int i = 0; i < description.nb_components; ++i) {
        const bool shared = i == 1 || i == 2;
        const int shift = shared ? description.log2_chroma_w + description.log2_chroma_h : 0;
        bits += description.comp[i].depth << (8 - shift);
    }
    // Samples of 10 bits in 16 are padding too, but of zeros.
    const bool whole = description.comp[0].depth > 8;
    return whole || bits == av_get_padded_bits_per_pixel(&description) << 8;
}

} // namespace

BlockMeans blockMeans(const AVFrame& picture, const PictureFormat& format) {
    PictureFormat own = format;
    own.pixelFormat = static_cast<AVPixelFormat>(picture.format);
    constexpr auto kDepth = host::SampleDepth::Bits8;
    host::FrameBuffer world(own.width, own.height, kDepth);
    FrameToWorld(own, kDepth).convert(picture, world);
    const auto columns = static_cast<std::size_t>((own.width + kBlock - 1) / kBlock);
    const auto rows = static_cast<std::size_t>((own.height + kBlock - 1) / kBlock);
    BlockMeans means(columns * rows * kChannels, 0.0);
    for (int y = 0; y < own.height; ++y) {
        const std::byte* row = world.row(y);
        double* const blocks =
            means.data() + static_cast<std::size_t>(y / kBlock) * columns * kChannels;
        const double height = std::min(kBlock, own.height - y / kBlock * kBlock);
        for (int x = 0; x < own.width; ++x) {
            const double width = std::min(kBlock, own.width - x / kBlock * kBlock);
            double* const block = blocks + static_cast<std::size_t>(x / kBlock) * kChannels;
            for (std::size_t channel = 0; channel < kChannels; ++channel) {
                const auto at = static_cast<std::size_t>(x) * kChannels + channel;
                block[channel] += std::to_integer<int>(row[at]) / (width * height);
            }
        }
    }
    return means;
}

double distance(const BlockMeans& picture, const BlockMeans& other) {
    double sum = 0.0;
    for (std::size_t i = 0; i < picture.size(); ++i) {
        sum += std::abs(picture[i] - other.at(i));
    }
    // Of red, green and blue; transparency that is lost weighs as much as the three.
    return sum / (static_cast<double>(picture.size()) * 3.0 / kChannels);
}

std::optional<bool> areEqual(const AVFrame& picture, const AVFrame& other) {
    const auto format = static_cast<AVPixelFormat>(picture.format);
    const AVPixFmtDescriptor& description = *av_pix_fmt_desc_get(format);
    if (picture.format != other.format || !hasNoPadding(description)) {
        return {};
    }
    for (int plane = 0; plane < av_pix_fmt_count_planes(format); ++plane) {
        const bool isChroma = plane == 1 || plane == 2;
        const int shift = isChroma ? description.log2_chroma_h : 0;
        const int height = (picture.height + (1 << shift) - 1) >> shift;
        const int bytes = av_image_get_linesize(format, picture.width, plane);
        for (int y = 0; y < height; ++y) {
            const auto rowOf = [&](const AVFrame& frame) {
                return frame.data[plane] + std::ptrdiff_t{frame.linesize[plane]} * y;
            };
            if (std::memcmp(rowOf(picture), rowOf(other), static_cast<std::size_t>(bytes)) != 0) {
                return false;
            }
        }
    }
    return true;
}

} // namespace tintwell::media
