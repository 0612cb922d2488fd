#include "imaging/save.h"

#include <algorithm>

#include "imaging/convert_depth.h"

namespace quillmark::imaging {
namespace {

// What the image would have if the format wrote every depth. 16 bits suit only the kind of picture, grey or
// colour, that the format means by them: deep grey keeps more in 8 bits than in 5-6-5.
int wanted_depth(const Bitmap& bitmap, const FormatCode& format) {
    const bool deep_gray = bitmap.layout() == Layout::gray16;
    if (bitmap.has_alpha() && bitmap.bits() > 8) return 32;
    if (deep_gray && !format.gray16) return 8;
    if (!deep_gray && bitmap.bits() == 16 && format.gray16) return 24;
    return bitmap.bits();
}

// The writable depth that keeps most: the smallest that loses nothing, else the largest.
int nearest_depth(std::span<const int> depths, int wanted) {
    int best = 0;
    for (const int depth : depths) {
        const bool enough = depth >= wanted;
        const bool best_enough = best >= wanted;
        if (best == 0 || (enough && (!best_enough || depth < best)) ||
            (!enough && !best_enough && depth > best))
            best = depth;
    }
    return best;
}

}  // namespace

int save_depth(const Bitmap& bitmap, int format_code, int bits) {
    const FormatCode* format = find_format(format_code);
    if (!format || format->write_depths.empty()) return 0;
    if (bits != 0)
        return std::ranges::find(format->write_depths, bits) != format->write_depths.end() ? bits : 0;
    return nearest_depth(format->write_depths, wanted_depth(bitmap, *format));
}

Result<void> save(const Bitmap& bitmap, ByteWriter& out, const SaveOptions& options) {
    const Codec* codec = codec_for_format(options.format_code);
    if (bitmap.empty()) return Error{Fault::malformed, "no image"};
    if (!codec || !codec->encode) return Error{Fault::unsupported, "format is not written"};
    const int depth = save_depth(bitmap, options.format_code, options.bits);
    if (depth == 0) return Error{Fault::unsupported, "depth is not written"};
    const auto converted = convert_depth(bitmap, depth, Limits{});
    if (!converted) return converted.error();
    auto result = codec->encode(*converted, out, options);
    out.flush();
    if (result && out.failed()) return Error{Fault::io, "writing"};
    return result;
}

Result<void> save(const Bitmap& bitmap, const std::string& path, const SaveOptions& options) {
    auto out = AtomicFileWriter::create(path);
    if (!out) return out.error();
    const auto encoded = save(bitmap, **out, options);
    if (!encoded) return encoded.error();
    return (*out)->commit();
}

}  // namespace quillmark::imaging
