// Operations on the command line: "--op NAME=A,B" and the region that limits them.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "convert/arguments.h"
#include "imaging/ops/operation.h"
#include "imaging/region.h"

namespace quillmark::convert {

/// One operation with its values.
struct Step {
    const imaging::Operation* operation;
    std::vector<int> values;
};

struct Operations {
    std::vector<Step> steps;  ///< in the order given
    std::optional<imaging::Region> region;
};

/// Reads --op, --region and --ellipse. Values are numbers or the names of choices; one out of range is
/// refused with its range.
Parsed<Operations> operations_from(const Arguments& arguments);

/// Applies all steps. The region counts in the pixels of the image as each step finds it.
imaging::Result<imaging::Bitmap> apply_all(const Operations& operations, imaging::Bitmap bitmap,
                                           const imaging::Progress& progress);

}  // namespace quillmark::convert
