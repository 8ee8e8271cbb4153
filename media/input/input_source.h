#pragma once

#include "media/ffmpeg_objects.h"
#include "media/files/descriptor_io.h"
#include "media/files/input_files.h"
#include "media/files/interruption.h"

#include <exception>
#include <memory>
#include <optional>
#include <string>

namespace tintwell::media {

/// What a demuxer reads from: notes every file that it opens, and lets it be interrupted. Must
/// outlive the context it is attached to, and stay where it is.
class InputSource {
public:
    /// Without `allowNetwork` only local files are opened: the input, and those in its folder and
    /// below.
    InputSource(std::shared_ptr<InputFiles> files, std::shared_ptr<Interruption> interruption,
                bool allowNetwork);

    InputSource(const InputSource&) = delete;
    InputSource& operator=(const InputSource&) = delete;

    /// Before the context is opened.
    void attach(AVFormatContext& container);

    /// Opens standard input or a local file for the demuxer; addresses, and what demuxers open by
    /// themselves, are left to FFmpeg. Throws MediaError, also where the address is not allowed.
    void open(AVFormatContext& container, const std::string& url);

    /// Throws MediaError where the input names what it was not allowed to open, and what else went
    /// wrong while FFmpeg opened a file; it ends there.
    void throwIfRefused() const;

    /// From now on: for demuxers that open files without asking.
    void watchAll() { watchesAll_ = true; }

    /// As DescriptorIo; of what FFmpeg opens by itself it is not known.
    int takeReadError() { return io_ ? io_->takeReadError() : 0; }

    const Interruption& interruption() const { return *interruption_; }

    const std::shared_ptr<Interruption>& sharedInterruption() const { return interruption_; }

    const std::shared_ptr<InputFiles>& files() const { return files_; }

private:
    using Opener = decltype(AVFormatContext::io_open);

    static int isInterrupted(void* self);
    static int openFurther(AVFormatContext* container, AVIOContext** io, const char* url, int flags,
                           AVDictionary** options);

    /// Does the work and keeps what it throws, which must not pass through FFmpeg's code.
    template <class Work>
    int guarded(Work work);

    std::shared_ptr<InputFiles> files_;
    std::shared_ptr<Interruption> interruption_;
    bool isAllowed(const std::string& url) const;

    bool allowNetwork_;
    std::string refused_;
    std::exception_ptr failure_;
    Opener usualOpener_ = nullptr;
    bool watchesAll_ = false;
    Descriptor file_;
    std::optional<DescriptorIo> io_;
};

} // namespace tintwell::media
