// Lets every call of a host's function and every allocation fail in turn, through whole lives of
// the effect: the command answers the right code, nothing stays out, and what follows is right.

#include "raw_host.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <new>
#include <random>
#include <span>

#ifdef __GLIBC__
#include <malloc.h>
#endif

namespace {

struct Memory {
    std::ptrdiff_t live = 0; ///< blocks of the whole process, the module's among them
    std::size_t made = 0;    ///< by the module
    std::size_t failing = 0; ///< which of those cannot be made, counted from 1
} memory;

#ifdef __GLIBC__
// Handing memory back to the system and getting it again would take most of the test's time.
const bool kIsHoarding =
    mallopt(M_TRIM_THRESHOLD, 1 << 30) != 0 && mallopt(M_MMAP_THRESHOLD, 1 << 25) != 0;
#endif

void* allocate(std::size_t size) {
    const bool fails = tintwell::test::RawHost::isModuleRunning && ++memory.made == memory.failing;
    void* block = fails ? nullptr : std::malloc(std::max<std::size_t>(size, 1));
    if (block == nullptr) {
        throw std::bad_alloc();
    }
    ++memory.live;
    return block;
}

void release(void* block) {
    memory.live -= block != nullptr;
    std::free(block);
}

} // namespace

// The module's allocations come here too: a program's functions go before those of libraries.
void* operator new(std::size_t size) {
    return allocate(size);
}

void* operator new[](std::size_t size) {
    return allocate(size);
}

void operator delete(void* block) noexcept {
    release(block);
}

void operator delete[](void* block) noexcept {
    release(block);
}

void operator delete(void* block, std::size_t) noexcept {
    release(block);
}

void operator delete[](void* block, std::size_t) noexcept {
    release(block);
}

namespace tintwell::test {
namespace {

using Pixels = std::vector<std::uint16_t>; // bytes go two in one

struct Step {
    Command command;
    std::int32_t frame = 0;
    double seconds = 0.0;
    std::int32_t snap = 0;
    double blend = 0.0;
    double blackClip = 0.1;
    std::byte state{}; ///< the host's token of the controls
};

using Script = std::vector<Step>;

constexpr std::int32_t kWidth = 12;
constexpr std::int32_t kHeight = 6;
constexpr std::size_t kFrames = 7;

/// Frames whose brightness and cast flicker.
std::vector<Pixels> makeClip(bool deep) {
    std::mt19937 random(5);
    std::vector<Pixels> clip(kFrames, Pixels(kWidth * kHeight * (deep ? 4 : 2)));
    for (Pixels& frame : clip) {
        const auto flicker = random() % 20;
        for (std::size_t i = 0; i < kWidth * kHeight * 4; ++i) {
            const auto level =
                i % 4 == 0 ? 200 + random() % 56 : 60 + i / 4 + random() % 9 + flicker * (i % 4);
            const auto sample = static_cast<std::uint16_t>(deep ? level * 128 : level);
            std::memcpy(reinterpret_cast<std::byte*>(frame.data()) + i * (deep ? 2 : 1), &sample,
                        deep ? 2 : 1);
        }
    }
    return clip;
}

class Session : public RawHost {
public:
    Session(std::vector<Pixels>& frames, bool deep) : rendered(frames[0].size()) {
        const auto worldOf = [deep](Pixels& pixels) {
            EffectWorld world{};
            world.flags = deep ? kWorldFlag16Bit : 0;
            world.data = pixels.data();
            world.width = kWidth;
            world.height = kHeight;
            world.rowBytes = kWidth * (deep ? 8 : 4);
            return world;
        };
        std::ranges::transform(frames, std::back_inserter(clip), worldOf);
        output = worldOf(rendered);
        in.totalDuration = static_cast<std::int32_t>(kFrames) * in.timeStep;
        std::ranges::fill(texts, "%d.%d, a text that is too long to lie in a string itself");
    }

    ErrorCode perform(const Step& step) {
        in.currentTime = step.frame * in.timeStep;
        params[0].layer = clip[static_cast<std::size_t>(step.frame)];
        params[1].slider.value = step.seconds;
        params[3].slider.value = step.blackClip;
        params[4].slider.value = 0.1;
        params[5].checkbox.value = step.snap;
        params[6].slider.value = step.blend;
        state.bytes[0] = step.state;
        out.outFlags = 0;
        std::ranges::fill(rendered, std::uint16_t{0xa5a5});
        UserChangedParamExtra changed{3};
        const ErrorCode code = send(step.command, &changed);
        if (memory.failing != 0 && memory.made >= memory.failing && failed.empty()) {
            failed = "an allocation";
        }
        if (step.command == Command::UserChangedParam) {
            acquired.clear(); // it never gives back what it acquires
        }
        return code;
    }

    /// Whether nothing is out that no record holds.
    bool holdsNothing() const {
        std::size_t held = 0;
        for (const HostHandle handle : {in.globalData, in.sequenceData}) {
            if (handle != nullptr && !handles.contains(handle)) {
                return false; // disposed, yet kept
            }
            held += handle != nullptr;
        }
        const auto isBack = [](const auto& suite) { return suite.second == 0; };
        return held == handles.size() && tables == (in.globalData != nullptr) &&
               checkedOut.empty() && std::ranges::all_of(acquired, isBack);
    }

    Pixels rendered;
};

/// What a command answers when the call fails with the code.
ErrorCode expectedCode(Command command, const std::string& call, ErrorCode code) {
    const auto isAny = [&](const std::vector<std::string>& beginnings) {
        return std::ranges::any_of(
            beginnings, [&](const std::string& beginning) { return call.starts_with(beginning); });
    };
    if (isAny({"an allocation", "new"})) {
        return error::kOutOfMemory;
    }
    // A render does without knowing the state of the controls.
    const bool isFine = isAny({"release", "dispose", "look up"}) ||
                        (command == Command::Render && isAny({"acquire", "state", "compare"})) ||
                        (command == Command::SequenceResetup &&
                         isAny({"acquire PF Param", "state"}) && code == 515) ||
                        (command == Command::UserChangedParam && code == 10001);
    return isFine ? 0 : code;
}

struct Fault {
    std::size_t call = 0;
    ErrorCode code = 0;
    std::size_t allocation = 0;
};

class Life {
public:
    /// Setting up may fail only if asked for: it is always the same.
    Life(const Script& script, bool deep, bool failsEarly) : deep_(deep), clip_(makeClip(deep)) {
        script_ = {{Command::GlobalSetup}, {Command::ParamsSetup}, {Command::SequenceSetup}};
        firstToFail_ = failsEarly ? 0 : script_.size();
        script_.insert(script_.end(), script.begin(), script.end());
        script_.insert(script_.end(), {{Command::SequenceSetdown}, {Command::GlobalSetdown}});
        Session session(clip_, deep_);
        for (const Step& step : script_) {
            EXPECT_EQ(session.perform(step), 0);
            expected_.push_back(session.rendered);
        }
    }

    /// Lives through it with one fault; whether there was one.
    bool survive(const Fault& fault, std::array<int, 16>& injected) {
        const std::ptrdiff_t liveBefore = memory.live;
        bool isOver = false;
        {
            Session session(clip_, deep_);
            session.failure = fault.code;
            for (std::size_t i = 0; i < script_.size(); ++i) {
                if (i == firstToFail_) {
                    session.failingCall = fault.call;
                    memory.made = 0;
                    memory.failing = fault.allocation;
                }
                ErrorCode code = session.perform(script_[i]);
                if (!isOver && !session.failed.empty()) {
                    isOver = true;
                    ++injected.at(static_cast<std::size_t>(script_[i].command));
                    expectReport(session, script_[i], fault, code);
                    const bool again = code != 0 || script_[i].command == Command::Render;
                    code = again ? session.perform(script_[i]) : 0;
                }
                EXPECT_EQ(code, 0) << "after " << session.failed;
                EXPECT_EQ(session.rendered, expected_[i]) << "step " << i << session.failed;
            }
            EXPECT_TRUE(session.holdsNothing() && session.handles.empty()) << session.failed;
        }
        EXPECT_EQ(memory.live, liveBefore);
        memory.failing = 0;
        return isOver;
    }

private:
    static void expectReport(const Session& session, const Step& step, const Fault& fault,
                             ErrorCode code) {
        const auto describe = [&] {
            return session.failed + " with " + std::to_string(fault.code) + " in command " +
                   std::to_string(static_cast<int>(step.command));
        };
        EXPECT_EQ(code, expectedCode(step.command, session.failed, fault.code)) << describe();
        EXPECT_EQ(session.out.outFlags == kOutFlagShowError, code != 0 && code != 517)
            << describe();
        EXPECT_TRUE(session.holdsNothing()) << describe();
        if (step.command == Command::ParamsSetup) {
            EXPECT_EQ(session.out.parameterCount, code == 0 ? 7 : 0) << describe();
        }
        const bool isStateUnknown =
            session.failed.starts_with("state") || session.failed.starts_with("acquire PF Param");
        const bool hasSequence = session.in.sequenceData != nullptr;
        EXPECT_TRUE(hasSequence || !isStateUnknown) << describe();
    }

    bool deep_;
    std::vector<Pixels> clip_;
    Script script_;
    std::size_t firstToFail_;
    std::vector<Pixels> expected_; ///< after each step
};

const Script kScripts[] = {
    {{Command::About},
     {Command::SequenceResetup},
     {Command::UserChangedParam},
     {Command::UpdateParamsUI}},
    {{Command::Render}, {Command::Render, 0, 0, 1, 40}},
    // Forward, with a change of a control that the host tells of, and one that only states tell.
    {{Command::Render, 0, 0.1},
     {Command::Render, 1, 0.1, 1},
     {Command::UserChangedParam},
     {Command::Render, 2, 0.1, 0, 20, 5.0},
     {Command::Render, 3, 0.1, 0, 20, 9.0, std::byte{1}}},
    // Jumping, the frame beyond the window being one that is known or not.
    {{Command::Render, 5, 0.1}, {Command::Render, 2, 0.1, 1}, {Command::Render, 6, 0.1}},
};

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool kSanitized = true;
#else
constexpr bool kSanitized = false;
#endif

TEST(FaultInjection, EveryFaultIsReportedOnceAndLeavesNothingBehind) {
    // The last one is unknown to the effect, and a handle without memory.
    constexpr ErrorCode kCodes[] = {4, 512, 515, 517, 10000, 10001, 10002, 10003, 4711, -1};
    std::array<int, 16> failedCalls{};
    std::array<int, 16> failedAllocations{};
    for (const Script& script : kScripts) {
        const bool isFirst = &script == std::begin(kScripts);
        const bool isLast = &script + 1 == std::end(kScripts);
        for (const bool deep : {false, true}) {
            Life life(script, deep, isFirst);
            const bool isBrief = deep || isLast || kSanitized; // to save time
            const std::size_t codes = isBrief ? 1 : std::size(kCodes);
            for (const ErrorCode code : std::span(kCodes).last(codes)) {
                for (std::size_t k = 1; life.survive({k, code, 0}, failedCalls); ++k) {
                }
            }
            for (std::size_t k = 1; life.survive({0, 0, k}, failedAllocations); ++k) {
            }
        }
    }
    constexpr auto kRender = static_cast<std::size_t>(Command::Render);
    EXPECT_GT(failedCalls[kRender], kSanitized ? 250 : 400);
    EXPECT_GT(failedAllocations[kRender], 300);
}

} // namespace
} // namespace tintwell::test
