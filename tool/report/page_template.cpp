#include "tool/report/page_template.h"

#include "tool/terminal/printable.h"

#include <kainjow/mustache.hpp>
#include <stdexcept>

namespace tintwell::tool {
namespace {

using Json = nlohmann::ordered_json;
namespace mustache = kainjow::mustache;

/// Control characters have no place in markup; a picture of them tells what was there.
std::string pictureOf(char32_t letter) {
    constexpr char kReplacement[] = "\uFFFD";
    if (letter >= ' ') {
        return kReplacement;
    }
    return std::string("\xE2\x90") + static_cast<char>(0x80 + letter); // from U+2400 on
}

std::string escaped(const std::string& text) {
    std::string markup;
    for (const char letter : replaceSteering(text, pictureOf)) {
        switch (letter) {
        case '&':
            markup += "&amp;";
            break;
        case '<':
            markup += "&lt;";
            break;
        case '>':
            markup += "&gt;";
            break;
        case '"':
            markup += "&quot;";
            break;
        case '\'':
            markup += "&#39;";
            break;
        default:
            markup += letter;
        }
    }
    return markup;
}

mustache::data dataOf(const Json& value) {
    if (value.is_object()) {
        mustache::data object(mustache::data::type::object);
        for (const auto& [key, member] : value.items()) {
            object.set(key, dataOf(member));
        }
        return object;
    }
    if (value.is_array()) {
        mustache::data list(mustache::data::type::list);
        for (const Json& element : value) {
            list.push_back(dataOf(element));
        }
        return list;
    }
    if (value.is_null() || value.is_boolean()) {
        return {value == Json(true)};
    }
    return {value.is_string() ? value.get<std::string>() : value.dump()};
}

} // namespace

std::string fillTemplate(std::string_view page, const Json& document) {
    mustache::mustache filled{std::string(page)};
    filled.set_custom_escape(escaped);
    std::string text = filled.render(dataOf(document));
    if (!filled.is_valid()) {
        throw std::logic_error("page template: " + filled.error_message());
    }
    return text;
}

std::string scriptJson(const Json& document) {
    std::string json = document.dump(-1, ' ', false, Json::error_handler_t::replace);
    for (std::size_t at = json.find('<'); at != std::string::npos; at = json.find('<', at)) {
        json.replace(at, 1, "\\u003c"); // only texts hold this letter
    }
    return json;
}

} // namespace tintwell::tool
