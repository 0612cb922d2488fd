#include "imaging/ops/operation.h"

namespace quillmark::imaging {

std::span<const Operation> tone_operations() { return {}; }

}  // namespace quillmark::imaging
