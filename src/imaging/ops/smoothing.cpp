#include "imaging/ops/smoothing.h"

#include <array>
#include <limits>

#include "imaging/ops/operation.h"

namespace quillmark::imaging {
namespace {

constexpr std::array kAverageParameters{
    Parameter{.name = "size", .unit = "pixels", .low = 1, .high = 255, .initial = 3, .identity = 1}};
constexpr std::array kMedianParameters{
    Parameter{.name = "size", .unit = "pixels", .low = 1, .high = 127, .initial = 3, .identity = 1}};
constexpr std::array kMosaicParameters{
    Parameter{.name = "size", .unit = "pixels", .low = 1, .high = 1000, .initial = 10, .identity = 1}};
constexpr std::array kNoiseParameters{
    Parameter{.name = "amount",
              .unit = "tenths of a percent",
              .low = 0,
              .high = 1000,
              .initial = 100,
              .identity = 0},
    Parameter{.name = "seed", .unit = "", .low = 0, .high = std::numeric_limits<int>::max(), .initial = 1}};

int window_reach(std::span<const int> size) { return window_radius(size[0]); }
int block_reach(std::span<const int> size) { return size[0] - 1; }

constexpr std::array kOperations{
    Operation{.name = "Average",
              .what = "smooths by the mean of a square window",
              .parameters = kAverageParameters,
              .reach = window_reach,
              .run = average},
    Operation{.name = "Median",
              .what = "removes specks by the median of a square window",
              .parameters = kMedianParameters,
              .reach = window_reach,
              .run = median},
    Operation{.name = "Mosaic",
              .what = "square blocks of one colour, their mean",
              .parameters = kMosaicParameters,
              .reach = block_reach,
              .run = mosaic},
    Operation{.name = "AddNoise",
              .what = "adds evenly distributed noise",
              .parameters = kNoiseParameters,
              .run = add_noise},
};

}  // namespace

std::span<const Operation> smoothing_operations() { return kOperations; }

}  // namespace quillmark::imaging
