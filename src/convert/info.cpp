// quillmark-convert info: what files are, from their headers.
#include <sys/stat.h>

#include <cstdio>

#include "convert/commands.h"
#include "convert/json.h"
#include "imaging/load.h"
#include "text/messages.h"
#include "text/numbers.h"

namespace quillmark::convert {
namespace {

using imaging::ImageInfo;

std::int64_t bytes_on_disk(const std::string& file) {
    struct stat facts {};
    return stat(file.c_str(), &facts) == 0 ? facts.st_size : 0;
}

// The size of the uncompressed image, by the rule of the program's status bar.
std::int64_t bytes_in_memory(const ImageInfo& info) {
    return text::round_half_even(static_cast<double>(info.width) * info.height * info.bits / 8.0);
}

void print_json(const std::string& file, const ImageInfo& info) {
    const JsonObject object = JsonObject{}
                                  .text("file", file)
                                  .boolean("ok", true)
                                  .number("format_code", info.format_code)
                                  .text("format", imaging::display_name(info.format_code))
                                  .number("width", info.width)
                                  .number("height", info.height)
                                  .number("bits", info.bits)
                                  .number("pages", info.pages)
                                  .number("bytes_memory", bytes_in_memory(info))
                                  .number("bytes_disk", bytes_on_disk(file))
                                  .boolean("stamp", info.has_stamp);
    std::printf("%s\n", object.line().c_str());
}

void print_json(const std::string& file, const imaging::Error& error) {
    const int code = imaging::result_code(error);
    const JsonObject object = JsonObject{}
                                  .text("file", file)
                                  .boolean("ok", false)
                                  .number("code", code)
                                  .text("message", text::error_message(code))
                                  .text("reason", imaging::fault_name(error.fault))
                                  .text("place", error.where.text());
    std::printf("%s\n", object.line().c_str());
}

void print_text(const std::string& file, const ImageInfo& info) {
    std::printf("%s: %s (%d), %d x %d, %d bit%s, %d page%s, %s bytes in memory, %s on disk%s\n", file.c_str(),
                std::string{imaging::display_name(info.format_code)}.c_str(), info.format_code, info.width,
                info.height, info.bits, info.bits == 1 ? "" : "s", info.pages, info.pages == 1 ? "" : "s",
                text::grouped(bytes_in_memory(info)).c_str(), text::grouped(bytes_on_disk(file)).c_str(),
                info.has_stamp ? ", with stamp" : "");
}

int run(const Command& command, const Arguments& arguments) {
    if (arguments.files.empty()) return misused(command, "which file?");
    const auto page = number_option(arguments, "page", 1, 32'767, 1);
    if (!page.value) return misused(command, page.problem);
    imaging::ReadOptions options;
    options.page = *page.value;
    const bool json = arguments.has("json");
    int status = kWell;
    for (const std::string& file : arguments.files) {
        auto info = imaging::read_info(file, options);
        if (info && info->pages < options.page) info = imaging::Error{imaging::Fault::no_page, "page"};
        if (info) {
            json ? print_json(file, *info) : print_text(file, *info);
        } else {
            if (json) print_json(file, info.error());
            status = report_failure(file, info.error());
        }
    }
    return status;
}

constexpr Option kOptions[] = {
    {"json", "", "one JSON object a line for each file, also for those that cannot be read"},
    {"page", "N", "describe page N (default 1)"},
};

}  // namespace

extern const Command kInfo{
    "info",
    "FILE...",
    "say what files are",
    "Reads the headers only, so that large files are as quick as small ones. Width and height are\n"
    "those of the upright picture.\n"
    "\n"
    "Members of a JSON object: file, ok, format_code, format, width, height, bits, pages,\n"
    "bytes_memory, bytes_disk, stamp; for a file that cannot be read: file, ok, code, message,\n"
    "reason, place. File names that are not UTF-8 show U+FFFD for each byte that is none.\n"
    "\n"
    "Example: list the pictures with more than one page\n"
    "  quillmark-convert info --json *.tif | jq -r 'select(.pages > 1) | .file'\n",
    kOptions,
    run};

}  // namespace quillmark::convert
