// The row loop of all operations: shares rows over the cores, reports progress, stops when asked to.
#pragma once

#include <functional>

#include "imaging/ops/context.h"
#include "imaging/result.h"

namespace quillmark::imaging {

/// Calls body(first, last) over disjoint bands that cover rows [0, count), on several threads. Bands hold
/// about grain rows or more; they grow while they take a few milliseconds at most and shrink when they take
/// longer, so that the loop can be stopped within moments. body's result must not depend on the
/// split; parallel_bands says what it may throw. Gives Fault::cancelled when progress (may be empty) says
/// stop; rows are then missing.
Result<void> parallel_rows(int count, int grain, const Progress& progress,
                           const std::function<void(int first, int last)>& body);
inline Result<void> parallel_rows(int count, int grain, const Context& context,
                                  const std::function<void(int first, int last)>& body) {
    return parallel_rows(count, grain, context.progress, body);
}

/// What part number index of count parts of a piece of work tells, so that the whole goes from 0 to its total
/// once. Empty when progress is; progress outlives what is returned.
Progress stage_of(const Progress& progress, int index, int count);

}  // namespace quillmark::imaging
