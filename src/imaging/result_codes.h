// From the library's faults to the program's 16-bit result codes: the one place where they meet.
#pragma once

#include "imaging/result.h"

namespace quillmark::imaging {

/// What was going on when the error came up: some faults have one code for each.
enum class Transfer : std::uint8_t { reading, writing };

/// The program's code of success.
inline constexpr int kSuccess = 0;

/// The program's result code of an error, 20001 to 20065.
int result_code(const Error& error, Transfer transfer = Transfer::reading);

}  // namespace quillmark::imaging
