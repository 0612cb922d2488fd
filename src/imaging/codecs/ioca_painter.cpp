// From packed samples to the pixels of the bitmap.
#include "imaging/codecs/ioca_painter.h"

#include <algorithm>
#include <cstring>

namespace quillmark::imaging::codecs {
namespace {

constexpr int kRowsPerReport = 64;

std::uint8_t byte_of(unsigned value) { return static_cast<std::uint8_t>(value); }

// Packed samples of up to 8 bits each, most significant bit first.
class SampleReader {
  public:
    explicit SampleReader(const std::uint8_t* packed) : at_{packed} {}

    unsigned next(int bits) {
        if (have_ < bits) {
            held_ = (held_ << 8 | *at_++) & 0xFFFF;
            have_ += 8;
        }
        have_ -= bits;
        return held_ >> have_ & ((1U << bits) - 1);
    }

  private:
    const std::uint8_t* at_;
    unsigned held_ = 0;
    int have_ = 0;
};

// The value that a sample means: plain binary, rising with intensity (or ink).
unsigned meaning(const IocaSamples& samples, unsigned value, int bits) {
    if (samples.gray_coded) {
        for (int shift = 1; shift < bits; shift *= 2) value ^= value >> shift;
    }
    return samples.inverted && !samples.bilevel() ? (1U << bits) - 1 - value : value;
}

// Samples at their own depth.
void unpack_values(const IocaSamples& samples, const std::uint8_t* packed, std::span<std::uint8_t> out) {
    SampleReader reader{packed};
    const int bits = samples.bits[0];
    for (std::uint8_t& value : out) value = byte_of(meaning(samples, reader.next(bits), bits));
}

// All samples of a pixel, or those of one band, scaled to 8 bits.
void unpack_scaled(const IocaSamples& samples, std::span<const int> bits, const std::uint8_t* packed,
                   std::span<std::uint8_t> out) {
    SampleReader reader{packed};
    for (std::size_t at = 0; at < out.size(); at += bits.size()) {
        for (std::size_t i = 0; i < bits.size(); ++i) {
            const unsigned most = (1U << bits[i]) - 1;
            out[at + i] = byte_of(meaning(samples, reader.next(bits[i]), bits[i]) * 255 / most);
        }
    }
}

// Copies pixels bits to bit x of a row.
void copy_bits(const std::uint8_t* in, std::span<std::uint8_t> row, std::size_t x, std::size_t pixels) {
    const std::size_t shift = x % 8, bytes = (pixels + 7) / 8;
    std::uint8_t* out = row.data() + x / 8;
    const std::size_t whole = shift == 0 ? pixels / 8 : 0;
    std::memcpy(out, in, whole);
    for (std::size_t i = whole; i < bytes; ++i) {
        const std::size_t left = pixels - i * 8;
        const unsigned mask = left >= 8 ? 0xFFU : 0xFF00U >> left & 0xFFU;
        const unsigned value = in[i] & mask;
        out[i] = byte_of((out[i] & ~(mask >> shift)) | value >> shift);
        const unsigned behind = mask << (8 - shift) & 0xFFU;
        if (shift != 0 && behind != 0)
            out[i + 1] = byte_of((out[i + 1] & ~behind) | (value << (8 - shift) & 0xFFU));
    }
}

std::uint8_t product(unsigned a, unsigned b) { return byte_of((a * b + 127) / 255); }

// Full-range luma and colour differences (ITU-T T.871) in 16-bit fixed point.
void ycbcr_to_rgb(int y, int cb, int cr, std::uint8_t* out) {
    const auto clamped = [](int value) {
        return static_cast<std::uint8_t>(std::clamp((value + 32768) >> 16, 0, 255));
    };
    y *= 65536;
    cb -= 128;
    cr -= 128;
    out[0] = clamped(y + 91881 * cr);
    out[1] = clamped(y - 22554 * cb - 46802 * cr);
    out[2] = clamped(y + 116130 * cb);
}

}  // namespace

IocaPainter::Target IocaPainter::target(const IocaBlock& block, int y) {
    const std::int64_t row = block.y + y;
    if (row >= bitmap_.height() || block.x >= bitmap_.width()) return {};
    const auto pixels = static_cast<std::size_t>(std::min(block.width, bitmap_.width() - block.x));
    auto bytes = bitmap_.writable_row(static_cast<int>(row));
    if (bitmap_.layout() == Layout::bit1) return {bytes, pixels};
    const std::size_t size = bitmap_.layout() == Layout::rgb24 ? 3 : 1;
    return {bytes.subspan(static_cast<std::size_t>(block.x) * size, pixels * size), pixels};
}

bool IocaPainter::arrived(const IocaBlock& block, int y) {
    done_ = std::min(done_ + 1, total_);
    const auto row = static_cast<int>(std::min<std::int64_t>(block.y + y, bitmap_.height() - 1));
    if (first_ == last_) first_ = row, last_ = row + 1;
    first_ = std::min(first_, row);
    last_ = std::max(last_, row + 1);
    return done_ % kRowsPerReport != 0 || report();
}

bool IocaPainter::report() {
    const int first = first_, last = last_;
    first_ = last_ = 0;
    return first == last || sink_.rows(bitmap_, first, last, done_, total_);
}

void IocaPainter::clear() {
    const int white = bitmap_.layout() == Layout::index8 ? (1 << bitmap_.bits()) - 1 : 255;
    if (bitmap_.layout() == Layout::bit1) return;  // made of zeros, which are white
    for (int y = 0; y < bitmap_.height(); ++y) {
        const auto row = bitmap_.writable_row(y);
        std::memset(row.data(), white, row.size());
    }
}

void IocaPainter::fill(const IocaBlock& block, Rgba colour) {
    const unsigned gray = (colour.r * 77U + colour.g * 151U + colour.b * 28U) >> 8;
    const std::vector<std::uint8_t> ink(static_cast<std::size_t>(block.width + 7) / 8, gray < 128 ? 255 : 0);
    for (int y = 0; y < block.height; ++y) {
        const Target to = target(block, y);
        if (to.pixels == 0) return;
        if (bitmap_.layout() == Layout::bit1) {
            copy_bits(ink.data(), to.row, static_cast<std::size_t>(block.x), to.pixels);
        } else if (bitmap_.layout() == Layout::index8) {
            std::ranges::fill(to.row, byte_of(gray >> (8 - bitmap_.bits())));
        } else {
            for (std::size_t at = 0; at < to.row.size(); at += 3) {
                to.row[at] = colour.r, to.row[at + 1] = colour.g, to.row[at + 2] = colour.b;
            }
        }
    }
}

void IocaPainter::colour_row(const IocaSamples& samples, const std::uint8_t* in,
                             std::span<std::uint8_t> out) const {
    const auto step = static_cast<std::size_t>(samples.count);
    for (std::size_t at = 0; at < out.size(); at += 3, in += step) {
        switch (samples.colour) {
            case IocaColour::gray: {
                const std::uint8_t light = samples.bilevel() ? byte_of(255U - in[0]) : in[0];
                out[at] = out[at + 1] = out[at + 2] = light;
                break;
            }
            case IocaColour::rgb: std::memcpy(out.data() + at, in, 3); break;
            case IocaColour::ycbcr: ycbcr_to_rgb(in[0], in[1], in[2], out.data() + at); break;
            case IocaColour::ycrcb: ycbcr_to_rgb(in[0], in[2], in[1], out.data() + at); break;
            case IocaColour::cmyk:
                for (std::size_t i = 0; i < 3; ++i) out[at + i] = product(255U - in[i], 255U - in[3]);
                break;
        }
    }
}

// One band into its channel; the black of CMYK darkens the three others.
void IocaPainter::band_row(const IocaSamples& samples, int band, const std::uint8_t* in,
                           std::span<std::uint8_t> out) {
    const bool ink = samples.colour == IocaColour::cmyk;
    const auto channel = static_cast<std::size_t>(band);
    for (std::size_t at = 0; at < out.size(); at += 3, ++in) {
        const unsigned light = 255U - *in;
        if (band < 3)
            out[at + channel] = ink ? byte_of(light) : *in;
        else
            for (std::size_t i = 0; i < 3; ++i) out[at + i] = product(out[at + i], light);
    }
}

bool IocaPainter::samples(const IocaBlock& block, int band, int y, const std::uint8_t* packed) {
    const Target to = target(block, y);
    const IocaSamples& kind = block.samples;
    const bool banded = kind.count > 1 && !block.bands.empty();
    if (to.pixels == 0) return arrived(block, y);
    if (bitmap_.layout() == Layout::bit1) {
        copy_bits(packed, to.row, static_cast<std::size_t>(block.x), to.pixels);
    } else if (bitmap_.layout() == Layout::index8) {
        unpack_values(kind, packed, to.row);
    } else {
        const auto bits = banded ? std::span{kind.bits}.subspan(static_cast<std::size_t>(band), 1)
                                 : std::span{kind.bits}.first(static_cast<std::size_t>(kind.count));
        const bool plain =
            !kind.inverted && !kind.gray_coded && std::ranges::all_of(bits, [](int b) { return b == 8; });
        if (!plain) {
            values_.resize(to.pixels * bits.size());
            unpack_scaled(kind, bits, packed, values_);
        }
        const std::uint8_t* values = plain ? packed : values_.data();
        if (banded)
            band_row(kind, band, values, to.row);
        else
            colour_row(kind, values, to.row);
    }
    return arrived(block, y);
}

bool IocaPainter::finished(const IocaBlock& block, int y, std::span<const std::uint8_t> row) {
    const Target to = target(block, y);
    if (to.pixels > 0) std::memcpy(to.row.data(), row.data(), std::min(row.size(), to.row.size()));
    return arrived(block, y);
}

void IocaPainter::finish_bands(const IocaBlock& block) {
    const IocaColour colour = block.samples.colour;
    if (colour != IocaColour::ycbcr && colour != IocaColour::ycrcb) return;
    for (int y = 0; y < block.height; ++y) {
        const Target to = target(block, y);
        for (std::size_t at = 0; at < to.pixels * 3; at += 3) {
            std::uint8_t* pixel = to.row.data() + at;
            const bool red_first = colour == IocaColour::ycrcb;
            ycbcr_to_rgb(pixel[0], pixel[red_first ? 2 : 1], pixel[red_first ? 1 : 2], pixel);
        }
    }
}

}  // namespace quillmark::imaging::codecs
