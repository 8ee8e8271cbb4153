// Sessions of a host that does whatever it may (see host.h): the input says which commands are
// sent, what changes before each, what is missing and what fails.

#include "check.h"
#include "failing_memory.h"
#include "host.h"
#include "module/effect/commands.h"
#include "module/kernels/variants.h"

#include <iterator>

using namespace tintwell;
using namespace tintwell::fuzz;

namespace {

constexpr int kPatience = 40;

constexpr Command kCommands[] = {
    Command::Render,          Command::Render,         Command::UserChangedParam,
    Command::Render,          Command::UpdateParamsUI, Command::About,
    Command::ParamsSetup,     Command::SequenceSetup,  Command::SequenceResetup,
    Command::SequenceSetdown, Command::GlobalSetup,    Command::GlobalSetdown,
    Command::FrameSetup,
};

std::int32_t towardZero(std::int32_t time, std::int32_t steps) {
    return time > 0 ? time - steps : time + steps;
}

/// What one command is given: all there is, until something is withheld.
struct Call {
    Command command;
    InData in;
    InData* inData = &in;
    OutData out{};
    OutData* outData = &out;
    ParamDef* params[7]{};
    ParamDef** paramList = params;
    EffectWorld output{};
    EffectWorld* outputWorld = &output;
    UserChangedParamExtra changed{3};
    UserChangedParamExtra* extra = &changed;
    Tables tables{};
};

class Session {
public:
    /// Begins with the effect and one sequence set up.
    explicit Session(FuzzInput& input);
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;
    /// Sets everything down, and checks that nothing is left out.
    ~Session();

    void sendNext();

private:
    void changeTimes();
    void changeControls();
    void changeFrames();
    void changeAnswers();
    void planFault();
    void prepare(Command command);
    void fill(Call& call);
    void withhold(Call& call);
    void sendHealthily(Command command);
    ErrorCode send(Call& call);
    void checkResult(const Call& call, ErrorCode code) const;
    void keepHandles(const Call& call);

    FuzzInput& input_;
    Host host_;
    InData in_{};
    HostHandle otherSequence_ = nullptr;
    std::int32_t framesOff_ = 0;  ///< how far the input is from the frame of its time
    std::vector<Picture> output_; ///< one, or none where the input is the output
    std::uint32_t memoryFailAt_ = 0;
};

Session::Session(FuzzInput& input) : input_(input) {
    in_.quality = kQualityHigh;
    in_.currentTime = 2;
    in_.timeStep = 1;
    in_.localTimeStep = 1;
    in_.totalDuration = 5;
    in_.timeScale = 10;
    host_.params[1].slider.value = 0.3;
    host_.params[3].slider.value = host_.params[4].slider.value = 0.1;
    host_.params[5].checkbox.value = 1;
    host_.params[6].slider.value = 50.0;
    changeFrames();
    sendHealthily(Command::GlobalSetup);
    sendHealthily(Command::SequenceSetup);
}

Session::~Session() {
    prepare(Command::GlobalSetdown);
    sendHealthily(Command::GlobalSetdown);
    for (const Host::Block& block : host_.blocks) {
        check(block.content == Host::Content::None, "all handles are disposed");
    }
}

void Session::sendNext() {
    const std::uint8_t choice = input_.byte();
    const Command command = choice < 240
                                ? kCommands[choice % std::size(kCommands)]
                                : static_cast<Command>(input_.number(std::int32_t{choice}));
    const std::uint8_t changes = input_.byte();
    const auto ifAsked = [&](int bit, auto change) {
        if ((changes >> bit & 1) != 0) {
            change();
        }
    };
    ifAsked(0, [&] { changeTimes(); });
    ifAsked(1, [&] { changeControls(); });
    ifAsked(2, [&] { changeFrames(); });
    ifAsked(3, [&] { changeAnswers(); });
    ifAsked(4, [&] { in_.currentTime = towardZero(in_.currentTime, 1); });
    ifAsked(5, [&] { std::swap(in_.sequenceData, otherSequence_); });
    prepare(command);
    Call call = {command, in_};
    fill(call);
    ifAsked(6, [&] { withhold(call); });
    ifAsked(7, [&] { planFault(); });
    send(call);
}

void Session::changeTimes() {
    in_.currentTime = input_.number(std::int32_t{2});
    in_.timeStep = input_.number(std::int32_t{1});
    in_.localTimeStep = input_.number(std::int32_t{1});
    in_.totalDuration = input_.number(std::int32_t{5});
    in_.timeScale = input_.number(std::uint32_t{10});
}

void Session::changeControls() {
    ParamDef* params = host_.params;
    params[1].slider.value = input_.number(0.3);
    params[2].checkbox.value = input_.number(std::int32_t{1});
    params[3].slider.value = input_.number(10.0);
    params[4].slider.value = input_.number(1.0);
    params[5].checkbox.value = input_.number(std::int32_t{0});
    params[6].slider.value = input_.number(0.0);
    in_.quality = input_.number(kQualityHigh);
}

void Session::changeFrames() {
    const std::uint8_t shape = input_.byte();
    host_.frames.clear();
    for (int i = 0; i <= shape % 4; ++i) {
        host_.frames.emplace_back(input_);
    }
    framesOff_ = shape / 4 % 4;
    in_.applicationCode = shape / 16 % 2 == 0 ? 0 : kApplicationWithBgraPixels;
    output_.clear();
    if (shape / 32 % 2 == 0) {
        output_.emplace_back(input_);
    }
    const auto variants = kernels::availableVariants();
    kernels::useKernels(variants[shape / 64 % variants.size()].kernels);
}

void Session::changeAnswers() {
    const std::uint8_t which = input_.byte();
    host_.hasText = which % 2 == 0;
    host_.identical = which / 2 % 2;
    host_.found = which / 4 % 2;
    host_.keyTime = input_.number(std::int32_t{1});
    host_.text.assign(std::size_t{2} * input_.byte(), static_cast<char>(input_.byte()));
    host_.text += static_cast<char>(input_.byte());
}

void Session::planFault() {
    const std::uint8_t kind = input_.byte();
    (kind % 2 == 0 ? host_.failAt : memoryFailAt_) = 1U + input_.byte();
    host_.staysBroken = kind / 2 % 2 == 1;
    constexpr ErrorCode kCodes[] = {error::kMissingRecord, error::kStateUnavailable,
                                    error::kInterrupted, error::kNothingFound};
    host_.faultCode = input_.number(kCodes[kind / 4 % std::size(kCodes)]);
}

/// Sees to what a host may not do otherwise.
void Session::prepare(Command command) {
    if (command == Command::GlobalSetdown) {
        for (int i = 0; i < 2; ++i) {
            sendHealthily(Command::SequenceSetdown);
            std::swap(in_.sequenceData, otherSequence_);
        }
    }
    const bool setsUp = command == Command::SequenceSetup || command == Command::SequenceResetup;
    if (setsUp && in_.sequenceData != nullptr) {
        sendHealthily(Command::SequenceSetdown);
        constexpr std::size_t kBytes = 48;
        in_.sequenceData = host_.newBlock(kBytes, Host::Content::Hosts);
        std::memset(*in_.sequenceData, input_.byte(), kBytes);
    }
}

void Session::fill(Call& call) {
    host_.connect(call.in, call.tables);
    EffectWorld& layer = host_.params[0].layer;
    layer = host_.frameAt(towardZero(in_.currentTime, framesOff_)).world();
    call.output = output_.empty() ? layer : output_.front().world();
    std::ranges::transform(host_.params, call.params, [](ParamDef& param) { return &param; });
}

void Session::withhold(Call& call) {
    auto missing = input_.raw<std::uint32_t>();
    const auto mayMiss = [&](auto&... pointers) {
        ((pointers = (missing & 1U) != 0 ? nullptr : pointers, missing >>= 1U), ...);
    };
    InData& in = call.in;
    Tables& tables = call.tables;
    mayMiss(call.inData, call.outData, call.paramList, call.outputWorld, call.extra);
    mayMiss(call.params[0], call.params[input_.byte() % std::size(call.params)]);
    mayMiss(in.checkoutParameter, in.checkinParameter, in.addParameter, in.abort,
            in.registerStringTable, in.lookupString, in.releaseStringTable, in.utilities,
            in.suiteProvider, tables.provider.acquire, tables.provider.release,
            tables.utilities.format, tables.utilities.copyString);
    mayMiss(tables.suites[0], tables.suites[1], tables.handleSuite.newHandle,
            tables.handleSuite.disposeHandle, tables.paramSuite.updateParamUI,
            tables.paramSuite.getCurrentState, tables.paramSuite.areStatesIdentical,
            tables.paramSuite.findKeyframeTime);
    call.changed.parameterIndex = input_.number(std::int32_t{3});
    for (HostHandle* handle : {&in.globalData, &in.sequenceData}) {
        if (*handle == nullptr && input_.byte() % 2 == 1) {
            *handle = host_.newBlock(0, Host::Content::Hosts);
        }
    }
}

void Session::sendHealthily(Command command) {
    Call call = {command, in_};
    fill(call);
    check(send(call) == error::kNone, "without a fault, all is set up and down");
}

ErrorCode Session::send(Call& call) {
    std::vector<const Picture*> pictures;
    for (const std::vector<Picture>* each : {&host_.frames, &output_}) {
        std::ranges::transform(*each, std::back_inserter(pictures),
                               [](const Picture& picture) { return &picture; });
    }
    std::vector<std::vector<std::byte>> before;
    std::ranges::transform(pictures, std::back_inserter(before), &Picture::memory);
    host_.patience = kPatience;
    host_.suitesOut = 0;
    ErrorCode code = error::kNone;
    {
        const FailingMemory memory(memoryFailAt_);
        code = runCommand(static_cast<std::int32_t>(call.command), call.inData, call.outData,
                          call.paramList, call.outputWorld, call.extra);
    }
    checkResult(call, code);
    for (std::size_t i = 0; i < before.size(); ++i) {
        const Picture& picture = *pictures[i];
        const bool isOutput = picture.world().data == call.output.data;
        check(isOutput ? picture.differsInPixelsOnly(before[i]) : picture.memory() == before[i],
              "only the output's pixels are written");
    }
    keepHandles(call);
    host_.failAt = memoryFailAt_ = 0;
    host_.faultCode = error::kNone;
    return code;
}

void Session::checkResult(const Call& call, ErrorCode code) const {
    constexpr ErrorCode kOwn[] = {error::kNone, error::kOutOfMemory, error::kMissingRecord,
                                  error::kInterrupted, error::kNoSuiteProvider};
    check(std::ranges::count(kOwn, code) == 1 || code == host_.faultCode, "codes are somebody's");
    check(host_.parametersOut == 0, "every parameter is checked in");
    // Keyframes are asked for with a suite that is not released, by the contract with the host.
    check(host_.suitesOut == 0 || call.command == Command::UserChangedParam ||
              call.tables.provider.release == nullptr,
          "every suite is released");
    check(code == error::kNone || code == error::kInterrupted || call.outData == nullptr ||
              (call.out.outFlags == kOutFlagShowError && call.out.message[0] == '\0'),
          "failures are shown");
}

void Session::keepHandles(const Call& call) {
    in_.globalData = call.in.globalData;
    if (call.command != Command::GlobalSetdown) {
        in_.sequenceData = call.in.sequenceData;
    }
    for (Host::Block& block : host_.blocks) {
        if (block.content == Host::Content::Hosts) {
            for (HostHandle* handle : {&in_.globalData, &in_.sequenceData}) {
                *handle = *handle == &block.start ? nullptr : *handle;
            }
            host_.dispose(&block.start);
        }
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzInput input(data, size);
    Session session(input);
    while (!input.isEmpty()) {
        session.sendNext();
    }
    return 0;
}
