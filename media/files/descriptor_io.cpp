#include "media/files/descriptor_io.h"

#include <cerrno>
#include <cstdio>
#include <new>
#include <sys/stat.h>
#include <unistd.h>

extern "C" {
#include <libavutil/mem.h>
}

namespace tintwell::media {
namespace {

constexpr int kFileBufferBytes = 256 * 1024;
constexpr int kStreamBufferBytes = 32 * 1024; ///< smaller: somebody is waiting for it

int errorCode(int error) {
    return error == ECANCELED ? AVERROR_EXIT : AVERROR(error);
}

} // namespace

DescriptorIo::DescriptorIo(int descriptor, Direction direction, bool seekable,
                           const Interruption& interruption)
    : descriptor_(descriptor), seekable_(seekable), interruption_(interruption) {
    const int bytes = seekable ? kFileBufferBytes : kStreamBufferBytes;
    auto* buffer = static_cast<unsigned char*>(av_malloc(static_cast<std::size_t>(bytes)));
    const bool writing = direction == Direction::Write;
    context_ = avio_alloc_context(buffer, bytes, writing ? 1 : 0, this, writing ? nullptr : read,
                                  writing ? write : nullptr, seekable ? seek : nullptr);
    if (buffer == nullptr || context_ == nullptr) {
        av_free(buffer);
        avio_context_free(&context_);
        throw std::bad_alloc();
    }
    context_->seekable = seekable ? AVIO_SEEKABLE_NORMAL : 0;
    context_->min_packet_size = writing && seekable ? bytes : 0;
}

DescriptorIo::~DescriptorIo() {
    av_freep(static_cast<void*>(&context_->buffer)); // another one than at first, it may be
    avio_context_free(&context_);
}

int DescriptorIo::flush() {
    avio_flush(context_);
    return context_->error;
}

int DescriptorIo::read(void* self, std::uint8_t* bytes, int size) {
    auto& io = *static_cast<DescriptorIo*>(self);
    const auto wanted = static_cast<std::size_t>(size);
    Transfer transfer;
    if (io.interruption_.isSet()) {
        transfer.error = ECANCELED;
    } else if (!io.seekable_) {
        transfer = readSome(io.descriptor_, bytes, wanted, io.interruption_);
    } else {
        ssize_t count = 0;
        do {
            count = ::pread(io.descriptor_, bytes, wanted, io.position_);
        } while (count < 0 && errno == EINTR);
        transfer = count < 0 ? Transfer{0, errno} : Transfer{static_cast<std::size_t>(count), 0};
    }
    io.position_ += static_cast<std::int64_t>(transfer.bytes);
    if (transfer.error != 0) {
        io.readError_ = transfer.error;
        return errorCode(transfer.error);
    }
    return transfer.bytes == 0 ? AVERROR_EOF : static_cast<int>(transfer.bytes);
}

int DescriptorIo::write(void* self, std::uint8_t* bytes, int size) {
    auto& io = *static_cast<DescriptorIo*>(self);
    for (int done = 0; done < size;) {
        const auto left = static_cast<std::size_t>(size - done);
        Transfer transfer;
        if (io.interruption_.isSet()) {
            transfer.error = ECANCELED;
        } else if (!io.seekable_) {
            transfer = writeSome(io.descriptor_, bytes + done, left, io.interruption_);
        } else {
            const ssize_t count = ::pwrite(io.descriptor_, bytes + done, left, io.position_);
            if (count >= 0) {
                transfer.bytes = static_cast<std::size_t>(count);
            } else if (errno != EINTR) {
                transfer.error = errno;
            }
        }
        if (transfer.error != 0) {
            return errorCode(transfer.error);
        }
        done += static_cast<int>(transfer.bytes);
        io.position_ += static_cast<std::int64_t>(transfer.bytes);
    }
    return size;
}

std::int64_t DescriptorIo::size() const {
    struct stat status {};

    if (::fstat(descriptor_, &status) != 0) {
        return AVERROR(errno);
    }
    // A device has its size at its end only; its own place is not used.
    return S_ISREG(status.st_mode) ? status.st_size : ::lseek(descriptor_, 0, SEEK_END);
}

std::int64_t DescriptorIo::seek(void* self, std::int64_t offset, int whence) {
    auto& io = *static_cast<DescriptorIo*>(self);
    whence &= ~AVSEEK_FORCE;
    if (whence == AVSEEK_SIZE) {
        return io.size();
    }
    const std::int64_t base = whence == SEEK_CUR   ? io.position_
                              : whence == SEEK_END ? io.size()
                                                   : 0;
    if (base < 0 || offset < -base) {
        return AVERROR(EINVAL);
    }
    io.position_ = base + offset;
    return io.position_;
}

} // namespace tintwell::media
