#pragma once

// What a render tells of itself: before it begins and at its end, to programs and to people.

#include "tool/render/render_pipeline.h"
#include "tool/values/render_options.h"

#include <nlohmann/json.hpp>

#include <string>

namespace tintwell::tool {

/// The objects that docs/json-output.md describes.
nlohmann::ordered_json dryRunJson(const RenderOptions& options, const RenderPlan& plan);
nlohmann::ordered_json summaryJson(const RenderOptions& options, const RenderSummary& summary);

void printJson(const nlohmann::ordered_json& document);

/// "144 frames of 640x480 at 8 bits per channel in 3.2 s (45.0 per second)"
std::string framesText(const RenderSummary& summary);

/// What is missing in the output, as a sentence; empty where nothing is.
std::string incompleteText(const RenderSummary& summary);

void printSummaryLines(const RenderOptions& options, const RenderSummary& summary);
void printPlan(const RenderOptions& options, const RenderPlan& plan);

} // namespace tintwell::tool
