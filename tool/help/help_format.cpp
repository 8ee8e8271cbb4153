#include "tool/help/help_format.h"

#include <algorithm>
#include <cstddef>
#include <sstream>
#include <string>
#include <string_view>

namespace tintwell::tool {
namespace {

constexpr std::size_t kPageWidth = 80;
constexpr std::size_t kNameWidth = 32;

class WrappingFormatter : public CLI::Formatter {
public:
    std::string make_option_name(const CLI::Option* option, bool isPositional) const override {
        // Flags that switch off are listed with the value they stand for; their names tell it.
        static constexpr std::string_view kOff = "{false}";
        std::string name = CLI::Formatter::make_option_name(option, isPositional);
        if (const std::size_t off = name.find(kOff); off != std::string::npos) {
            name.erase(off, kOff.size());
        }
        return name;
    }

    /// Choices that are too many for a line go on in further ones.
    std::string make_option_opts(const CLI::Option* option) const override {
        constexpr std::size_t kIndent = 6;
        const std::string text = CLI::Formatter::make_option_opts(option);
        std::string lines;
        std::size_t column = 2 + option->get_name().size();
        for (std::size_t begin = 0; begin < text.size();) {
            const std::size_t end = std::min(text.find('|', begin), text.size() - 1) + 1;
            if (column + end - begin > kPageWidth) {
                lines += "\n" + std::string(kIndent, ' ');
                column = kIndent;
            }
            lines += text.substr(begin, end - begin);
            column += end - begin;
            begin = end;
        }
        return lines;
    }

    std::string make_option_desc(const CLI::Option* option) const override {
        return wrapped(CLI::Formatter::make_option_desc(option), kPageWidth - kNameWidth);
    }
};

} // namespace

std::string wrapped(const std::string& text, std::size_t width) {
    std::istringstream words(text);
    std::string lines;
    std::size_t column = 0;
    for (std::string word; words >> word; column += word.size()) {
        if (column + 1 + word.size() > width) {
            lines += '\n';
            column = 0;
        } else if (!lines.empty()) {
            lines += ' ';
            ++column;
        }
        lines += word;
    }
    return lines;
}

std::shared_ptr<CLI::Formatter> makeHelpFormatter() {
    auto formatter = std::make_shared<WrappingFormatter>();
    formatter->column_width(kNameWidth);
    return formatter;
}

} // namespace tintwell::tool
