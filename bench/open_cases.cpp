// What opening a file costs, in time and memory.
#include <tiffio.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "convert/json.h"
#include "imaging/load.h"
#include "imaging/threads.h"
#include "inputs.h"
#include "libraries.h"
#include "measure.h"
#include "report.h"

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
    figures.library_hash = hash_of(warm);
    figures.library_ms = median(library);
    figures.ratio_library = median(ratios_library);
    return figures;
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

}  // namespace

int memory_of(const std::string& path) {
    const std::int64_t idle = peak_kilobytes();
    const imaging::Bitmap bitmap = open(path);
    const auto pixels = static_cast<std::int64_t>(bitmap.byte_count() / 1024);
    std::printf("%lld %lld %lld\n", static_cast<long long>(idle), static_cast<long long>(peak_kilobytes()),
                static_cast<long long>(pixels));
    return 0;
}

int run_open_cases(const Options& options) {
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
            return -1;
        }
        if (chosen) print(measure(each, path, options), options);
        if (memory_chosen) print_memory(each, path, options);
        if (options.peers) print_peers(each, path, options);
        fs::remove(path);
        ++measured;
    }
    return measured;
}

}  // namespace quillmark::bench
