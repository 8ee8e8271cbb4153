#include "inspect/close_up.h"

#include "inspect/clip_walk.h"
#include "inspect/correction_finder.h"

namespace tintwell::inspect {
namespace {

constexpr int kCloseUpSide = 960;

} // namespace

CloseUp::CloseUp(const media::ClipInfo& info, host::SampleDepth depth, std::int64_t wanted)
    : thumbnails_(info, depth, kCloseUpSide), wanted_(wanted) {}

void CloseUp::take(std::int64_t frame, const host::FrameBuffer& pixels) {
    const bool isFirst = !kept_ && !closeUp_;
    if (isFirst || frame == wanted_) {
        kept_.emplace(Kept{frame, copyOf(pixels), thumbnails_.shrink(pixels)});
    }
}

void CloseUp::add(const FrameFindings& findings) {
    if (!kept_ || kept_->frame != findings.frame) {
        return;
    }
    const host::FrameBuffer& before = kept_->pixels;
    host::FrameBuffer after(before.width(), before.height(), before.depth());
    correctPixels(findings, before, after);
    closeUp_ = {framePair(findings, kept_->thumbnail), findings, histogramOf(before),
                histogramOf(after)};
    kept_.reset();
}

} // namespace tintwell::inspect
