#include "media/neighbours/kept_pictures.h"

#include <algorithm>
#include <utility>

namespace tintwell::media {
namespace {

std::size_t bytesOf(const AVFrame& picture) {
    std::size_t bytes = 0;
    for (const AVBufferRef* buffer : picture.buf) {
        bytes += buffer != nullptr ? static_cast<std::size_t>(buffer->size) : 0;
    }
    return bytes;
}

} // namespace

void KeptPictures::add(std::int64_t index, SharedPicture picture) {
    if (const auto old = pictures_.find(index); old != pictures_.end()) {
        drop(old);
    }
    lastBytes_ = bytesOf(*picture);
    bytes_ += lastBytes_;
    pictures_.emplace(index, std::move(picture));
    while (bytes_ > budget_ && pictures_.size() > 1) {
        const auto first = pictures_.begin();
        drop(first->first == index ? std::next(first) : first);
    }
}

SharedPicture KeptPictures::find(std::int64_t index) const {
    const auto found = pictures_.find(index);
    return found == pictures_.end() ? nullptr : found->second;
}

void KeptPictures::dropBefore(std::int64_t index) {
    while (!pictures_.empty() && pictures_.begin()->first < index) {
        drop(pictures_.begin());
    }
}

void KeptPictures::drop(std::map<std::int64_t, SharedPicture>::iterator entry) {
    bytes_ -= bytesOf(*entry->second);
    pictures_.erase(entry);
}

std::int64_t KeptPictures::capacity() const {
    const std::size_t size = std::max<std::size_t>(lastBytes_, 1);
    return std::max<std::int64_t>(1, static_cast<std::int64_t>(budget_ / size));
}

} // namespace tintwell::media
