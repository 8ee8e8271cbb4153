#pragma once

#include "media/files/input_files.h"

#include <memory>
#include <string>

namespace tintwell::media {

/// What may be written to. Asked before the work, and again before anything is replaced.
struct TargetRules {
    std::string name; ///< of the output, for messages
    std::shared_ptr<const InputFiles> inputs;
    bool overwrite = false;

    /// Throws MediaError where a file of this name must not be put in place.
    void check(const std::string& path) const;

    /// Throws MediaError where the file belongs to the input.
    void refuseInput(const std::optional<FileIdentity>& file) const;

    [[noreturn]] void throwIsInput() const;
    [[noreturn]] void throwExists() const;
};

/// Throws MediaError with why a file could not take its name; an error of 0 is none.
void requireInPlace(const std::string& path, int error);

/// Takes over what the old file's owner decided, and sees to it that the new one is on the disk
/// before the old one goes. Throws MediaError.
void prepareToReplace(const std::string& path, int descriptor);

} // namespace tintwell::media
