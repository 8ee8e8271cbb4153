#include "module/analysis/level_image.h"

#include "module/kernels/kernels.h"

namespace tintwell {

LevelImage::LevelImage(const PlanarImage& deep, SpareMemory* spares)
    : planes_(makeFrameMemory(rowSamples(deep) * static_cast<std::size_t>(rowCount(deep)) *
                                  (kColorPlanes + 1),
                              spares)),
      image_(deep) {
    image_.bitDepth = 8;
    image_.rowBytes = isEmpty(deep) ? 0 : deep.width;
    image_.data = planes_.get();
    for (std::int32_t plane = 1; plane <= kColorPlanes; ++plane) {
        for (std::int32_t y = 0; y < rowCount(deep); ++y) {
            kernels::kernelsFor<std::uint16_t>().levels(
                planeRow<const std::uint16_t>(deep, plane, y), rowSamples(deep),
                planeRow<std::uint8_t>(image_, plane, y));
        }
    }
}

} // namespace tintwell
