// Run-length and Huffman coded DIB pixels. What bounds the runs is the store bandwidth of memset and memcpy.
#include <algorithm>
#include <cstring>
#include <utility>

#include "imaging/codecs/dib.h"
#include "imaging/codecs/fax_decoder.h"
#include "imaging/swizzle.h"

namespace quillmark::imaging::dib {
namespace {

constexpr int kReportRows = 64;

// Tells the sink of rows in steps. Rows are counted in file order.
class Steps {
  public:
    Steps(const DibHeader& header, const Bitmap& bitmap, RowSink& sink)
        : order_{row_order(header)}, bitmap_{bitmap}, sink_{sink} {}

    /// Rows before `row` are complete. False: the user stopped.
    bool reached(int row) { return row - told_ < kReportRows || tell(row); }
    bool tell(int row) {
        if (row <= told_) return true;
        const int first = std::exchange(told_, row);
        return codecs::report_rows(order_, bitmap_, first, row, sink_);
    }

  private:
    codecs::RowOrder order_;
    const Bitmap& bitmap_;
    RowSink& sink_;
    int told_ = 0;
};

// The three flavours: how a run repeats and how literals lie in the file. Both draw pixels [first, first +
// count) of the run, because it may be split at the end of a row.
struct Rle8 {
    using Colour = std::uint8_t;
    static constexpr std::size_t kPixelBytes = 1;
    static std::size_t literal_bytes(std::size_t count) { return (count + 1) & ~std::size_t{1}; }
    static Colour colour(std::uint8_t value, ByteReader&) { return value; }
    static void run(std::uint8_t* out, std::size_t, std::size_t count, Colour value) {
        std::memset(out, value, count);
    }
    static void literals(std::uint8_t* out, std::size_t first, std::size_t count, const std::uint8_t* data) {
        std::memcpy(out, data + first, count);
    }
};

struct Rle4 {
    using Colour = std::uint8_t;
    static constexpr std::size_t kPixelBytes = 1;
    static std::size_t literal_bytes(std::size_t count) { return (count + 3) / 4 * 2; }
    static Colour colour(std::uint8_t value, ByteReader&) { return value; }
    static std::uint8_t nibble(std::uint8_t pair, std::size_t i) {
        return i % 2 == 0 ? pair >> 4 : pair & 15;
    }
    static void run(std::uint8_t* out, std::size_t first, std::size_t count, Colour pair) {
        if (pair >> 4 == (pair & 15)) {
            std::memset(out, pair & 15, count);
            return;
        }
        for (std::size_t i = 0; i < count; ++i) out[i] = nibble(pair, first + i);
    }
    static void literals(std::uint8_t* out, std::size_t first, std::size_t count, const std::uint8_t* data) {
        for (std::size_t i = 0; i < count; ++i) out[i] = nibble(data[(first + i) / 2], first + i);
    }
};

struct Rle24 {
    using Colour = std::array<std::uint8_t, 3>;
    static constexpr std::size_t kPixelBytes = 3;
    static std::size_t literal_bytes(std::size_t count) { return (3 * count + 1) & ~std::size_t{1}; }
    static Colour colour(std::uint8_t blue, ByteReader& in) {
        const std::uint8_t green = in.u8(), red = in.u8();
        return {red, green, blue};
    }
    static void run(std::uint8_t* out, std::size_t, std::size_t count, const Colour& colour) {
        for (std::size_t i = 0; i < count; ++i, out += 3) std::memcpy(out, colour.data(), 3);
    }
    static void literals(std::uint8_t* out, std::size_t first, std::size_t count, const std::uint8_t* data) {
        swap_rgb24(data + 3 * first, out, count);
    }
};

template <typename Flavour>
class RleDecoder {
  public:
    RleDecoder(const ByteReader& in, const DibHeader& header, Bitmap& bitmap, RowSink& sink)
        : in_{in.sub(header.bits_at)},
          header_{header},
          order_{row_order(header)},
          bitmap_{bitmap},
          steps_{header, bitmap, sink} {}

    Result<int> decode() {
        while (y_ < header_.height && !ended_) {
            const std::uint8_t count = in_.u8(), value = in_.u8();
            if (in_.failed()) break;
            if (count > 0)
                run(count, value);
            else
                escape(value);
            if (!steps_.reached(y_)) return Error{Fault::cancelled, "bitmap"};
        }
        if (!drawn_) return 0;
        // Rows that the end code leaves out are blank on purpose.
        const auto reached =
            static_cast<int>(std::min<std::int64_t>(y_ + x_ / header_.width, header_.height));
        const int rows = ended_ ? header_.height : reached;
        if (!steps_.tell(rows)) return Error{Fault::cancelled, "bitmap"};
        return rows;
    }

  private:
    static constexpr int kEndOfRow = 0, kEndOfBitmap = 1, kMove = 2;

    // Draws count pixels. Those past the end of a row go to the next one: some writers count a row's padding,
    // and a few leave the ends of rows out.
    template <typename Draw>
    void place(int count, const Draw& draw) {
        drawn_ = true;
        for (int done = 0; done < count;) {
            const bool inside = x_ < header_.width;
            const std::int64_t row = inside ? y_ : y_ + x_ / header_.width;
            const int column = static_cast<int>(inside ? x_ : x_ % header_.width);
            if (row >= header_.height) return;
            const int part = std::min(count - done, header_.width - column);
            std::uint8_t* out = bitmap_.writable_row(order_.target(static_cast<int>(row))).data();
            draw(out + static_cast<std::size_t>(column) * Flavour::kPixelBytes,
                 static_cast<std::size_t>(done), static_cast<std::size_t>(part));
            done += part;
            x_ += part;
        }
    }

    void run(int count, std::uint8_t value) {
        const auto colour = Flavour::colour(value, in_);
        if (in_.failed()) return;
        place(count, [&](std::uint8_t* out, std::size_t first, std::size_t part) {
            Flavour::run(out, first, part, colour);
        });
    }

    void escape(int code) {
        switch (code) {
            case kEndOfRow: move(-x_, 1); return;
            case kEndOfBitmap: ended_ = true; return;
            case kMove: {
                const int dx = in_.u8(), dy = in_.u8();
                if (!in_.failed()) move(dx, dy);
                return;
            }
            default: literals(code);
        }
    }

    void move(std::int64_t dx, int dy) {
        x_ += dx;
        y_ = std::min(y_ + dy, header_.height);
    }

    void literals(int count) {
        std::array<std::uint8_t, 3 * 256> data;
        in_.read(std::span{data}.first(Flavour::literal_bytes(static_cast<std::size_t>(count))));
        if (in_.failed()) return;
        place(count, [&](std::uint8_t* out, std::size_t first, std::size_t part) {
            Flavour::literals(out, first, part, data.data());
        });
    }

    ByteReader in_;
    const DibHeader& header_;
    const codecs::RowOrder order_;
    Bitmap& bitmap_;
    Steps steps_;
    std::int64_t x_ = 0;
    int y_ = 0;
    bool ended_ = false, drawn_ = false;
};

}  // namespace

Result<int> read_rle_rows(const ByteReader& in, const DibHeader& header, Bitmap& bitmap, RowSink& sink) {
    switch (header.packing) {
        case DibPacking::rle8: return RleDecoder<Rle8>{in, header, bitmap, sink}.decode();
        case DibPacking::rle4: return RleDecoder<Rle4>{in, header, bitmap, sink}.decode();
        default: return RleDecoder<Rle24>{in, header, bitmap, sink}.decode();
    }
}

Result<int> read_huffman_rows(const ByteReader& in, const DibHeader& header, Bitmap& bitmap, RowSink& sink) {
    // No row needs more than five bits a pixel and its end-of-line code.
    const std::int64_t most = (std::int64_t{header.width} * 5 / 8 + 64) * header.height;
    ByteReader bits = in.sub(header.bits_at);
    const std::vector<std::uint8_t> data =
        bits.bytes(static_cast<std::size_t>(std::min(bits.remaining(), most)));
    fax::Decoder decoder{data, {fax::Coding::group3, header.width, false}};
    Steps steps{header, bitmap, sink};
    const codecs::RowOrder order = row_order(header);
    int row = 0;
    while (row < header.height &&
           decoder.next(bitmap.writable_row(order.target(row))) == fax::Decoder::Row::good) {
        if (!steps.reached(++row)) return Error{Fault::cancelled, "bitmap"};
    }
    if (!steps.tell(row)) return Error{Fault::cancelled, "bitmap"};
    return row;
}

}  // namespace quillmark::imaging::dib
