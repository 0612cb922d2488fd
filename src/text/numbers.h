// Numbers as the program reads and writes them: leniently, in 16 bits, grouped by thousands.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace quillmark::text {

/// The number at the start of the text, leading blanks skipped; 0 when there is none. Accepts a sign,
/// decimals with "." whatever the locale, and an exponent. Always finite: a number too large is the largest
/// double.
double leading_number(std::string_view text);

/// Rounded to the nearest integer, halves to the even neighbour; clamped to 64 bits, 0 for what is not a
/// number.
std::int64_t round_half_even(double value);

/// Rounded and clamped to -32768 .. 32767.
std::int16_t to_int16(double value);

/// leading_number, rounded and clamped.
std::int16_t int16_from_text(std::string_view text);

/// Thousands grouped by commas, no decimals; nothing at all for 0 (the format "###,###").
std::string grouped(std::int64_t value);

/// The shortest decimal text that reads back as the same single-precision number, without an exponent ("1.5",
/// "-3", "100"); "0" for what is not a finite number.
std::string single_text(float value);

}  // namespace quillmark::text
