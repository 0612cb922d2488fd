// The row loop of all operations: shares rows over the cores, reports progress, stops when asked to.
#pragma once

#include <functional>

#include "imaging/ops/context.h"
#include "imaging/result.h"

namespace quillmark::imaging {

/// Calls body(first, last) over disjoint bands that cover rows [0, count), on several threads. Bands hold
/// grain rows or more and are small enough to be stopped within moments. body's result must not depend
/// on the split; parallel_bands says what it may throw. Gives Fault::cancelled when progress says stop; rows
/// are then missing.
Result<void> parallel_rows(int count, int grain, const Context& context,
                           const std::function<void(int first, int last)>& body);

}  // namespace quillmark::imaging
