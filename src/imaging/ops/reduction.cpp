#include "imaging/ops/operation.h"

namespace quillmark::imaging {

std::span<const Operation> reduction_operations() { return {}; }

}  // namespace quillmark::imaging
