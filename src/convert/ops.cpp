// quillmark-convert ops: the operations with their units and ranges.
#include <cstdio>
#include <string>

#include "convert/commands.h"
#include "convert/json.h"
#include "imaging/ops/operation.h"

namespace quillmark::convert {
namespace {

using imaging::Operation;
using imaging::Parameter;

std::string signature(const Operation& operation) {
    std::string text{operation.name};
    for (const Parameter& parameter : operation.parameters) {
        text += &parameter == operation.parameters.data() ? "=" : ",";
        text += parameter.name;
    }
    return text;
}

std::string range_of(const Parameter& parameter) {
    std::string text{parameter.name};
    if (parameter.choices.empty()) {
        text += ": " + std::to_string(parameter.low) + " to " + std::to_string(parameter.high);
        if (!parameter.unit.empty()) text += " " + std::string{parameter.unit};
        if (parameter.identity) text += "; " + std::to_string(*parameter.identity) + " changes nothing";
    } else {
        text += ":";
        for (const imaging::Choice& choice : parameter.choices)
            text += " " + std::to_string(choice.value) + " " + std::string{choice.name} + ",";
        text.pop_back();
    }
    return text + "; " + std::to_string(parameter.initial) + " when left out";
}

std::string_view scope_name(const Operation& operation) {
    return operation.scope == imaging::Scope::whole ? "whole image" : "image or region";
}

void print_text(const Operation& operation) {
    std::printf("%s\n    %s (%s)\n", signature(operation).c_str(), std::string{operation.what}.c_str(),
                std::string{scope_name(operation)}.c_str());
    for (const Parameter& parameter : operation.parameters)
        std::printf("    %s\n", range_of(parameter).c_str());
}

void print_json(const Operation& operation) {
    std::vector<std::string_view> names;
    for (const Parameter& parameter : operation.parameters) names.push_back(parameter.name);
    std::printf("%s\n", JsonObject{}
                            .text("name", operation.name)
                            .text("what", operation.what)
                            .boolean("region", operation.scope != imaging::Scope::whole)
                            .texts("parameters", names)
                            .line()
                            .c_str());
    for (const Parameter& parameter : operation.parameters) {
        JsonObject object;
        object.text("operation", operation.name)
            .text("parameter", parameter.name)
            .text("unit", parameter.unit);
        object.number("low", parameter.low)
            .number("high", parameter.high)
            .number("initial", parameter.initial);
        if (parameter.identity) object.number("identity", *parameter.identity);
        std::printf("%s\n", object.line().c_str());
    }
}

int run(const Command& command, const Arguments& arguments) {
    if (!arguments.files.empty()) return misused(command, "it takes no file");
    const bool json = arguments.has("json");
    for (const Operation* operation : imaging::all_operations())
        json ? print_json(*operation) : print_text(*operation);
    return kWell;
}

constexpr Option kOptions[] = {
    {"json", "", "one JSON object a line for each operation and each of its parameters"},
};

}  // namespace

extern const Command kOps{
    "ops",
    "",
    "list the operations that convert --op applies",
    "Values are given in the order listed, separated by commas; those left out at the end take the\n"
    "value named. A value with names may be given by its number or its name.\n",
    kOptions,
    run};

}  // namespace quillmark::convert
