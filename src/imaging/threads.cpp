#include "imaging/threads.h"

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <exception>
#include <mutex>
#include <new>
#include <thread>
#include <vector>

namespace quillmark::imaging {
namespace {

constexpr int kMaxThreads = 256;

std::atomic<int> g_thread_count{0};

struct Job {
    const std::function<void(int, int)>* body = nullptr;
    int count = 0;
    int band = 0;
    std::atomic<std::int64_t> next{0};  // runs past count by a band per thread
    std::atomic<bool> short_of_memory{false};
    int working = 0;  // workers inside this job, guarded by the pool's mutex

    // An exception must not leave a worker's thread: the caller throws it again.
    void run() {
        try {
            for (std::int64_t first = next.fetch_add(band); first < count && !short_of_memory;
                 first = next.fetch_add(band)) {
                (*body)(static_cast<int>(first),
                        static_cast<int>(std::min<std::int64_t>(first + band, count)));
            }
        } catch (const std::bad_alloc&) {
            short_of_memory = true;
        }
    }
};

// Workers sleep until a job is posted; one job runs at a time, a second caller meanwhile works alone.
class Pool {
  public:
    bool try_run(Job& job, int helpers) {
        std::unique_lock lock{mutex_};
        if (current_) return false;
        start_workers(helpers);
        current_ = &job;
        wanted_ = helpers;
        lock.unlock();
        wake_.notify_all();
        job.run();
        lock.lock();
        current_ = nullptr;
        done_.wait(lock, [&] { return job.working == 0; });
        return true;
    }

  private:
    // Where the system grants no more threads, those that there are do the work.
    void start_workers(int count) {
        try {
            while (static_cast<int>(workers_.size()) < count) workers_.emplace_back([this] { work(); });
        } catch (const std::exception&) {
        }
    }

    void work() {
        std::unique_lock lock{mutex_};
        for (;;) {
            wake_.wait(lock, [this] { return current_ && wanted_ > 0; });
            Job& job = *current_;
            --wanted_;
            ++job.working;
            lock.unlock();
            job.run();
            lock.lock();
            if (--job.working == 0) done_.notify_all();
        }
    }

    std::mutex mutex_;
    std::condition_variable wake_, done_;
    std::vector<std::thread> workers_;
    Job* current_ = nullptr;
    int wanted_ = 0;
};

// Never destroyed: the parked workers live as long as the process.
Pool& pool() {
    static Pool* const instance = new Pool;
    return *instance;
}

}  // namespace

int thread_count() {
    const int set = g_thread_count.load();
    return set > 0 ? set : std::max(1, static_cast<int>(std::thread::hardware_concurrency()));
}

void set_thread_count(int count) { g_thread_count.store(std::clamp(count, 0, kMaxThreads)); }

void parallel_bands(int count, int grain, const std::function<void(int, int)>& body) {
    if (count <= 0) return;
    const int threads = thread_count();
    grain = std::max(grain, 1);
    if (threads == 1 || count <= grain) {
        body(0, count);
        return;
    }
    Job job;
    job.body = &body;
    job.count = count;
    job.band = std::max(grain, (count - 1) / (threads * 4) + 1);
    const int bands = (count - 1) / job.band + 1;
    if (!pool().try_run(job, std::min(threads, bands) - 1)) job.run();
    if (job.short_of_memory) throw std::bad_alloc{};
}

}  // namespace quillmark::imaging
