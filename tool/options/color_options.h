#pragma once

#include "media/color_encoding.h"

#include <CLI/CLI.hpp>

#include <string>
#include <utility>
#include <vector>

namespace tintwell::tool {

/// --input-matrix and the like: what the user knows better of the input's colour than its tags.
/// What is referred to must outlive the parsing.
void addColorOptions(CLI::App& app, media::ColorTags& declared, const std::string& group);

/// What was declared, as "matrix" and "bt709", in the order of the options; they are called
/// --input- and the first.
std::vector<std::pair<std::string, std::string>> declaredColors(const media::ColorTags& declared);

/// "matrix bt709, range tv"; empty where nothing was declared.
std::string declaredText(const media::ColorTags& declared);

} // namespace tintwell::tool
