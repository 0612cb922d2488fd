#include "imaging/ops/operation.h"

namespace quillmark::imaging {

std::span<const Operation> turning_operations() { return {}; }

}  // namespace quillmark::imaging
