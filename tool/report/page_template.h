#pragma once

#include <nlohmann/json.hpp>

#include <string>
#include <string_view>

namespace tintwell::tool {

/// Fills a Mustache page in from a JSON document; null is as false. {{key}} is safe in markup and
/// in quoted attributes, and shows pictures of control characters and of what is no text. Throws
/// std::logic_error where the page is wrong.
std::string fillTemplate(std::string_view page, const nlohmann::ordered_json& document);

/// JSON that may stand in a script element: nothing in it ends that or begins a comment.
std::string scriptJson(const nlohmann::ordered_json& document);

} // namespace tintwell::tool
