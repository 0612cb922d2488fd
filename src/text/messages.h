// What the program says for the imaging engine's result codes and format codes: fixed, given texts.
#pragma once

#include <string>
#include <string_view>

namespace quillmark::text {

/// The message for an engine result code, e.g. 20010. Codes without a row, 0 included, give the general text
/// with the code in decimal joined to it.
std::string error_message(int code);

/// The name of an engine format code, e.g. 6; empty for codes without one.
std::string_view format_name(int code);

}  // namespace quillmark::text
