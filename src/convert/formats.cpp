// quillmark-convert formats: what can be read and written.
#include <cstdio>
#include <string>

#include "convert/commands.h"
#include "convert/json.h"
#include "imaging/codec.h"
#include "text/messages.h"

namespace quillmark::convert {
namespace {

using imaging::Codec;
using imaging::FormatCode;

template <typename Values, typename Write>
std::string joined(const Values& values, Write write) {
    std::string text;
    for (const auto& value : values) text += (text.empty() ? "" : " ") + write(value);
    return text.empty() ? "-" : text;
}

void print_json(const Codec& codec, const FormatCode& format) {
    const JsonObject object = JsonObject{}
                                  .number("code", format.code)
                                  .text("name", imaging::display_name(format.code))
                                  .text("codec", codec.name)
                                  .text("variant", format.variant)
                                  .texts("extensions", codec.extensions)
                                  .boolean("read", codec.decode != nullptr)
                                  .numbers("write_depths", format.write_depths)
                                  .boolean("pages", codec.pages == imaging::Pages::many)
                                  .boolean("stamp", codec.stamps);
    std::printf("%s\n", object.line().c_str());
}

constexpr const char* kRow = "%4s  %-36s  %-22s  %-4s  %-16s  %-5s  %s\n";

void print_text(const Codec& codec, const FormatCode& format) {
    const std::string extensions =
        joined(codec.extensions, [](std::string_view name) { return std::string{name}; });
    const std::string depths = joined(format.write_depths, [](int depth) { return std::to_string(depth); });
    const std::string_view name = imaging::display_name(format.code);
    std::printf(kRow, std::to_string(format.code).c_str(),
                std::string{name.empty() ? format.variant : name}.c_str(), extensions.c_str(),
                codec.decode ? "yes" : "-", depths.c_str(),
                codec.pages == imaging::Pages::many ? "many" : "one", codec.stamps ? "yes" : "-");
}

int run(const Command& command, const Arguments& arguments) {
    if (!arguments.files.empty()) return misused(command, "it takes no file");
    const bool json = arguments.has("json");
    if (!json) std::printf(kRow, "code", "name", "extensions", "read", "written depths", "pages", "stamp");
    for (const Codec* codec : imaging::all_codecs()) {
        for (const FormatCode& format : codec->formats)
            json ? print_json(*codec, format) : print_text(*codec, format);
    }
    return kWell;
}

constexpr Option kOptions[] = {
    {"json", "", "one JSON object a line for each format code"},
};

}  // namespace

extern const Command kFormats{
    "formats",
    "",
    "list the formats that are read and written",
    "A format code names a format with its compression; convert --format takes it. Written depths\n"
    "are bits per pixel; \"-\" there means that the format is only read.\n",
    kOptions,
    run};

}  // namespace quillmark::convert
