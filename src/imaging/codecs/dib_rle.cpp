// Run-length and Huffman coded DIB pixels. What bounds the runs is the store bandwidth of memset and memcpy.
#include <algorithm>
#include <cstring>

#include "imaging/codecs/ccitt.h"
#include "imaging/codecs/dib.h"

namespace quillmark::imaging::dib {
namespace {

constexpr int kReportRows = 64;

// Tells the sink of rows in steps. Rows are counted in file order.
class Steps {
  public:
    Steps(const DibHeader& header, const Bitmap& bitmap, RowSink& sink) : header_{header}, bitmap_{bitmap}, sink_{sink} {}

    /// Rows before `row` are complete. False: the user stopped.
    bool reached(int row) { return row - told_ < kReportRows || tell(row); }
    bool tell(int row) {
        row = std::min(row, header_.height);
        if (row <= told_) return true;
        const int a = display_row(header_, told_), b = display_row(header_, row - 1);
        told_ = row;
        return sink_.rows(bitmap_, std::min(a, b), std::max(a, b) + 1, row, header_.height);
    }

  private:
    const DibHeader& header_;
    const Bitmap& bitmap_;
    RowSink& sink_;
    int told_ = 0;
};

// The three flavours: how a run repeats and how literals lie in the file. Counts are pixels and already clipped.
struct Rle8 {
    static constexpr std::size_t kPixelBytes = 1;
    static std::size_t literal_bytes(std::size_t count) { return (count + 1) & ~std::size_t{1}; }
    static void run(std::uint8_t* out, std::size_t count, std::uint8_t value, ByteReader&) { std::memset(out, value, count); }
    static void literals(std::uint8_t* out, std::size_t count, const std::uint8_t* data) { std::memcpy(out, data, count); }
};

struct Rle4 {
    static constexpr std::size_t kPixelBytes = 1;
    static std::size_t literal_bytes(std::size_t count) { return (count + 3) / 4 * 2; }
    static void run(std::uint8_t* out, std::size_t count, std::uint8_t value, ByteReader&) {
        const std::uint8_t high = value >> 4, low = value & 15;
        if (high == low) {
            std::memset(out, high, count);
            return;
        }
        for (std::size_t i = 0; i < count; ++i) out[i] = i % 2 == 0 ? high : low;
    }
    static void literals(std::uint8_t* out, std::size_t count, const std::uint8_t* data) {
        for (std::size_t i = 0; i < count; ++i) out[i] = i % 2 == 0 ? data[i / 2] >> 4 : data[i / 2] & 15;
    }
};

struct Rle24 {
    static constexpr std::size_t kPixelBytes = 3;
    static std::size_t literal_bytes(std::size_t count) { return (3 * count + 1) & ~std::size_t{1}; }
    static void run(std::uint8_t* out, std::size_t count, std::uint8_t blue, ByteReader& in) {
        const std::uint8_t green = in.u8(), red = in.u8();
        for (std::size_t i = 0; i < count; ++i, out += 3) out[0] = red, out[1] = green, out[2] = blue;
    }
    static void literals(std::uint8_t* out, std::size_t count, const std::uint8_t* data) {
        for (std::size_t i = 0; i < count; ++i, out += 3, data += 3) out[0] = data[2], out[1] = data[1], out[2] = data[0];
    }
};

template <typename Flavour>
class RleDecoder {
  public:
    RleDecoder(const ByteReader& in, const DibHeader& header, Bitmap& bitmap, RowSink& sink)
        : in_{in.sub(header.bits_at)}, header_{header}, bitmap_{bitmap}, steps_{header, bitmap, sink} {}

    Result<int> decode() {
        while (y_ < header_.height && !ended_) {
            const std::uint8_t count = in_.u8(), value = in_.u8();
            if (in_.failed()) break;
            if (count > 0) run(count, value);
            else escape(value);
            if (!steps_.reached(y_)) return Error{Fault::cancelled, "bitmap"};
        }
        if (!drawn_) return 0;
        // Rows that the end code leaves out are blank on purpose.
        const bool row_done = y_ < header_.height && x_ >= header_.width;
        const int rows = ended_ ? header_.height : std::min(y_ + (row_done ? 1 : 0), header_.height);
        if (!steps_.tell(rows)) return Error{Fault::cancelled, "bitmap"};
        return rows;
    }

  private:
    static constexpr int kEndOfRow = 0, kEndOfBitmap = 1, kMove = 2;

    std::uint8_t* position() {
        return bitmap_.writable_row(display_row(header_, y_)).data() + static_cast<std::size_t>(x_) * Flavour::kPixelBytes;
    }
    // Of count pixels, those that still fit in the row.
    std::size_t fitting(int count) const { return static_cast<std::size_t>(std::min(count, header_.width - x_)); }
    void advance(std::size_t count) {
        x_ += static_cast<int>(count);
        drawn_ = true;
    }

    void run(int count, std::uint8_t value) {
        const std::size_t room = fitting(count);
        Flavour::run(position(), room, value, in_);
        if (!in_.failed()) advance(room);
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

    void move(int dx, int dy) {
        x_ = std::min(x_ + dx, header_.width);
        y_ = std::min(y_ + dy, header_.height);
    }

    void literals(int count) {
        std::array<std::uint8_t, 3 * 256> data;
        in_.read(std::span{data}.first(Flavour::literal_bytes(static_cast<std::size_t>(count))));
        // What a cut file still delivers is drawn; the loop then ends.
        const std::size_t room = fitting(count);
        Flavour::literals(position(), room, data.data());
        advance(room);
    }

    ByteReader in_;
    const DibHeader& header_;
    Bitmap& bitmap_;
    Steps steps_;
    int x_ = 0, y_ = 0;
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
    HuffmanRowDecoder decoder{in.sub(header.bits_at)};
    Steps steps{header, bitmap, sink};
    int row = 0;
    while (row < header.height && decoder.decode_row(bitmap.writable_row(display_row(header, row)), header.width)) {
        if (!steps.reached(++row)) return Error{Fault::cancelled, "bitmap"};
    }
    if (!steps.tell(row)) return Error{Fault::cancelled, "bitmap"};
    return row;
}

}  // namespace quillmark::imaging::dib
