#pragma once

#include "host/clip_timing.h"
#include "host/frame_source.h"
#include "host/handle_memory.h"
#include "host/ledger.h"
#include "host/parameters.h"
#include "host/service.h"
#include "host/string_tables.h"
#include "module/interface/host_interface.h"

#include <atomic>
#include <cstdint>
#include <exception>
#include <memory>
#include <string>
#include <vector>

namespace tintwell::host {

/// What the callbacks and suites of one effect instance work on. Everything but the abort flag is
/// used by one thread at a time, the one that runs the instance's command.
class Services {
public:
    /// `frames` is not owned and may be null: then only the frame being rendered can be had.
    Services(const ClipTiming& timing, FrameSource* frames) : timing_(timing), frames_(frames) {}

    Services(const Services&) = delete;
    Services& operator=(const Services&) = delete;

    /// The number that stands for this object in the module's hands.
    std::uint64_t reference() const { return reinterpret_cast<std::uintptr_t>(this); }

    const ClipTiming& timing() const { return timing_; }

    void setTiming(const ClipTiming& timing) { timing_ = timing; }

    Parameters& parameters() { return parameters_; }

    const Parameters& parameters() const { return parameters_; }

    StringTables& strings() { return strings_; }

    HandleMemory& handles() { return handles_; }

    /// The frame that check-outs find without the frame source; null for none. Not owned.
    void setCurrentFrame(std::int32_t frame, const FrameBuffer* pixels);

    /// Fills the record with the parameter's state at a time: the pixels of the input layer (index
    /// 0), which then stay until the record is checked in, or a control's value. The record has to
    /// stay where it is until then.
    ErrorCode checkOut(std::int32_t index, std::int32_t time, std::uint32_t timeScale,
                       ParamDef& record);
    ErrorCode checkIn(const ParamDef* record);

    void suiteAcquired(const SuiteId& suite) { ++suites_[suite]; }

    ErrorCode suiteReleased(const SuiteId& suite);

    /// Notes that the module gave back what it had not taken; gives the code for it.
    ErrorCode misused(std::string sentence);

    std::atomic<bool>& abortFlag() { return abort_; }

    void setHook(ServiceHook hook) { hook_ = std::move(hook); }

    /// Counts the call and gives the hook's answer, 0 without a hook.
    ErrorCode begin(Service service);

    /// Keeps the exception that is being handled as the cause of the running command's failure.
    void keepFailure() noexcept { failure_ = std::current_exception(); }

    /// Text of the exception kept last, empty for none; forgets it.
    std::string takeFailure();

    Ledger ledger() const;

private:
    struct CheckOut {
        const ParamDef* record;
        std::shared_ptr<const FrameBuffer> pixels; ///< none for controls and the current frame
    };

    ErrorCode checkOutLayer(std::int64_t frame, ParamDef& record);
    void countLayerCheckOut(std::int32_t frame);

    ClipTiming timing_;
    FrameSource* frames_;
    Parameters parameters_;
    StringTables strings_;
    HandleMemory handles_;
    std::vector<CheckOut> checkOuts_;
    std::map<SuiteId, std::size_t> suites_;
    std::vector<std::string> misuses_;
    std::array<std::uint64_t, kServiceCount> calls_{};
    std::vector<std::uint32_t> layerCheckOuts_;
    const FrameBuffer* currentPixels_ = nullptr;
    std::int32_t currentFrame_ = 0;
    std::atomic<bool> abort_ = false;
    ServiceHook hook_;
    std::exception_ptr failure_;
};

} // namespace tintwell::host
