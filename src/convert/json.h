// JSON written piece by piece, one object a line.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace quillmark::convert {

/// text as a JSON string with its quotes. Bytes that are not valid UTF-8 become U+FFFD, so that any file name
/// gives a valid document.
std::string json_string(std::string_view text);

/// One object; members appear in the order in which they are added.
class JsonObject {
  public:
    JsonObject& text(std::string_view name, std::string_view value) { return raw(name, json_string(value)); }
    JsonObject& number(std::string_view name, std::int64_t value) { return raw(name, std::to_string(value)); }
    /// Three decimals.
    JsonObject& real(std::string_view name, double value);
    JsonObject& boolean(std::string_view name, bool value) { return raw(name, value ? "true" : "false"); }
    JsonObject& texts(std::string_view name, std::span<const std::string_view> values);
    JsonObject& numbers(std::string_view name, std::span<const int> values);

    /// The object on one line, without the line's end.
    std::string line() const { return "{" + members_ + "}"; }

  private:
    JsonObject& raw(std::string_view name, std::string_view value);

    std::string members_;
};

}  // namespace quillmark::convert
