// Rows out of fax codes, run lines and plain or packed bytes. Source: IOCA reference of the AFP Consortium.
#include "imaging/codecs/ioca_plane.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <vector>

#include "imaging/buffer.h"
#include "imaging/codecs/fax_decoder.h"

namespace quillmark::imaging::codecs {
namespace {

constexpr std::int64_t kMaxCountedBytes = std::int64_t{1} << 28;  // of an image whose height is not stated

bool is_fax(IocaCompression compression) {
    switch (compression) {
        case IocaCompression::ibm_mmr:
        case IocaCompression::aligned_mh:
        case IocaCompression::group3:
        case IocaCompression::group3_2d:
        case IocaCompression::group4: return true;
        default: return false;
    }
}

fax::Coding fax_coding(IocaCompression compression) {
    switch (compression) {
        case IocaCompression::ibm_mmr: return fax::Coding::ibm_mmr;
        case IocaCompression::aligned_mh: return fax::Coding::aligned_rows;
        case IocaCompression::group3: return fax::Coding::group3;
        case IocaCompression::group3_2d: return fax::Coding::group3_2d;
        default: return fax::Coding::group4;
    }
}

std::size_t padded_bytes(int width) { return (static_cast<std::size_t>(width) + 7) / 8; }

// --- fax

struct FaxCount {
    int rows = 0, good = 0;
    bool stopped = false;
    bool closed = false;  // the data end after the last row, and say so
};

// Decodes at most height rows; the count ends with the last good one.
FaxCount fax_rows(const IocaPlane& plane, int coded_width, int height, const IocaRow& row) {
    const fax::Layout layout{fax_coding(plane.encoding.compression()), coded_width,
                             plane.encoding.lowest_bit_first};
    fax::Decoder decoder{plane.data, layout};
    std::vector<std::uint8_t> pixels(padded_bytes(coded_width));
    FaxCount count;
    for (int y = 0; y < height; ++y) {
        const auto kind = decoder.next(pixels);
        if (kind == fax::Decoder::Row::end) return count;
        if (kind == fax::Decoder::Row::good) {
            ++count.good;
            count.rows = y + 1;
        }
        if (!row(y, pixels.data())) {
            count.stopped = true;
            return count;
        }
    }
    count.closed = decoder.next(pixels) == fax::Decoder::Row::end;
    return count;
}

// Padded rows are coded with their padding, as the format wants it; some writers code the bare width. The
// wrong one rarely decodes to the end, and never ends where the data do.
int fax_width(const IocaPlane& plane, int height) {
    const int padded = (plane.width + 7) / 8 * 8;
    if (plane.encoding.rows == IocaRows::bit_stream || padded == plane.width) return plane.width;
    const auto trial = [&](int width) {
        return fax_rows(plane, width, height, [](int, const std::uint8_t*) { return true; });
    };
    const FaxCount wide = trial(padded);
    if (wide.good == height && wide.closed) return padded;
    const FaxCount bare = trial(plane.width);
    return bare.good > wide.good || (bare.good == wide.good && bare.closed) ? plane.width : padded;
}

Result<IocaRowCount> read_fax(const IocaPlane& plane, const IocaRow& row) {
    if (plane.bits != 1) return Error{Fault::unsupported, "fax coding of more than 1 bit"};
    const FaxCount count = fax_rows(plane, fax_width(plane, plane.height), plane.height, row);
    if (count.stopped) return Error{Fault::cancelled, "pixels"};
    if (count.good == 0) return Error{plane.data.empty() ? Fault::truncated : Fault::malformed, "fax data"};
    return IocaRowCount{count.rows, count.good < count.rows};
}

// --- run lines

// A run of white or black: the number of ones that lead says how many bits follow, and where they count from.
// -1 ends the line.
int next_run(fax::BitReader& bits) {
    const int ones = std::countl_one(bits.peek(32));
    const auto value = [&](int prefix, int size, int from) {
        bits.skip(prefix);
        const int run = from + static_cast<int>(bits.peek(size));
        bits.skip(size);
        return run;
    };
    switch (ones) {
        case 0: return value(1, 3, 1);
        case 1: return value(2, 6, 9);
        case 2: return value(3, 9, 73);
        case 3: return value(4, 12, 585);
        case 4: return value(5, 15, 4681);
        case 7: bits.skip(8); return 0;
        default: return -1;
    }
}

void paint_line(std::span<const std::uint8_t> codes, bool lowest_bit_first, int width,
                std::span<std::uint8_t> row) {
    fax::BitReader bits{codes, lowest_bit_first};
    std::ranges::fill(row, std::uint8_t{0});
    bool black = false;
    for (int x = 0; x < width && !bits.at_end(); black = !black) {
        const int run = next_run(bits);
        if (run < 0) break;
        const int end = std::min(width, x + run);
        for (; black && x < end; ++x)
            row[static_cast<std::size_t>(x) / 8] |= static_cast<std::uint8_t>(0x80 >> x % 8);
        x = end;
    }
}

// Calls take(line number, codes) for every line; false when the data end inside of one.
template <typename Take>
bool each_line(std::span<const std::uint8_t> data, Take take) {
    constexpr std::size_t kLineHeader = 4;
    while (data.size() >= kLineHeader) {
        const int number = data[0] << 8 | data[1];
        const std::size_t size = std::size_t{data[2]} << 8 | data[3];
        data = data.subspan(kLineHeader);
        take(number, data.first(std::min(size, data.size())));
        if (size > data.size()) return false;
        data = data.subspan(size);
    }
    return true;
}

struct LineNumbers {
    int first = 1 << 16, last = -1;
    int base() const { return first == 0 ? 0 : 1; }  // where counting begins
};

LineNumbers line_numbers(std::span<const std::uint8_t> data) {
    LineNumbers numbers;
    each_line(data, [&](int number, std::span<const std::uint8_t>) {
        numbers.first = std::min(numbers.first, number);
        numbers.last = std::max(numbers.last, number);
    });
    return numbers;
}

Result<IocaRowCount> read_run_lines(const IocaPlane& plane, const IocaRow& row) {
    if (plane.bits != 1) return Error{Fault::unsupported, "run lines of more than 1 bit"};
    const LineNumbers numbers = line_numbers(plane.data);
    if (numbers.last < 0) return Error{Fault::truncated, "run lines"};
    std::vector<std::uint8_t> pixels(padded_bytes(plane.width));
    bool stopped = false;
    int expected = 0;  // lines that are left out are white
    const auto white_to = [&](int y) {
        std::ranges::fill(pixels, std::uint8_t{0});
        for (; expected < y && !stopped; ++expected) stopped = !row(expected, pixels.data());
    };
    const bool whole = each_line(plane.data, [&](int number, std::span<const std::uint8_t> codes) {
        const int y = number - numbers.base();
        // Lines come in order; one that does not is left out, so that the work stays that of the image.
        if (stopped || y < expected || y >= plane.height) return;
        white_to(y);
        paint_line(codes, plane.encoding.lowest_bit_first, plane.width, pixels);
        stopped = stopped || !row(y, pixels.data());
        expected = y + 1;
    });
    if (whole) white_to(plane.height);
    if (stopped) return Error{Fault::cancelled, "pixels"};
    if (expected == 0) return Error{Fault::malformed, "run lines"};
    return IocaRowCount{expected, false};
}

// --- bytes

std::int64_t stored_row_bits(const IocaPlane& plane) {
    const std::int64_t bits = std::int64_t{plane.width} * plane.bits;
    switch (plane.encoding.rows) {
        case IocaRows::bit_stream: return bits;
        case IocaRows::bottom_up: return (bits + 31) / 32 * 32;
        default: return (bits + 7) / 8 * 8;
    }
}

// A row that begins inside a byte, moved to the beginning of one.
void shift_row(std::span<const std::uint8_t> bytes, std::int64_t bit, std::span<std::uint8_t> row) {
    const auto first = static_cast<std::size_t>(bit / 8);
    const int shift = static_cast<int>(bit % 8);
    for (std::size_t i = 0; i < row.size(); ++i) {
        const unsigned high = first + i < bytes.size() ? bytes[first + i] : 0;
        const unsigned low = first + i + 1 < bytes.size() ? bytes[first + i + 1] : 0;
        row[i] = static_cast<std::uint8_t>((high << 8 | low) >> (8 - shift));
    }
}

// The rows of unpacked data; the last one perhaps in part.
Result<IocaRowCount> byte_rows(const IocaPlane& plane, std::span<const std::uint8_t> bytes,
                               const IocaRow& row) {
    const std::int64_t row_bits = stored_row_bits(plane);
    const std::int64_t held = static_cast<std::int64_t>(bytes.size()) * 8;
    const int rows = static_cast<int>(std::min<std::int64_t>(plane.height, (held + row_bits - 1) / row_bits));
    if (held < row_bits) return Error{Fault::truncated, "pixels"};
    std::vector<std::uint8_t> moved(static_cast<std::size_t>((row_bits + 7) / 8));
    for (int i = 0; i < rows; ++i) {
        const int y = plane.encoding.rows == IocaRows::bottom_up ? plane.height - 1 - i : i;
        const std::int64_t bit = row_bits * i;
        const auto at = static_cast<std::size_t>(bit / 8);
        const bool in_place = bit % 8 == 0 && bytes.size() - at >= moved.size();
        if (!in_place) shift_row(bytes, bit, moved);
        if (!row(y, in_place ? bytes.data() + at : moved.data())) return Error{Fault::cancelled, "pixels"};
    }
    return IocaRowCount{rows, false};
}

std::uint8_t reversed(std::uint8_t byte) {
    std::uint8_t turned = 0;
    for (int bit = 0; bit < 8; ++bit) turned = static_cast<std::uint8_t>(turned << 1 | (byte >> bit & 1));
    return turned;
}

// What one coded byte can unpack to at most, for a buffer that fits the data and not only the header.
std::int64_t most_per_byte(IocaCompression compression) {
    return compression == IocaCompression::packbits ? 64 : 4096;
}

Result<IocaRowCount> read_packed(const IocaPlane& plane, std::span<const std::uint8_t> data,
                                 const IocaRow& row) {
    const IocaCompression compression = plane.encoding.compression();
    const std::int64_t wanted = (stored_row_bits(plane) * plane.height + 7) / 8;
    const std::int64_t size =
        std::min(wanted, static_cast<std::int64_t>(data.size()) * most_per_byte(compression) + 1);
    Buffer unpacked = Buffer::allocate(static_cast<std::size_t>(size));
    if (!unpacked) return Error{Fault::out_of_memory, "pixels"};
    const std::span out{unpacked.data(), static_cast<std::size_t>(size)};
    const std::size_t got =
        compression == IocaCompression::lzw ? unpack_lzw(data, out) : unpack_packbits(data, out);
    return byte_rows(plane, out.first(got), row);
}

Result<IocaRowCount> read_bytes(const IocaPlane& plane, const IocaRow& row) {
    std::vector<std::uint8_t> turned;
    std::span<const std::uint8_t> data = plane.data;
    if (plane.encoding.lowest_bit_first) {
        turned.assign(data.begin(), data.end());
        std::ranges::transform(turned, turned.begin(), reversed);
        data = turned;
    }
    if (plane.encoding.compression() == IocaCompression::none) return byte_rows(plane, data, row);
    return read_packed(plane, data, row);
}

}  // namespace

Result<void> check_ioca_encoding(const IocaEncoding& encoding) {
    switch (encoding.number) {
        case 0x08:
        case 0x0A: return Error{Fault::unsupported, "ABIC compression"};
        case 0x0B: return Error{Fault::unsupported, "OS/2 colour compression"};
        case 0x84: return Error{Fault::unsupported, "JBIG2 compression"};
        case 0xFE: return Error{Fault::unsupported, "compression of the user's own"};
        default: break;
    }
    const IocaCompression compression = encoding.compression();
    if (is_fax(compression)) return {};
    switch (compression) {
        case IocaCompression::none:
        case IocaCompression::run_lines:
        case IocaCompression::packbits:
        case IocaCompression::lzw:
        case IocaCompression::solid:
        case IocaCompression::jpeg: return {};
        default: return Error{Fault::unsupported, "compression"};
    }
}

Result<IocaRowCount> read_ioca_plane(const IocaPlane& plane, const IocaRow& row) {
    const IocaCompression compression = plane.encoding.compression();
    if (is_fax(compression)) return read_fax(plane, row);
    if (compression == IocaCompression::run_lines) return read_run_lines(plane, row);
    return read_bytes(plane, row);
}

Result<int> count_ioca_rows(IocaPlane plane, const Limits& limits) {
    const IocaCompression compression = plane.encoding.compression();
    const std::int64_t row_bytes = std::max<std::int64_t>(1, stored_row_bits(plane) / 8);
    const auto most = static_cast<int>(std::min(limits.max_bilevel_side, kMaxCountedBytes / row_bytes));
    std::int64_t rows = 0;
    if (is_fax(compression)) {
        // One row more than is allowed shows that the data hold too many.
        const auto ignore = [](int, const std::uint8_t*) { return true; };
        rows = fax_rows(plane, fax_width(plane, most), most + 1, ignore).rows;
    } else if (compression == IocaCompression::none) {
        rows = static_cast<std::int64_t>(plane.data.size()) * 8 / stored_row_bits(plane);
    } else if (compression == IocaCompression::run_lines) {
        const LineNumbers numbers = line_numbers(plane.data);
        rows = numbers.last + 1 - numbers.base();
    } else {
        return Error{Fault::malformed, "height is not stated"};
    }
    if (rows > most) return Error{Fault::too_large, "rows of an image without a height"};
    if (rows < 1) return Error{Fault::truncated, "pixels"};
    return static_cast<int>(rows);
}

}  // namespace quillmark::imaging::codecs
