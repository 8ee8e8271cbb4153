#pragma once

#include "media/ffmpeg_objects.h"
#include "media/files/input_files.h"
#include "media/files/interruption.h"
#include "media/image_sequence.h"

#include <cstdint>
#include <memory>
#include <string>

namespace tintwell::media {

/// The files of an image sequence, one after the other, as packets whose times are their numbers,
/// counted from the first one. Files that are not there, empty, no files or not readable are passed
/// over.
class ImageFiles {
public:
    /// `found` has at least one number.
    ImageFiles(SequencePattern pattern, const SequenceFiles& found,
               std::shared_ptr<InputFiles> files, std::shared_ptr<Interruption> interruption);

    /// How many numbers there are, from the first to the last.
    std::int64_t length() const { return last_ - first_ + 1; }

    /// How many files are left out as they are too far behind the others.
    std::int64_t behind() const { return behind_; }

    /// How many were passed over so far.
    std::int64_t passedOver() const { return passedOver_; }

    /// The file's name without its folder.
    std::string nameOf(std::int64_t index) const { return pattern_.nameOf(first_ + index); }

    /// Empty at the end. Throws Interrupted, and std::bad_alloc.
    PacketPtr read();

    /// Goes to this number, counted from the first one.
    void seek(std::int64_t index);

    /// Whether there is something to read in the file of this number.
    static bool holdsBytes(const SequencePattern& pattern, std::int64_t number);

private:
    PacketPtr readFile(std::int64_t number) const;

    SequencePattern pattern_;
    std::int64_t first_;
    std::int64_t last_;
    std::int64_t behind_;
    std::int64_t next_;
    std::int64_t passedOver_ = 0;
    std::shared_ptr<InputFiles> files_;
    std::shared_ptr<Interruption> interruption_;
};

} // namespace tintwell::media
