#include "imaging/ops/row_loop.h"

#include <algorithm>
#include <atomic>

#include "imaging/threads.h"

namespace quillmark::imaging {

Result<void> parallel_rows(int count, int grain, const Context& context,
                           const std::function<void(int first, int last)>& body) {
    std::atomic<std::int64_t> done{0};
    std::atomic<bool> stopped{false};
    grain = std::max(grain, 1);
    // A twentieth of the work is a fair step for a gauge and for stopping.
    const int step = std::max(grain, count / 32);
    parallel_bands(count, step, [&](int first, int last) {
        for (int from = first; from < last && !stopped; from += step) {
            const int to = std::min(from + step, last);
            body(from, to);
            const std::int64_t now = done.fetch_add(to - from) + to - from;
            if (context.progress && !context.progress(now, count)) stopped = true;
        }
    });
    if (stopped) return Error{Fault::cancelled, "stopped"};
    return {};
}

}  // namespace quillmark::imaging
