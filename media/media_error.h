#pragma once

#include <stdexcept>

namespace tintwell::media {

/// A clip that cannot be read or written. The text is a sentence for the user that names the file.
class MediaError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// Reading or writing was given up because somebody asked for it.
class Interrupted : public std::runtime_error {
public:
    Interrupted() : std::runtime_error("interrupted") {}
};

} // namespace tintwell::media
