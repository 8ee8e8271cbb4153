#include "tool/values/json_document.h"

#include <iterator>
#include <set>
#include <utility>
#include <vector>

namespace tintwell::tool {
namespace {

using Value = JsonDocument::Value;

/// Far deeper than any of the tool's files; keeps walks over a document from exhausting the stack.
constexpr int kMaximumDepth = 32;

/// Walks over the text for the parser and counts the lines it has passed. The parser looks one
/// character beyond a number, which may be the line's end; hence the line of the last character
/// that is not white space is what counts.
class LineCountingIterator {
public:
    using iterator_category = std::input_iterator_tag;
    using value_type = char;
    using difference_type = std::ptrdiff_t;
    using pointer = const char*;
    using reference = const char&;

    struct Lines {
        std::size_t passed = 1;
        std::size_t ofLastToken = 1;
    };

    LineCountingIterator(const char* position, Lines& lines)
        : position_(position), lines_(&lines) {}

    reference operator*() const { return *position_; }

    LineCountingIterator& operator++() {
        if (*position_ == '\n') {
            ++lines_->passed;
        } else if (*position_ != ' ' && *position_ != '\t' && *position_ != '\r') {
            lines_->ofLastToken = lines_->passed;
        }
        ++position_;
        return *this;
    }

    bool operator==(const LineCountingIterator& other) const {
        return position_ == other.position_;
    }

private:
    const char* position_;
    Lines* lines_;
};

/// Notes where each value begins, in the document's order, and refuses what the parser would take.
class Observer {
public:
    explicit Observer(const LineCountingIterator::Lines& lines) : lines_(lines) {}

    bool operator()(int depth, Value::parse_event_t event, const Value& parsed) {
        using Event = Value::parse_event_t;
        if (depth > kMaximumDepth) {
            throw JsonError(line(), "nested too deeply");
        }
        switch (event) {
        case Event::object_start:
            keys_.emplace_back();
            [[fallthrough]];
        case Event::array_start:
        case Event::value:
            begins_.push_back(line());
            break;
        case Event::key:
            refuseSecond(parsed.get_ref<const std::string&>());
            break;
        case Event::object_end:
            keys_.pop_back();
            break;
        case Event::array_end:
            break;
        }
        return true;
    }

    std::size_t line() const { return lines_.ofLastToken; }

    const std::vector<std::size_t>& begins() const { return begins_; }

private:
    void refuseSecond(const std::string& key) {
        if (!keys_.back().insert(key).second) {
            throw JsonError(line(), "the key \"" + key + "\" is given twice; keep one of them");
        }
    }

    const LineCountingIterator::Lines& lines_;
    std::vector<std::size_t> begins_;
    std::vector<std::set<std::string>> keys_;
};

/// Calls `visit` with every value, each before what it contains, as the parser announced them.
template <typename Visitor>
void visitInOrder(const Value& value, Visitor& visit) {
    visit(value);
    if (value.is_structured()) {
        for (const Value& child : value) {
            visitInOrder(child, visit);
        }
    }
}

/// The parser's message without the library's own prefix "[json.exception...] ".
std::string plainMessage(const nlohmann::json::exception& error) {
    const std::string message = error.what();
    const std::size_t prefixEnd = message.find("] ");
    return prefixEnd == std::string::npos ? message : message.substr(prefixEnd + 2);
}

} // namespace

JsonDocument::JsonDocument(std::string_view text) {
    LineCountingIterator::Lines lines;
    Observer observer(lines);
    try {
        root_ = Value::parse(LineCountingIterator(text.data(), lines),
                             LineCountingIterator(text.data() + text.size(), lines),
                             std::ref(observer));
    } catch (const Value::exception& error) {
        throw JsonError(observer.line(), "this is not JSON: " + plainMessage(error));
    }
    auto begin = observer.begins().begin();
    auto keepLine = [&](const Value& value) { lines_.emplace(&value, *begin++); };
    visitInOrder(root_, keepLine);
}

} // namespace tintwell::tool
