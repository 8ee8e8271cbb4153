#pragma once

#include "media/files/descriptor.h"
#include "media/image_sequence.h"
#include "media/write/target_rules.h"

#include <cstdint>
#include <string>
#include <vector>

namespace tintwell::media {

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
    std::string target(std::int64_t number) const;
    std::string temporary(std::int64_t number, const char* addition = "") const;
    void closeFile();
    void place(std::int64_t number);
    void keepOld(std::int64_t number);
    void putInPlace(std::int64_t number, bool replacing);
    bool goBack() noexcept;

    SequencePattern pattern_;
    TargetRules rules_;
    std::string path_; ///< of all that is temporary, to be completed
    Descriptor lock_;
    Descriptor file_; ///< being written
    std::vector<std::int64_t> numbers_;
    std::vector<std::int64_t> touched_; ///< by the commit
    bool keepsOld_ = false;             ///< as they could not be put back
};

/// Ends what processes that no longer live have left half done to the sequence.
void recoverSequence(const SequencePattern& pattern);

} // namespace tintwell::media
