// The headless converter: finds the command, explains, runs it.
#include <algorithm>
#include <cstdio>
#include <span>
#include <string>

#include "convert/commands.h"
#include "text/messages.h"

namespace quillmark::convert {
namespace {

constexpr const Command* kCommands[] = {&kInfo, &kConvert, &kFormats, &kOps};

void print_overview(std::FILE* to) {
    std::fprintf(to, "usage: %s COMMAND [ARGUMENTS]\n\nReads, describes and converts raster images.\n\n",
                 kProgram.data());
    for (const Command* command : kCommands) {
        std::fprintf(to, "  %-8s  %s\n", command->name.data(), command->summary.data());
    }
    std::fprintf(to,
                 "\n\"%s COMMAND --help\" explains a command; --version tells the version.\n"
                 "Exit status: 0 all is well, 1 something failed, 2 the command line is wrong.\n",
                 kProgram.data());
}

void print_help(const Command& command) {
    std::printf("usage: %s %s [OPTIONS] %s\n\n%s\nOptions:\n", kProgram.data(), command.name.data(),
                command.synopsis.data(), command.details.data());
    for (const Option& option : command.options) {
        const std::string left =
            "--" + std::string{option.name} + (option.value.empty() ? "" : " ") + std::string{option.value};
        std::printf("  %-17s  %s\n", left.c_str(), option.help.data());
    }
}

int run(std::span<char* const> words) {
    if (words.empty()) {
        print_overview(stderr);
        return kMisused;
    }
    const std::string_view name = words.front();
    if (name == "--help" || name == "help") {
        print_overview(stdout);
        return kWell;
    }
    if (name == "--version") {
        std::printf("%s %s\n", kProgram.data(), QUILLMARK_VERSION);
        return kWell;
    }
    const auto found =
        std::ranges::find_if(kCommands, [&](const Command* command) { return command->name == name; });
    if (found == std::end(kCommands)) {
        std::fprintf(stderr, "%s: there is no command \"%s\"; try --help\n", kProgram.data(), words.front());
        return kMisused;
    }
    const Command& command = **found;
    const auto arguments = parse_arguments(words.subspan(1), command.options);
    if (!arguments.value) return misused(command, arguments.problem);
    if (!arguments.value->has("help")) return command.run(command, *arguments.value);
    print_help(command);
    return kWell;
}

}  // namespace

int misused(const Command& command, const std::string& problem) {
    std::fprintf(stderr, "%s %s: %s; try --help\n", kProgram.data(), command.name.data(), problem.c_str());
    return kMisused;
}

int report_failure(const std::string& file, const imaging::Error& error, imaging::Transfer transfer) {
    const int code = imaging::result_code(error, transfer);
    std::fprintf(stderr, "%s: %s: error %d: %s (%s: %s)\n", kProgram.data(), file.c_str(), code,
                 text::error_message(code).c_str(), std::string{imaging::fault_name(error.fault)}.c_str(),
                 std::string{error.where.text()}.c_str());
    return kFailed;
}

}  // namespace quillmark::convert

int main(int argc, char** argv) {
    const int status =
        quillmark::convert::run(std::span{argv, static_cast<std::size_t>(argc)}.subspan(argc > 0 ? 1 : 0));
    // What could not be written (a full disk, a closed pipe) was not done.
    if (std::fflush(stdout) != 0) {
        std::perror(quillmark::convert::kProgram.data());
        return quillmark::convert::kFailed;
    }
    return status;
}
