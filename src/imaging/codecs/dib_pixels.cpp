// Uncompressed DIB pixels: bands of rows on all cores, each read in chunks that stay in the cache between the
// kernel's copy and the reordering of the channels. What bounds it is memory: one write of every pixel.
#include <algorithm>
#include <atomic>
#include <bit>
#include <cmath>
#include <cstring>
#include <memory>

#include "imaging/codecs/dib.h"
#include "imaging/codecs/row_report.h"
#include "imaging/swizzle.h"
#include "imaging/threads.h"

namespace quillmark::imaging::dib {
namespace {

constexpr std::int64_t kChunk = 256 << 10;

// Bytes from row to row. Some writers leave out the padding; the amount of data gives them away.
std::int64_t stored_stride(const ByteReader& in, const DibHeader& header) {
    const std::int64_t available = in.size() - header.bits_at;
    return available == header.row_bytes() * header.height ? header.row_bytes() : header.row_stride();
}

template <int bits>
void unpack(const std::uint8_t* in, std::uint8_t* out, int width) {
    constexpr int kPerByte = 8 / bits;
    constexpr unsigned kMask = (1U << bits) - 1;
    int x = 0;
    for (; x + kPerByte <= width; x += kPerByte, ++in) {
        for (int i = 0; i < kPerByte; ++i)
            *out++ = static_cast<std::uint8_t>(*in >> (8 - bits * (i + 1)) & kMask);
    }
    for (int i = 0; x < width; ++x, ++i)
        *out++ = static_cast<std::uint8_t>(*in >> (8 - bits * (i + 1)) & kMask);
}

void copy_bilevel(const std::uint8_t* in, std::uint8_t* out, int width) {
    const auto bytes = static_cast<std::size_t>((width + 7) / 8);
    std::memcpy(out, in, bytes);
    if (width % 8 != 0) out[bytes - 1] &= static_cast<std::uint8_t>(0xFF00 >> width % 8);
}

// One masked channel as 8 bits: the field's value through a table. Of fields over 10 bits the top ones count.
class Channel {
  public:
    explicit Channel(std::uint32_t mask) {
        if (mask == 0) return;
        const int low = std::countr_zero(mask), width = std::popcount(mask);
        const int kept = std::min(width, kMostBits);
        shift_ = low + width - kept;
        mask_ = (1U << kept) - 1;
        for (unsigned v = 0; v <= mask_; ++v)
            levels_[v] = static_cast<std::uint8_t>((v * 255 + mask_ / 2) / mask_);
    }
    std::uint8_t operator()(std::uint32_t pixel) const { return levels_[pixel >> shift_ & mask_]; }

  private:
    static constexpr int kMostBits = 10;
    int shift_ = 0;
    std::uint32_t mask_ = 0;  // no such channel: always the first level, 0
    std::array<std::uint8_t, 1 << kMostBits> levels_ {};
};

struct Channels {
    explicit Channels(const DibHeader& header)
        : r {header.masks[0]}, g {header.masks[1]}, b {header.masks[2]}, a {header.masks[3]} {}
    Channel r, g, b, a;
};

template <typename Word, bool alpha>
void unmask(const std::uint8_t* in, std::uint8_t* out, int width, const Channels& channels) {
    for (int x = 0; x < width; ++x, in += sizeof(Word)) {
        std::uint32_t pixel = 0;
        for (std::size_t i = 0; i < sizeof(Word); ++i) pixel |= static_cast<std::uint32_t>(in[i]) << 8 * i;
        *out++ = channels.r(pixel);
        *out++ = channels.g(pixel);
        *out++ = channels.b(pixel);
        if constexpr (alpha) *out++ = channels.a(pixel);
    }
}

// 64 bits a pixel: signed fixed point with 13 fraction bits, linear light; shown with the sRGB curve.
class LinearLevels {
  public:
    LinearLevels() {
        for (int i = 0; i <= kOne; ++i) {
            const double v = i / double {kOne};
            const double s = v <= 0.0031308 ? 12.92 * v : 1.055 * std::pow(v, 1 / 2.4) - 0.055;
            curved_[static_cast<std::size_t>(i)] = static_cast<std::uint8_t>(std::lround(s * 255));
        }
    }
    void convert(const std::uint8_t* in, std::uint8_t* out, int width) const {
        for (int x = 0; x < width; ++x, in += 8, out += 4) {
            out[0] = curved_[field(in + 4)];
            out[1] = curved_[field(in + 2)];
            out[2] = curved_[field(in)];
            out[3] = static_cast<std::uint8_t>((field(in + 6) * 255 + kOne / 2) / kOne);
        }
    }

  private:
    static constexpr int kOne = 1 << 13;
    static std::size_t field(const std::uint8_t* in) {
        const auto value = static_cast<std::int16_t>(in[0] | in[1] << 8);
        return static_cast<std::size_t>(std::clamp<int>(value, 0, kOne));
    }
    std::array<std::uint8_t, kOne + 1> curved_ {};
};

// The rows of one bitmap, from file to memory.
class RawRows {
  public:
    RawRows(const ByteReader& in, const DibHeader& header, int rows, Bitmap& bitmap, RowSink& sink)
        : header_ {header},
          bitmap_ {bitmap},
          source_ {*in.source()},
          rows_ {rows},
          missing_from_ {rows},
          begin_ {in.base() + header.bits_at},
          end_ {in.base() + in.size()},
          stride_ {stored_stride(in, header)},
          reporter_ {sink, bitmap, header.height} {}

    /// convert(in, out, width) turns one stored row into one of the bitmap.
    template <typename Convert>
    Result<int> read(const Convert& convert) {
        const int chunk = static_cast<int>(std::clamp<std::int64_t>(kChunk / stride_, 1, 4096));
        parallel_bands(rows_, chunk, [&](int first, int last) { read_band(first, last, chunk, convert); });
        if (!reporter_.close()) return Error {Fault::cancelled, "bitmap"};
        return missing_from_.load();
    }

  private:
    template <typename Convert>
    void read_band(int first, int last, int chunk, const Convert& convert) {
        const auto memory = source_.memory();
        const auto buffer = memory.empty()
                                ? std::make_unique_for_overwrite<std::uint8_t[]>(
                                      static_cast<std::size_t>(stride_ * std::min(chunk, last - first)))
                                : nullptr;
        for (int row = first; row < last && !reporter_.stopped(); row += chunk) {
            const int end = std::min(row + chunk, last);
            const std::int64_t at = begin_ + row * stride_;
            const std::uint8_t* data = memory.empty() ? buffer.get() : memory.data() + at;
            int got = end - row;
            if (memory.empty()) got = fetch(at, {buffer.get(), static_cast<std::size_t>(stride_ * got)});
            for (int i = 0; i < got; ++i) {
                convert(data + i * stride_, bitmap_.writable_row(display_row(header_, row + i)).data(),
                        header_.width);
            }
            if (got < end - row) give_up(row + got, end);
            const int top = display_row(header_, row), bottom = display_row(header_, end - 1);
            reporter_.finished(std::min(top, bottom), std::max(top, bottom) + 1);
        }
    }

    // Reads rows into out; how many came whole (fewer only when the file fails or shrinks while it is read).
    int fetch(std::int64_t at, std::span<std::uint8_t> out) {
        const auto want = std::min<std::int64_t>(static_cast<std::int64_t>(out.size()), end_ - at);
        const auto got =
            static_cast<std::int64_t>(source_.read_at(at, out.first(static_cast<std::size_t>(want))));
        return static_cast<int>((got + stride_ - header_.row_bytes()) / stride_);
    }

    void give_up(int first, int last) {
        for (int row = first; row < last; ++row) {
            bitmap_.clear_rows(display_row(header_, row), display_row(header_, row) + 1);
        }
        int seen = missing_from_.load();
        while (first < seen && !missing_from_.compare_exchange_weak(seen, first)) {
        }
    }

    const DibHeader& header_;
    Bitmap& bitmap_;
    const Source& source_;
    const int rows_;
    std::atomic<int> missing_from_;
    const std::int64_t begin_, end_, stride_;
    RowReporter reporter_;
};

bool has_masks(const DibHeader& header, std::uint32_t r, std::uint32_t g, std::uint32_t b, std::uint32_t a) {
    return header.masks == std::array<std::uint32_t, 4> {r, g, b, a};
}

Result<int> read_masked_32(RawRows& rows, const DibHeader& header) {
    if (has_masks(header, 0xFF0000, 0xFF00, 0xFF, 0xFF000000)) {
        return rows.read([](const std::uint8_t* in, std::uint8_t* out, int width) {
            swap_rgba32(in, out, static_cast<std::size_t>(width));
        });
    }
    const auto is_byte = [](std::uint32_t mask) {
        return mask == 0xFFU || mask == 0xFF00U || mask == 0xFF0000U || mask == 0xFF000000U;
    };
    const auto& m = header.masks;
    if (m[3] == 0 && is_byte(m[0]) && is_byte(m[1]) && is_byte(m[2])) {
        const int r = std::countr_zero(m[0]) / 8, g = std::countr_zero(m[1]) / 8,
                  b = std::countr_zero(m[2]) / 8;
        return rows.read([r, g, b](const std::uint8_t* in, std::uint8_t* out, int width) {
            drop_fourth(in, out, static_cast<std::size_t>(width), r, g, b);
        });
    }
    const auto channels = std::make_unique<Channels>(header);
    const bool alpha = m[3] != 0;
    return rows.read([&, alpha](const std::uint8_t* in, std::uint8_t* out, int width) {
        alpha ? unmask<std::uint32_t, true>(in, out, width, *channels)
              : unmask<std::uint32_t, false>(in, out, width, *channels);
    });
}

Result<int> read_masked_16(RawRows& rows, const DibHeader& header) {
    const auto channels = std::make_unique<Channels>(header);
    const bool alpha = header.masks[3] != 0;
    return rows.read([&, alpha](const std::uint8_t* in, std::uint8_t* out, int width) {
        alpha ? unmask<std::uint16_t, true>(in, out, width, *channels)
              : unmask<std::uint16_t, false>(in, out, width, *channels);
    });
}

}  // namespace

int rows_present(const ByteReader& in, const DibHeader& header) {
    const std::int64_t available = in.size() - header.bits_at;
    const std::int64_t stride = stored_stride(in, header);
    // Of the last row only the pixels must be there, not the padding.
    const std::int64_t rows = (available + stride - header.row_bytes()) / stride;
    return static_cast<int>(std::clamp<std::int64_t>(rows, 0, header.height));
}

Result<int> read_raw_rows(const ByteReader& in, const DibHeader& header, int rows, Bitmap& bitmap,
                          RowSink& sink) {
    RawRows raw {in, header, rows, bitmap, sink};
    switch (header.bits) {
        case 1: return raw.read(copy_bilevel);
        case 2: return raw.read(unpack<2>);
        case 4: return raw.read(unpack<4>);
        case 8:
            return raw.read([](const std::uint8_t* from, std::uint8_t* out, int width) {
                std::memcpy(out, from, static_cast<std::size_t>(width));
            });
        case 16: return read_masked_16(raw, header);
        case 24:
            return raw.read([](const std::uint8_t* from, std::uint8_t* out, int width) {
                swap_rgb24(from, out, static_cast<std::size_t>(width));
            });
        case 32: return read_masked_32(raw, header);
        default: {
            const auto levels = std::make_unique<LinearLevels>();
            return raw.read([&](const std::uint8_t* from, std::uint8_t* out, int width) {
                levels->convert(from, out, width);
            });
        }
    }
}

}  // namespace quillmark::imaging::dib
