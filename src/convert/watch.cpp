#include "convert/watch.h"

#include <unistd.h>
#include <csignal>
#include <cstdio>
#include <utility>

namespace quillmark::convert {
namespace {

volatile std::sig_atomic_t g_stop = 0;

}  // namespace

void watch_for_stop() {
    struct sigaction action {};
    action.sa_handler = [](int) { g_stop = 1; };
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
}

bool stop_requested() { return g_stop != 0; }

Progress::Progress() : shown_on_terminal_{isatty(STDERR_FILENO) == 1} {}

Progress::~Progress() {
    if (line_open_) std::fprintf(stderr, "\r\033[K");
}

void Progress::stage(std::string name) {
    stage_ = std::move(name);
    percent_ = -1;
}

bool Progress::step(std::int64_t done, std::int64_t total) {
    const std::int64_t percent = total > 0 ? done * 100 / total : 0;
    if (shown_on_terminal_ && percent != percent_) {
        std::fprintf(stderr, "\r\033[K%s %d %%", stage_.c_str(), static_cast<int>(percent));
        line_open_ = true;
        percent_ = percent;
    }
    return !stop_requested();
}

}  // namespace quillmark::convert
