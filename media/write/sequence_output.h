#pragma once

#include "media/files/descriptor.h"
#include "media/image_sequence.h"
#include "media/write/target_rules.h"

#include <cstdint>
#include <string>
#include <vector>

namespace tintwell::media {

/// What the files of one image of a sequence that is being written are called. The memory for the
/// names is there from the beginning: they are needed where there is none left, too.
class ImageNames {
public:
    /// `path` is that of all that is temporary, to be completed.
    ImageNames(const SequencePattern& pattern, const std::string& path);

    /// Those of this number, until the next call.
    const ImageNames& of(std::int64_t number) noexcept;

    const std::string& target() const { return target_; }

    const std::string& temporary() const { return temporary_; }

    const std::string& old() const { return old_; } ///< what stood there before

    const std::string& second() const { return second_; } ///< the new file's, before it replaces

private:
    std::size_t digits_;
    std::size_t targetBegin_;
    std::size_t temporaryBegin_;
    std::string suffix_;
    std::string target_;
    std::string temporary_;
    std::string old_;
    std::string second_;
};

/// The files of a sequence that is being written, which take their names together: all of them, or
/// what stood there before stands there again.
///
/// They lie beside their names as ".PATTERN.partial-TOKEN.NUMBER". ".PATTERN.partial-TOKEN" is
/// locked as long as the process works on them. While they take their names, the old files are kept
/// as ".NUMBER.old", and the new ones keep their temporary names too, so that it can be told which
/// is which. Once all are in place the locked file becomes ".done", and the rest is removed. A
/// process that is killed at any point leaves what `recoverSequence` needs to go back, or on.
class SequenceOutput {
public:
    /// Throws MediaError.
    SequenceOutput(SequencePattern pattern, TargetRules rules);
    ~SequenceOutput();

    SequenceOutput(const SequenceOutput&) = delete;
    SequenceOutput& operator=(const SequenceOutput&) = delete;

    /// The file of the next number, to be written until the next one is opened.
    int open(std::int64_t number);

    /// A number that has been written, to be read before the commit. Throws MediaError.
    Descriptor openToRead(std::int64_t number);

    void commit();

private:
    void closeFile();
    void placeAll();
    void place(const ImageNames& names);
    bool goBack() noexcept;

    SequencePattern pattern_;
    TargetRules rules_;
    std::string path_; ///< of all that is temporary, to be completed
    std::string donePath_;
    ImageNames names_;
    Descriptor lock_;
    Descriptor file_; ///< being written
    std::vector<std::int64_t> numbers_;
    std::vector<std::int64_t> touched_; ///< by the commit
    bool keepsOld_ = false;             ///< as they could not be put back
};

/// Ends what processes that no longer live have left half done to the sequence.
void recoverSequence(const SequencePattern& pattern);

} // namespace tintwell::media
