#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace tintwell::tool {

/// A clip of several, and what it is rendered to.
struct ClipNames {
    std::string input;
    std::string output;
};

/// How outputs are called where nobody says: as the inputs, in their own folder.
inline constexpr char kSameName[] = "{stem}{ext}";

/// Gives a pattern back in which {stem} stands for the input's file name without its extension and
/// {ext} for the extension, dot included. Throws std::invalid_argument where it is none.
std::string parseNamePattern(std::string_view text);

/// The output of each input, in this folder. Throws UserError where two would be the same file, one
/// is an input, or there is no such folder. Writes nothing; whether outputs exist is not asked.
std::vector<ClipNames> nameOutputs(const std::vector<std::string>& inputs,
                                   const std::string& folder, const std::string& pattern);

} // namespace tintwell::tool
