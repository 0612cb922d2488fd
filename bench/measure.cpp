#include "measure.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstring>
#include <fstream>

namespace quillmark::bench {
namespace {

// Starts a program with its standard output on out; -1 when that fails. Its complaints are thrown away.
pid_t start(const std::vector<std::string>& words, int out) {
    std::vector<char*> arguments;
    for (const std::string& word : words) arguments.push_back(const_cast<char*>(word.c_str()));
    arguments.push_back(nullptr);
    const pid_t child = fork();
    if (child != 0) return child;
    dup2(out, STDOUT_FILENO);
    dup2(open("/dev/null", O_WRONLY | O_CLOEXEC), STDERR_FILENO);
    execvp(arguments[0], arguments.data());
    _exit(127);
}

bool ended_well(pid_t child) {
    int status = 0;
    return child > 0 && waitpid(child, &status, 0) == child && WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

const char* vector_level() {
#if defined(__x86_64__)
    if (__builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512bw")) return "x86-64-v4";
    if (__builtin_cpu_supports("avx2")) return "x86-64-v3";
    return "x86-64-v2";
#else
    return "baseline";
#endif
}

}  // namespace

double milliseconds(const std::function<void()>& work) {
    const auto start = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
}

double median(std::vector<double> values) {
    if (values.empty()) return 0;
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

std::string processor() {
    std::ifstream file{"/proc/cpuinfo"};
    std::string model = "unknown processor";
    for (std::string line; std::getline(file, line);) {
        if (!line.starts_with("model name")) continue;
        model = line.substr(std::min(line.size(), line.find(':') + 2));
        break;
    }
    return model + ", " + vector_level();
}

void forget(const std::string& path) {
    const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (file < 0) return;
    fsync(file);  // only written pages can be dropped
    posix_fadvise(file, 0, 0, POSIX_FADV_DONTNEED);
    close(file);
}

std::int64_t peak_kilobytes() {
    std::ifstream status{"/proc/self/status"};
    for (std::string word; status >> word;) {
        std::int64_t value = 0;
        if (word == "VmHWM:" && status >> value) return value;
    }
    return 0;
}

std::optional<double> run_program(const std::vector<std::string>& words) {
    const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
    bool well = false;
    const double wall = milliseconds([&] { well = ended_well(start(words, nowhere)); });
    close(nowhere);
    return well ? std::optional{wall} : std::nullopt;
}

std::string output_of(const std::vector<std::string>& words) {
    std::array<int, 2> ends{};
    if (pipe2(ends.data(), O_CLOEXEC) != 0) return {};
    const pid_t child = start(words, ends[1]);
    close(ends[1]);
    std::string text;
    std::array<char, 4096> chunk{};
    for (ssize_t got; (got = read(ends[0], chunk.data(), chunk.size())) > 0;)
        text.append(chunk.data(), static_cast<std::size_t>(got));
    close(ends[0]);
    return ended_well(child) ? text : std::string{};
}

double Copier::milliseconds() {
    return bench::milliseconds([this] { std::memcpy(to_.data(), from_.data(), from_.size()); });
}

}  // namespace quillmark::bench
