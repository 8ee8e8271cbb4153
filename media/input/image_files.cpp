#include "media/input/image_files.h"

#include "media/files/descriptor.h"
#include "media/media_error.h"

#include <algorithm>
#include <fcntl.h>
#include <limits>
#include <new>
#include <string>
#include <sys/stat.h>
#include <utility>

namespace tintwell::media {
namespace {

std::string pathOf(const SequencePattern& pattern, std::int64_t number) {
    return pattern.directory + "/" + pattern.nameOf(number);
}

/// 0 where it is no file that a picture may be read from.
std::int64_t sizeOf(int descriptor) {
    struct stat status {};

    const bool isFile = ::fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode);
    const bool fits =
        isFile && status.st_size < std::numeric_limits<int>::max() - AV_INPUT_BUFFER_PADDING_SIZE;
    return fits ? status.st_size : 0;
}

/// Does not wait where it is a pipe.
Descriptor openFile(const SequencePattern& pattern, std::int64_t number) {
    return Descriptor(
        ::open(pathOf(pattern, number).c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
}

} // namespace

ImageFiles::ImageFiles(SequencePattern pattern, const SequenceFiles& found,
                       std::shared_ptr<InputFiles> files,
                       std::shared_ptr<Interruption> interruption)
    : pattern_(std::move(pattern)), first_(found.first()), last_(found.last()),
      behind_(found.behind), next_(first_), files_(std::move(files)),
      interruption_(std::move(interruption)) {}

bool ImageFiles::holdsBytes(const SequencePattern& pattern, std::int64_t number) {
    const Descriptor file = openFile(pattern, number);
    return file.isOpen() && sizeOf(file.get()) > 0;
}

PacketPtr ImageFiles::read() {
    while (next_ <= last_) {
        if (interruption_->isSet()) {
            throw Interrupted();
        }
        const std::int64_t number = next_++;
        if (PacketPtr packet = readFile(number)) {
            packet->pts = packet->dts = number - first_;
            packet->duration = 1;
            packet->flags |= AV_PKT_FLAG_KEY;
            return packet;
        }
        ++passedOver_;
    }
    return nullptr;
}

void ImageFiles::seek(std::int64_t index) {
    next_ = first_ + std::clamp<std::int64_t>(index, 0, last_ - first_);
}

/// Empty where it cannot be read to its end.
PacketPtr ImageFiles::readFile(std::int64_t number) const {
    const Descriptor file = openFile(pattern_, number);
    const std::int64_t size = file.isOpen() ? sizeOf(file.get()) : 0;
    if (size == 0) {
        return nullptr;
    }
    files_->add(file.get());
    PacketPtr packet = makePacket();
    if (av_new_packet(packet.get(), static_cast<int>(size)) < 0) {
        throw std::bad_alloc();
    }
    std::int64_t done = 0;
    while (done < size) {
        const Transfer part = readSome(file.get(), packet->data + done,
                                       static_cast<std::size_t>(size - done), *interruption_);
        if (part.bytes == 0) {
            return nullptr;
        }
        done += static_cast<std::int64_t>(part.bytes);
    }
    return packet;
}

} // namespace tintwell::media
