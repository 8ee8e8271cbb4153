#include "host/callbacks.h"
#include "host/host_error.h"
#include "host/service_gate.h"
#include "host/services.h"

#include <gtest/gtest.h>

#include <new>
#include <stdexcept>

namespace tintwell::host {
namespace {

TEST(StringTables, givesTheTextAfterTheKey) {
    EXPECT_EQ(textOfKeyString("a/b=one#{cr}#{cr}two=2"), "one\n\ntwo=2");
    EXPECT_EQ(textOfKeyString("a/b="), "");
    EXPECT_EQ(textOfKeyString("no key"), "no key");
}

class BrokenSource : public FrameSource {
public:
    std::shared_ptr<const FrameBuffer> frame(std::int32_t index) override {
        if (index == 0) {
            throw std::runtime_error("cannot read");
        }
        return nullptr;
    }
};

/// What a module with wild arguments gets: codes, and never an exception or a crash.
TEST(Callbacks, answerBadArgumentsWithCodes) {
    BrokenSource source;
    Services services({2, 10, 100}, &source);
    InData in{};
    installCallbacks(in);
    const std::uint64_t me = services.reference();
    ParamDef param{};
    EXPECT_EQ(in.checkoutParameter(me, 0, 0, 10, 100, &param), host_error::kWrongReference)
        << "no command is running";

    const RunningCommand running(services);
    EXPECT_EQ(in.checkoutParameter(me + 8, 0, 0, 10, 100, &param), host_error::kWrongReference);
    EXPECT_EQ(in.checkoutParameter(me, 0, 0, 10, 100, nullptr), error::kMissingRecord);
    EXPECT_EQ(in.checkoutParameter(me, 0, 0, 10, 0, &param), host_error::kBadArgument);
    EXPECT_EQ(in.checkoutParameter(me, 1, 0, 10, 100, &param), host_error::kBadArgument);
    EXPECT_EQ(in.checkoutParameter(me, 0, -1, 10, 100, &param), host_error::kFrameOutsideClip);
    EXPECT_EQ(in.checkoutParameter(me, 0, 20, 10, 100, &param), host_error::kFrameOutsideClip);
    EXPECT_EQ(in.checkoutParameter(me, 0, 10, 10, 100, &param), host_error::kFrameUnavailable);
    EXPECT_EQ(services.takeFailure(), "");
    EXPECT_EQ(in.checkoutParameter(me, 0, 0, 10, 100, &param), host_error::kFrameUnavailable);
    EXPECT_EQ(services.takeFailure(), "cannot read");
    EXPECT_EQ(in.addParameter(me, -1, &param), host_error::kBadArgument) << "a layer";
    EXPECT_EQ(in.lookupString(nullptr, 0, 0, 0), nullptr);
    const void* suite = &param;
    EXPECT_EQ(in.suiteProvider->acquire(kHandleSuiteName, 3, &suite), host_error::kNoSuchSuite);
    EXPECT_EQ(suite, nullptr);

    ASSERT_EQ(in.suiteProvider->acquire(kHandleSuiteName, 2, &suite), 0);
    const auto& handles = *static_cast<const HandleSuite*>(suite);
    services.setHook([](Service) -> ErrorCode { throw std::bad_alloc(); });
    EXPECT_EQ(handles.newHandle(8), nullptr);
    EXPECT_EQ(in.abort(me), error::kOutOfMemory);
    services.setHook([](Service) -> ErrorCode { throw 1; });
    EXPECT_EQ(in.abort(me), host_error::kHostFailure);
    EXPECT_EQ(services.ledger().outstanding().size(), 1U) << "the suite, and nothing else";
}

} // namespace
} // namespace tintwell::host
