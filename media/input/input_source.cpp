#include "media/input/input_source.h"

#include "media/clip_info.h"
#include "media/files/named_files.h"
#include "media/media_error.h"

#include <cerrno>
#include <fcntl.h>
#include <new>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

extern "C" {
#include <libavutil/mem.h>
}

namespace tintwell::media {
namespace {

/// What a local file may make FFmpeg open, as FFmpeg itself has it.
constexpr char kFromFiles[] = "file,crypto,data";
constexpr char kFromPipes[] = "crypto,data";

bool isSeekable(int descriptor) {
    struct stat status {};

    return ::fstat(descriptor, &status) == 0 &&
           (S_ISREG(status.st_mode) || S_ISBLK(status.st_mode));
}

} // namespace

InputSource::InputSource(std::shared_ptr<InputFiles> files,
                         std::shared_ptr<Interruption> interruption)
    : files_(std::move(files)), interruption_(std::move(interruption)) {}

void InputSource::attach(AVFormatContext& container) {
    usualOpener_ = container.io_open;
    container.io_open = openFurther;
    container.interrupt_callback = {isInterrupted, this};
}

void InputSource::open(AVFormatContext& container, const std::string& url) {
    const bool pipe = url == kStandardStream;
    const std::string path = localPath(url);
    if (!pipe && path.empty()) {
        return;
    }
    if (!pipe) {
        // A pipe without a writer is waited for where that can be interrupted.
        file_ = Descriptor(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
        if (!file_.isOpen()) {
            throw MediaError(url + ": cannot be opened (" + systemMessage(errno) + ")");
        }
    }
    const int descriptor = pipe ? STDIN_FILENO : file_.get();
    files_->add(descriptor);
    io_.emplace(descriptor, DescriptorIo::Direction::Read, !pipe && isSeekable(descriptor),
                *interruption_);
    av_freep(static_cast<void*>(&container.protocol_whitelist));
    container.protocol_whitelist = av_strdup(pipe ? kFromPipes : kFromFiles);
    if (container.protocol_whitelist == nullptr) {
        throw std::bad_alloc();
    }
    container.pb = io_->context();
}

int InputSource::isInterrupted(void* self) {
    auto& source = *static_cast<InputSource*>(self);
    if (source.watchesAll_) {
        source.files_->addOpened();
    }
    return source.interruption_->isSet() ? 1 : 0;
}

int InputSource::openFurther(AVFormatContext* container, AVIOContext** io, const char* url,
                             int flags, AVDictionary** options) {
    // Demuxers hand this on to those that they use themselves.
    auto& source = *static_cast<InputSource*>(container->interrupt_callback.opaque);
    const int code = source.usualOpener_(container, io, url, flags, options);
    source.files_->addOpened();
    return code;
}

} // namespace tintwell::media
