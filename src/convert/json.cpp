#include "convert/json.h"

#include <array>
#include <cstdio>

namespace quillmark::convert {
namespace {

// The length of the valid UTF-8 sequence at the start of text, 0 when there is none (overlong forms,
// surrogates and values beyond U+10FFFF are none).
std::size_t sequence_length(std::string_view text) {
    const auto byte = [&](std::size_t i) {
        return i < text.size() ? static_cast<unsigned char>(text[i]) : 0U;
    };
    const auto follows = [&](std::size_t i) { return (byte(i) & 0xC0U) == 0x80U; };
    const unsigned first = byte(0), second = byte(1);
    if (first < 0x80) return 1;
    if (first >= 0xC2 && first <= 0xDF) return follows(1) ? 2 : 0;
    if (first >= 0xE0 && first <= 0xEF) {
        const bool overlong = first == 0xE0 && second < 0xA0;
        const bool surrogate = first == 0xED && second > 0x9F;
        return follows(1) && follows(2) && !overlong && !surrogate ? 3 : 0;
    }
    if (first >= 0xF0 && first <= 0xF4) {
        const bool overlong = first == 0xF0 && second < 0x90;
        const bool beyond = first == 0xF4 && second > 0x8F;
        return follows(1) && follows(2) && follows(3) && !overlong && !beyond ? 4 : 0;
    }
    return 0;
}

std::string escaped(char c) {
    switch (c) {
        case '"': return "\\\"";
        case '\\': return "\\\\";
        case '\n': return "\\n";
        case '\t': return "\\t";
        default: break;
    }
    if (static_cast<unsigned char>(c) >= 0x20 && c != 0x7F) return {c};
    std::array<char, 8> code{};
    std::snprintf(code.data(), code.size(), "\\u%04x", static_cast<unsigned>(static_cast<unsigned char>(c)));
    return code.data();
}

template <typename Values, typename Write>
std::string list_of(const Values& values, Write write) {
    std::string list = "[";
    for (const auto& value : values) {
        if (list.size() > 1) list += ',';
        list += write(value);
    }
    return list += ']';
}

}  // namespace

std::string json_string(std::string_view text) {
    std::string out = "\"";
    while (!text.empty()) {
        const std::size_t length = sequence_length(text);
        if (length == 0) {
            out += "\xEF\xBF\xBD";
        } else if (length == 1) {
            out += escaped(text.front());
        } else {
            out += text.substr(0, length);
        }
        text.remove_prefix(length == 0 ? 1 : length);
    }
    return out + "\"";
}

JsonObject& JsonObject::real(std::string_view name, double value) {
    std::array<char, 64> digits{};
    std::snprintf(digits.data(), digits.size(), "%.3f", value);
    return raw(name, digits.data());
}

JsonObject& JsonObject::texts(std::string_view name, std::span<const std::string_view> values) {
    return raw(name, list_of(values, json_string));
}

JsonObject& JsonObject::numbers(std::string_view name, std::span<const int> values) {
    return raw(name, list_of(values, [](int value) { return std::to_string(value); }));
}

JsonObject& JsonObject::raw(std::string_view name, std::string_view value) {
    if (!members_.empty()) members_ += ",";
    members_ += json_string(name) + ":" + std::string{value};
    return *this;
}

}  // namespace quillmark::convert
