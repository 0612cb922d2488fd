#include "imaging/codecs/icon_mask.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "imaging/codecs/row_stream.h"
#include "imaging/convert_depth.h"

namespace quillmark::imaging {
namespace {

bool bit_at(std::span<const std::uint8_t> row, int x) {
    return (row[static_cast<std::size_t>(x / 8)] >> (7 - x % 8) & 1) != 0;
}

struct MaskUse {
    bool any_masked = false, any_open = false;
    std::array<bool, 256> masked{}, open{};  // by palette index
};

MaskUse survey(const Bitmap& picture, const Bitmap& mask) {
    MaskUse use;
    const Layout layout = picture.layout();
    for (int y = 0; y < picture.height(); ++y) {
        const auto row = picture.row(y), mask_row = mask.row(y);
        for (int x = 0; x < picture.width(); ++x) {
            const bool masked = bit_at(mask_row, x);
            (masked ? use.any_masked : use.any_open) = true;
            const std::size_t index = layout == Layout::bit1     ? bit_at(row, x)
                                      : layout == Layout::index8 ? row[static_cast<std::size_t>(x)]
                                                                 : 0;
            (masked ? use.masked : use.open)[index] = true;
        }
    }
    return use;
}

bool own_entries(const MaskUse& use) {
    for (std::size_t i = 0; i < use.masked.size(); ++i) {
        if (use.masked[i] && use.open[i]) return false;
    }
    return true;
}

Bitmap with_clear_entries(Bitmap picture, const MaskUse& use) {
    Palette palette = picture.palette();
    palette.resize(picture.layout() == Layout::bit1 ? 2 : std::size_t{1} << picture.bits());
    for (std::size_t i = 0; i < palette.size(); ++i) {
        if (use.masked[i]) palette[i].a = 0;
    }
    picture.set_palette(std::move(palette));
    return picture;
}

void clear_masked(Bitmap& picture, const Bitmap& mask, bool show_inverted) {
    constexpr std::uint8_t kHalf = 128;
    for (int y = 0; y < picture.height(); ++y) {
        const auto row = picture.writable_row(y);
        const auto mask_row = mask.row(y);
        for (int x = 0; x < picture.width(); ++x) {
            if (!bit_at(mask_row, x)) continue;
            std::uint8_t* pixel = row.data() + 4 * static_cast<std::size_t>(x);
            const bool inverts = (pixel[0] | pixel[1] | pixel[2]) != 0;
            pixel[3] = show_inverted && inverts ? kHalf : 0;
        }
    }
}

}  // namespace

Result<Bitmap> with_mask(const Bitmap& picture, const Bitmap& mask, const Limits& limits) {
    const MaskUse use = survey(picture, mask);
    if (!use.any_masked) return picture;
    const bool indexed = picture.layout() == Layout::bit1 || picture.layout() == Layout::index8;
    if (indexed && use.any_open && own_entries(use)) return with_clear_entries(picture, use);
    auto result = convert_depth(picture, 32, limits);
    if (!result) return result;
    if (!result->detach()) return Error{Fault::out_of_memory, "icon"};
    clear_masked(*result, mask, !use.any_open);
    return result;
}

Result<Bitmap> copy_rows(const Bitmap& bitmap, int first, int count, const Limits& limits) {
    auto part = Bitmap::create_unfilled(bitmap.width(), count, bitmap.bits(), limits);
    if (!part) return part;
    for (int y = 0; y < count; ++y) std::ranges::copy(bitmap.row(first + y), part->writable_row(y).begin());
    if (bitmap.bits() <= 8) part->set_palette(bitmap.palette());
    part->metadata() = bitmap.metadata();
    return part;
}

Result<Outcome> deliver(Bitmap bitmap, int format_code, int rows_shown, RowSink& sink) {
    const int height = bitmap.height();
    sink.begin(bitmap);
    if (!sink.rows(bitmap, 0, height, height, height)) return Error{Fault::cancelled, "icon"};
    Outcome outcome{std::move(bitmap), format_code, rows_shown, height, {}};
    if (rows_shown < height) outcome.warnings.push_back("pixel data end early");
    return outcome;
}

}  // namespace quillmark::imaging
