#include "imaging/codec.h"

#include <algorithm>

#include "text/messages.h"
#include "text/paths.h"

namespace quillmark::imaging {

std::string_view fault_name(Fault fault) {
    switch (fault) {
        case Fault::truncated: return "truncated";
        case Fault::malformed: return "malformed";
        case Fault::unknown_format: return "unknown format";
        case Fault::unsupported: return "unsupported";
        case Fault::too_large: return "too large";
        case Fault::out_of_memory: return "out of memory";
        case Fault::not_found: return "not found";
        case Fault::cannot_open: return "cannot open";
        case Fault::io: return "input/output";
        case Fault::no_stamp: return "no stamp";
        case Fault::no_page: return "no such page";
        case Fault::bad_parameter: return "bad parameter";
        case Fault::cancelled: return "cancelled";
    }
    return "unknown";
}

const Codec* codec_for_format(int format_code) {
    for (const Codec* codec : all_codecs()) {
        if (std::ranges::any_of(codec->formats, [&](const FormatCode& f) { return f.code == format_code; }))
            return codec;
    }
    return nullptr;
}

const FormatCode* find_format(int format_code) {
    const Codec* codec = codec_for_format(format_code);
    if (!codec) return nullptr;
    return &*std::ranges::find(codec->formats, format_code, &FormatCode::code);
}

std::string_view display_name(int format_code) {
    const std::string_view given = text::format_name(format_code);
    if (!given.empty()) return given;
    const Codec* codec = codec_for_format(format_code);
    return codec ? codec->name : std::string_view{};
}

const Codec* codec_for_extension(std::string_view extension) {
    const std::string lower = text::lower_ascii(extension);
    for (const Codec* codec : all_codecs()) {
        if (std::ranges::find(codec->extensions, lower) != codec->extensions.end()) return codec;
    }
    return nullptr;
}

}  // namespace quillmark::imaging
