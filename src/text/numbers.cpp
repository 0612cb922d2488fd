#include "text/numbers.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <limits>

namespace quillmark::text {

namespace {

bool is_digit(char c) { return c >= '0' && c <= '9'; }

/// Whether a decimal text too far from 1 for a double is too large rather than too small.
bool is_beyond_largest(std::string_view number) {
    const auto exponent = number.find_first_of("eE");
    if (exponent != std::string_view::npos) return number.substr(exponent + 1).front() != '-';
    return number.substr(0, number.find('.')).find_first_not_of('0') != std::string_view::npos;
}

}  // namespace

double leading_number(std::string_view text) {
    text.remove_prefix(std::min(text.find_first_not_of(" \t\r\n"), text.size()));
    const bool negative = text.starts_with('-');
    if (negative || text.starts_with('+')) text.remove_prefix(1);
    // from_chars also reads "inf", "nan" and a second sign; here a number starts with a digit or a point.
    if (text.empty() || (!is_digit(text.front()) && text.front() != '.')) return 0;

    double value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error == std::errc::invalid_argument) return 0;
    if (error == std::errc::result_out_of_range) {
        const std::string_view number = text.substr(0, static_cast<std::size_t>(end - text.data()));
        value = is_beyond_largest(number) ? std::numeric_limits<double>::max() : 0;
    }
    return negative ? -value : value;
}

std::int64_t round_half_even(double value) {
    constexpr double kTwoTo63 = 9223372036854775808.0;
    if (std::isnan(value)) return 0;
    if (value >= kTwoTo63) return std::numeric_limits<std::int64_t>::max();
    if (value < -kTwoTo63) return std::numeric_limits<std::int64_t>::min();
    return static_cast<std::int64_t>(
        std::nearbyint(value));  // the rounding mode is never changed: to nearest, even
}

std::int16_t to_int16(double value) {
    return static_cast<std::int16_t>(std::clamp<std::int64_t>(round_half_even(value), -32768, 32767));
}

std::int16_t int16_from_text(std::string_view text) { return to_int16(leading_number(text)); }

std::string grouped(std::int64_t value) {
    if (value == 0) return {};
    std::string text = std::to_string(value);
    const std::size_t first_digit = value < 0 ? 1 : 0;
    for (std::size_t at = text.size(); at > first_digit + 3;) text.insert(at -= 3, 1, ',');
    return text;
}

std::string single_text(float value) {
    if (!std::isfinite(value) || value == 0) return "0";
    std::array<char, 64> text;  // longest: sign, "0.", 44 zeros and 9 digits
    const auto [end, error] =
        std::to_chars(text.data(), text.data() + text.size(), value, std::chars_format::fixed);
    return {text.data(), end};
}

}  // namespace quillmark::text
