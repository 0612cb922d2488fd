#include "support/child.h"

#include <sys/mman.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <new>

namespace quillmark::tests {

// Shared between parent and child, so that it outlives a crash.
struct ChildPage {
    static constexpr int kFailures = 40;
    static constexpr int kText = 300;
    int attempts = 0;
    int failures = 0;
    std::int64_t start_kilobytes = 0;
    char attempt[kText] = {};
    char failure[kFailures][kText] = {};
};

namespace {

// The most memory that was resident at once ("VmHWM"), in kilobytes.
std::int64_t peak_kilobytes() {
    std::ifstream status{"/proc/self/status"};
    for (std::string word; status >> word;) {
        if (word != "VmHWM:") continue;
        std::int64_t value = 0;
        status >> value;
        return value;
    }
    return 0;
}

void keep(char (&place)[ChildPage::kText], const std::string& what) { what.copy(place, sizeof place - 1); }

std::string how_it_ended(int status) {
    if (WIFEXITED(status))
        return WEXITSTATUS(status) == 0 ? ""
                                        : "stopped by a check, status " + std::to_string(WEXITSTATUS(status));
    if (WTERMSIG(status) == SIGPROF) return "took more than a second";
    return std::string{"crashed: "} + strsignal(WTERMSIG(status));
}

}  // namespace

void ChildLog::trying(const std::string& what) {
    ++page_.attempts;
    std::memset(page_.attempt, 0, sizeof page_.attempt);
    keep(page_.attempt, what);
    const itimerval second{{0, 0}, {1, 0}};
    setitimer(ITIMER_PROF, &second, nullptr);
}

void ChildLog::fail(const std::string& why) {
    if (page_.failures == ChildPage::kFailures) return;
    keep(page_.failure[page_.failures++], std::string{page_.attempt} + ": " + why);
}

std::int64_t ChildLog::grown_kilobytes() const { return peak_kilobytes() - page_.start_kilobytes; }

ChildReport run_in_child(const std::function<void(ChildLog&)>& body) {
    void* const shared =
        mmap(nullptr, sizeof(ChildPage), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (shared == MAP_FAILED) return {0, {"no memory for the report"}};
    auto* const page = new (shared) ChildPage;
    std::fflush(nullptr);
    const pid_t child = fork();
    if (child == 0) {
        page->start_kilobytes = peak_kilobytes();
        ChildLog log{*page};
        body(log);
        _exit(0);
    }
    int status = 0;
    ChildReport report;
    if (child < 0 || waitpid(child, &status, 0) != child) {
        report.failures.emplace_back("no child process");
    } else {
        const std::string end = how_it_ended(status);
        if (!end.empty()) report.failures.push_back(std::string{page->attempt} + ": " + end);
    }
    report.attempts = page->attempts;
    for (int i = 0; i < page->failures; ++i) report.failures.emplace_back(page->failure[i]);
    munmap(shared, sizeof(ChildPage));
    return report;
}

bool memory_can_be_measured() {
#if defined(__SANITIZE_ADDRESS__)
    return false;
#else
    return true;
#endif
}

}  // namespace quillmark::tests
