#pragma once

#include "media/ffmpeg_objects.h"

#include <cstdint>
#include <vector>

extern "C" {
#include <libavutil/pixdesc.h>
}

namespace tintwell::media {

/// Reads and writes one component of one row of a picture in a direct format as plain samples,
/// whatever the layout: planes, packed pixels, either byte order. Components are R,G,B or Y,U,V in
/// that order, alpha last. Columns and rows count the component's own samples, so chroma ones are
/// fewer. For one thread at a time.
class RowAccess {
public:
    explicit RowAccess(AVPixelFormat format);

    /// Columns first..first+count-1 into samples[0..count-1]. The sample type must hold the depth.
    template <class Sample>
    void read(const AVFrame& frame, int component, int row, int first, int count, Sample* samples);

    /// The reverse. Packed samples are merged into the pixels, which must have been cleared.
    template <class Sample>
    void write(AVFrame& frame, int component, int row, int first, int count, const Sample* samples);

    /// Where `write` needs the picture to be zero beforehand.
    bool mergesSamples() const { return !planar_; }

private:
    const AVPixFmtDescriptor* description_;
    bool planar_; ///< each component has a plane of native samples to itself
    std::vector<std::uint16_t> scratch_;
};

} // namespace tintwell::media
