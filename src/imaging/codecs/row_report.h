// Rows that several threads finish, passed on to the sink by the thread that decodes.
#pragma once

#include <atomic>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

#include "imaging/codec.h"

namespace quillmark::imaging {

/// Collects finished rows from any thread; only the thread that made the reporter calls the sink.
class RowReporter {
  public:
    RowReporter(RowSink& sink, const Bitmap& bitmap, int total)
        : sink_ {sink}, bitmap_ {bitmap}, total_ {total}, owner_ {std::this_thread::get_id()} {}

    /// Rows [first, last) hold their pixels. False: the user stopped, leave.
    bool finished(int first, int last);
    /// Reports what is left, after all threads are done. False: the user stopped.
    bool close();
    bool stopped() const { return stopped_.load(std::memory_order_relaxed); }

  private:
    void report();

    RowSink& sink_;
    const Bitmap& bitmap_;
    const int total_;
    const std::thread::id owner_;
    std::mutex mutex_;
    std::vector<std::pair<int, int>> pending_;
    int done_ = 0;
    std::atomic<bool> stopped_ {false};
};

}  // namespace quillmark::imaging
