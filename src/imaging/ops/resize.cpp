#include "imaging/ops/operation.h"

namespace quillmark::imaging {

std::span<const Operation> resize_operations() { return {}; }

}  // namespace quillmark::imaging
