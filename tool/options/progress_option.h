#pragma once

#include "tool/terminal/progress.h"

#include <CLI/CLI.hpp>

#include <cstdint>
#include <optional>

namespace tintwell::tool {

void addProgressOption(CLI::App& app, ProgressStyle& style);

/// Sees to it that the progress ends, however the work does.
class ProgressSpan {
public:
    ProgressSpan(Progress& progress, std::optional<std::int64_t> total) : progress_(progress) {
        progress_.begin(total);
    }

    ~ProgressSpan() { progress_.end(); }

    ProgressSpan(const ProgressSpan&) = delete;
    ProgressSpan& operator=(const ProgressSpan&) = delete;

private:
    Progress& progress_;
};

} // namespace tintwell::tool
