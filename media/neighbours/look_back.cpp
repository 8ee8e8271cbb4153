#include "media/neighbours/look_back.h"

#include "media/media_error.h"

#include <algorithm>
#include <array>

namespace tintwell::media {
namespace {

/// The container's idea of the key frame before a picture need not be one from which the picture
/// can be decoded (the first pictures after it may lean on those before it), so the search goes
/// back by some frames more when it fails.
constexpr std::array<std::int64_t, 3> kStepsBack{0, 32, 600};
/// Decoded from one key frame on without coming to the picture: the seeking went astray.
constexpr int kFarthest = 3000;
/// Pictures that are kept of one way: the way to them is seldom more than ten times as long.
constexpr std::int64_t kLongestRun = 32;

} // namespace

SharedPicture LookBack::fetch(std::int64_t index, const PassedPictures& passed,
                              const std::atomic<bool>& cancelled) {
    cancelled_ = &cancelled;
    SharedPicture picture = kept_.find(index);
    if (!picture) {
        decodeUpTo(index, passed);
        picture = kept_.find(index);
    }
    return picture;
}

void LookBack::decodeUpTo(std::int64_t index, const PassedPictures& passed) {
    const std::int64_t run = std::min(kLongestRun, kept_.capacity());
    const std::int64_t begin = std::max<std::int64_t>(0, index - run + 1);
    kept_.clear();
    seeks_ =
        seeks_ && passed.isOrdered() && std::ranges::any_of(kStepsBack, [&](std::int64_t steps) {
            return decodeFromKeyFrame(std::max<std::int64_t>(0, begin - steps), index, passed);
        });
    if (!seeks_) {
        decodeFromBeginning(index);
    }
}

bool LookBack::decodeFromKeyFrame(std::int64_t begin, std::int64_t index,
                                  const PassedPictures& passed) {
    if (!reader_) {
        reader_.emplace(input_, options_);
    }
    if (!reader_->seek(passed.timeOf(begin))) {
        return false;
    }
    for (int i = 0; i < kFarthest; ++i) {
        FramePtr picture = nextPicture();
        if (!picture || picture->pts == AV_NOPTS_VALUE || picture->pts > passed.timeOf(index)) {
            return false;
        }
        if (const auto found = passed.indexOf(*picture)) {
            kept_.add(*found, std::move(picture));
            if (*found == index) {
                return true;
            }
        }
    }
    return false;
}

void LookBack::decodeFromBeginning(std::int64_t index) {
    reader_.emplace(input_, options_);
    for (std::int64_t i = 0; i <= index; ++i) {
        FramePtr picture = nextPicture();
        if (!picture) {
            throw MediaError(inputName(input_) + ": ends sooner when it is read again");
        }
        kept_.add(i, std::move(picture));
    }
}

FramePtr LookBack::nextPicture() {
    while (std::optional<ReadItem> item = reader_->read()) {
        if (*cancelled_) {
            throw MediaError(inputName(input_) + ": reading was given up");
        }
        if (item->frame) {
            return std::move(item->frame);
        }
    }
    return nullptr;
}

} // namespace tintwell::media
