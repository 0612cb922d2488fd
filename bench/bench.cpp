// quillmark-bench [--json] [--peers] [--threads N] [--pairs N] [FILTER]: what opening a file and each
// operation cost, in time and memory.
//
// Every figure is the median of interleaved pairs: the case, then a copy of as many bytes as it works on, in
// the same process. The ratio is what to compare; milliseconds belong to the machine. FILTER keeps the cases
// whose name contains it.
#include <charconv>
#include <cstdio>
#include <filesystem>
#include <string_view>

#include "imaging/threads.h"
#include "measure.h"
#include "report.h"

namespace quillmark::bench {
namespace {

int run(const Options& options) {
    imaging::set_thread_count(options.threads);
    if (!options.json) {
        std::printf("%s, %d threads, medians of %d pairs\n", processor().c_str(), imaging::thread_count(),
                    options.pairs);
    }
    int measured = 0;
    for (const auto cases : {run_open_cases, run_operation_cases}) {
        const int count = cases(options);
        if (count < 0) return 1;
        measured += count;
    }
    if (measured == 0) std::fprintf(stderr, "no case is called %s\n", options.filter.c_str());
    return measured > 0 ? 0 : 1;
}

int usage() {
    std::fprintf(stderr,
                 "usage: quillmark-bench [--json] [--peers] [--threads N] [--pairs N] [FILTER]\n"
                 "  --json       one JSON object a line\n"
                 "  --peers      also whole processes of other programs, where they are installed\n"
                 "  --threads N  threads that share the work (default: all cores)\n"
                 "  --pairs N    pairs a figure is the median of (default 15; fewer do not count)\n"
                 "  FILTER       only cases whose name contains this\n");
    return 2;
}

bool read_number(const char* text, int& number) {
    const char* const end = text + std::string_view{text}.size();
    return std::from_chars(text, end, number).ptr == end && number > 0;
}

}  // namespace
}  // namespace quillmark::bench

int main(int argc, char** argv) {
    using namespace quillmark::bench;
    Options options;
    std::error_code unknown;
    options.self = std::filesystem::read_symlink("/proc/self/exe", unknown);
    for (int i = 1; i < argc; ++i) {
        const std::string_view word = argv[i];
        const bool more = i + 1 < argc;
        if (word == "--memory-of" && more) return memory_of(argv[i + 1]);
        if (word == "--json") {
            options.json = true;
        } else if (word == "--peers") {
            options.peers = true;
        } else if (word == "--threads" && more) {
            if (!read_number(argv[++i], options.threads)) return usage();
        } else if (word == "--pairs" && more) {
            if (!read_number(argv[++i], options.pairs)) return usage();
        } else if (word.starts_with("-")) {
            return usage();
        } else {
            options.filter = word;
        }
    }
    return run(options);
}
