#include "imaging/ops/operation.h"

namespace quillmark::imaging {

std::span<const Operation> colour_operations() { return {}; }

}  // namespace quillmark::imaging
