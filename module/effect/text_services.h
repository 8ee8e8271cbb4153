#pragma once

// The module's texts through the host: registered once, kept in the global handle, looked up by
// index, copied and formatted by the host's utilities.

#include "module/effect/localisation.h"
#include "module/interface/host_interface.h"

#include <cstddef>

namespace tintwell {

/// The whole content of the global handle.
struct GlobalData {
    void* stringTable; ///< the host's reference to the registered string table
};

static_assert(sizeof(GlobalData) == 8);

/// The content of the global handle, or null when there is none.
GlobalData* globalDataOf(const InData& inData);

/// A string table registered with the host; released again unless kept.
class RegisteredStringTable {
public:
    explicit RegisteredStringTable(const InData& inData);
    RegisteredStringTable(const RegisteredStringTable&) = delete;
    RegisteredStringTable& operator=(const RegisteredStringTable&) = delete;
    ~RegisteredStringTable();

    /// What registering answered.
    ErrorCode code() const { return code_; }

    /// Hands the reference to the caller, who releases it with releaseStringTable.
    void* keep();

private:
    const InData& inData_;
    void* reference_ = nullptr;
    ErrorCode code_;
    bool kept_ = false;
};

/// Gives a registered string table back to the host.
ErrorCode releaseStringTable(const InData& inData, GlobalData& global);

/// Copies a text into `destination` of `size` bytes; longer text is cut between characters. 512
/// when the global handle or a service is missing.
ErrorCode getString(const InData& inData, Text text, char* destination, std::size_t size);

/// Formats the About text with the effect's version into the message.
ErrorCode formatAbout(const InData& inData, OutData& outData);

} // namespace tintwell
