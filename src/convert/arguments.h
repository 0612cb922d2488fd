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
    /// By name, in the order given; a switch holds "". Where one value is asked for, the last one counts.
    std::map<std::string, std::vector<std::string>, std::less<>> options;

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

/// The values of an option, in the order given; empty when it is not.
std::span<const std::string> values_of(const Arguments& arguments, std::string_view name);

/// The whole number that a text is (decimal, or hexadecimal after 0x), or nothing.
std::optional<int> whole_number(std::string_view text);

/// The option's whole number between low and high, or fallback when it is not given.
Parsed<int> number_option(const Arguments& arguments, std::string_view name, int low, int high, int fallback);

}  // namespace quillmark::convert
