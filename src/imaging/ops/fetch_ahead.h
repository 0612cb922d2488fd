// Memory that a loop will need soon.
#pragma once

#include <cstdint>

namespace quillmark::imaging {

/// Asks for the memory that follows at, far enough on. For loops that do much with each byte: there the
/// processor cannot run ahead far enough by itself (measured: counting takes half the time). Addresses beyond
/// the end do no harm.
inline void fetch_ahead(const void* at) { __builtin_prefetch(static_cast<const std::uint8_t*>(at) + 4096); }

}  // namespace quillmark::imaging
