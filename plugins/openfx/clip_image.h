#pragma once

#include "plugins/core/host_frame.h"
#include "plugins/openfx/host_services.h"

#include <cstdint>

namespace tintwell::openfx {

/// Pixels x1 <= x < x2 and y1 <= y < y2 of the image plane.
struct Area {
    int x1 = 0;
    int y1 = 0;
    int x2 = 0;
    int y2 = 0;

    bool isEmpty() const { return x1 >= x2 || y1 >= y2; }

    Area within(const Area& other) const;

    bool operator==(const Area&) const = default;
};

/// An image of a clip at a time, released when this object goes.
class ClipImage {
public:
    /// Throws Failure where the host has no memory for the image, or hands out one that cannot be
    /// read. Where it has none for this time, `isThere` says so.
    ClipImage(const HostServices& host, ClipHandle clip, double time);
    ClipImage(const ClipImage&) = delete;
    ClipImage& operator=(const ClipImage&) = delete;
    ~ClipImage();

    bool isThere() const { return handle_ != nullptr; }

    const Area& bounds() const { return bounds_; }

    /// The pixels of an area within the bounds. The first row is the top one: the module compares
    /// pixels with those above them, and finds other midtones in a picture that stands on its head.
    plugins::TargetFrame pixels(const Area& area) const;

    /// The same, to read.
    plugins::SourceFrame readablePixels(const Area& area) const;

    bool hasSamplesOf(const ClipImage& other) const {
        return whole_.samples == other.whole_.samples && whole_.pixelStep == other.whole_.pixelStep;
    }

private:
    void read();

    const HostServices& host_;
    PropertySetHandle handle_ = nullptr;
    Area bounds_;
    plugins::TargetFrame whole_;
};

} // namespace tintwell::openfx
