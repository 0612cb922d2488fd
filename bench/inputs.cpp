#include "inputs.h"

#include <algorithm>
#include <cstdio>
#include <string_view>

#include "imaging/output.h"

namespace quillmark::bench {
namespace {

using Bytes = std::vector<std::uint8_t>;

// Marsaglia's xorshift: the same noise on every machine.
class Noise {
  public:
    std::uint32_t next() {
        state_ ^= state_ << 13;
        state_ ^= state_ >> 17;
        return state_ ^= state_ << 5;
    }

  private:
    std::uint32_t state_ = 2'463'534'242;
};

bool write_all(const std::string& path, const Bytes& bytes) {
    std::FILE* const file = std::fopen(path.c_str(), "wb");
    if (!file) return false;
    const bool whole = std::fwrite(bytes.data(), 1, bytes.size(), file) == bytes.size();
    return std::fclose(file) == 0 && whole;
}

const std::uint8_t* row_of(const Picture& picture, int y) {
    return picture.rgb.data() + static_cast<std::size_t>(y) * static_cast<std::size_t>(picture.width) * 3;
}

// Appends B, G, R of a row.
void append_bgr(Bytes& out, const std::uint8_t* row, int width) {
    for (int x = 0; x < width; ++x, row += 3) out.insert(out.end(), {row[2], row[1], row[0]});
}

// Runs of equal bytes, at most longest.
std::size_t run_length(const Bytes& row, std::size_t at, std::size_t longest) {
    std::size_t length = 1;
    while (length < longest && at + length < row.size() && row[at + length] == row[at]) ++length;
    return length;
}

// Packets of up to 128 pixels: a run, or pixels as they are.
void append_tga_packets(Bytes& out, const Bytes& bgr) {
    const auto pixel = [&](std::size_t i) { return bgr.begin() + static_cast<std::ptrdiff_t>(i * 3); };
    const std::size_t count = bgr.size() / 3;
    for (std::size_t i = 0; i < count;) {
        std::size_t run = 1;
        while (run < 128 && i + run < count && std::equal(pixel(i), pixel(i) + 3, pixel(i + run))) ++run;
        const std::size_t raw = run > 1 ? 0 : std::min<std::size_t>(128, count - i);
        out.push_back(static_cast<std::uint8_t>(raw ? raw - 1 : 127 + run));
        out.insert(out.end(), pixel(i), pixel(i + (raw ? raw : 1)));
        i += raw ? raw : run;
    }
}

void append_sun_runs(Bytes& out, const Bytes& row) {
    for (std::size_t i = 0; i < row.size();) {
        const std::size_t run = run_length(row, i, 256);
        const bool packed = run > 2 || (row[i] == 0x80 && run > 1);
        if (packed) {
            out.insert(out.end(), {0x80, static_cast<std::uint8_t>(run - 1), row[i]});
        } else if (row[i] == 0x80) {
            out.insert(out.end(), {0x80, 0});
        } else {
            out.push_back(row[i]);
        }
        i += packed ? run : 1;
    }
}

void append_pcx_runs(Bytes& out, const Bytes& row) {
    for (std::size_t i = 0; i < row.size();) {
        const std::size_t run = run_length(row, i, 63);
        if (run > 1 || row[i] >= 0xC0) out.push_back(static_cast<std::uint8_t>(0xC0 | run));
        out.push_back(row[i]);
        i += run;
    }
}

// The LZW codes of 8-bit indices, lowest bit first. The table of strings is a hash of (prefix, next index).
class GifCodes {
  public:
    Bytes encode(const Bytes& indices) {
        put(kClear);
        std::uint32_t prefix = indices.front();
        for (std::size_t i = 1; i < indices.size(); ++i) {
            const std::uint32_t key = prefix << 8 | indices[i];
            std::uint32_t slot = key * 2'654'435'761U >> 18;
            while (keys_[slot] != kFree && keys_[slot] != key) slot = (slot + 1) % kSlots;
            if (keys_[slot] == key) {
                prefix = codes_[slot];
                continue;
            }
            put(prefix);
            prefix = indices[i];
            if (next_ == kMost) {
                put(kClear);
                start_over();
                continue;
            }
            keys_[slot] = key;
            codes_[slot] = next_;
            if (next_++ == 1U << width_) ++width_;
        }
        put(prefix);
        put(kEnd);
        out_.insert(out_.end(),
                    {static_cast<std::uint8_t>(pending_), static_cast<std::uint8_t>(pending_ >> 8)});
        return std::move(out_);
    }

  private:
    static constexpr std::uint32_t kClear = 256, kEnd = 257, kMost = 4096, kFree = ~0U, kSlots = 1 << 14;

    void start_over() {
        std::ranges::fill(keys_, kFree);
        next_ = 258;
        width_ = 9;
    }

    void put(std::uint32_t code) {
        pending_ |= code << bits_;
        for (bits_ += width_; bits_ >= 8; bits_ -= 8, pending_ >>= 8)
            out_.push_back(static_cast<std::uint8_t>(pending_));
    }

    std::vector<std::uint32_t> keys_ = std::vector<std::uint32_t>(kSlots, kFree);
    std::vector<std::uint32_t> codes_ = std::vector<std::uint32_t>(kSlots);
    std::uint32_t next_ = 258, width_ = 9, bits_ = 0, pending_ = 0;
    Bytes out_;
};

}  // namespace

Picture landscape(int width, int height) {
    Picture picture{width, height,
                    Bytes(static_cast<std::size_t>(width) * static_cast<std::size_t>(height) * 3)};
    Noise noise;
    std::uint8_t* out = picture.rgb.data();
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            const int cx = x % 700 - 350, cy = y % 900 - 450;
            const int inside = 300 * 300 - cx * cx - cy * cy;
            const int shade = inside > 0 ? inside / 900 : 0;
            const int base[3] = {60 + y * 120 / height + shade, 90 + x * 80 / width,
                                 200 - y * 150 / height + shade / 2};
            const std::uint32_t grain = noise.next();
            for (int c = 0; c < 3; ++c) {
                *out++ = static_cast<std::uint8_t>(
                    std::clamp(base[c] + static_cast<int>(grain >> (c * 8) & 15) - 8, 0, 255));
            }
        }
    }
    return picture;
}

std::vector<std::uint8_t> page(int width, int height) {
    const std::size_t stride = static_cast<std::size_t>(width + 7) / 8;
    Bytes bits(stride * static_cast<std::size_t>(height));
    Noise noise;
    const auto black = [&](int x, int y) {
        bits[static_cast<std::size_t>(y) * stride + static_cast<std::size_t>(x) / 8] |= 0x80 >> (x % 8);
    };
    constexpr int kLine = 70, kCell = 36, kMargin = 300;
    for (int top = kMargin; top + kLine < height - kMargin; top += kLine) {
        for (int left = kMargin; left + kCell < width - kMargin; left += kCell) {
            const std::uint32_t mark = noise.next();
            if (mark % 6 == 0) continue;  // a gap between words
            for (int stroke = 0; stroke < 3; ++stroke) {
                const std::uint32_t shape = noise.next();
                const int x0 = left + static_cast<int>(shape % 20),
                          y0 = top + static_cast<int>(shape >> 8) % 30;
                const bool upright = (shape & 0x80) != 0;
                const int w = upright ? 5 : 14, h = upright ? 20 : 4;
                for (int y = y0; y < y0 + h; ++y) {
                    for (int x = x0; x < x0 + w; ++x) black(x, y);
                }
            }
        }
    }
    return bits;
}

bool write_bmp(const std::string& path, const Picture& picture) {
    imaging::MemoryWriter out;
    const auto rows = static_cast<std::size_t>(picture.height);
    const std::size_t padding = (4 - static_cast<std::size_t>(picture.width) * 3 % 4) % 4;
    const std::size_t size = 54 + (static_cast<std::size_t>(picture.width) * 3 + padding) * rows;
    out.u8('B');
    out.u8('M');
    out.u32le(static_cast<std::uint32_t>(size));
    out.u32le(0);
    for (const int value : {54, 40, picture.width, picture.height})
        out.u32le(static_cast<std::uint32_t>(value));
    out.u16le(1);
    out.u16le(24);
    out.zeros(24);
    Bytes bytes = out.bytes();
    bytes.reserve(size);
    for (int y = picture.height - 1; y >= 0; --y) {
        append_bgr(bytes, row_of(picture, y), picture.width);
        bytes.insert(bytes.end(), padding, 0);
    }
    return write_all(path, bytes);
}

bool write_tga(const std::string& path, const Picture& picture, bool packed) {
    imaging::MemoryWriter out;
    for (const int value : {0, 0, packed ? 10 : 2}) out.u8(value);
    out.zeros(9);
    out.u16le(static_cast<std::uint32_t>(picture.width));
    out.u16le(static_cast<std::uint32_t>(picture.height));
    out.u8(24);
    out.u8(0x20);  // the first row is the top one
    Bytes bytes = out.bytes();
    for (int y = 0; y < picture.height; ++y) {
        Bytes row;
        append_bgr(row, row_of(picture, y), picture.width);
        if (packed) {
            append_tga_packets(bytes, row);
        } else {
            bytes.insert(bytes.end(), row.begin(), row.end());
        }
    }
    return write_all(path, bytes);
}

bool write_sun(const std::string& path, const Picture& picture, bool packed) {
    imaging::MemoryWriter out;
    Bytes pixels;
    for (int y = 0; y < picture.height; ++y) {
        Bytes row;
        append_bgr(row, row_of(picture, y), picture.width);
        if (row.size() % 2 != 0) row.push_back(0);
        if (packed) {
            append_sun_runs(pixels, row);
        } else {
            pixels.insert(pixels.end(), row.begin(), row.end());
        }
    }
    const auto length = static_cast<std::uint32_t>(pixels.size());
    const auto width = static_cast<std::uint32_t>(picture.width),
               height = static_cast<std::uint32_t>(picture.height);
    for (const std::uint32_t value : {0x59A66A95U, width, height, 24U, length, packed ? 2U : 1U, 0U, 0U})
        out.u32be(value);
    Bytes bytes = out.bytes();
    bytes.insert(bytes.end(), pixels.begin(), pixels.end());
    return write_all(path, bytes);
}

bool write_pcx(const std::string& path, const Picture& picture) {
    imaging::MemoryWriter out;
    const std::size_t line =
        static_cast<std::size_t>(picture.width) + static_cast<std::size_t>(picture.width) % 2;
    for (const int value : {10, 5, 1, 8}) out.u8(value);
    out.u32le(0);
    out.u16le(static_cast<std::uint32_t>(picture.width - 1));
    out.u16le(static_cast<std::uint32_t>(picture.height - 1));
    out.zeros(53);
    out.u8(3);
    out.u16le(static_cast<std::uint32_t>(line));
    out.u16le(1);
    out.zeros(58);
    Bytes bytes = out.bytes();
    for (int y = 0; y < picture.height; ++y) {
        const std::uint8_t* row = row_of(picture, y);
        for (int plane = 0; plane < 3; ++plane) {
            Bytes values(line);
            for (std::size_t x = 0; x < static_cast<std::size_t>(picture.width); ++x)
                values[x] = row[x * 3 + static_cast<std::size_t>(plane)];
            append_pcx_runs(bytes, values);
        }
    }
    return write_all(path, bytes);
}

bool write_gif(const std::string& path, const Picture& picture) {
    imaging::MemoryWriter out;
    for (const char c : std::string_view{"GIF89a"}) out.u8(c);
    out.u16le(static_cast<std::uint32_t>(picture.width));
    out.u16le(static_cast<std::uint32_t>(picture.height));
    for (const int value : {0xF7, 0, 0}) out.u8(value);  // 256 colours
    for (int grey = 0; grey < 256; ++grey) {
        for (int c = 0; c < 3; ++c) out.u8(grey);
    }
    out.u8(',');
    out.u32le(0);
    out.u16le(static_cast<std::uint32_t>(picture.width));
    out.u16le(static_cast<std::uint32_t>(picture.height));
    out.u8(0);
    out.u8(8);
    Bytes bytes = out.bytes();
    Bytes indices;
    indices.reserve(picture.rgb.size() / 3);
    for (std::size_t i = 1; i < picture.rgb.size(); i += 3) indices.push_back(picture.rgb[i]);
    const Bytes codes = GifCodes{}.encode(indices);
    for (std::size_t at = 0; at < codes.size(); at += 255) {
        const std::size_t size = std::min<std::size_t>(255, codes.size() - at);
        bytes.push_back(static_cast<std::uint8_t>(size));
        bytes.insert(bytes.end(), codes.begin() + static_cast<std::ptrdiff_t>(at),
                     codes.begin() + static_cast<std::ptrdiff_t>(at + size));
    }
    bytes.insert(bytes.end(), {0, ';'});
    return write_all(path, bytes);
}

}  // namespace quillmark::bench
