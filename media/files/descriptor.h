#pragma once

#include "media/files/interruption.h"

#include <cstddef>
#include <string>
#include <utility>

namespace tintwell::media {

/// An open file that is closed with its owner.
class Descriptor {
public:
    Descriptor() = default;

    explicit Descriptor(int number) : number_(number) {}

    Descriptor(Descriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}

    Descriptor& operator=(Descriptor&& other) noexcept {
        std::swap(number_, other.number_);
        return *this;
    }

    ~Descriptor() { close(); }

    int get() const { return number_; }

    bool isOpen() const { return number_ >= 0; }

    /// Gives an errno value or 0: what was written may prove lost only now.
    int close() noexcept;

private:
    int number_ = -1;
};

/// How far a transfer came, or why it did not. Neither bytes nor error: the end of the file.
struct Transfer {
    std::size_t bytes = 0;
    int error = 0; ///< an errno value; ECANCELED where it was interrupted
};

// Wait for whoever is at the other end of a pipe, socket or terminal, but no longer than until the
// interruption; also where the descriptor is one that does not wait. May transfer less than asked
// for.
Transfer readSome(int descriptor, void* bytes, std::size_t size, const Interruption& interruption);
Transfer writeSome(int descriptor, const void* bytes, std::size_t size,
                   const Interruption& interruption);

/// Whether what is written to this pipe or socket has nobody left to read it.
bool readerIsGone(int descriptor);

/// The system's words for an errno value.
std::string systemMessage(int error);

} // namespace tintwell::media
