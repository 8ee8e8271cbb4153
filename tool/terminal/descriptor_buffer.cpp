#include "tool/terminal/descriptor_buffer.h"

#include "media/files/descriptor.h"
#include "tool/terminal/stop_signal.h"

#include <unistd.h>

namespace tintwell::tool {

DescriptorBuffer::DescriptorBuffer(int descriptor, const media::Interruption& interruption)
    : descriptor_(descriptor), interruption_(interruption) {
    setp(text_.data(), text_.data() + text_.size());
}

DescriptorBuffer::int_type DescriptorBuffer::overflow(int_type letter) {
    if (sync() != 0) {
        return traits_type::eof();
    }
    if (!traits_type::eq_int_type(letter, traits_type::eof())) {
        *pptr() = traits_type::to_char_type(letter);
        pbump(1);
    }
    return traits_type::not_eof(letter);
}

/// What could not be written is dropped: it would be tried again at each further word.
int DescriptorBuffer::sync() {
    for (const char* text = pbase(); text != pptr() && error_ == 0;) {
        const media::Transfer written = media::writeSome(
            descriptor_, text, static_cast<std::size_t>(pptr() - text), interruption_);
        text += written.bytes;
        error_ = written.error;
    }
    setp(text_.data(), text_.data() + text_.size());
    return error_ == 0 ? 0 : -1;
}

StandardStreams::StandardStreams()
    : interruption_(stopRequested()), output_(STDOUT_FILENO, interruption_),
      errors_(STDERR_FILENO, interruption_), usualOutput_(std::cout.rdbuf(&output_)),
      usualErrors_(std::cerr.rdbuf(&errors_)) {}

StandardStreams::~StandardStreams() {
    std::cout.flush();
    std::cerr.flush();
    std::cout.rdbuf(usualOutput_);
    std::cerr.rdbuf(usualErrors_);
}

} // namespace tintwell::tool
