// ColorRes and Halftone.
#include <algorithm>
#include <array>

#include "imaging/convert_depth.h"
#include "imaging/ops/dither.h"
#include "imaging/ops/halftone.h"
#include "imaging/ops/operation.h"
#include "imaging/ops/palettes.h"
#include "imaging/ops/row_loop.h"
#include "imaging/quantize.h"

namespace quillmark::imaging {
namespace {

enum class PaletteChoice : int { fixed = 0, optimised = 1, identity = 2, grey = 3 };

bool holds(const Palette& palette, const Palette& colours) {
    return std::ranges::all_of(colours,
                               [&](const Rgba& c) { return std::ranges::find(palette, c) != palette.end(); });
}

// Onto a palette that is given beforehand: without dithering where it has all colours of the image.
Result<Bitmap> onto(const Bitmap& bitmap, const Palette& palette, int bits, Dither dither,
                    const Context& context) {
    const auto colours =
        exact_palette(bitmap, static_cast<int>(palette.size()), stage_of(context.progress, 0, 2));
    if (!colours) return colours.error();
    const bool complete = !colours->empty() && holds(palette, *colours);
    Context rest = context;
    rest.progress = stage_of(context.progress, 1, 2);
    return dithered(bitmap, palette, bits, complete ? Dither::none : dither, rest);
}

// The image's own colours where they fit. Two colours chosen from many could show nothing beside the line
// between them: one bit is black and white then.
Result<Bitmap> onto_optimised(const Bitmap& bitmap, int bits, Dither dither, const Context& context) {
    const int count = 1 << bits;
    const auto exact = exact_palette(bitmap, count, stage_of(context.progress, 0, 3));
    if (!exact) return exact.error();
    Context rest = context;
    rest.progress = stage_of(context.progress, 2, 3);
    if (!exact->empty()) return dithered(bitmap, *exact, bits, Dither::none, rest);
    if (bits == 1) return dithered(bitmap, fixed_palette(1), 1, dither, rest);
    const auto palette = optimised_palette(bitmap, count, stage_of(context.progress, 1, 3));
    if (!palette) return palette.error();
    return dithered(bitmap, *palette, bits, dither, rest);
}

// bits is 1 to 8.
Result<Bitmap> onto_palette(const Bitmap& bitmap, int bits, PaletteChoice choice, Dither dither,
                            const Context& context) {
    switch (choice) {
        case PaletteChoice::fixed: return onto(bitmap, fixed_palette(bits), bits, dither, context);
        case PaletteChoice::grey: return onto(bitmap, gray_palette(1 << bits), bits, dither, context);
        case PaletteChoice::identity:
            if (own_palette_fits(bitmap, bits))
                return convert_depth(bitmap, bits, context.limits, context.progress);
            break;
        case PaletteChoice::optimised:
            if (bits == bitmap.bits()) return bitmap;
            break;
    }
    return onto_optimised(bitmap, bits, dither, context);
}

Result<Bitmap> run_color_res(const Bitmap& bitmap, std::span<const int> arguments, const Context& context) {
    const int bits = arguments[0];
    if (bits > 8) return convert_depth(bitmap, bits, context.limits, context.progress);
    // Asked before the colours are counted: a result that cannot be costs nothing.
    const auto fits = Bitmap::check_size(bitmap.width(), bitmap.height(), bits, context.limits);
    if (!fits) return fits.error();
    return onto_palette(bitmap, bits, static_cast<PaletteChoice>(arguments[1]),
                        static_cast<Dither>(arguments[2]), context);
}

Result<Bitmap> run_halftone(const Bitmap& bitmap, std::span<const int> arguments, const Context& context) {
    return halftone(bitmap, static_cast<Screen>(arguments[0]), arguments[1], context);
}

constexpr std::array kDepths{Choice{1, "2 colors"},   Choice{2, "4 colors"},   Choice{3, "8 colors"},
                             Choice{4, "16 colors"},  Choice{5, "32 colors"},  Choice{6, "64 colors"},
                             Choice{7, "128 colors"}, Choice{8, "256 colors"}, Choice{16, "16 bits"},
                             Choice{24, "24 bits"},   Choice{32, "32 bits"}};
constexpr std::array kPalettes{Choice{0, "fixed"}, Choice{1, "optimized"}, Choice{2, "identity"},
                               Choice{3, "gray"}};
constexpr std::array kDithers{Choice{0, "none"},   Choice{1, "Floyd-Steinberg"}, Choice{2, "Stucki"},
                              Choice{3, "Burkes"}, Choice{4, "Sierra"},          Choice{5, "Stevenson-Arce"},
                              Choice{6, "Jarvis"}, Choice{7, "ordered"}};
constexpr std::array kScreens{Choice{0, "print"}, Choice{1, "view"}};

constexpr std::array kColorResParameters{
    Parameter{
        .name = "bits", .unit = "bits per pixel", .low = 1, .high = 32, .initial = 8, .choices = kDepths},
    Parameter{.name = "palette", .unit = "", .low = 0, .high = 3, .initial = 1, .choices = kPalettes},
    Parameter{.name = "dither", .unit = "", .low = 0, .high = 7, .initial = 1, .choices = kDithers},
};
constexpr std::array kHalftoneParameters{
    Parameter{.name = "type", .unit = "", .low = 0, .high = 1, .initial = 0, .choices = kScreens},
    Parameter{.name = "angle", .unit = "degrees", .low = -360, .high = 360, .initial = 0},
};

const std::array kOperations{
    Operation{.name = "ColorRes",
              .what = "Another number of colours, on a palette, dithered or not",
              .parameters = kColorResParameters,
              .scope = Scope::whole,
              .run = run_color_res},
    Operation{.name = "Halftone",
              .what = "Black dots on white, for print or view, the screen turned by an angle",
              .parameters = kHalftoneParameters,
              .scope = Scope::whole,
              .run = run_halftone},
};

}  // namespace

std::span<const Operation> reduction_operations() { return kOperations; }

}  // namespace quillmark::imaging
