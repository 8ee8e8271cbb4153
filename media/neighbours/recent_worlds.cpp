#include "media/neighbours/recent_worlds.h"

#include <algorithm>
#include <utility>

namespace tintwell::media {
namespace {

/// Smoothing asks for the window's far end and the frame beyond it, which is the far end next time.
constexpr std::size_t kRemembered = 2;

} // namespace

std::shared_ptr<host::FrameBuffer> RecentWorlds::take() {
    if (free_.empty()) {
        return std::make_shared<host::FrameBuffer>(width_, height_, depth_);
    }
    std::shared_ptr<host::FrameBuffer> world = std::move(free_.back());
    free_.pop_back();
    return world;
}

std::shared_ptr<const host::FrameBuffer> RecentWorlds::find(std::int64_t index) const {
    const auto found = std::ranges::find(recent_, index, &Recent::index);
    return found == recent_.end() ? nullptr : found->world;
}

void RecentWorlds::add(std::int64_t index, std::shared_ptr<host::FrameBuffer> world) {
    recent_.push_back({index, std::move(world)});
    if (recent_.size() <= kRemembered) {
        return;
    }
    // Whoever still looks at the oldest one becomes its only owner.
    if (recent_.front().world.use_count() == 1) {
        putBack(std::move(recent_.front().world));
    }
    recent_.pop_front();
}

} // namespace tintwell::media
