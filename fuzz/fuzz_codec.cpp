// One codec under libFuzzer: any bytes must end in an outcome or an error. The build makes one program per
// codec and sets QUILLMARK_FUZZ_CODEC to its name.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <span>

#include "imaging/codec.h"

namespace quillmark::imaging::codecs {
extern const Codec QUILLMARK_FUZZ_CODEC;
}

namespace {

using namespace quillmark::imaging;

/// Small enough that an input takes milliseconds; what lies beyond is refused before it is decoded.
constexpr std::int64_t kMaxPixels = 4'000'000;

void require(bool condition, const char* what) {
    if (condition) return;
    std::fprintf(stderr, "broken promise: %s\n", what);
    std::abort();
}

class CheckingSink final : public RowSink {
  public:
    void begin(const Bitmap& bitmap) override { height_ = bitmap.height(); }
    bool rows(const Bitmap&, int first, int last, std::int64_t done, std::int64_t total) override {
        require(first >= 0 && first <= last && last <= height_, "reports rows that exist");
        require(done >= 0 && done <= total, "reports no more done than there is");
        return true;
    }

  private:
    int height_ = 0;
};

void check(const Result<ImageInfo>& info, const Result<Outcome>& outcome) {
    if (!outcome) return;
    const Bitmap& bitmap = outcome->bitmap;
    require(!bitmap.empty(), "an outcome has pixels");
    require(outcome->rows_shown >= 1 && outcome->rows_shown <= outcome->rows_declared,
            "shows no more rows than declared");
    if (!info) return;
    require(info->width == bitmap.width() && info->height == bitmap.height(),
            "info and bitmap agree on sides");
    require(info->bits == bitmap.bits(), "info and bitmap agree on depth");
    require(info->page >= 1 && info->page <= info->pages, "pages are counted");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const Codec& tested = codecs::QUILLMARK_FUZZ_CODEC;
    const std::span bytes{data, size};
    const ByteReader reader{memory_source(bytes)};
    ReadOptions options;
    options.limits.max_pixels = kMaxPixels;
    options.limits.max_bytes = kMaxPixels * 4;
    options.limits.max_bilevel_side = kMaxPixels;
    // The page is taken from the data, so that later pages are reached as well.
    options.page = size > 0 ? 1 + data[size - 1] % 4 : 1;
    CheckingSink sink;
    tested.probe(bytes.first(size < 4096 ? size : 4096));
    const auto info = tested.info(reader, options);
    check(info, tested.decode(reader, options, sink));
    if (tested.stamp) check(Error{Fault::no_stamp, ""}, tested.stamp(reader, options));
    return 0;
}
