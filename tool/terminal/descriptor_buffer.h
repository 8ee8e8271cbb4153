#pragma once

#include "media/files/interruption.h"

#include <array>
#include <iostream>
#include <streambuf>

namespace tintwell::tool {

/// Text on its way to an open file, which it does not own. Waits for a pipe or terminal that is
/// slow, also for one that does not wait by itself, and gives up once the interruption is set.
class DescriptorBuffer : public std::streambuf {
public:
    DescriptorBuffer(int descriptor, const media::Interruption& interruption);

    /// An errno value: why something could not be written; 0 where all could.
    int error() const { return error_; }

private:
    int_type overflow(int_type letter) override;
    int sync() override;

    int descriptor_;
    const media::Interruption& interruption_;
    int error_ = 0;
    std::array<char, 16384> text_;
};

/// Has std::cout and std::cerr write in this way while it lives.
class StandardStreams {
public:
    StandardStreams();
    ~StandardStreams();

    StandardStreams(const StandardStreams&) = delete;
    StandardStreams& operator=(const StandardStreams&) = delete;

private:
    media::Interruption interruption_;
    DescriptorBuffer output_;
    DescriptorBuffer errors_;
    std::streambuf* usualOutput_;
    std::streambuf* usualErrors_;
};

} // namespace tintwell::tool
