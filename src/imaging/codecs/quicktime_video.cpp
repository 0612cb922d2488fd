#include "imaging/codecs/quicktime_video.h"

#include <algorithm>
#include <array>
#include <vector>

namespace quillmark::imaging::codecs {
namespace {

// Big-endian bytes; zeros behind the end.
class Bytes {
  public:
    explicit Bytes(std::span<const std::uint8_t> bytes) : bytes_{bytes} {}
    unsigned u8() { return at_ < bytes_.size() ? bytes_[at_++] : 0U; }
    unsigned peek() const { return at_ < bytes_.size() ? bytes_[at_] : 0U; }
    unsigned u16() { return u8() << 8 | u8() * 1U; }
    std::uint32_t u32() {
        const std::uint32_t high = u16();
        return high << 16 | u16();
    }
    std::size_t left() const { return bytes_.size() - at_; }
    Bytes take(std::size_t count) {
        const auto part = bytes_.subspan(at_, std::min(count, left()));
        at_ += part.size();
        return Bytes{part};
    }

  private:
    std::span<const std::uint8_t> bytes_;
    std::size_t at_ = 0;
};

void put(Bitmap& bitmap, int x, int y, Rgba c) {
    if (x >= bitmap.width() || y >= bitmap.height()) return;
    const auto row = bitmap.writable_row(y);
    const auto at = static_cast<std::size_t>(x) * 3;
    row[at] = c.r, row[at + 1] = c.g, row[at + 2] = c.b;
}

// Blocks of 4 x 4 in reading order.
class Blocks {
  public:
    explicit Blocks(Bitmap& bitmap) : bitmap_{bitmap}, across_{(bitmap.width() + 3) / 4} {
        count_ = across_ * ((bitmap.height() + 3) / 4);
    }
    bool done() const { return at_ >= count_; }
    void skip() { ++at_; }
    /// colour(i) for i from 0 to 15.
    template <typename Colour>
    void fill(Colour colour) {
        const int x = at_ % across_ * 4, y = at_ / across_ * 4;
        for (int i = 0; i < 16; ++i) put(bitmap_, x + i % 4, y + i / 4, colour(i));
        ++at_;
    }
    int rows() const { return std::min(bitmap_.height(), (at_ + across_ - 1) / across_ * 4); }

  private:
    Bitmap& bitmap_;
    int across_, count_, at_ = 0;
};

// Two colours and two between them.
std::array<Rgba, 4> mixed(unsigned a, unsigned b) {
    const auto mix = [&](unsigned share_a, unsigned share_b) {
        unsigned value = 0;
        for (const int shift : {10, 5, 0})
            value |= (share_a * (a >> shift & 31) + share_b * (b >> shift & 31)) >> 5 << shift;
        return colour_of_555(value);
    };
    return {colour_of_555(b), mix(11, 21), mix(21, 11), colour_of_555(a)};
}

void fill_mixed(Blocks& blocks, Bytes& in, const std::array<Rgba, 4>& colours) {
    const std::uint32_t indices = in.u32();
    blocks.fill([&](int i) { return colours[indices >> (30 - 2 * i) & 3]; });
}

// --- Cinepak
// ---------------------------------------------------------------------------------------------------

using Vector = std::array<Rgba, 4>;  // 2 x 2 pixels

struct Strip {
    std::array<Vector, 256> small{}, large{};  // for blocks of four vectors, and of one
    int top = 0, bottom = 0;
};

Vector read_vector(Bytes& in, bool gray) {
    std::array<int, 4> luma{};
    for (int& y : luma) y = static_cast<int>(in.u8());
    const int u = gray ? 0 : static_cast<std::int8_t>(in.u8()),
              v = gray ? 0 : static_cast<std::int8_t>(in.u8());
    const auto level = [](int value) { return static_cast<std::uint8_t>(std::clamp(value, 0, 255)); };
    Vector vector;
    for (std::size_t i = 0; i < 4; ++i)
        vector[i] = {level(luma[i] + v * 2), level(luma[i] - u / 2 - v), level(luma[i] + u * 2), 255};
    return vector;
}

void read_book(Bytes in, unsigned id, std::array<Vector, 256>& book) {
    const bool gray = (id & 0x400) != 0, partial = (id & 0x100) != 0;
    const std::size_t entry = gray ? 4 : 6;
    std::uint32_t flags = 0, bit = 0;
    for (Vector& vector : book) {
        if (partial && (bit >>= 1) == 0) {
            if (in.left() < 4) return;
            flags = in.u32();
            bit = 0x80000000;
        }
        if (partial && (flags & bit) == 0) continue;
        if (in.left() < entry) return;
        vector = read_vector(in, gray);
    }
}

void put_block(Bitmap& bitmap, int x, int y, const std::array<const Vector*, 4>& quarters, bool large) {
    for (int i = 0; i < 16; ++i) {
        const int dx = i % 4, dy = i / 4;
        const std::size_t right = static_cast<std::size_t>(dx) / 2, below = static_cast<std::size_t>(dy) / 2;
        const std::size_t quarter = below * 2 + right;
        const std::size_t inside = static_cast<std::size_t>(dy) % 2 * 2 + static_cast<std::size_t>(dx) % 2;
        put(bitmap, x + dx, y + dy, large ? (*quarters[0])[quarter] : (*quarters[quarter])[inside]);
    }
}

// Returns the row behind the last block that the data reach.
int read_blocks(Bytes in, unsigned id, const Strip& strip, Bitmap& bitmap) {
    std::uint32_t flags = 0, bit = 0;
    bool end = false;
    const auto flag = [&] {
        if ((bit >>= 1) == 0) {
            end = in.left() < 4;
            flags = in.u32();
            bit = 0x80000000;
        }
        return (flags & bit) != 0;
    };
    int y = strip.top;
    for (; y < strip.bottom; y += 4) {
        for (int x = 0; x < bitmap.width(); x += 4) {
            if (id == 0x3100 && !flag()) continue;  // left as it was
            const bool small = id != 0x3200 && flag();
            if (end || in.left() < (small ? 4U : 1U)) return y;
            std::array<const Vector*, 4> quarters{};
            for (std::size_t i = 0; i < (small ? 4U : 1U); ++i)
                quarters[i] = small ? &strip.small[in.u8()] : &strip.large[in.u8()];
            put_block(bitmap, x, y, quarters, !small);
        }
    }
    return std::min(y, bitmap.height());
}

}  // namespace

Rgba colour_of_555(unsigned value) {
    const auto wide = [](unsigned v) { return static_cast<std::uint8_t>((v & 31) << 3 | (v & 31) >> 2); };
    return {wide(value >> 10), wide(value >> 5), wide(value), 255};
}

int decode_road_pizza(std::span<const std::uint8_t> frame, Bitmap& bitmap) {
    Bytes in{frame};
    in.u32();  // a mark and the length
    Blocks blocks{bitmap};
    while (!blocks.done() && in.left() > 0) {
        unsigned op = in.u8();
        unsigned count = (op & 31) + 1, a = 0;
        if ((op & 0x80) == 0) {  // no code but a colour: of sixteen, or of two when its successor says so
            a = op << 8 | in.u8();
            op = (in.peek() & 0x80) != 0 ? 0x20 : 0;
            count = 1;
        } else if ((op & 0xE0) != 0x80) {
            a = in.u16();
        }
        if ((op & 0xE0) == 0xE0) break;
        const auto colours = (op & 0xE0) == 0xC0 || op == 0x20 ? mixed(a, in.u16()) : std::array<Rgba, 4>{};
        for (; count > 0 && !blocks.done(); --count) {
            switch (op & 0xE0) {
                case 0x80: blocks.skip(); break;
                case 0xA0: blocks.fill([&](int) { return colour_of_555(a); }); break;
                case 0x00: blocks.fill([&](int i) { return colour_of_555(i == 0 ? a : in.u16()); }); break;
                default: fill_mixed(blocks, in, colours);
            }
        }
    }
    return blocks.rows();
}

int decode_cinepak(std::span<const std::uint8_t> frame, Bitmap& bitmap) {
    Bytes in{frame};
    const bool keep_books = (in.u8() & 1) == 0;
    for (int i = 0; i < 7; ++i) in.u8();  // length and sides
    const unsigned strips = in.u16();
    std::vector<Strip> state(1);
    Strip& strip = state[0];
    int rows = 0;
    for (unsigned i = 0; i < strips && in.left() >= 12 && strip.bottom < bitmap.height(); ++i) {
        in.u16();
        const unsigned size = in.u16();
        const int y = static_cast<int>(in.u16());
        in.u16();
        const int bottom = static_cast<int>(in.u16());
        in.u16();
        if (!keep_books) strip.small = strip.large = {};
        const int top = y == 0 ? strip.bottom : y;
        strip.bottom = y == 0 ? top + bottom : bottom;
        strip.top = top;
        if (strip.bottom <= top || size < 12) break;
        Bytes chunks = in.take(size - 12);
        while (chunks.left() >= 4) {
            const unsigned id = chunks.u16(), length = chunks.u16();
            if (length < 4) break;
            const Bytes chunk = chunks.take(length - 4);
            if (id >= 0x2000 && id < 0x2800) {
                read_book(chunk, id, (id & 0x200) != 0 ? strip.large : strip.small);
            } else if (id == 0x3000 || id == 0x3100 || id == 0x3200) {
                rows = std::max(rows, read_blocks(chunk, id, strip, bitmap));
            }
        }
    }
    return std::min(rows, bitmap.height());
}

}  // namespace quillmark::imaging::codecs
