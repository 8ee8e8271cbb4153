#pragma once

#include "media/neighbours/kept_pictures.h"
#include "media/neighbours/passed_pictures.h"
#include "media/read/clip_reader.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>

namespace tintwell::media {

/// Decodes once more what a sequential reading of a clip has passed. Starts at a key frame where
/// that gives the very pictures that were passed, which is checked for each of them, and at the
/// clip's beginning otherwise. For one thread at a time.
class LookBack {
public:
    /// Of the pictures that lie on the way some are kept, up to so many bytes.
    LookBack(std::string input, InputOptions options, std::size_t keptBytes)
        : input_(std::move(input)), options_{std::move(options), {}, false}, kept_(keptBytes) {}

    /// A picture that was passed. Requests that go backward step by step find most of their
    /// pictures kept. Gives up with MediaError soon after `cancelled` is set.
    SharedPicture fetch(std::int64_t index, const PassedPictures& passed,
                        const std::atomic<bool>& cancelled);

private:
    void decodeUpTo(std::int64_t index, const PassedPictures& passed);
    bool decodeFromKeyFrame(std::int64_t begin, std::int64_t index, const PassedPictures& passed);
    void decodeFromBeginning(std::int64_t index);
    FramePtr nextPicture();

    std::string input_;
    ReaderOptions options_;
    std::optional<ClipReader> reader_;
    KeptPictures kept_;
    const std::atomic<bool>* cancelled_ = nullptr; ///< of the fetch under way
    bool seeks_ = true;                            ///< going to key frames has not failed yet
};

} // namespace tintwell::media
