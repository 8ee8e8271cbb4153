#include "media/write/target_rules.h"

#include "media/media_error.h"
#include "media/write/file_system.h"

#include <cerrno>
#include <fcntl.h>
#include <unistd.h>

namespace tintwell::media {

void TargetRules::refuseInput(const std::optional<FileIdentity>& file) const {
    if (file && inputs->contains(*file)) {
        throwIsInput();
    }
}

void TargetRules::throwIsInput() const {
    throw MediaError(name + ": is the input, or part of it; write to another name");
}

void TargetRules::throwExists() const {
    throw MediaError(name + ": exists already; choose another name or allow it to be replaced "
                            "(--overwrite)");
}

void TargetRules::check(const std::string& path) const {
    struct stat status {};

    if (::lstat(path.c_str(), &status) != 0) {
        return;
    }
    refuseInput(identityOf(path));
    if (!S_ISREG(status.st_mode) && !S_ISLNK(status.st_mode)) {
        throw MediaError(path + ": is not a file, and is left alone");
    }
    if (!overwrite) {
        throwExists();
    }
}

void requireInPlace(const std::string& path, int error) {
    if (error == EEXIST) {
        throw MediaError(path + ": has been created by someone else meanwhile and is left alone");
    }
    if (error != 0) {
        throw MediaError(path + ": cannot be put in place (" + systemMessage(error) + ")");
    }
}

void prepareToReplace(const std::string& path, int descriptor) {
    struct stat status {};

    int error = 0;
    if (::lstat(path.c_str(), &status) == 0) {
        if (S_ISREG(status.st_mode)) {
            const Descriptor old(
                ::open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
            takeOverRights(old.get(), status, descriptor);
        }
        error = writeThrough(descriptor);
    } else {
        // Some file systems tell only at the closing what they could not keep.
        Descriptor second(::dup(descriptor));
        error = second.close();
    }
    if (error != 0) {
        throw MediaError(path + ": cannot be written (" + systemMessage(error) + ")");
    }
}

} // namespace tintwell::media
