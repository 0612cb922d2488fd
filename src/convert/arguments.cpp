#include "convert/arguments.h"

#include <algorithm>
#include <charconv>

namespace quillmark::convert {
namespace {

constexpr Option kHelp{"help", "", "explain this command"};

const Option* find_option(std::span<const Option> options, std::string_view name) {
    if (name == kHelp.name) return &kHelp;
    const auto found = std::ranges::find(options, name, &Option::name);
    return found == options.end() ? nullptr : &*found;
}

}  // namespace

Parsed<Arguments> parse_arguments(std::span<char* const> words, std::span<const Option> options) {
    Arguments arguments;
    bool only_files = false;
    for (std::size_t i = 0; i < words.size(); ++i) {
        const std::string_view word = words[i];
        if (only_files || word.size() < 2 || word[0] != '-') {
            arguments.files.emplace_back(word);
            continue;
        }
        if (word == "--") {
            only_files = true;
            continue;
        }
        const std::size_t equals = word.find('=');
        const std::string_view name =
            word.starts_with("--") ? word.substr(2, equals - 2) : std::string_view{};
        const Option* option = find_option(options, name);
        if (!option) return {{}, "there is no option \"" + std::string{word} + "\""};
        const bool inline_value = equals != std::string_view::npos;
        if (option->value.empty()) {
            if (inline_value) return {{}, "--" + std::string{name} + " takes no value"};
            arguments.options[std::string{name}].emplace_back();
        } else {
            if (!inline_value && i + 1 == words.size())
                return {{}, "--" + std::string{name} + " needs a value"};
            arguments.options[std::string{name}].emplace_back(inline_value ? word.substr(equals + 1)
                                                                           : std::string_view{words[++i]});
        }
    }
    return {std::move(arguments), ""};
}

std::span<const std::string> values_of(const Arguments& arguments, std::string_view name) {
    const auto given = arguments.options.find(name);
    return given == arguments.options.end() ? std::span<const std::string>{} : std::span{given->second};
}

std::optional<int> whole_number(std::string_view text) {
    const bool hexadecimal = text.starts_with("0x");
    if (hexadecimal) text.remove_prefix(2);
    int value = 0;
    const auto [end, fault] =
        std::from_chars(text.data(), text.data() + text.size(), value, hexadecimal ? 16 : 10);
    if (fault != std::errc{} || end != text.data() + text.size()) return {};
    return value;
}

Parsed<int> number_option(const Arguments& arguments, std::string_view name, int low, int high,
                          int fallback) {
    const auto given = values_of(arguments, name);
    if (given.empty()) return {fallback, ""};
    const auto value = whole_number(given.back());
    if (value && *value >= low && *value <= high) return {value, ""};
    return {{},
            "--" + std::string{name} + " takes a whole number from " + std::to_string(low) + " to " +
                std::to_string(high)};
}

}  // namespace quillmark::convert
