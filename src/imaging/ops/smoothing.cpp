#include "imaging/ops/operation.h"

namespace quillmark::imaging {

std::span<const Operation> smoothing_operations() { return {}; }

}  // namespace quillmark::imaging
