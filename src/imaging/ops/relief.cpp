#include "imaging/ops/relief.h"

#include <algorithm>
#include <array>

#include "imaging/ops/kernels.h"

namespace quillmark::imaging {
namespace {

constexpr std::array kSharpenParameters{Parameter{.name = "amount",
                                                  .unit = "tenths of a percent",
                                                  .low = -1000,
                                                  .high = 1000,
                                                  .initial = 500,
                                                  .identity = 0}};
constexpr std::array kEmbossParameters{
    Parameter{.name = "depth", .unit = "percent", .low = 1, .high = 1000, .initial = 100}};
constexpr std::array kEdgeParameters{
    Parameter{.name = "amount", .unit = "sixteenths", .low = 0, .high = 100, .initial = 16}};

enum class Sign : std::uint8_t { clamped, absolute, length };

struct Filter {
    Choice choice;
    Sign sign;
    Weights weights;  // of Sign::length: the weight of the centre alone
};

// Gradients answer to light that grows towards their direction, lines to bright lines on dark ground; the
// others give the size of a change, whichever its sign.
constexpr std::array kFilters{
    Filter{{0, "gradient north"}, Sign::clamped, {1, 1, 1, 1, -2, 1, -1, -1, -1}},
    Filter{{1, "gradient north-east"}, Sign::clamped, {1, 1, 1, -1, -2, 1, -1, -1, 1}},
    Filter{{2, "gradient east"}, Sign::clamped, {-1, 1, 1, -1, -2, 1, -1, 1, 1}},
    Filter{{3, "gradient south-east"}, Sign::clamped, {-1, -1, 1, -1, -2, 1, 1, 1, 1}},
    Filter{{4, "gradient south"}, Sign::clamped, {-1, -1, -1, 1, -2, 1, 1, 1, 1}},
    Filter{{5, "gradient south-west"}, Sign::clamped, {1, -1, -1, 1, -2, -1, 1, 1, 1}},
    Filter{{6, "gradient west"}, Sign::clamped, {1, 1, -1, 1, -2, -1, 1, 1, -1}},
    Filter{{7, "gradient north-west"}, Sign::clamped, {1, 1, 1, 1, -2, -1, 1, -1, -1}},
    Filter{{10, "Laplacian, 4 neighbours"}, Sign::absolute, {0, -1, 0, -1, 4, -1, 0, -1, 0}},
    Filter{{11, "Laplacian, 8 neighbours"}, Sign::absolute, {-1, -1, -1, -1, 8, -1, -1, -1, -1}},
    Filter{{12, "Laplacian, diagonal"}, Sign::absolute, {-1, 0, -1, 0, 4, 0, -1, 0, -1}},
    Filter{{13, "Laplacian, omnidirectional"}, Sign::absolute, {1, -2, 1, -2, 4, -2, 1, -2, 1}},
    Filter{{20, "Sobel, horizontal edges"}, Sign::absolute, {1, 2, 1, 0, 0, 0, -1, -2, -1}},
    Filter{{21, "Sobel, vertical edges"}, Sign::absolute, {1, 0, -1, 2, 0, -2, 1, 0, -1}},
    Filter{{22, "Sobel, both"}, Sign::length, {2}},
    Filter{{30, "Prewitt, horizontal edges"}, Sign::absolute, {1, 1, 1, 0, 0, 0, -1, -1, -1}},
    Filter{{31, "Prewitt, vertical edges"}, Sign::absolute, {1, 0, -1, 1, 0, -1, 1, 0, -1}},
    Filter{{32, "Prewitt, both"}, Sign::length, {1}},
    Filter{{40, "shift and difference, horizontal"}, Sign::absolute, {0, 0, 0, -1, 1, 0, 0, 0, 0}},
    Filter{{41, "shift and difference, vertical"}, Sign::absolute, {0, -1, 0, 0, 1, 0, 0, 0, 0}},
    Filter{{42, "shift and difference, diagonal"}, Sign::absolute, {-1, 0, 0, 0, 1, 0, 0, 0, 0}},
    Filter{{50, "line segment, horizontal"}, Sign::clamped, {-1, -1, -1, 2, 2, 2, -1, -1, -1}},
    Filter{{51, "line segment, vertical"}, Sign::clamped, {-1, 2, -1, -1, 2, -1, -1, 2, -1}},
    Filter{{52, "line segment, left to right"}, Sign::clamped, {2, -1, -1, -1, 2, -1, -1, -1, 2}},
    Filter{{53, "line segment, right to left"}, Sign::clamped, {-1, -1, 2, -1, 2, -1, 2, -1, -1}},
};
constexpr int kSobelBoth = 22;

constexpr auto kChoices = [] {
    std::array<Choice, kFilters.size()> choices{};
    for (std::size_t i = 0; i < choices.size(); ++i) choices[i] = kFilters[i].choice;
    return choices;
}();

// The choices with codes from low to below high.
constexpr std::span<const Choice> codes(int low, int high) {
    std::size_t first = 0, last = 0;
    while (first < kChoices.size() && kChoices[first].value < low) ++first;
    for (last = first; last < kChoices.size() && kChoices[last].value < high;) ++last;
    return std::span{kChoices}.subspan(first, last - first);
}

constexpr std::array kFamilies{
    FilterFamily{"Gradient", codes(0, 10)},
    FilterFamily{"Laplacian", codes(10, 20)},
    FilterFamily{"Sobel", codes(20, 30)},
    FilterFamily{"Prewitt", codes(30, 40)},
    FilterFamily{"Shift and difference", codes(40, 50)},
    FilterFamily{"Line segment", codes(50, 60)},
};

constexpr std::array kFilterParameters{Parameter{.name = "filter",
                                                 .unit = "",
                                                 .low = kChoices.front().value,
                                                 .high = kChoices.back().value,
                                                 .initial = kSobelBoth,
                                                 .choices = kChoices}};

// 16 times the difference between a pixel and the binomial mean of its neighbourhood.
constexpr Weights kUnsharp{-1, -2, -1, -2, 12, -2, -1, -2, -1};
// How much the lower right is brighter than the upper left: a slope that faces the light there.
constexpr Weights kDiagonal{-1, 0, 0, 0, 0, 0, 0, 0, 1};
constexpr int kOne = 65536;  // the factor of scaled_kernel that leaves a sum as it is

Result<Bitmap> sharpen(const Bitmap& bitmap, std::span<const int> amount, const Context& context) {
    if (amount[0] == 0) return bitmap;
    return scaled_kernel(bitmap, kUnsharp, amount[0] * (kOne / 16) / 1000, Base::pixel, context);
}

Result<Bitmap> emboss(const Bitmap& bitmap, std::span<const int> depth, const Context& context) {
    return scaled_kernel(bitmap, kDiagonal, depth[0] * kOne / 100, Base::middle, context);
}

Result<Bitmap> spatial_filter(const Bitmap& bitmap, std::span<const int> code, const Context& context) {
    const auto found = std::ranges::find(kFilters, code[0], [](const Filter& f) { return f.choice.value; });
    if (found == kFilters.end()) return Error{Fault::bad_parameter, "code of a filter"};
    switch (found->sign) {
        case Sign::clamped: return clamped_kernel(bitmap, found->weights, context);
        case Sign::absolute: return absolute_kernel(bitmap, found->weights, context);
        case Sign::length: break;
    }
    return gradient_length(bitmap, found->weights[0], context);
}

Result<Bitmap> edge_component(const Bitmap& bitmap, std::span<const int> amount, const Context& context) {
    return scaled_kernel(bitmap, kUnsharp, amount[0] * (kOne / 256), Base::middle, context);
}

int one_pixel(std::span<const int>) { return 1; }

constexpr std::array kOperations{
    Operation{.name = "Sharpen",
              .what = "sharpens by an unsharp mask of 3x3 pixels; negative amounts soften",
              .parameters = kSharpenParameters,
              .reach = one_pixel,
              .run = sharpen},
    Operation{.name = "Emboss",
              .what = "a relief around middle grey, lit from the upper left",
              .parameters = kEmbossParameters,
              .reach = one_pixel,
              .run = emboss},
    Operation{.name = "SpatialFilter",
              .what = "finds edges and lines by a filter of 3x3 pixels",
              .parameters = kFilterParameters,
              .reach = one_pixel,
              .run = spatial_filter},
    Operation{.name = "EdgeComponent",
              .what = "the edges alone, signed around middle grey, to be added to the image",
              .parameters = kEdgeParameters,
              .reach = one_pixel,
              .run = edge_component},
};

}  // namespace

std::span<const FilterFamily> filter_families() { return kFamilies; }

std::span<const Operation> relief_operations() { return kOperations; }

}  // namespace quillmark::imaging
