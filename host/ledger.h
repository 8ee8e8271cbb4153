#pragma once

#include "host/service.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <tuple>
#include <vector>

namespace tintwell::host {

struct SuiteId {
    std::string name;
    std::int32_t version = 0;

    bool operator<(const SuiteId& other) const {
        return std::tie(name, version) < std::tie(other.name, other.version);
    }
};

/// What a module holds of the host's at one moment, and what it has used since it was set up.
struct Ledger {
    std::size_t checkedOut = 0; ///< parameters
    std::map<SuiteId, std::size_t> suites;
    std::size_t handles = 0;
    std::uint64_t handleBytes = 0;
    std::size_t stringTables = 0;
    /// Sentences about what was given back without having been taken.
    std::vector<std::string> misuses;

    /// Calls of each service so far, by its number, refused ones included.
    std::array<std::uint64_t, kServiceCount> calls{};
    /// Check-outs of the input layer so far, by frame; no longer than needed.
    std::vector<std::uint32_t> layerCheckOuts;

    std::uint64_t callsOf(Service service) const {
        return calls[static_cast<std::size_t>(service)];
    }

    std::uint64_t layerCheckOutsOf(std::int32_t frame) const;

    /// One sentence for each kind of thing that is still held, and the misuses. Handles and string
    /// tables are meant to be held until the instance is set down, everything else only during a
    /// command.
    std::vector<std::string> outstanding() const;
};

} // namespace tintwell::host
