#include "media/neighbours/passed_pictures.h"

#include <algorithm>
#include <cstddef>
#include <memory>
#include <new>

extern "C" {
#include <libavutil/imgutils.h>
#include <libavutil/mem.h>
#include <libavutil/murmur3.h>
#include <libavutil/pixdesc.h>
}

namespace tintwell::media {
namespace {

struct HashDeleter {
    void operator()(AVMurMur3* hash) const { av_free(hash); }
};

void addPlane(AVMurMur3& hash, const AVFrame& picture, int plane,
              const AVPixFmtDescriptor& description) {
    const auto format = static_cast<AVPixelFormat>(picture.format);
    const bool isPalette = plane == 1 && (description.flags & AV_PIX_FMT_FLAG_PAL) != 0;
    if (isPalette) {
        av_murmur3_update(&hash, picture.data[plane], AVPALETTE_SIZE);
        return;
    }
    const bool isChroma = plane == 1 || plane == 2;
    const int shift = isChroma ? description.log2_chroma_h : 0;
    const int rows = AV_CEIL_RSHIFT(picture.height, shift);
    const auto bytes = std::max(0, av_image_get_linesize(format, picture.width, plane));
    for (int row = 0; row < rows; ++row) {
        av_murmur3_update(&hash,
                          picture.data[plane] + std::ptrdiff_t{picture.linesize[plane]} * row,
                          static_cast<std::size_t>(bytes));
    }
}

} // namespace

PictureDigest digestOf(const AVFrame& picture) {
    const std::unique_ptr<AVMurMur3, HashDeleter> hash(av_murmur3_alloc());
    if (!hash) {
        throw std::bad_alloc();
    }
    av_murmur3_init(hash.get());
    const std::array<std::int32_t, 4> shape{picture.format, picture.width, picture.height,
                                            picture.interlaced_frame};
    av_murmur3_update(hash.get(), reinterpret_cast<const std::uint8_t*>(shape.data()),
                      sizeof shape);
    const auto format = static_cast<AVPixelFormat>(picture.format);
    const AVPixFmtDescriptor& description = *av_pix_fmt_desc_get(format);
    for (int plane = 0; plane < 4 && picture.data[plane] != nullptr; ++plane) {
        addPlane(*hash, picture, plane, description);
    }
    PictureDigest digest{};
    av_murmur3_final(hash.get(), digest.data());
    return digest;
}

void PassedPictures::add(std::int64_t pts, const PictureDigest& digest) {
    isOrdered_ =
        isOrdered_ && pts != AV_NOPTS_VALUE && (passed_.empty() || pts > passed_.back().pts);
    passed_.push_back({pts, digest});
}

std::optional<std::int64_t> PassedPictures::indexOf(const AVFrame& picture) const {
    const auto found = std::ranges::lower_bound(passed_, picture.pts, {}, &Passed::pts);
    if (found == passed_.end() || found->pts != picture.pts || found->digest != digestOf(picture)) {
        return {};
    }
    return found - passed_.begin();
}

} // namespace tintwell::media
