#include "platform/device_tree/StatusValue.h"

#include <array>
#include <charconv>
#include <cmath>
#include <limits>
#include <utility>

namespace tarn::device_tree {

namespace {

template <typename Number>
std::string printed(Number number) {
    std::array<char, 40> buffer;
    const auto end = std::to_chars(buffer.data(), buffer.data() + buffer.size(), number).ptr;
    return std::string(buffer.data(), end);
}

template <typename Integer>
Integer limited(double number) {
    using Limits = std::numeric_limits<Integer>;
    if (std::isnan(number)) {
        return 0;
    }
    if (number <= static_cast<double>(Limits::min())) {
        return Limits::min();
    }
    // The greatest integer has no double of its own: this is the one after it.
    if (number >= static_cast<double>(Limits::max())) {
        return Limits::max();
    }
    return static_cast<Integer>(number);
}

template <typename Integer, typename Other>
Integer limitedInteger(Other number) {
    using Limits = std::numeric_limits<Integer>;
    if (std::cmp_less(number, Limits::min())) {
        return Limits::min();
    }
    return std::cmp_greater(number, Limits::max()) ? Limits::max() : static_cast<Integer>(number);
}

/// False unless the whole text is such a number.
template <typename Number>
bool parse(const std::string& text, Number& number) {
    const char* end = text.data() + text.size();
    const auto result = std::from_chars(text.data(), end, number);
    return !text.empty() && result.ec == std::errc() && result.ptr == end;
}

double doubleOf(const std::string& text) {
    double number = 0;
    return parse(text, number) && !std::isnan(number) ? number : 0;
}

template <typename Integer>
struct ToInteger {
    Integer operator()(const std::string& text) const {
        Integer number = 0;
        return parse(text, number) ? number : limited<Integer>(doubleOf(text));
    }
    Integer operator()(std::int64_t number) const { return limitedInteger<Integer>(number); }
    Integer operator()(std::uint64_t number) const { return limitedInteger<Integer>(number); }
    Integer operator()(double number) const { return limited<Integer>(number); }
};

struct ToDouble {
    double operator()(const std::string& text) const { return doubleOf(text); }
    double operator()(std::int64_t number) const { return static_cast<double>(number); }
    double operator()(std::uint64_t number) const { return static_cast<double>(number); }
    double operator()(double number) const { return number; }
};

struct ToText {
    std::string operator()(const std::string& text) const { return text; }
    std::string operator()(std::int64_t number) const { return printed(number); }
    std::string operator()(std::uint64_t number) const { return printed(number); }
    std::string operator()(double number) const { return printed(number); }
};

bool isNotANumber(const NamedStatus& status) {
    const auto* number = std::get_if<double>(&status.getValue());
    return number && std::isnan(*number);
}

}  // namespace

std::string textOf(const NamedStatus::Value& value) {
    return std::visit(ToText(), value);
}

NamedStatus::Value converted(const NamedStatus::Value& value, NamedStatus::Type type) {
    switch (type) {
        case NamedStatus::Type::Signed:
            return std::visit(ToInteger<std::int64_t>(), value);
        case NamedStatus::Type::Unsigned:
            return std::visit(ToInteger<std::uint64_t>(), value);
        case NamedStatus::Type::Double:
            return std::visit(ToDouble(), value);
        case NamedStatus::Type::Text:
            break;
    }
    return textOf(value);
}

bool isSame(const NamedStatus& a, const NamedStatus& b) {
    return a == b || (a.getName() == b.getName() && isNotANumber(a) && isNotANumber(b));
}

}  // namespace tarn::device_tree
