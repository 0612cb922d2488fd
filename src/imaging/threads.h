// A pool of parked workers. Starting a thread per call gains nothing below 30 ms; waking a parked one does.
#pragma once

#include <functional>

namespace quillmark::imaging {

/// Threads that share work, the caller included (the machine's cores unless set).
int thread_count();
/// For tests and benchmarks; 0 returns to the machine's cores.
void set_thread_count(int count);

/// Calls body(first, last) over disjoint bands that cover [0, count), on the workers and the caller, and
/// returns when all are done. Bands hold at least grain items. Results must not depend on the split. body
/// may throw std::bad_alloc and nothing else: it is thrown again here once all threads have ended.
void parallel_bands(int count, int grain, const std::function<void(int first, int last)>& body);

}  // namespace quillmark::imaging
