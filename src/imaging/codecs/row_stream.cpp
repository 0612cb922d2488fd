#include "imaging/codecs/row_stream.h"

#include <algorithm>
#include <atomic>
#include <cstring>
#include <memory>
#include <new>
#include <utility>

#include "imaging/swizzle.h"
#include "imaging/threads.h"

namespace quillmark::imaging::codecs {
namespace {

constexpr std::int64_t kBlock = std::int64_t{8} << 20;  // bytes between two reports: about 2 ms
constexpr std::size_t kChunk = std::size_t{128} << 10;  // bytes of one read: stays in the second-level cache

int rows_in(std::int64_t bytes, std::size_t row_bytes) {
    return static_cast<int>(std::max<std::int64_t>(1, bytes / static_cast<std::int64_t>(row_bytes)));
}

// Stored rows from offset on; what the source does not deliver is zero.
class StoredRows {
  public:
    StoredRows(const ByteReader& in, std::size_t row_bytes)
        : source_{*in.source()},
          offset_{in.base() + in.position()},
          row_bytes_{row_bytes},
          memory_{source_.memory()} {}

    // Calls body for stored rows [first, last); false when they could not be read in full.
    bool each(int first, int last, const RowOrder& order, const RowBody& body) const {
        if (!memory_.empty()) {
            for (int i = first; i < last; ++i) body(memory_.data() + at(i), order.target(i));
            return true;
        }
        const int step = rows_in(kChunk, row_bytes_);
        const std::size_t size = static_cast<std::size_t>(std::min(step, last - first)) * row_bytes_;
        const std::unique_ptr<std::uint8_t[]> chunk{new (std::nothrow) std::uint8_t[size]};
        if (!chunk) return false;
        bool complete = true;
        for (int i = first; i < last; i += step) {
            const int rows = std::min(step, last - i);
            complete = fetch(i, {chunk.get(), static_cast<std::size_t>(rows) * row_bytes_}) && complete;
            for (int r = 0; r < rows; ++r)
                body(chunk.get() + static_cast<std::size_t>(r) * row_bytes_, order.target(i + r));
        }
        return complete;
    }

    // The last row of a cut file: available bytes of it, the rest zero.
    void partial(int row, std::size_t available, const RowOrder& order, const RowBody& body) const {
        std::vector<std::uint8_t> bytes(row_bytes_);
        source_.read_at(at(row), std::span{bytes}.first(available));
        body(bytes.data(), order.target(row));
    }

  private:
    std::int64_t at(int row) const { return offset_ + static_cast<std::int64_t>(row_bytes_) * row; }

    bool fetch(int row, std::span<std::uint8_t> out) const {
        const std::size_t got = source_.read_at(at(row), out);
        if (got < out.size()) std::memset(out.data() + got, 0, out.size() - got);
        return got == out.size();
    }

    const Source& source_;
    std::int64_t offset_;
    std::size_t row_bytes_;
    std::span<const std::uint8_t> memory_;
};

}  // namespace

int RowOrder::target(int stored) const {
    int row = stored;
    for (int pass = 0; ways > 1 && pass < ways; ++pass) {
        const int rows = (height - pass + ways - 1) / ways;
        if (stored < rows) {
            row = pass + ways * stored;
            break;
        }
        stored -= rows;
    }
    return bottom_up ? height - 1 - row : row;
}

bool report_rows(const RowOrder& order, const Bitmap& bitmap, int first, int last, RowSink& sink) {
    if (order.ways > 1) return sink.rows(bitmap, 0, order.height, last, order.height);
    if (order.bottom_up)
        return sink.rows(bitmap, order.height - last, order.height - first, last, order.height);
    return sink.rows(bitmap, first, last, last, order.height);
}

Result<int> read_raw_rows(const ByteReader& in, std::size_t row_bytes, const RowOrder& order,
                          const Bitmap& bitmap, RowSink& sink, const RowBody& body) {
    const std::int64_t size = static_cast<std::int64_t>(row_bytes);
    const std::int64_t rest = in.remaining();
    const int whole = static_cast<int>(std::min<std::int64_t>(order.height, rest / size));
    if (whole == 0) return Error{Fault::truncated, "pixels"};
    const StoredRows rows{in, row_bytes};
    const int block = rows_in(kBlock, row_bytes);
    for (int first = 0; first < whole; first += block) {
        const int last = std::min(first + block, whole);
        std::atomic<bool> complete{true};
        parallel_bands(last - first, rows_in(kChunk, row_bytes), [&](int from, int to) {
            if (!rows.each(first + from, first + to, order, body)) complete = false;
        });
        if (!complete) return Error{Fault::io, "pixels"};
        if (!report_rows(order, bitmap, first, last, sink)) return Error{Fault::cancelled, "pixels"};
    }
    const auto partial = static_cast<std::size_t>(whole < order.height ? rest - whole * size : 0);
    if (partial == 0) return whole;
    rows.partial(whole, partial, order, body);
    if (!report_rows(order, bitmap, whole, whole + 1, sink)) return Error{Fault::cancelled, "pixels"};
    return whole + 1;
}

Result<int> read_packed_rows(std::size_t row_bytes, const RowOrder& order, const Bitmap& bitmap,
                             RowSink& sink, const RowFill& fill, const RowBody& body) {
    constexpr int kReport = 64;
    std::vector<std::uint8_t> stored(row_bytes);
    int reported = 0, row = 0;
    for (bool complete = true; complete && row < order.height;) {
        const std::size_t got = fill(stored);
        complete = got == row_bytes;
        if (got == 0) break;
        std::fill(stored.begin() + static_cast<std::ptrdiff_t>(got), stored.end(), std::uint8_t{0});
        body(stored.data(), order.target(row++));
        if (row - reported < kReport && complete && row < order.height) continue;
        if (!report_rows(order, bitmap, reported, row, sink)) return Error{Fault::cancelled, "pixels"};
        reported = row;
    }
    if (row == 0) return Error{Fault::truncated, "pixels"};
    return row;
}

BgrSwap bgr_swap_for(const Bitmap& bitmap) {
    // Streaming saves a third of the memory traffic, but only a picture that leaves the cache anyway gains.
    constexpr std::int64_t kStreamFrom = std::int64_t{8} << 20;
    const auto bytes = static_cast<std::int64_t>(bitmap.row_bytes()) * bitmap.height();
    return bytes > kStreamFrom ? stream_swap_rgb24 : swap_rgb24;
}

Result<Bitmap> bitmap_for(int width, int height, int bits, const Limits& limits, bool data_short) {
    return data_short ? Bitmap::create(width, height, bits, limits)
                      : Bitmap::create_unfilled(width, height, bits, limits);
}

Outcome outcome_of(Bitmap bitmap, int format_code, int rows_shown) {
    Outcome outcome;
    outcome.rows_declared = bitmap.height();
    outcome.bitmap = std::move(bitmap);
    outcome.format_code = format_code;
    outcome.rows_shown = rows_shown;
    if (rows_shown < outcome.rows_declared) outcome.warnings.push_back("data end early");
    return outcome;
}

void make_opaque(Bitmap& bitmap, const RowOrder& order, int rows) {
    for (int i = 0; i < rows; ++i) {
        const auto row = bitmap.writable_row(order.target(i));
        for (std::size_t at = 3; at < row.size(); at += 4) row[at] = 255;
    }
}

bool make_opaque_if_invisible(Bitmap& bitmap, const RowOrder& order, int rows) {
    if (bitmap.layout() != Layout::rgba32) return false;
    for (int i = 0; i < rows; ++i) {
        const auto row = std::as_const(bitmap).row(order.target(i));
        for (std::size_t at = 3; at < row.size(); at += 4) {
            if (row[at] != 0) return false;
        }
    }
    make_opaque(bitmap, order, rows);
    return true;
}

}  // namespace quillmark::imaging::codecs
