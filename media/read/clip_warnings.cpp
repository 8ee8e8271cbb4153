#include "media/read/clip_warnings.h"

namespace tintwell::media {

std::vector<std::string> warningsOf(const std::string& input, const ClipInfo& info,
                                    const ClipFlaws& flaws) {
    std::vector<std::string> warnings;
    const auto warn = [&](const std::string& text) { warnings.push_back(input + ": " + text); };
    if (flaws.damagedParts > 0) {
        // Decoders with several threads do not always tell of all.
        warn("at least " + std::to_string(flaws.damagedParts) +
             (flaws.damagedParts == 1 ? " part of the video is damaged"
                                      : " parts of the video are damaged") +
             "; what could be decoded was used");
    }
    if (flaws.missingFrames > 0) {
        warn(std::to_string(flaws.missingFrames) +
             (flaws.missingFrames == 1 ? " frame is missing" : " frames are missing") +
             " between others; the frame before stands longer there");
    }
    if (!flaws.readFailure.empty()) {
        warn("could not be read to its end (" + flaws.readFailure + ")");
    } else if (flaws.endsEarly) {
        warn("ends before the end that it announces; it seems to be cut off");
    }
    for (const char* tag : unknownTags(info.tags)) {
        warn("its " + std::string(tag) + " tag has no known value and is left out");
    }
    if (matrixIsReplaced(info.pixelFormat, info.tags)) {
        warn("its colour matrix (" + matrixName(info.tags.matrix) +
             ") is not supported; taken for " + matrixName(info.color));
    }
    return warnings;
}

} // namespace tintwell::media
