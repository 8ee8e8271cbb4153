#include "module/effect/text_services.h"

#include "module/effect/identity.h"

#include <algorithm>
#include <cstring>
#include <string>
#include <string_view>

namespace tintwell {
namespace {

bool isContinuationByte(char byte) {
    return (static_cast<unsigned char>(byte) & 0xC0U) == 0x80U;
}

/// The longest beginning of the text that fits `size` bytes with its terminator and ends between
/// two characters.
std::string cutToFit(std::string_view text, std::size_t size) {
    std::size_t length = std::min(text.size(), size - 1);
    while (length > 0 && length < text.size() && isContinuationByte(text[length])) {
        --length;
    }
    return std::string(text.substr(0, length));
}

/// A text cut inside a conversion would end in a lone percent sign.
void dropCutConversion(std::string_view text, char* end) {
    const std::size_t last = text.find_last_not_of('%');
    const std::size_t signs = text.size() - (last == std::string_view::npos ? 0 : last + 1);
    if (signs % 2 == 1) {
        *(end - 1) = '\0';
    }
}

} // namespace

GlobalData* globalDataOf(const InData& inData) {
    return inData.globalData == nullptr ? nullptr : static_cast<GlobalData*>(*inData.globalData);
}

RegisteredStringTable::RegisteredStringTable(const InData& inData) : inData_(inData) {
    if (inData.registerStringTable == nullptr) {
        code_ = error::kMissingRecord;
        return;
    }
    // The callback takes the descriptor and gives the reference through one pointer; the host does
    // not write to the descriptor.
    reference_ = const_cast<StringTableDescriptor*>(&stringTableDescriptor());
    code_ = inData.registerStringTable(&reference_, kStringTableId, identity::kName);
}

RegisteredStringTable::~RegisteredStringTable() {
    if (code_ == error::kNone && !kept_ && inData_.releaseStringTable != nullptr) {
        inData_.releaseStringTable(&reference_, nullptr, reference_);
    }
}

void* RegisteredStringTable::keep() {
    kept_ = true;
    return reference_;
}

ErrorCode releaseStringTable(const InData& inData, GlobalData& global) {
    if (inData.releaseStringTable == nullptr) {
        return error::kMissingRecord;
    }
    return inData.releaseStringTable(&global.stringTable, &global, global.stringTable);
}

ErrorCode getString(const InData& inData, Text text, char* destination, std::size_t size) {
    const GlobalData* global = globalDataOf(inData);
    if (global == nullptr || inData.lookupString == nullptr || inData.utilities == nullptr ||
        inData.utilities->copyString == nullptr) {
        return error::kMissingRecord;
    }
    const char* found =
        inData.lookupString(global->stringTable, static_cast<std::int32_t>(text), 0, 0);
    inData.utilities->copyString(destination,
                                 cutToFit(found == nullptr ? "" : found, size).c_str());
    return error::kNone;
}

ErrorCode formatAbout(const InData& inData, OutData& outData) {
    if (inData.utilities == nullptr || inData.utilities->format == nullptr) {
        return error::kMissingRecord;
    }
    char format[sizeof(outData.message)] = {};
    const ErrorCode code = getString(inData, Text::About, format, sizeof(format));
    if (code == error::kNone) {
        dropCutConversion(format, format + std::strlen(format));
        inData.utilities->format(outData.message, format, identity::kMajorVersion,
                                 identity::kMinorVersion);
    }
    return code;
}

} // namespace tintwell
