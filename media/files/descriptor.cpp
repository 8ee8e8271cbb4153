#include "media/files/descriptor.h"

#include <climits>

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

namespace tintwell::media {
namespace {

constexpr int kPollMilliseconds = 50;

/// Only these never make anybody wait for somebody else.
bool isFileOnDisk(int descriptor) {
    struct stat status {};

    return ::fstat(descriptor, &status) == 0 &&
           (S_ISREG(status.st_mode) || S_ISBLK(status.st_mode) || S_ISDIR(status.st_mode));
}

/// Until the descriptor is ready or in a state that the transfer itself will tell of. False where
/// it was interrupted.
bool waitFor(int descriptor, short event, const Interruption& interruption) {
    for (;;) {
        const bool last = interruption.isSet();
        pollfd entry{descriptor, event, 0};
        const int ready = ::poll(&entry, 1, last ? 0 : kPollMilliseconds);
        if (ready > 0 || (ready < 0 && errno != EINTR)) {
            return true;
        }
        if (last) {
            return false;
        }
    }
}

/// A pipe that is ready takes so much without waiting, even if it is one that waits.
std::size_t writableAtOnce(int descriptor, std::size_t size) {
    const int flags = ::fcntl(descriptor, F_GETFL);
    const bool waits = flags < 0 || (flags & O_NONBLOCK) == 0;
    return waits ? std::min<std::size_t>(size, PIPE_BUF) : size;
}

template <class Call>
Transfer transfer(int descriptor, short event, const Interruption& interruption, Call call) {
    const bool onDisk = isFileOnDisk(descriptor);
    for (;;) {
        if (!onDisk && !waitFor(descriptor, event, interruption)) {
            return {0, ECANCELED};
        }
        const ssize_t bytes = call(onDisk);
        if (bytes >= 0) {
            return {static_cast<std::size_t>(bytes), 0};
        }
        if (errno != EINTR && errno != EAGAIN && errno != EWOULDBLOCK) {
            return {0, errno};
        }
    }
}

} // namespace

int Descriptor::close() noexcept {
    const int number = std::exchange(number_, -1);
    // After an interruption it is closed all the same.
    return number < 0 || ::close(number) == 0 || errno == EINTR ? 0 : errno;
}

Transfer readSome(int descriptor, void* bytes, std::size_t size, const Interruption& interruption) {
    return transfer(descriptor, POLLIN, interruption,
                    [&](bool /*onDisk*/) { return ::read(descriptor, bytes, size); });
}

Transfer writeSome(int descriptor, const void* bytes, std::size_t size,
                   const Interruption& interruption) {
    return transfer(descriptor, POLLOUT, interruption, [&](bool onDisk) {
        return ::write(descriptor, bytes, onDisk ? size : writableAtOnce(descriptor, size));
    });
}

bool readerIsGone(int descriptor) {
    pollfd entry{descriptor, 0, 0};
    return ::poll(&entry, 1, 0) > 0 && (entry.revents & (POLLERR | POLLHUP)) != 0;
}

std::string systemMessage(int error) {
    return std::generic_category().message(error);
}

} // namespace tintwell::media
