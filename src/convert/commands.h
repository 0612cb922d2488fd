// The commands of quillmark-convert and what they share.
#pragma once

#include <span>
#include <string>
#include <string_view>

#include "convert/arguments.h"
#include "imaging/result.h"
#include "imaging/result_codes.h"

namespace quillmark::convert {

inline constexpr std::string_view kProgram = "quillmark-convert";

/// Exit statuses.
inline constexpr int kWell = 0;     ///< everything was done, completely
inline constexpr int kFailed = 1;   ///< something was not; standard error says what
inline constexpr int kMisused = 2;  ///< the command line was wrong; nothing was done

/// A command and all that help says of it.
struct Command {
    std::string_view name;
    std::string_view synopsis;  ///< its arguments, e.g. "IN OUT"
    std::string_view summary;   ///< one line for the list of commands
    std::string_view details;   ///< paragraphs for its own help
    std::span<const Option> options;
    int (*run)(const Command& command, const Arguments& arguments);
};

extern const Command kInfo;
extern const Command kConvert;
extern const Command kFormats;
extern const Command kOps;

/// Says what is wrong with the command line and where to read more. Returns kMisused.
int misused(const Command& command, const std::string& problem);

/// Writes "quillmark-convert: file: error CODE: text (place)" to standard error. Returns kFailed.
int report_failure(const std::string& file, const imaging::Error& error,
                   imaging::Transfer transfer = imaging::Transfer::reading);

}  // namespace quillmark::convert
