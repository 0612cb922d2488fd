#include "imaging/threads.h"

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <mutex>
#include <thread>
#include <vector>

namespace quillmark::imaging {
namespace {

std::atomic<int> g_thread_count{0};

struct Job {
    const std::function<void(int, int)>* body = nullptr;
    int count = 0;
    int band = 0;
    std::atomic<int> next{0};
    int working = 0;  // workers inside this job, guarded by the pool's mutex

    void run() {
        for (int first = next.fetch_add(band); first < count; first = next.fetch_add(band)) {
            (*body)(first, std::min(first + band, count));
        }
    }
};

// Workers sleep until a job is posted; one job runs at a time, a second caller meanwhile works alone.
class Pool {
  public:
    bool try_run(Job& job, int helpers) {
        std::unique_lock lock{mutex_};
        if (current_) return false;
        while (static_cast<int>(workers_.size()) < helpers) workers_.emplace_back([this] { work(); });
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

void set_thread_count(int count) { g_thread_count.store(std::max(count, 0)); }

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
    job.band = std::max(grain, (count + threads * 4 - 1) / (threads * 4));
    const int bands = (count + job.band - 1) / job.band;
    if (!pool().try_run(job, std::min(threads, bands) - 1)) job.run();
}

}  // namespace quillmark::imaging
