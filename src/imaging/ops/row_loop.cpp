#include "imaging/ops/row_loop.h"

#include <algorithm>
#include <atomic>
#include <chrono>

#include "imaging/threads.h"

namespace quillmark::imaging {
namespace {

using Clock = std::chrono::steady_clock;

// Between these a band is long enough to be worth its start and short enough to be waited for.
constexpr std::chrono::milliseconds kShort{2}, kLong{8};

}  // namespace

Result<void> parallel_rows(int count, int grain, const Progress& progress,
                           const std::function<void(int first, int last)>& body) {
    std::atomic<std::int64_t> done{0};
    std::atomic<bool> stopped{false};
    grain = std::max(grain, 1);
    // A thirtieth of the work is a fair step for a gauge.
    const int most = std::max(grain, count / 32);
    std::atomic<int> step{grain};
    parallel_bands(count, most, [&](int first, int last) {
        for (int from = first; from < last && !stopped;) {
            const int rows = std::min(step.load(std::memory_order_relaxed), last - from);
            const auto start = Clock::now();
            body(from, from + rows);
            const auto took = Clock::now() - start;
            from += rows;
            if (took > kLong)
                step = std::max(rows / 2, grain);
            else if (took < kShort)
                step = std::clamp(rows * 2, step.load(), most);
            const std::int64_t now = done.fetch_add(rows) + rows;
            if (progress && !progress(now, count)) stopped = true;
        }
    });
    if (stopped) return Error{Fault::cancelled, "stopped"};
    return {};
}

Progress stage_of(const Progress& progress, int index, int count) {
    if (!progress) return {};
    return [&progress, index, count](std::int64_t done, std::int64_t total) {
        return progress(index * total + done, count * total);
    };
}

}  // namespace quillmark::imaging
