#pragma once

#include "media/files/descriptor.h"

#include <string>
#include <sys/types.h>

namespace tintwell::media {

/// A file that is being written and has not taken its name yet. Nobody else can know or take the
/// name that it has until then; most systems need none. Goes with its owner, or with the process
/// where it has no name; a name that a killed process left is removed by `removeLeftovers`.
class TemporaryFile {
public:
    TemporaryFile() = default;

    /// Beside `path`, which is the name it is to take. Throws MediaError.
    TemporaryFile(const std::string& path, mode_t mode);

    TemporaryFile(TemporaryFile&& other) noexcept = default;
    TemporaryFile& operator=(TemporaryFile&& other) noexcept;

    ~TemporaryFile() { discard(); }

    bool isOpen() const { return file_.isOpen(); }

    int descriptor() const { return file_.get(); }

    /// Its name; empty while it has none.
    const std::string& name() const { return name_; }

    /// Takes the name. These give an errno value or 0 back, and the file stays temporary where they
    /// fail.
    int moveTo(const std::string& path);
    int replace(const std::string& path);

    void discard() noexcept;

private:
    Descriptor file_;
    std::string spareName_; ///< not used yet
    std::string name_;
};

/// Removes what processes that no longer live have left of their work on the output of this name.
void removeLeftovers(const std::string& path);

} // namespace tintwell::media
