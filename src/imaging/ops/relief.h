// The filters of 3x3 pixels by family, for dialogs that offer one family at a time.
#pragma once

#include <span>
#include <string_view>

#include "imaging/ops/operation.h"

namespace quillmark::imaging {

/// Codes of SpatialFilter that belong together.
struct FilterFamily {
    std::string_view name;
    std::span<const Choice> choices;
};

/// Gradient, Laplacian, Sobel, Prewitt, shift and difference, line segment: in this order.
std::span<const FilterFamily> filter_families();

}  // namespace quillmark::imaging
