#include "tool/values/json_document.h"

#include <cstdint>
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

/// The parser's message without the library's own prefix "[json.exception...] ".
std::string plainMessage(const nlohmann::json::exception& error) {
    const std::string message = error.what();
    const std::size_t prefixEnd = message.find("] ");
    return prefixEnd == std::string::npos ? message : message.substr(prefixEnd + 2);
}

/// Builds the values, notes where each begins, in the document's order, and refuses what a parser
/// would take. The library's own builder that can be watched looks through all that came before in
/// a list for each new element.
class Builder : public nlohmann::json_sax<Value> {
public:
    explicit Builder(const LineCountingIterator::Lines& lines) : lines_(lines) {}

    bool null() override { return add(nullptr); }

    bool boolean(bool value) override { return add(value); }

    bool number_integer(std::int64_t value) override { return add(value); }

    bool number_unsigned(std::uint64_t value) override { return add(value); }

    bool number_float(double value, const std::string& /*text*/) override { return add(value); }

    bool string(std::string& value) override { return add(std::move(value)); }

    bool binary(Value::binary_t& value) override { return add(std::move(value)); }

    bool start_object(std::size_t /*size*/) override {
        keys_.emplace_back();
        return open(Value::object());
    }

    bool start_array(std::size_t /*size*/) override { return open(Value::array()); }

    bool key(std::string& name) override {
        if (!keys_.back().insert(name).second) {
            throw JsonError(line(), "the key \"" + name + "\" is given twice; keep one of them");
        }
        // Appended unseen: the keys are known to differ.
        auto& members = open_.back()->get_ref<Value::object_t&>();
        members.Container::emplace_back(name, nullptr);
        member_ = &members.back().second;
        return true;
    }

    bool end_object() override {
        keys_.pop_back();
        return close();
    }

    bool end_array() override { return close(); }

    bool parse_error(std::size_t /*position*/, const std::string& /*token*/,
                     const nlohmann::json::exception& error) override {
        throw JsonError(line(), "this is not JSON: " + plainMessage(error));
    }

    Value& root() { return root_; }

    const std::vector<std::size_t>& begins() const { return begins_; }

private:
    using Container = Value::object_t::Container;

    std::size_t line() const { return lines_.ofLastToken; }

    template <class Part>
    bool add(Part&& part) {
        begins_.push_back(line());
        place(Value(std::forward<Part>(part)));
        return true;
    }

    Value& place(Value value) {
        if (open_.empty()) {
            return root_ = std::move(value);
        }
        if (open_.back()->is_object()) {
            return *member_ = std::move(value);
        }
        auto& elements = open_.back()->get_ref<Value::array_t&>();
        return elements.emplace_back(std::move(value));
    }

    bool open(Value value) {
        if (open_.size() == kMaximumDepth + 1) {
            throw JsonError(line(), "nested too deeply");
        }
        begins_.push_back(line());
        open_.push_back(&place(std::move(value)));
        return true;
    }

    bool close() {
        open_.pop_back();
        return true;
    }

    const LineCountingIterator::Lines& lines_;
    Value root_;
    std::vector<Value*> open_; ///< those that what comes next is in, the innermost last
    Value* member_ = nullptr;  ///< of the innermost object, to be filled
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

} // namespace

JsonDocument::JsonDocument(std::string_view text) {
    LineCountingIterator::Lines lines;
    Builder builder(lines);
    try {
        Value::sax_parse(LineCountingIterator(text.data(), lines),
                         LineCountingIterator(text.data() + text.size(), lines), &builder);
    } catch (const Value::exception& error) {
        throw JsonError(lines.ofLastToken, "this is not JSON: " + plainMessage(error));
    }
    root_ = std::move(builder.root());
    auto begin = builder.begins().begin();
    auto keepLine = [&](const Value& value) { lines_.emplace(&value, *begin++); };
    visitInOrder(root_, keepLine);
}

} // namespace tintwell::tool
