// quillmark-bench [--json] [--peers] [--threads N] [--pairs N] [FILTER]: what opening a file costs, in time
// and memory.
//
// Every figure is the median of interleaved pairs: the case, then a copy of as many bytes as it delivers, in
// the same process. The ratio is what to compare; milliseconds belong to the machine. Cases go through load
// with progress on, as the program does. FILTER keeps the cases whose name contains it.
#include <tiffio.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "convert/json.h"
#include "imaging/load.h"
#include "imaging/threads.h"
#include "inputs.h"
#include "libraries.h"
#include "measure.h"

namespace quillmark::bench {
namespace {

namespace fs = std::filesystem;

struct Inputs;

struct Case {
    std::string_view name;
    std::string_view file;
    bool (*write)(const std::string& path, const Inputs& inputs);
    LibraryDecode library = nullptr;  ///< the codec library alone, where there is one to compare with
};

/// Made when the first case needs them.
struct Inputs {
    const Picture& picture() const {
        static const Picture made = landscape(kWidth, kHeight);
        return made;
    }
};

constexpr Case kCases[] = {
    {"open_jpeg", "a.jpg",
     [](const std::string& path, const Inputs& in) { return write_jpeg(path, in.picture(), 90); },
     library_jpeg},
    {"open_png", "a.png",
     [](const std::string& path, const Inputs& in) { return write_png(path, in.picture()); }, library_png},
    {"open_tiff", "a.tif",
     [](const std::string& path, const Inputs& in) {
         return write_tiff(path, in.picture(), COMPRESSION_NONE);
     },
     library_tiff},
    {"open_tiff_lzw", "lzw.tif",
     [](const std::string& path, const Inputs& in) {
         return write_tiff(path, in.picture(), COMPRESSION_LZW);
     },
     library_tiff},
    {"open_bmp", "a.bmp",
     [](const std::string& path, const Inputs& in) { return write_bmp(path, in.picture()); }},
    {"open_tga", "a.tga",
     [](const std::string& path, const Inputs& in) { return write_tga(path, in.picture(), false); }},
    {"open_sun", "a.ras",
     [](const std::string& path, const Inputs& in) { return write_sun(path, in.picture(), false); }},
    {"open_pcx", "a.pcx",
     [](const std::string& path, const Inputs& in) { return write_pcx(path, in.picture()); }},
    {"open_sun_rle", "rle.ras",
     [](const std::string& path, const Inputs& in) { return write_sun(path, in.picture(), true); }},
    {"open_tga_rle", "rle.tga",
     [](const std::string& path, const Inputs& in) { return write_tga(path, in.picture(), true); }},
    {"open_gif", "a.gif",
     [](const std::string& path, const Inputs& in) { return write_gif(path, in.picture()); }},
    {"open_g4", "g4.tif",
     [](const std::string& path, const Inputs&) {
         return write_g4(path, kPageWidth, kPageHeight, page(kPageWidth, kPageHeight));
     },
     library_tiff},
};

/// Files whose memory is measured as well.
constexpr std::string_view kMemoryCases[] = {"open_bmp", "open_jpeg", "open_png", "open_g4"};

struct Options {
    bool json = false;
    bool peers = false;
    int threads = 0;
    int pairs = 15;
    std::string filter;
    std::string self;  ///< this program, for children
};

/// A folder for the inputs that goes away at the end.
class Folder {
  public:
    Folder() {
        std::string name = fs::temp_directory_path() / "quillmark-bench-XXXXXX";
        path_ = mkdtemp(name.data());
    }
    ~Folder() {
        std::error_code ignored;
        fs::remove_all(path_, ignored);
    }
    Folder(const Folder&) = delete;
    Folder& operator=(const Folder&) = delete;
    std::string file(std::string_view name) const { return path_ / name; }

  private:
    fs::path path_;
};

/// Progress as the program has it: somebody listens, nobody stops.
class Listener final : public imaging::RowSink {
  public:
    bool rows(const imaging::Bitmap&, int, int, std::int64_t done, std::int64_t) override {
        done_ = done;
        return true;
    }

  private:
    volatile std::int64_t done_ = 0;
};

imaging::Bitmap open(const std::string& path) {
    Listener listener;
    auto outcome = imaging::load(path, {}, listener);
    if (outcome && outcome->rows_shown == outcome->rows_declared) return std::move(outcome->bitmap);
    std::fprintf(stderr, "%s: %s\n", path.c_str(),
                 outcome ? "incomplete" : std::string{outcome.error().where.text()}.c_str());
    std::exit(1);
}

/// FNV-1a over the pixels of a buffer or bitmap.
class Hash {
  public:
    void add(std::span<const std::uint8_t> bytes) {
        for (const std::uint8_t byte : bytes) value_ = (value_ ^ byte) * 1'099'511'628'211U;
    }
    std::string text() const {
        std::array<char, 17> digits{};
        std::snprintf(digits.data(), digits.size(), "%016llx", static_cast<unsigned long long>(value_));
        return digits.data();
    }

  private:
    std::uint64_t value_ = 14'695'981'039'346'656'037U;
};

std::string hash_of(const imaging::Bitmap& bitmap) {
    Hash hash;
    for (int y = 0; y < bitmap.height(); ++y) hash.add(bitmap.row(y));
    return hash.text();
}

struct Figures {
    std::string name;
    int threads = 0;
    double megapixels = 0, ms = 0, memcpy_ms = 0, ratio = 0, cold_ms = 0;
    std::string hash;
    std::optional<double> library_ms, ratio_library;
    std::string library_hash;
};

Figures measure(const Case& each, const std::string& path, const Options& options) {
    Figures figures;
    figures.name = each.name;
    figures.threads = imaging::thread_count();
    forget(path);
    imaging::release_pooled_buffers();
    imaging::Bitmap bitmap;
    figures.cold_ms = milliseconds([&] { bitmap = open(path); });
    figures.megapixels = static_cast<double>(bitmap.width()) * bitmap.height() / 1e6;
    figures.hash = hash_of(bitmap);
    const std::size_t bytes = bitmap.row_bytes() * static_cast<std::size_t>(bitmap.height());
    bitmap = {};
    Copier copier{bytes};
    std::vector<std::uint8_t> warm(each.library ? bytes : 0, 1);
    std::vector<double> own, copy, library, ratios, ratios_library;
    for (int pair = 0; pair < options.pairs; ++pair) {
        own.push_back(milliseconds([&] { open(path); }));
        copy.push_back(copier.milliseconds());
        ratios.push_back(own.back() / copy.back());
        if (!each.library) continue;
        bool read = false;
        library.push_back(milliseconds([&] { read = each.library(path, warm); }));
        if (!read) {
            std::fprintf(stderr, "%s: the library alone failed\n", path.c_str());
            std::exit(1);
        }
        ratios_library.push_back(own.back() / library.back());
    }
    figures.ms = median(own);
    figures.memcpy_ms = median(copy);
    figures.ratio = median(ratios);
    if (!each.library) return figures;
    Hash hash;
    hash.add(warm);
    figures.library_hash = hash.text();
    figures.library_ms = median(library);
    figures.ratio_library = median(ratios_library);
    return figures;
}

void print(const Figures& figures, const Options& options) {
    if (options.json) {
        convert::JsonObject object;
        object.text("name", figures.name)
            .number("threads", figures.threads)
            .real("megapixels", figures.megapixels);
        object.real("ms", figures.ms).real("memcpy_ms", figures.memcpy_ms).real("ratio", figures.ratio);
        object.number("pairs", options.pairs).real("cold_ms", figures.cold_ms).text("hash", figures.hash);
        if (figures.library_ms) {
            object.real("library_ms", *figures.library_ms).real("ratio_library", *figures.ratio_library);
            object.boolean("same_as_library", figures.hash == figures.library_hash);
        }
        std::printf("%s\n", object.text("cpu", processor()).line().c_str());
    } else {
        std::printf("%-14s %d threads %6.1f MP %8.1f ms  memcpy %5.2f ms  ratio %6.2f  cold %7.1f ms",
                    figures.name.c_str(), figures.threads, figures.megapixels, figures.ms, figures.memcpy_ms,
                    figures.ratio, figures.cold_ms);
        if (figures.library_ms) {
            std::printf("  library %7.1f ms  ratio %5.2f%s", *figures.library_ms, *figures.ratio_library,
                        figures.hash == figures.library_hash ? " (same pixels)" : "");
        }
        std::printf("  %s\n", figures.hash.c_str());
    }
    std::fflush(stdout);
}

void print_memory(const Case& each, const std::string& path, const Options& options) {
    const std::string told = output_of({options.self, "--memory-of", path});
    long long idle = 0, peak = 0, pixels = 0;
    if (std::sscanf(told.c_str(), "%lld %lld %lld", &idle, &peak, &pixels) != 3) {
        std::fprintf(stderr, "memory of %s: no figures\n", path.c_str());
        return;
    }
    const std::string name = "memory_" + std::string{each.name};
    if (options.json) {
        const convert::JsonObject object = convert::JsonObject{}
                                               .text("name", name)
                                               .number("threads", imaging::thread_count())
                                               .number("idle_kb", idle)
                                               .number("peak_kb", peak)
                                               .number("pixels_kb", pixels)
                                               .number("over_pixels_kb", peak - idle - pixels);
        std::printf("%s\n", object.line().c_str());
    } else {
        std::printf("%-18s idle %6lld KB  peak %7lld KB  pixels %6lld KB  over %lld KB\n", name.c_str(), idle,
                    peak, pixels, peak - idle - pixels);
    }
    std::fflush(stdout);
}

// Whole processes, ours among them: each is timed as often, in turn.
void print_peers(const Case& each, const std::string& path, const Options& options) {
    const std::vector<std::pair<std::string, std::vector<std::string>>> tools{
        {"quillmark", {options.self, "--memory-of", path}},
        {"imagemagick", {"convert", path, "null:"}},
        {"graphicsmagick", {"gm", "convert", path, "null:"}},
    };
    constexpr int kRuns = 5;
    std::map<std::string, std::vector<double>> walls;
    for (int run = 0; run < kRuns; ++run) {
        for (const auto& [tool, words] : tools) {
            if (const auto wall = run_program(words)) walls[tool].push_back(*wall);
        }
    }
    const double own = median(walls["quillmark"]);
    for (const auto& [tool, words] : tools) {
        if (walls[tool].empty()) continue;  // not installed, or it refuses the file
        const double wall = median(walls[tool]);
        const std::string name = "process_" + std::string{each.name};
        if (options.json) {
            const convert::JsonObject object = convert::JsonObject{}
                                                   .text("name", name)
                                                   .text("tool", tool)
                                                   .real("ms", wall)
                                                   .real("times_ours", wall / own);
            std::printf("%s\n", object.line().c_str());
        } else {
            std::printf("%-20s %-15s %8.1f ms  %6.2f of ours\n", name.c_str(), tool.c_str(), wall,
                        wall / own);
        }
    }
    std::fflush(stdout);
}

// The child of the memory figures: opens one file and tells what it took.
int memory_of(const std::string& path) {
    const std::int64_t idle = peak_kilobytes();
    const imaging::Bitmap bitmap = open(path);
    const auto pixels = static_cast<std::int64_t>(bitmap.byte_count() / 1024);
    std::printf("%lld %lld %lld\n", static_cast<long long>(idle), static_cast<long long>(peak_kilobytes()),
                static_cast<long long>(pixels));
    return 0;
}

int run(const Options& options) {
    imaging::set_thread_count(options.threads);
    if (!options.json) {
        std::printf("%s, %d threads, medians of %d pairs\n", processor().c_str(), imaging::thread_count(),
                    options.pairs);
    }
    const Folder folder;
    int measured = 0;
    for (const Case& each : kCases) {
        const bool with_memory = std::ranges::find(kMemoryCases, each.name) != std::end(kMemoryCases);
        const bool chosen = each.name.find(options.filter) != std::string_view::npos;
        const bool memory_chosen =
            with_memory && ("memory_" + std::string{each.name}).find(options.filter) != std::string::npos;
        if (!chosen && !memory_chosen) continue;
        const std::string path = folder.file(each.file);
        if (!each.write(path, Inputs{})) {
            std::fprintf(stderr, "%s cannot be written\n", path.c_str());
            return 1;
        }
        if (chosen) print(measure(each, path, options), options);
        if (memory_chosen) print_memory(each, path, options);
        if (options.peers) print_peers(each, path, options);
        fs::remove(path);
        ++measured;
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
