// Uncompressed DIB pixels. What bounds them is memory: every row is read once and written once.
#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>
#include <functional>
#include <memory>

#include "imaging/codecs/dib.h"
#include "imaging/codecs/row_stream.h"
#include "imaging/swizzle.h"

namespace quillmark::imaging::dib {
namespace {

// Bytes from row to row. Some writers leave out the padding; the amount of data gives them away. A single row
// needs none.
std::int64_t stored_stride(const ByteReader& in, const DibHeader& header) {
    const std::int64_t available = in.size() - header.bits_at;
    const bool unpadded = header.height == 1 || available == header.row_bytes() * header.height;
    return unpadded ? header.row_bytes() : header.row_stride();
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
    std::array<std::uint8_t, 1 << kMostBits> levels_{};
};

struct Channels {
    explicit Channels(const DibHeader& header)
        : r{header.masks[0]}, g{header.masks[1]}, b{header.masks[2]}, a{header.masks[3]} {}
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
            const double v = i / double{kOne};
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
    std::array<std::uint8_t, kOne + 1> curved_{};
};

bool has_masks(const DibHeader& header, std::uint32_t r, std::uint32_t g, std::uint32_t b, std::uint32_t a) {
    return header.masks == std::array<std::uint32_t, 4>{r, g, b, a};
}

bool is_byte(std::uint32_t mask) {
    return mask == 0xFFU || mask == 0xFF00U || mask == 0xFF0000U || mask == 0xFF000000U;
}

using Convert = std::function<void(const std::uint8_t* in, std::uint8_t* out, int width)>;

template <typename Word>
Convert unmasker(const DibHeader& header) {
    const auto channels = std::make_shared<const Channels>(header);
    if (header.masks[3] != 0)
        return [channels](auto in, auto out, int width) { unmask<Word, true>(in, out, width, *channels); };
    return [channels](auto in, auto out, int width) { unmask<Word, false>(in, out, width, *channels); };
}

Convert converter_32(const DibHeader& header) {
    const auto& m = header.masks;
    if (has_masks(header, 0xFF0000, 0xFF00, 0xFF, 0xFF000000)) {
        return [](auto in, auto out, int width) { swap_rgba32(in, out, static_cast<std::size_t>(width)); };
    }
    if (m[3] == 0 && is_byte(m[0]) && is_byte(m[1]) && is_byte(m[2])) {
        const int r = std::countr_zero(m[0]) / 8, g = std::countr_zero(m[1]) / 8,
                  b = std::countr_zero(m[2]) / 8;
        return [r, g, b](auto in, auto out, int width) {
            drop_fourth(in, out, static_cast<std::size_t>(width), r, g, b);
        };
    }
    return unmasker<std::uint32_t>(header);
}

// How one stored row becomes one of the bitmap.
Convert converter(const DibHeader& header, const Bitmap& bitmap) {
    switch (header.bits) {
        case 1: return copy_bilevel;
        case 2: return unpack<2>;
        case 4: return unpack<4>;
        case 8:
            return
                [](auto in, auto out, int width) { std::memcpy(out, in, static_cast<std::size_t>(width)); };
        case 16: return unmasker<std::uint16_t>(header);
        case 24:
            return [swap = codecs::bgr_swap_for(bitmap)](auto in, auto out, int width) {
                swap(in, out, static_cast<std::size_t>(width));
            };
        case 32: return converter_32(header);
        default: {
            const auto levels = std::make_shared<const LinearLevels>();
            return [levels](auto in, auto out, int width) { levels->convert(in, out, width); };
        }
    }
}

}  // namespace

bool rows_are_short(const ByteReader& in, const DibHeader& header) {
    const std::int64_t stride = stored_stride(in, header);
    return in.size() - header.bits_at < stride * (header.height - 1) + header.row_bytes();
}

Result<int> read_raw_rows(const ByteReader& in, const DibHeader& header, Bitmap& bitmap, RowSink& sink) {
    const Convert convert = converter(header, bitmap);
    ByteReader pixels = in;
    pixels.seek(header.bits_at);
    const auto stride = static_cast<std::size_t>(stored_stride(in, header));
    return codecs::read_raw_rows(pixels, stride, row_order(header), bitmap, sink,
                                 [&](const std::uint8_t* stored, int y) {
                                     convert(stored, bitmap.writable_row(y).data(), header.width);
                                 });
}

}  // namespace quillmark::imaging::dib
