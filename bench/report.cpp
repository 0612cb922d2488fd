#include "report.h"

#include <array>
#include <cstdio>

#include "convert/json.h"
#include "measure.h"

namespace quillmark::bench {
namespace {

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

}  // namespace

std::string hash_of(std::span<const std::uint8_t> bytes) {
    Hash hash;
    hash.add(bytes);
    return hash.text();
}

std::string hash_of(const imaging::Bitmap& bitmap) {
    Hash hash;
    for (int y = 0; y < bitmap.height(); ++y) hash.add(bitmap.row(y));
    return hash.text();
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

}  // namespace quillmark::bench
