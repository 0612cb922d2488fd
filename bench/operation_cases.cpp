// What each operation costs, through the engine call that the program makes: progress on, the undo copy held.
#include <QApplication>
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "engine/engine.h"
#include "imaging/threads.h"
#include "inputs.h"
#include "measure.h"
#include "report.h"

namespace quillmark::bench {
namespace {

using engine::Code;
using engine::Engine;

enum class Input { colour, bilevel };

struct Case {
    std::string_view name;
    Input input;
    Code (*run)(Engine& image);
};

constexpr int kLanczos = 1, kArea = 2;              // flags of Size
constexpr int kOptimised = 1, kFloydSteinberg = 1;  // options of ColorRes

constexpr Case kCases[] = {
    {"intensity", Input::colour, [](Engine& e) { return e.Intensity(137); }},
    {"contrast", Input::colour, [](Engine& e) { return e.Contrast(250); }},
    {"gamma", Input::colour, [](Engine& e) { return e.GammaCorrect(150); }},
    {"posterize", Input::colour, [](Engine& e) { return e.Posterize(6); }},
    {"stretch", Input::colour, [](Engine& e) { return e.StretchIntensity(); }},
    {"invert", Input::colour, [](Engine& e) { return e.Invert(); }},
    {"grayscale", Input::colour, [](Engine& e) { return e.Grayscale(8); }},
    {"hue", Input::colour, [](Engine& e) { return e.Hue(300); }},
    {"saturation", Input::colour, [](Engine& e) { return e.Saturation(300); }},
    {"equalize", Input::colour, [](Engine& e) { return e.HistoEqualize(); }},
    {"average3", Input::colour, [](Engine& e) { return e.Average(3); }},
    {"average15", Input::colour, [](Engine& e) { return e.Average(15); }},
    {"median3", Input::colour, [](Engine& e) { return e.Median(3); }},
    {"median5", Input::colour, [](Engine& e) { return e.Median(5); }},
    {"median15", Input::colour, [](Engine& e) { return e.Median(15); }},
    {"sharpen", Input::colour, [](Engine& e) { return e.Sharpen(500); }},
    {"emboss", Input::colour, [](Engine& e) { return e.Emboss(100); }},
    {"sobel", Input::colour, [](Engine& e) { return e.SpatialFilter(20); }},
    {"prewitt", Input::colour, [](Engine& e) { return e.SpatialFilter(30); }},
    {"laplacian", Input::colour, [](Engine& e) { return e.SpatialFilter(11); }},
    {"rotate90", Input::colour, [](Engine& e) { return e.Rotate(9000, true, Qt::white); }},
    {"rotate_free", Input::colour, [](Engine& e) { return e.Rotate(750, true, Qt::white); }},
    {"shear", Input::colour, [](Engine& e) { return e.Shear(750, true, Qt::white); }},
    {"reverse", Input::colour, [](Engine& e) { return e.Reverse(); }},
    {"flip", Input::colour, [](Engine& e) { return e.Flip(); }},
    {"half", Input::colour, [](Engine& e) { return e.Size(kWidth / 2, kHeight / 2, kArea); }},
    {"area1920", Input::colour, [](Engine& e) { return e.Size(1920, 1280, kArea); }},
    {"resample1920", Input::colour, [](Engine& e) { return e.Size(1920, 1280, kLanczos); }},
    {"mosaic", Input::colour, [](Engine& e) { return e.Mosaic(10); }},
    {"colors", Input::colour, [](Engine& e) { return static_cast<Code>(e.GetColorCount() > 0 ? 0 : 1); }},
    {"histogram", Input::colour, [](Engine& e) { return e.GetHistogram(0); }},
    {"colorres256", Input::colour, [](Engine& e) { return e.ColorRes(8, kOptimised, kFloydSteinberg, 0); }},
    {"colorres1", Input::colour, [](Engine& e) { return e.ColorRes(1, 0, kFloydSteinberg, 0); }},
    {"separate_rgb", Input::colour, [](Engine& e) { return e.ColorSeparate(0); }},
    {"separate_cmyk", Input::colour, [](Engine& e) { return e.ColorSeparate(1); }},
    {"separate_hsv", Input::colour, [](Engine& e) { return e.ColorSeparate(2); }},
    {"bit1_invert", Input::bilevel, [](Engine& e) { return e.Invert(); }},
    {"bit1_flip", Input::bilevel, [](Engine& e) { return e.Flip(); }},
    {"bit1_reverse", Input::bilevel, [](Engine& e) { return e.Reverse(); }},
    {"bit1_rotate90", Input::bilevel, [](Engine& e) { return e.Rotate(9000, true, Qt::white); }},
};

imaging::Bitmap colour_image() {
    const Picture picture = landscape(kWidth, kHeight);
    auto bitmap = imaging::Bitmap::create_unfilled(kWidth, kHeight, 24, {});
    if (!bitmap) std::abort();
    const std::size_t row = static_cast<std::size_t>(kWidth) * 3;
    for (int y = 0; y < kHeight; ++y)
        std::memcpy(bitmap->writable_row(y).data(), &picture.rgb[static_cast<std::size_t>(y) * row], row);
    return *bitmap;
}

imaging::Bitmap bilevel_image() {
    const std::vector<std::uint8_t> bits = page(kPageWidth, kPageHeight);
    auto bitmap = imaging::Bitmap::create_unfilled(kPageWidth, kPageHeight, 1, {});
    if (!bitmap) std::abort();
    bitmap->set_palette({{255, 255, 255, 255}, {0, 0, 0, 255}});
    const std::size_t row = bitmap->row_bytes();
    for (int y = 0; y < kPageHeight; ++y)
        std::memcpy(bitmap->writable_row(y).data(), &bits[static_cast<std::size_t>(y) * row], row);
    return *bitmap;
}

const imaging::Bitmap& image_for(Input input) {
    if (input == Input::bilevel) {
        static const imaging::Bitmap made = bilevel_image();
        return made;
    }
    static const imaging::Bitmap made = colour_image();
    return made;
}

// All that a case leaves behind: pixels, planes, counts.
std::string result_of(Engine& image, const Case& each) {
    if (each.name == "colors") return std::to_string(image.GetColorCount());
    if (each.name == "histogram") return std::to_string(image.HistogramTable(128));
    const imaging::Bitmap plane = image.ColorPlanes(0);
    return hash_of(plane.empty() ? image.Bitmap() : plane);
}

Figures measure(const Case& each, const Options& options) {
    const imaging::Bitmap& source = image_for(each.input);
    Figures figures;
    figures.name = each.name;
    figures.threads = imaging::thread_count();
    figures.megapixels = static_cast<double>(source.width()) * source.height() / 1e6;
    Engine image, undo;
    image.SetEnableProgressEvent(true);
    const auto once = [&] {
        image.SetBitmap(source);
        undo.SetBitmap(image.Bitmap());
        Code code = 0;
        const double took = milliseconds([&] { code = each.run(image); });
        if (code != 0) {
            std::fprintf(stderr, "%s: error %d\n", figures.name.c_str(), code);
            std::exit(1);
        }
        return took;
    };
    imaging::release_pooled_buffers();
    figures.cold_ms = once();
    figures.hash = result_of(image, each);
    Copier copier{source.row_bytes() * static_cast<std::size_t>(source.height())};
    std::vector<double> own, copy, ratios;
    for (int pair = 0; pair < options.pairs; ++pair) {
        own.push_back(once());
        copy.push_back(copier.milliseconds());
        ratios.push_back(own.back() / copy.back());
    }
    figures.ms = median(own);
    figures.memcpy_ms = median(copy);
    figures.ratio = median(ratios);
    return figures;
}

// The public tools, where they are installed, measured in their own process against its own memcpy.
void print_peers(const Options& options) {
    const std::string told =
        output_of({"python3", QUILLMARK_BENCH_FOLDER "/peers.py", "time",
                   std::to_string(imaging::thread_count()), std::to_string(options.pairs), options.filter});
    std::fputs(told.c_str(), stdout);
    if (told.empty()) std::fprintf(stderr, "no peer is installed (python3 with OpenCV)\n");
}

}  // namespace

int run_operation_cases(const Options& options) {
    qputenv("QT_QPA_PLATFORM", "offscreen");
    int count = 1;
    std::string name = "quillmark-bench";
    char* words[] = {name.data(), nullptr};
    const QApplication application{count, words};
    int measured = 0;
    for (const Case& each : kCases) {
        if (each.name.find(options.filter) == std::string_view::npos) continue;
        print(measure(each, options), options);
        ++measured;
    }
    if (options.peers && measured > 0) print_peers(options);
    return measured;
}

}  // namespace quillmark::bench
