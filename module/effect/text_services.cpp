#include "module/effect/text_services.h"

#include "module/effect/identity.h"

#include <algorithm>
#include <string>
#include <string_view>

namespace tintwell {
namespace {

bool isContinuationByte(char byte) {
    return (static_cast<unsigned char>(byte) & 0xC0U) == 0x80U;
}

/// How much of the text fits `size` bytes with its terminator, cut between two characters.
std::size_t fittingLength(std::string_view text, std::size_t size) {
    std::size_t length = std::min(text.size(), size - 1);
    while (length > 0 && length < text.size() && isContinuationByte(text[length])) {
        --length;
    }
    return length;
}

/// A format that was cut inside a conversion would end in a lone percent sign.
std::string_view withoutCutConversion(std::string_view format) {
    const std::size_t last = format.find_last_not_of('%');
    const std::size_t signs = format.size() - (last == std::string_view::npos ? 0 : last + 1);
    return format.substr(0, format.size() - signs % 2);
}

bool canLookUp(const InData& inData) {
    return globalDataOf(inData) != nullptr && inData.lookupString != nullptr &&
           inData.utilities != nullptr && inData.utilities->copyString != nullptr;
}

/// What the host has for a text; nothing counts as empty.
std::string_view lookUp(const InData& inData, Text text) {
    const char* found = inData.lookupString(globalDataOf(inData)->stringTable,
                                            static_cast<std::int32_t>(text), 0, 0);
    return found == nullptr ? "" : found;
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
    if (!canLookUp(inData)) {
        return error::kMissingRecord;
    }
    const std::string_view found = lookUp(inData, text);
    const std::string fitting(found.substr(0, fittingLength(found, size)));
    inData.utilities->copyString(destination, fitting.c_str());
    return error::kNone;
}

ErrorCode formatAbout(const InData& inData, OutData& outData) {
    if (inData.utilities == nullptr || inData.utilities->format == nullptr || !canLookUp(inData)) {
        return error::kMissingRecord;
    }
    const std::string_view found = lookUp(inData, Text::About);
    const std::string_view fitting = found.substr(0, fittingLength(found, sizeof(outData.message)));
    const std::string format(fitting.size() < found.size() ? withoutCutConversion(fitting)
                                                           : fitting);
    char copy[sizeof(outData.message)] = {};
    inData.utilities->copyString(copy, format.c_str());
    inData.utilities->format(outData.message, copy, identity::kMajorVersion,
                             identity::kMinorVersion);
    return error::kNone;
}

} // namespace tintwell
