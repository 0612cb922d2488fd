// Operations by name: what each one takes, and the one way to run it on an image, a region or a part.
#pragma once

#include <optional>
#include <span>
#include <string_view>

#include "imaging/bitmap.h"
#include "imaging/ops/context.h"
#include "imaging/region.h"

namespace quillmark::imaging {

/// A value of a parameter that has a name.
struct Choice {
    int value;
    std::string_view name;
};

struct Parameter {
    std::string_view name;  ///< "change", "size"
    std::string_view unit;  ///< "tenths of a percent", "pixels"; empty for codes and switches
    int low, high;
    int initial;                        ///< what a dialog begins with, and a converter takes when left out
    std::optional<int> identity{};      ///< the value that changes nothing, where there is one
    std::span<const Choice> choices{};  ///< codes: exactly these values are valid
    bool strict = false;                ///< out of range is refused; else the nearest end is taken
};

enum class Scope : std::uint8_t {
    pixels,  ///< keeps the size and acts inside the region only
    box,     ///< keeps the size and acts on the region's bounding box as if that were the image (mirrors)
    whole,   ///< changes size, depth or palette: acts on the whole image, region or not
};

struct Operation {
    std::string_view name;  ///< the engine's member name: "Intensity"
    std::string_view what;  ///< one line for people
    std::span<const Parameter> parameters;
    Scope scope = Scope::pixels;
    Channels statistics = 0;  ///< what has to be counted beforehand
    /// How many pixels around itself a result pixel depends on; nullptr: none.
    int (*reach)(std::span<const int> arguments) = nullptr;
    /// The operation on the whole of bitmap. Arguments are checked, bitmap is not empty. The result is a new
    /// bitmap; the input stays as it is. Results do not depend on the number of threads.
    Result<Bitmap> (*run)(const Bitmap& bitmap, std::span<const int> arguments, const Context& context);
};

/// Every operation; names are unique.
std::span<const Operation* const> all_operations();
/// The operation of that name (exact spelling), or nullptr.
const Operation* find_operation(std::string_view name);

/// Runs an operation. region (may be nullptr or reach beyond the image) limits it to its pixels where the
/// operation's scope allows: what lies outside stays bit by bit as it was. A palette image changed inside a
/// region keeps its palette when every new colour is in it, else it is promoted. Missing arguments take their
/// initial values; out of range ones are clamped, or refused where the parameter says so.
/// Faults: malformed (no image), bad_parameter, too_large, out_of_memory, cancelled.
Result<Bitmap> apply(const Operation& operation, const Bitmap& bitmap, std::span<const int> arguments,
                     const Region* region, const Context& context);

/// The part of what apply would give, without working out the rest: part.width x part.height pixels, equal to
/// those of the whole result. For operations of Scope::pixels. context.statistics, when given, spares the
/// counting: a caller that asks again and again keeps them.
Result<Bitmap> apply_part(const Operation& operation, const Bitmap& bitmap, std::span<const int> arguments,
                          const Region* region, const Rect& part, const Context& context);

/// All pixels of bitmap.
inline Rect whole(const Bitmap& bitmap) { return {0, 0, bitmap.width(), bitmap.height()}; }
/// A copy of the part of bitmap inside rect (which lies inside the bitmap). Faults: too_large, out_of_memory,
/// cancelled.
Result<Bitmap> cropped(const Bitmap& bitmap, const Rect& rect, const Limits& limits,
                       const Progress& progress = {});
/// target with source's pixels in it, the top left one at at, clipped to target and to region (may be
/// nullptr). Pixels come bit by bit, alpha included, where both have the same form; else colours that
/// target's palette has keep the palette, and others promote the result. Faults: malformed (no image),
/// too_large, out_of_memory, cancelled.
Result<Bitmap> pasted(const Bitmap& target, const Bitmap& source, Point at, const Region* region,
                      const Limits& limits, const Progress& progress = {});

// The families, each beside its code; all_operations joins them.
std::span<const Operation> tone_operations();       // ops/tone.cpp
std::span<const Operation> colour_operations();     // ops/colour.cpp
std::span<const Operation> smoothing_operations();  // ops/smoothing.cpp
std::span<const Operation> relief_operations();     // ops/relief.cpp
std::span<const Operation> geometry_operations();   // ops/geometry.cpp
std::span<const Operation> turning_operations();    // ops/turning.cpp
std::span<const Operation> resize_operations();     // ops/resize.cpp
std::span<const Operation> reduction_operations();  // ops/reduction.cpp

}  // namespace quillmark::imaging
