#include "imaging/codecs/tiff_pixels.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>

namespace quillmark::imaging::tiff {
namespace {

template <typename T>
T load(const std::uint8_t* at) {
    T value;
    std::memcpy(&value, at, sizeof value);
    return value;
}

// IEEE-like numbers of 16 bits (5 exponent bits) and 24 bits (7 exponent bits).
double small_float(std::uint32_t value, int exponent_bits, int mantissa_bits) {
    const std::uint32_t mantissa = value & ((1u << mantissa_bits) - 1);
    const int top = (1 << exponent_bits) - 1;
    const int exponent = static_cast<int>(value >> mantissa_bits) & top;
    const int bias = top >> 1;
    const double sign = value >> (exponent_bits + mantissa_bits) & 1 ? -1.0 : 1.0;
    if (exponent == top) return mantissa ? NAN : sign * INFINITY;
    if (exponent == 0) return sign * std::ldexp(mantissa, 1 - bias - mantissa_bits);
    return sign * std::ldexp((1u << mantissa_bits) + mantissa, exponent - bias - mantissa_bits);
}

double load_float(const std::uint8_t* samples, std::size_t index, int bits) {
    switch (bits) {
        case 16: return small_float(load<std::uint16_t>(samples + index * 2), 5, 10);
        case 24: {
            const std::uint8_t* at = samples + index * 3;
            return small_float(at[0] | at[1] << 8 | static_cast<std::uint32_t>(at[2]) << 16, 7, 16);
        }
        case 32: return load<float>(samples + index * 4);
        default: return load<double>(samples + index * 8);
    }
}

// Bit fields, the first in the most significant bits; calls put(index, value) for each.
template <typename Put>
void for_each_field(const std::uint8_t* in, std::size_t count, int bits, Put put) {
    std::uint64_t held = 0;
    int have = 0;
    const std::uint64_t mask = (std::uint64_t{1} << bits) - 1;
    for (std::size_t i = 0; i < count; ++i) {
        for (; have < bits; have += 8) held = held << 8 | *in++;
        have -= bits;
        put(i, static_cast<std::uint32_t>(held >> have & mask));
    }
}

// The top 16 bits of whole-byte integers wider than that.
std::uint16_t top16(const std::uint8_t* samples, std::size_t index, int bits) {
    if (bits == 24) return load<std::uint16_t>(samples + index * 3 + 1);
    if (bits == 32) return static_cast<std::uint16_t>(load<std::uint32_t>(samples + index * 4) >> 16);
    return static_cast<std::uint16_t>(load<std::uint64_t>(samples + index * 8) >> 48);
}

std::uint8_t product(int a, int b) {
    const int x = a * b + 128;
    return static_cast<std::uint8_t>((x + (x >> 8)) >> 8);
}

// v * 255 / 65535, rounded; exact for all 16-bit values.
std::uint8_t level8(std::uint32_t v) { return static_cast<std::uint8_t>((v * 255 + 32895) >> 16); }

// Linear light 0 to 1 to an sRGB level.
std::uint8_t srgb_level(double linear) {
    static const auto table = [] {
        std::array<std::uint8_t, 4096> levels{};
        for (std::size_t i = 0; i < levels.size(); ++i) {
            const double v = static_cast<double>(i) / 4095.0;
            const double level = v <= 0.0031308 ? 12.92 * v : 1.055 * std::pow(v, 1 / 2.4) - 0.055;
            levels[i] = static_cast<std::uint8_t>(std::lround(level * 255));
        }
        return levels;
    }();
    return table[static_cast<std::size_t>(std::clamp(linear, 0.0, 1.0) * 4095.0 + 0.5)];
}

// CIE L*a*b* of the D50 white to sRGB (D65, Bradford adaptation).
void lab_to_rgb(double l, double a, double b, std::uint8_t* out) {
    const auto cube = [](double t) {
        return t > 6.0 / 29 ? t * t * t : 3 * (6.0 / 29) * (6.0 / 29) * (t - 4.0 / 29);
    };
    const double fy = (l + 16) / 116;
    const double x = 0.96422 * cube(fy + a / 500), y = cube(fy), z = 0.82521 * cube(fy - b / 200);
    out[0] = srgb_level(3.1338561 * x - 1.6168667 * y - 0.4906146 * z);
    out[1] = srgb_level(-0.9787684 * x + 1.9161415 * y + 0.0334540 * z);
    out[2] = srgb_level(0.0719453 * x - 0.2289914 * y + 1.4052427 * z);
}

std::uint8_t unmultiplied(int level, int alpha) {
    return static_cast<std::uint8_t>(alpha == 0 ? 0 : std::min(255, (level * 255 + alpha / 2) / alpha));
}

}  // namespace

void RangeFinder::look_at(const std::uint8_t* samples, std::size_t count) {
    const std::size_t numbers = page_.separate ? count : count * static_cast<std::size_t>(page_.samples);
    for (std::size_t i = 0; i < numbers; ++i) {
        const double value = load_float(samples, i, page_.bits);
        if (!std::isfinite(value)) continue;
        low_ = any_ ? std::min(low_, value) : value;
        high_ = any_ ? std::max(high_, value) : value;
        any_ = true;
    }
}

Range RangeFinder::range() const {
    if (!any_ || (low_ >= 0 && high_ <= 1) || !(high_ > low_)) return {};
    return {low_, high_};
}

std::size_t RowConverter::samples_in(std::span<const std::uint8_t* const> planes) const {
    return planes.size() > 1 ? 1 : static_cast<std::size_t>(page_.samples);
}

// count samples to levels 0 to 255.
void RowConverter::narrow(const std::uint8_t* in, std::size_t count, std::uint8_t* out) const {
    const int bits = page_.bits;
    if (page_.floating) {
        const double scale = 255 / (range_.high - range_.low);
        for (std::size_t i = 0; i < count; ++i) {
            const double v = (load_float(in, i, bits) - range_.low) * scale;
            out[i] = v > 0 ? static_cast<std::uint8_t>(std::min(v, 255.0) + 0.5) : std::uint8_t{0};
        }
    } else if (bits == 8) {
        std::memcpy(out, in, count);
    } else if (bits == 16 && page_.kind == Kind::lab) {  // signed values: the high byte is the 8-bit value
        for (std::size_t i = 0; i < count; ++i)
            out[i] = static_cast<std::uint8_t>(load<std::uint16_t>(in + i * 2) >> 8);
    } else if (bits == 16) {
        for (std::size_t i = 0; i < count; ++i) out[i] = level8(load<std::uint16_t>(in + i * 2));
    } else if (bits % 8 == 0) {
        for (std::size_t i = 0; i < count; ++i) out[i] = level8(top16(in, i, bits));
    } else {
        const std::uint64_t top = (std::uint64_t{1} << bits) - 1;
        for_each_field(in, count, bits, [&](std::size_t i, std::uint32_t v) {
            out[i] = static_cast<std::uint8_t>((v * std::uint64_t{255} + top / 2) / top);
        });
    }
}

// count grey samples to 16-bit words: 12 bits as they are, everything else to the full range.
void RowConverter::widen(const std::uint8_t* in, std::size_t count, std::uint16_t* out) const {
    const int bits = page_.bits;
    if (page_.floating) {
        const double scale = 65535 / (range_.high - range_.low);
        for (std::size_t i = 0; i < count; ++i) {
            const double v = (load_float(in, i, bits) - range_.low) * scale;
            out[i] = v > 0 ? static_cast<std::uint16_t>(std::min(v, 65535.0) + 0.5) : std::uint16_t{0};
        }
    } else if (bits == 16) {
        std::memcpy(out, in, count * 2);
    } else if (bits % 8 == 0) {
        for (std::size_t i = 0; i < count; ++i) out[i] = top16(in, i, bits);
    } else if (bits == 12) {
        for_each_field(in, count, bits,
                       [&](std::size_t i, std::uint32_t v) { out[i] = static_cast<std::uint16_t>(v); });
    } else {
        const std::uint64_t top = (std::uint64_t{1} << bits) - 1;
        for_each_field(in, count, bits, [&](std::size_t i, std::uint32_t v) {
            out[i] = static_cast<std::uint16_t>((v * std::uint64_t{65535} + top / 2) / top);
        });
    }
}

void RowConverter::put_bilevel(std::span<std::uint8_t> row, int x, std::size_t count,
                               const std::uint8_t* in) const {
    const std::size_t at = static_cast<std::size_t>(x) / 8;
    std::memcpy(row.data() + at, in, std::min((count + 7) / 8, row.size() - at));
}

void RowConverter::put_index(Bitmap& bitmap, int x, int y, std::size_t count, const std::uint8_t* in) {
    const auto step = static_cast<std::size_t>(page_.separate ? 1 : page_.samples);
    levels_.resize(count * step);
    std::uint8_t* values = levels_.data();
    if (page_.bits == 8)
        std::memcpy(values, in, count * step);
    else
        for_each_field(in, count * step, page_.bits,
                       [&](std::size_t i, std::uint32_t v) { values[i] = static_cast<std::uint8_t>(v); });
    if (step > 1) {
        for (std::size_t i = 0; i < count; ++i) values[i] = values[i * step];
    }
    std::uint8_t* row = bitmap.writable_row(y).data();
    if (bitmap.layout() ==
        Layout::bit1) {  // one bit with further samples beside it; the palette knows its polarity
        for (std::size_t i = 0; i < count; i += 8) {
            int byte = 0;
            for (std::size_t k = 0; k < 8; ++k) byte = byte << 1 | (i + k < count ? values[i + k] & 1 : 0);
            row[(static_cast<std::size_t>(x) + i) / 8] = static_cast<std::uint8_t>(byte);
        }
        return;
    }
    const auto top = static_cast<std::uint8_t>((1 << page_.bits) - 1);
    const std::uint8_t invert = page_.white_is_zero() ? top : std::uint8_t{0};
    std::uint8_t* out = row + x;
    for (std::size_t i = 0; i < count; ++i) out[i] = values[i] ^ invert;
}

void RowConverter::put_gray16(std::uint16_t* out, std::size_t count, const std::uint8_t* in) {
    const auto step = static_cast<std::size_t>(page_.separate ? 1 : page_.samples);
    std::uint16_t* words = out;
    if (step > 1) {
        words_.resize(count * step);
        words = words_.data();
    }
    widen(in, count * step, words);
    if (step > 1) {
        for (std::size_t i = 0; i < count; ++i) out[i] = words[i * step];
    }
    if (!page_.white_is_zero()) return;
    const auto top = static_cast<std::uint16_t>(page_.bits == 12 ? 4095 : 65535);
    for (std::size_t i = 0; i < count; ++i) out[i] ^= top;
}

void RowConverter::put_deep_palette(std::uint8_t* out, std::size_t count, const std::uint8_t* in) {
    const auto step = static_cast<std::size_t>(page_.separate ? 1 : page_.samples);
    const auto entry = [&](std::size_t i, std::uint32_t v) {
        if (i % step != 0) return;
        const Rgba& c = page_.palette[v & (page_.palette.size() - 1)];
        std::uint8_t* pixel = out + i / step * 3;
        pixel[0] = c.r, pixel[1] = c.g, pixel[2] = c.b;
    };
    if (page_.bits == 16) {
        for (std::size_t i = 0; i < count * step; ++i) entry(i, load<std::uint16_t>(in + i * 2));
    } else {
        for_each_field(in, count * step, page_.bits, entry);
    }
}

// Indices are taken as they are, alpha is brought to 8 bits.
void RowConverter::put_palette_alpha(std::uint8_t* out, std::size_t count,
                                     std::span<const std::uint8_t* const> planes) {
    const std::size_t step = samples_in(planes);
    const unsigned top = (1U << page_.bits) - 1;
    for_each_field(planes[0], count * step, page_.bits, [&](std::size_t i, std::uint32_t v) {
        std::uint8_t* pixel = out + i / step * 4;
        const std::size_t sample = i % step;
        if (sample == 0) {
            const Rgba& c = page_.palette[v];
            pixel[0] = c.r, pixel[1] = c.g, pixel[2] = c.b;
        } else if (sample == 1) {
            pixel[3] = static_cast<std::uint8_t>((v * 255 + top / 2) / top);
        }
    });
    if (planes.size() < 2) return;
    plane_.resize(count);
    narrow(planes[1], count, plane_.data());
    for (std::size_t i = 0; i < count; ++i) out[i * 4 + 3] = plane_[i];
}

// Interleaved 8-bit levels of all samples; for planes, of the colour samples and the one after them.
const std::uint8_t* RowConverter::levels8(std::size_t count, std::span<const std::uint8_t* const> planes) {
    if (planes.size() <= 1) {
        if (page_.bits == 8 && !page_.floating) return planes[0];
        levels_.resize(count * samples_in(planes));
        narrow(planes[0], levels_.size(), levels_.data());
        return levels_.data();
    }
    levels_.resize(count * planes.size());
    plane_.resize(count);
    for (std::size_t p = 0; p < planes.size(); ++p) {
        narrow(planes[p], count, plane_.data());
        for (std::size_t i = 0; i < count; ++i) levels_[i * planes.size() + p] = plane_[i];
    }
    return levels_.data();
}

// step: bytes from pixel to pixel in the levels.
void RowConverter::put_color(std::uint8_t* out, std::size_t count, const std::uint8_t* in,
                             std::size_t step) const {
    switch (page_.kind) {
        case Kind::gray_alpha: {
            const std::uint8_t invert = page_.white_is_zero() ? 255 : 0;
            for (std::size_t i = 0; i < count; ++i, in += step, out += 4) {
                const std::uint8_t level = page_.associated ? unmultiplied(in[0], in[1]) : in[0];
                out[0] = out[1] = out[2] = level ^ invert;
                out[3] = in[1];
            }
            break;
        }
        case Kind::rgb:
            for (; count > 0; --count, in += step, out += 3) out[0] = in[0], out[1] = in[1], out[2] = in[2];
            break;
        case Kind::rgb_alpha:
            for (; count > 0; --count, in += step, out += 4) {
                for (int c = 0; c < 3; ++c) out[c] = page_.associated ? unmultiplied(in[c], in[3]) : in[c];
                out[3] = in[3];
            }
            break;
        case Kind::cmyk:
            for (; count > 0; --count, in += step, out += 3) {
                const int light = page_.color_samples == 4 ? 255 - in[3] : 255;
                for (int c = 0; c < 3; ++c) out[c] = product(255 - in[c], light);
            }
            break;
        case Kind::lab: {
            const int zero = page_.photometric == PHOTOMETRIC_ICCLAB ? 128 : 0;
            const auto chroma = [zero](std::uint8_t v) {
                return zero ? v - zero : static_cast<int>(static_cast<std::int8_t>(v));
            };
            for (; count > 0; --count, in += step, out += 3)
                lab_to_rgb(in[0] / 2.55, chroma(in[1]), chroma(in[2]), out);
            break;
        }
        default: break;
    }
}

void RowConverter::put(Bitmap& bitmap, int x, int y, std::size_t count,
                       std::span<const std::uint8_t* const> planes) {
    const auto left = static_cast<std::size_t>(x);
    switch (page_.kind) {
        case Kind::bilevel: return put_bilevel(bitmap.writable_row(y), x, count, planes[0]);
        case Kind::index: return put_index(bitmap, x, y, count, planes[0]);
        case Kind::gray16: return put_gray16(bitmap.writable_row16(y).data() + left, count, planes[0]);
        case Kind::deep_palette:
            return put_deep_palette(bitmap.writable_row(y).data() + left * 3, count, planes[0]);
        case Kind::palette_alpha:
            return put_palette_alpha(bitmap.writable_row(y).data() + left * 4, count, planes);
        default: break;
    }
    const std::size_t pixel_bytes = bitmap.layout() == Layout::rgba32 ? 4 : 3;
    const std::size_t step = planes.size() > 1 ? planes.size() : static_cast<std::size_t>(page_.samples);
    put_color(bitmap.writable_row(y).data() + left * pixel_bytes, count, levels8(count, planes), step);
}

}  // namespace quillmark::imaging::tiff
