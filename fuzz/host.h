#pragma once

// A host that answers as it is told. What a host may do, and so what the module may trust:
// - Records, tables, blocks and texts that are not null are whole; the rows of a world that has
// data
//   lie in memory. Sizes, flags, times, control values and samples may be anything; worlds need not
//   agree in size and depth; the output may be the input.
// - Any record, callback, table or function may be missing, at any command. A callback that is
//   called may fail, with any code. So may an allocation.
// - Commands come in any order. But a handle with the module's data goes to the module only as the
//   module left it: a sequence is set down, or was reloaded, before it is set up again, and a
//   reloaded one, whose bytes are nothing any more, goes to no other command. Sequences are set
//   down before the effect is.
// - A host that handed out a few dozen parameters for one command has the user interrupt it.

#include "module/interface/host_interface.h"
#include "picture.h"

#include <string>
#include <vector>

namespace tintwell::fuzz {

/// The host's functions, to take one out.
struct Tables {
    SuiteProvider provider;
    UtilityCallbacks utilities;
    HandleSuite handleSuite;
    ParamUtilsSuite paramSuite;
    const void* suites[2]; ///< of handles and of parameters
};

/// One at a time per process: the host's suites get no reference to find their host by.
struct Host {
    Host();
    Host(const Host&) = delete;
    Host& operator=(const Host&) = delete;

    /// Makes tables and callbacks whole.
    void connect(InData& in, Tables& tables);

    const Picture& frameAt(std::int32_t time) const {
        return frames[static_cast<std::uint32_t>(time) % frames.size()];
    }

    /// What a callback is to answer.
    ErrorCode answer();

    /// What is in a block that is out. The host's own is none of the module's data: the module may
    /// dispose the block, else the host does.
    enum class Content { None, Modules, Hosts };

    struct Block {
        Content content = Content::None;
        void* start = nullptr; ///< a handle points here
    };

    HostHandle newBlock(std::size_t bytes, Content content);
    void dispose(HostHandle handle);

    ParamDef params[7]{};
    std::vector<Picture> frames; ///< the clip's, over and over
    bool hasText = true;
    std::string text;
    std::uint8_t identical = 1; ///< the states of the controls
    std::uint8_t found = 0;     ///< whether there are keyframes
    std::int32_t keyTime = 0;

    std::uint32_t failAt = 0; ///< the callback that fails, counted from 1; 0 for none
    bool staysBroken = false;
    ErrorCode faultCode = 0;
    int patience = 0; ///< parameters that are handed out yet

    const Tables* tables = nullptr; ///< as they were connected
    Block blocks[8];                ///< all that may be out
    int parametersOut = 0;
    int suitesOut = 0;
};

} // namespace tintwell::fuzz
