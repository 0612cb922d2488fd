// The command line: what a command accepts, stated once, read and explained from the same table.
#pragma once

#include <map>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace quillmark::convert {

/// One option of a command, e.g. {"bits", "N", "colour depth ..."}.
struct Option {
    std::string_view name;   ///< without the two dashes
    std::string_view value;  ///< how help calls its value; empty: a switch
    std::string_view help;
};

struct Arguments {
    std::vector<std::string> files;
    std::map<std::string, std::string, std::less<>> options;  ///< by name; switches hold ""

    bool has(std::string_view name) const { return options.find(name) != options.end(); }
};

/// A value, or what is wrong with the command line as one sentence.
template <typename T>
struct Parsed {
    std::optional<T> value;
    std::string problem;
};

/// Sorts the words of a command line. Options stand anywhere, as "--name value" or "--name=value"; after "--"
/// all words are files. "--help" is accepted by every command.
Parsed<Arguments> parse_arguments(std::span<char* const> words, std::span<const Option> options);

/// The option's whole number between low and high, or fallback when it is not given.
Parsed<int> number_option(const Arguments& arguments, std::string_view name, int low, int high, int fallback);

}  // namespace quillmark::convert
