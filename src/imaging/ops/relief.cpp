#include "imaging/ops/operation.h"

namespace quillmark::imaging {

std::span<const Operation> relief_operations() { return {}; }

}  // namespace quillmark::imaging
