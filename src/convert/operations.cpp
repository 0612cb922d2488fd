#include "convert/operations.h"

#include <algorithm>
#include <cctype>

namespace quillmark::convert {
namespace {

using imaging::Choice;
using imaging::Operation;
using imaging::Parameter;
using imaging::Rect;
using imaging::Region;

std::vector<std::string_view> pieces_of(std::string_view text) {
    std::vector<std::string_view> pieces;
    for (;;) {
        const std::size_t comma = text.find(',');
        pieces.push_back(text.substr(0, comma));
        if (comma == std::string_view::npos) return pieces;
        text.remove_prefix(comma + 1);
    }
}

bool same_word(std::string_view a, std::string_view b) {
    return std::ranges::equal(
        a, b, [](unsigned char x, unsigned char y) { return std::tolower(x) == std::tolower(y); });
}

std::string accepted(const Parameter& parameter) {
    if (parameter.choices.empty())
        return "a whole number from " + std::to_string(parameter.low) + " to " +
               std::to_string(parameter.high);
    std::string list = "one of";
    for (const Choice& choice : parameter.choices)
        list += " " + std::to_string(choice.value) + " (" + std::string{choice.name} + ")";
    return list;
}

std::optional<int> value_from(const Parameter& parameter, std::string_view word) {
    const auto number = whole_number(word);
    if (parameter.choices.empty()) {
        const bool fits = number && *number >= parameter.low && *number <= parameter.high;
        return fits ? number : std::nullopt;
    }
    for (const Choice& choice : parameter.choices)
        if ((number && *number == choice.value) || same_word(choice.name, word)) return choice.value;
    return {};
}

Parsed<Step> step_from(std::string_view text) {
    const std::size_t equals = text.find('=');
    const std::string name{text.substr(0, equals)};
    const Operation* operation = imaging::find_operation(name);
    if (!operation) return {{}, "there is no operation \"" + name + "\"; see ops"};
    Step step{operation, {}};
    if (equals == std::string_view::npos) return {std::move(step), ""};
    const auto words = pieces_of(text.substr(equals + 1));
    const auto parameters = operation->parameters;
    if (words.size() > parameters.size())
        return {{}, name + " takes " + std::to_string(parameters.size()) + " values at most"};
    for (std::size_t i = 0; i < words.size(); ++i) {
        const auto value = value_from(parameters[i], words[i]);
        if (!value)
            return {{}, name + ": " + std::string{parameters[i].name} + " is " + accepted(parameters[i])};
        step.values.push_back(*value);
    }
    return {std::move(step), ""};
}

Parsed<Rect> rect_from(std::string_view option, const std::string& text) {
    constexpr int kFarthest = 1'000'000;
    std::vector<int> numbers;
    for (const std::string_view word : pieces_of(text)) {
        const auto number = whole_number(word);
        if (!number || *number < -kFarthest || *number > kFarthest) break;
        numbers.push_back(*number);
    }
    if (numbers.size() == 4 && numbers[2] > 0 && numbers[3] > 0 && pieces_of(text).size() == 4)
        return {Rect{numbers[0], numbers[1], numbers[2], numbers[3]}, ""};
    return {{}, "--" + std::string{option} + " takes x,y,width,height in pixels"};
}

}  // namespace

Parsed<Operations> operations_from(const Arguments& arguments) {
    Operations operations;
    for (const std::string& text : values_of(arguments, "op")) {
        auto step = step_from(text);
        if (!step.value) return {{}, step.problem};
        operations.steps.push_back(std::move(*step.value));
    }
    const auto rectangle = values_of(arguments, "region"), ellipse = values_of(arguments, "ellipse");
    if (rectangle.size() + ellipse.size() > 1) return {{}, "one --region or --ellipse is enough"};
    if (rectangle.empty() && ellipse.empty()) return {std::move(operations), ""};
    if (operations.steps.empty()) return {{}, "a region limits operations, and there is no --op"};
    const bool round = rectangle.empty();
    const auto rect = round ? rect_from("ellipse", ellipse[0]) : rect_from("region", rectangle[0]);
    if (!rect.value) return {{}, rect.problem};
    operations.region = round ? Region::ellipse(*rect.value) : Region::rectangle(*rect.value);
    return {std::move(operations), ""};
}

imaging::Result<imaging::Bitmap> apply_all(const Operations& operations, imaging::Bitmap bitmap,
                                           const imaging::Progress& progress) {
    imaging::Context context;
    context.progress = progress;
    for (const Step& step : operations.steps) {
        auto result = imaging::apply(*step.operation, bitmap, step.values,
                                     operations.region ? &*operations.region : nullptr, context);
        if (!result) return result;
        bitmap = std::move(*result);
    }
    return bitmap;
}

}  // namespace quillmark::convert
