#include "host/callbacks.h"

#include "host/service_gate.h"
#include "host/suites.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>

namespace tintwell::host {

namespace {

ErrorCode checkOutParameter(std::uint64_t reference, std::int32_t index, std::int32_t time,
                            std::int32_t /*timeStep*/, std::uint32_t timeScale, ParamDef* param) {
    return serve(Service::CheckOutParameter, reference, [&](Services& services) {
        return param == nullptr ? error::kMissingRecord
                                : services.checkOut(index, time, timeScale, *param);
    });
}

ErrorCode checkInParameter(std::uint64_t reference, ParamDef* param) {
    return serve(Service::CheckInParameter, reference,
                 [&](Services& services) { return services.checkIn(param); });
}

ErrorCode addParameter(std::uint64_t reference, std::int32_t index, ParamDef* param) {
    return serve(Service::AddParameter, reference, [&](Services& services) {
        constexpr std::int32_t kAppend = -1;
        if (param == nullptr) {
            return error::kMissingRecord;
        }
        const bool added = index == kAppend && services.parameters().declare(*param);
        return added ? error::kNone : host_error::kBadArgument;
    });
}

ErrorCode abortRequested(std::uint64_t reference) {
    return serve(Service::Abort, reference, [](Services& services) {
        return services.abortFlag().load() ? error::kInterrupted : error::kNone;
    });
}

ErrorCode registerStringTable(void** table, std::int32_t /*id*/, const char* /*plainName*/) {
    return serve(Service::RegisterStringTable, [&](Services& services) {
        if (table == nullptr || *table == nullptr) {
            return error::kMissingRecord;
        }
        *table = services.strings().add(*static_cast<const StringTableDescriptor*>(*table));
        return error::kNone;
    });
}

const char* lookUpString(void* table, std::int32_t index, std::int32_t, std::int32_t) {
    return serveAnswer<const char*>(Service::LookUpString, nullptr, [&](Services& services) {
        return services.strings().find(table, index);
    });
}

ErrorCode releaseStringTable(void** /*table*/, void* /*globalHandleContent*/,
                             void* tableReference) {
    return serve(Service::ReleaseStringTable, [&](Services& services) {
        return services.strings().remove(tableReference)
                   ? error::kNone
                   : services.misused("a string table was released that was not registered");
    });
}

// The interface's two text utilities trust the caller with the size of the destination, as the
// functions of the C library do that they stand for.

int formatText(char* destination, const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    const int written = serveAnswer(Service::FormatText, -1, [&](Services&) {
        return std::vsprintf(destination, format, arguments); // NOLINT(clang-analyzer-security*)
    });
    va_end(arguments);
    return written;
}

char* copyString(char* destination, const char* source) {
    return serveAnswer(Service::CopyString, destination, [&](Services&) {
        return std::strcpy(destination, source); // NOLINT(clang-analyzer-security*)
    });
}

const UtilityCallbacks kUtilities = {{}, formatText, copyString};

} // namespace

void installCallbacks(InData& inData) {
    inData.checkoutParameter = checkOutParameter;
    inData.checkinParameter = checkInParameter;
    inData.addParameter = addParameter;
    inData.abort = abortRequested;
    inData.registerStringTable = registerStringTable;
    inData.lookupString = lookUpString;
    inData.releaseStringTable = releaseStringTable;
    inData.utilities = &kUtilities;
    inData.suiteProvider = &suiteProvider();
}

} // namespace tintwell::host
