#include "media/input/input_source.h"

#include "media/clip_info.h"
#include "media/files/named_files.h"
#include "media/media_error.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <new>
#include <string_view>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>
#include <utility>

extern "C" {
#include <libavutil/mem.h>
}

namespace tintwell::media {
namespace {

/// What an input may make FFmpeg open, where it is not allowed more.
constexpr char kProtocols[] = "file";

bool isSeekable(int descriptor) {
    struct stat status {};

    return ::fstat(descriptor, &status) == 0 &&
           (S_ISREG(status.st_mode) || S_ISBLK(status.st_mode));
}

} // namespace

InputSource::InputSource(std::shared_ptr<InputFiles> files,
                         std::shared_ptr<Interruption> interruption, bool allowNetwork)
    : files_(std::move(files)), interruption_(std::move(interruption)),
      allowNetwork_(allowNetwork) {}

void InputSource::attach(AVFormatContext& container) {
    usualOpener_ = container.io_open;
    container.io_open = openFurther;
    container.interrupt_callback = {isInterrupted, this};
}

void InputSource::open(AVFormatContext& container, const std::string& url) {
    const bool pipe = url == kStandardStream;
    const std::string path = localPath(url);
    if (!pipe && path.empty()) {
        if (!allowNetwork_) {
            throw MediaError(url + ": is an address; --allow-network lets it be opened");
        }
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
    if (!allowNetwork_) {
        av_freep(static_cast<void*>(&container.protocol_whitelist));
        container.protocol_whitelist = av_strdup(kProtocols);
        if (container.protocol_whitelist == nullptr) {
            throw std::bad_alloc();
        }
    }
    container.pb = io_->context();
}

template <class Work>
int InputSource::guarded(Work work) {
    try {
        return work();
    } catch (...) {
        failure_ = std::current_exception();
        return AVERROR(ENOMEM);
    }
}

int InputSource::isInterrupted(void* self) {
    auto& source = *static_cast<InputSource*>(self);
    const int code = source.guarded([&] {
        if (source.watchesAll_) {
            source.files_->addOpened();
        }
        return 0;
    });
    return code < 0 || source.interruption_->isSet() || !source.refused_.empty() ? 1 : 0;
}

void InputSource::throwIfRefused() const {
    if (failure_) {
        std::rethrow_exception(failure_);
    }
    if (!refused_.empty()) {
        throw MediaError(files_->name() + ": names " + refused_ +
                         ", which is no file beside it; --allow-network lets it be opened");
    }
}

bool InputSource::isAllowed(const std::string& url) const {
    namespace fs = std::filesystem;
    if (allowNetwork_) {
        return true;
    }
    constexpr std::string_view kScheme = "file:";
    const std::string path = url.starts_with(kScheme) ? url.substr(kScheme.size()) : url;
    const std::string input = localPath(files_->name());
    if (input.empty() || path.find("://") != std::string::npos) {
        return false;
    }
    // A link in the folder is as good as a file.
    std::error_code error;
    const auto folderOf = [&](const std::string& name) {
        return fs::weakly_canonical(fs::absolute(name).parent_path(), error);
    };
    const fs::path allowed = folderOf(input);
    const fs::path found = folderOf(path);
    return !error && std::ranges::mismatch(allowed, found).in1 == allowed.end();
}

int InputSource::openFurther(AVFormatContext* container, AVIOContext** io, const char* url,
                             int flags, AVDictionary** options) {
    // Demuxers hand this on to those that they use themselves.
    auto& source = *static_cast<InputSource*>(container->interrupt_callback.opaque);
    return source.guarded([&] {
        if (!source.isAllowed(url)) {
            source.refused_ = url;
            return AVERROR(EPERM);
        }
        const int code = source.usualOpener_(container, io, url, flags, options);
        source.files_->addOpened();
        return code;
    });
}

} // namespace tintwell::media
