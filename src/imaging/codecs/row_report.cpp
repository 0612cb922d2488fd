#include "imaging/codecs/row_report.h"

namespace quillmark::imaging {

bool RowReporter::finished(int first, int last) {
    {
        const std::scoped_lock lock {mutex_};
        // Bottom-up files finish their rows in descending order.
        if (!pending_.empty() && pending_.back().second == first)
            pending_.back().second = last;
        else if (!pending_.empty() && pending_.back().first == last)
            pending_.back().first = first;
        else
            pending_.emplace_back(first, last);
    }
    if (std::this_thread::get_id() == owner_) report();
    return !stopped();
}

bool RowReporter::close() {
    report();
    return !stopped();
}

void RowReporter::report() {
    std::vector<std::pair<int, int>> ready;
    {
        const std::scoped_lock lock {mutex_};
        ready.swap(pending_);
    }
    for (const auto& [first, last] : ready) {
        if (stopped()) return;
        done_ += last - first;
        if (!sink_.rows(bitmap_, first, last, done_, total_)) stopped_.store(true, std::memory_order_relaxed);
    }
}

}  // namespace quillmark::imaging
