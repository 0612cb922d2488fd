#include "imaging/codecs/pict_rows.h"

#include <atomic>
#include <cstring>

#include "imaging/codecs/packbits.h"
#include "imaging/codecs/quicktime_video.h"
#include "imaging/codecs/row_stream.h"
#include "imaging/swizzle.h"
#include "imaging/threads.h"

namespace quillmark::imaging::codecs {
namespace {

// Where packed rows lie: found by hopping from count to count, so that threads can share them.
class RowIndex {
  public:
    // Only rows that are there in full, or in part at the end of the data.
    RowIndex(ByteReader in, const PictRaster& raster) {
        in.seek(raster.data_at);
        const auto rows = static_cast<std::size_t>(raster.bounds.height());
        // Packets that stand for a whole row take at least this much.
        const auto least =
            static_cast<std::int64_t>((raster.unpacked() + 127) / 128 * (raster.depth == 16 ? 1 : 2));
        for (std::size_t y = 0; y < rows && in.remaining() > raster.count_bytes; ++y) {
            std::int64_t count = static_cast<std::int64_t>(raster.unpacked());
            if (raster.count_bytes > 0) count = raster.count_bytes == 2 ? in.u16be() : in.u8();
            if (raster.count_bytes > 0 && count < least) break;
            begin_.push_back(in.position());
            size_.push_back(static_cast<std::uint32_t>(std::min(count, in.remaining())));
            in.skip(std::min(count, in.remaining()));
        }
    }
    int rows() const { return static_cast<int>(begin_.size()); }

    // Row y as stored, in place or copied to spare.
    std::span<const std::uint8_t> row(const ByteReader& in, int y, std::vector<std::uint8_t>& spare) const {
        const std::int64_t at = in.base() + begin_[static_cast<std::size_t>(y)];
        const std::size_t size = size_[static_cast<std::size_t>(y)];
        const auto memory = in.source()->memory();
        if (!memory.empty()) return memory.subspan(static_cast<std::size_t>(at), size);
        spare.resize(size);
        return std::span{spare}.first(in.source()->read_at(at, spare));
    }

  private:
    std::vector<std::int64_t> begin_;
    std::vector<std::uint32_t> size_;
};

void take_bits(const std::uint8_t* in, std::size_t left, std::span<std::uint8_t> out, int width) {
    if (left % 8 == 0) {
        std::memcpy(out.data(), in + left / 8, out.size());
    } else {
        const unsigned shift = left % 8;
        const std::size_t first = left / 8, last = (left + static_cast<std::size_t>(width) - 1) / 8;
        for (std::size_t i = 0; i < out.size(); ++i) {
            const unsigned next = first + i < last ? in[first + i + 1] : 0U;
            out[i] = static_cast<std::uint8_t>((in[first + i] << 8 | next) >> (8 - shift));
        }
    }
    if (width % 8) out.back() &= static_cast<std::uint8_t>(0xFF00U >> (width % 8));
}

void take_indices(const std::uint8_t* in, std::size_t left, std::size_t depth, std::span<std::uint8_t> out) {
    if (depth == 8) {
        std::memcpy(out.data(), in + left, out.size());
        return;
    }
    const std::size_t per_byte = 8 / depth;
    const unsigned mask = (1U << depth) - 1;
    for (std::size_t x = 0; x < out.size(); ++x) {
        const std::size_t at = left + x;
        out[x] = static_cast<std::uint8_t>(in[at / per_byte] >> (8 - depth - at % per_byte * depth) & mask);
    }
}

// One unpacked row into the picture.
void convert_row(const PictRaster& raster, const std::uint8_t* in, std::span<std::uint8_t> out) {
    const auto left = static_cast<std::size_t>(raster.source.left - raster.bounds.left);
    const auto width = static_cast<std::size_t>(raster.source.width());
    const std::size_t plane = static_cast<std::size_t>(raster.row_bytes) / 4;
    switch (raster.depth) {
        case 1: take_bits(in, left, out, raster.source.width()); break;
        case 16:
            for (std::size_t x = 0; x < width; ++x) {
                const std::size_t at = (left + x) * 2;
                const Rgba c = colour_of_555(static_cast<unsigned>(in[at] << 8 | in[at + 1]));
                out[x * 3] = c.r, out[x * 3 + 1] = c.g, out[x * 3 + 2] = c.b;
            }
            break;
        case 32:
            if (raster.planar()) {
                const std::uint8_t* red = in + left + (raster.components == 4 ? plane : 0);
                interleave_rgb(red, red + plane, red + plane * 2, out.data(), width);
            } else if (raster.pack_type == 2) {
                std::memcpy(out.data(), in + left * 3, width * 3);
            } else {
                drop_fourth(in + left * 4, out.data(), width, 1, 2, 3);
            }
            break;
        default: take_indices(in, left, static_cast<std::size_t>(raster.depth), out);
    }
}

class RowDecoder {
  public:
    RowDecoder(const ByteReader& in, const PictRaster& raster, const RowIndex& index)
        : in_{in}, raster_{raster}, index_{index} {}

    // Stored row y of the bounds; false when it holds less than a row.
    bool decode(int y, std::span<std::uint8_t> out) {
        const std::size_t size = raster_.unpacked();
        const auto stored = index_.row(in_, y, spare_);
        if (raster_.count_bytes == 0 && stored.size() == size) {
            convert_row(raster_, stored.data(), out);
            return true;
        }
        unpacked_.resize(size);
        std::size_t got = stored.size();
        if (raster_.count_bytes == 0) {
            std::ranges::copy(stored, unpacked_.begin());
        } else {
            got = (raster_.depth == 16 ? unpack_words : unpack_bits)(stored, unpacked_).produced;
        }
        std::fill(unpacked_.begin() + static_cast<std::ptrdiff_t>(got), unpacked_.end(), std::uint8_t{0});
        convert_row(raster_, unpacked_.data(), out);
        return got == size;
    }

  private:
    const ByteReader& in_;
    const PictRaster& raster_;
    const RowIndex& index_;
    std::vector<std::uint8_t> spare_, unpacked_;
};

}  // namespace

Result<Outcome> decode_pict_rows(const ByteReader& in, const PictRaster& raster, const Limits& limits,
                                 RowSink& sink) {
    constexpr std::int64_t kBlock = std::int64_t{8} << 20;
    const int width = raster.source.width(), height = raster.source.height();
    const int above = raster.source.top - raster.bounds.top;
    const RowIndex index{in, raster};
    const int rows = std::clamp(index.rows() - above, 0, height);
    if (rows == 0) return Error{Fault::truncated, "pixels"};
    auto bitmap = bitmap_for(width, height, raster.bits, limits, rows < height);
    if (!bitmap) return bitmap.error();
    if (raster.depth <= 8) bitmap->set_palette(raster.palette);
    sink.begin(*bitmap);
    std::atomic<bool> damaged{false};
    const int block =
        static_cast<int>(std::max<std::int64_t>(1, kBlock / static_cast<std::int64_t>(bitmap->stride())));
    for (int first = 0; first < rows; first += block) {
        const int last = std::min(first + block, rows);
        parallel_bands(last - first, 8, [&](int from, int to) {
            RowDecoder decoder{in, raster, index};
            for (int y = first + from; y < first + to; ++y) {
                if (!decoder.decode(above + y, bitmap->writable_row(y))) damaged = true;
            }
        });
        if (!sink.rows(*bitmap, first, last, last, height)) return Error{Fault::cancelled, "pixels"};
    }
    auto outcome = outcome_of(std::move(*bitmap), 0, rows);
    if (damaged) outcome.warnings.push_back("damaged rows");
    return outcome;
}

}  // namespace quillmark::imaging::codecs
