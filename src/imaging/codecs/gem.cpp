// GEM images (.img) of Digital Research's GEM, with the extensions that Atari and Ventura programs gave them.
#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstring>
#include <utility>
#include <vector>

#include "imaging/codecs/bilevel.h"
#include "imaging/codecs/chunk_reader.h"
#include "imaging/codecs/gem_packets.h"
#include "imaging/codecs/gem_palette.h"
#include "imaging/codecs/row_stream.h"
#include "imaging/swizzle.h"

namespace quillmark::imaging::codecs {
namespace {

using Bytes = std::span<const std::uint8_t>;

constexpr int kFormat = 52;
constexpr std::size_t kLeastWords = 8, kMostWords = 779;
constexpr std::size_t kFixed = kLeastWords * 2;  // bytes that every header has
constexpr double kMicrometresPerInch = 25'400;

struct Header {
    int planes = 0, width = 0, height = 0;
    int pixel_width = 0, pixel_height = 0;  // micrometres
    std::size_t size = 0;                   // bytes; the pixels follow
    GemCoding coding;
    bool ventura = false;  // 24 bits in another order, and counts of pixels

    bool planar() const { return planes <= 15; }
    std::size_t lines() const { return planar() ? static_cast<std::size_t>(planes) : 1; }
    int bits() const { return planes <= 8 ? planes : planes <= 16 ? 16 : 24; }
    std::size_t columns() const { return static_cast<std::size_t>(width); }
};

unsigned word(Bytes bytes, std::size_t at) { return static_cast<unsigned>(bytes[at] << 8 | bytes[at + 1]); }

Result<Header> parse(Bytes fixed) {
    constexpr unsigned kNewest = 3, kLongestPattern = 8;
    constexpr std::array<int, 12> kPlanes{1, 2, 3, 4, 5, 6, 7, 8, 15, 16, 24, 32};
    const unsigned words = word(fixed, 2), pattern = word(fixed, 6);
    if (word(fixed, 0) > kNewest) return Error{Fault::malformed, "version"};
    if (words < kLeastWords || words > kMostWords) return Error{Fault::malformed, "header length"};
    if (pattern < 1 || pattern > kLongestPattern) return Error{Fault::malformed, "pattern length"};
    Header header;
    header.planes = static_cast<int>(word(fixed, 4));
    header.pixel_width = static_cast<int>(word(fixed, 8));
    header.pixel_height = static_cast<int>(word(fixed, 10));
    header.width = static_cast<int>(word(fixed, 12));
    header.height = static_cast<int>(word(fixed, 14));
    header.size = words * 2;
    header.coding.pattern = pattern;
    if (std::ranges::find(kPlanes, header.planes) == kPlanes.end()) return Error{Fault::malformed, "planes"};
    if (header.width == 0 || header.height == 0) return Error{Fault::malformed, "size"};
    return header;
}

// What the words behind the fixed ones say of the pixels.
void parse_extension(Bytes whole, Header& header) {
    constexpr std::size_t kNineWords = 18;
    constexpr unsigned kTrueColour = 3;
    header.ventura = header.planes == 24 && whole.size() == kNineWords && word(whole, kFixed) == kTrueColour;
    if (header.ventura) header.coding.unit = 3;
}

// The bytes of one coded line: a plane of a row, or a row of whole pixels. Two lengths are in use for these.
std::array<std::size_t, 2> line_lengths(const Header& header) {
    if (header.planar()) return {(header.columns() + 7) / 8, (header.columns() + 7) / 8};
    const std::size_t pixel = static_cast<std::size_t>(header.planes) / 8;
    const std::size_t exact = header.columns() * pixel, rounded = (header.columns() + 15) / 16 * 16 * pixel;
    if (header.planes == 24 && !header.ventura) return {rounded, exact};
    return {exact, rounded};
}

struct Trial {
    int lines = 0;        // that end where a packet ends
    bool failed = false;  // the next one does not
};

// Walks over packets without keeping what they say. Some writers let the last packet of a line be a little
// long.
Trial try_lines(Bytes in, const GemCoding& coding, std::size_t line, int most) {
    constexpr std::size_t kSlack = 4;
    Trial trial;
    while (trial.lines < most) {
        std::size_t done = 0;
        while (done < line) {
            if (in.empty()) return trial;
            const GemPacket packet = gem_packet(in, coding);
            if (in.size() < packet.header + packet.data) return trial;
            const bool repeat = packet.kind == GemPacket::Kind::repeat;
            trial.failed = repeat && done > 0;
            if (trial.failed) return trial;
            if (!repeat) done += packet.count;
            in = in.subspan(packet.header + packet.data);
        }
        trial.failed = done > line + kSlack;
        if (trial.failed) return trial;
        ++trial.lines;
    }
    return trial;
}

// Sides in micrometres that a screen, printer or scanner may have; 0 and 1 stand for unknown.
bool plausible_pixel(int width, int height) {
    constexpr int kUnknown = 1, kSmallest = 5, kLargest = 2540, kRatio = 3;
    const auto [low, high] = std::minmax(width, height);
    return high <= kUnknown || (low >= kSmallest && high <= kLargest && high < low * kRatio);
}

bool probe(Bytes head) {
    constexpr int kLines = 8;
    if (head.size() < kFixed) return false;
    auto header = parse(head);
    if (!header || head.size() < header->size) return false;
    const Bytes whole = head.first(header->size);
    if (gem_has_tag(whole)) return true;
    if (!plausible_pixel(header->pixel_width, header->pixel_height)) return false;
    parse_extension(whole, *header);
    for (const std::size_t line : line_lengths(*header)) {
        const Trial trial = try_lines(head.subspan(header->size), header->coding, line, kLines);
        if (!trial.failed && (trial.lines > 0 || head.size() > header->size)) return true;
    }
    return false;
}

struct File {
    Header header;
    std::vector<std::uint8_t> head;  // the whole header
};

// Reads the header and leaves the reader at the pixels.
Result<File> read_header(ByteReader& in, const Limits& limits) {
    std::array<std::uint8_t, kFixed> fixed{};
    if (in.read(fixed) < fixed.size()) return Error{Fault::truncated, "header"};
    const auto header = parse(fixed);
    if (!header) return header.error();
    const auto size = Bitmap::check_size(header->width, header->height, header->bits(), limits);
    if (!size) return size.error();
    in.seek(0);
    File file{*header, in.bytes(header->size)};
    if (in.failed()) return Error{Fault::truncated, "header"};
    parse_extension(file.head, file.header);
    return file;
}

Resolution resolution_of(const Header& header) {
    const auto dpi = [](int micrometres) {
        return micrometres > 1 ? kMicrometresPerInch / micrometres : 0.0;
    };
    return {dpi(header.pixel_width), dpi(header.pixel_height)};
}

Result<ImageInfo> info(ByteReader in, const ReadOptions& options) {
    const auto file = read_header(in, options.limits);
    if (!file) return file.error();
    ImageInfo info;
    info.format_code = kFormat;
    info.width = file->header.width;
    info.height = file->header.height;
    info.bits = file->header.bits();
    info.resolution = resolution_of(file->header);
    info.compression = "RLE";
    return info;
}

// --- reading

// Rows as they are coded: the lines of one row behind each other.
class RowReader {
  public:
    RowReader(const ByteReader& in, const Header& header, std::size_t line)
        : in_{in}, coding_{header.coding}, line_{line}, row_(line * header.lines()) {}

    /// Reads the next row; returns how many rows it stands for, 0 at the end of the data.
    std::size_t next() {
        const std::size_t copies = repeats();
        std::size_t filled = 0;
        for (std::size_t at = 0; at < row_.size(); at += line_) {
            const auto line = std::span{row_}.subspan(at, line_);
            const std::size_t got = fill(line);
            std::ranges::fill(line.subspan(got),
                              std::uint8_t{0});  // the row above is not repeated by accident
            filled += got;
        }
        whole_ = filled == row_.size();
        if (whole_) return copies;
        return filled > 0 ? 1 : 0;
    }
    /// Whether the last row was complete.
    bool whole() const { return whole_; }
    Bytes row() const { return row_; }

  private:
    Bytes ahead() {
        in_.ensure(ChunkReader::kMaxAhead);
        return {in_.data(), in_.size()};
    }

    std::size_t repeats() {
        std::size_t copies = 1;
        for (Bytes in = ahead(); in.size() >= 4 && in[0] == 0 && in[1] == 0 && in[2] == 0xFF; in = ahead()) {
            copies = gem_packet(in, coding_).count;
            in_.advance(4);
        }
        return copies;
    }

    // What a packet holds beyond the line is lost: that keeps the lines in step.
    std::size_t fill(std::span<std::uint8_t> line) {
        std::size_t done = 0;
        while (done < line.size()) {
            const Bytes in = ahead();
            if (in.empty()) break;
            const GemPacket packet = gem_packet(in, coding_);
            const std::size_t header = std::min(packet.header, in.size());
            const Bytes data = in.subspan(header, std::min(packet.data, in.size() - header));
            done += gem_fill(packet, data, line.subspan(done));
            in_.advance(header + data.size());
        }
        return done;
    }

    ChunkReader in_;
    GemCoding coding_;
    std::size_t line_;
    std::vector<std::uint8_t> row_;
    bool whole_ = false;
};

// For each byte of a plane its eight bits as eight bytes.
constexpr std::array<std::uint64_t, 256> kSpread = [] {
    std::array<std::uint64_t, 256> table{};
    for (std::size_t value = 0; value < table.size(); ++value) {
        std::array<std::uint8_t, 8> bytes{};
        for (std::size_t bit = 0; bit < 8; ++bit)
            bytes[bit] = static_cast<std::uint8_t>(value >> (7 - bit) & 1);
        table[value] = std::bit_cast<std::uint64_t>(bytes);
    }
    return table;
}();

void planes_to_indices(Bytes planes, std::size_t line, std::span<std::uint8_t> out) {
    for (std::size_t i = 0; i < line; ++i) {
        std::uint64_t eight = 0;
        for (std::size_t plane = 0; plane * line < planes.size(); ++plane)
            eight |= kSpread[planes[plane * line + i]] << plane;
        std::memcpy(&out[i * 8], &eight, std::min<std::size_t>(8, out.size() - i * 8));
    }
}

std::uint8_t five_bits(unsigned value) { return static_cast<std::uint8_t>(value << 3 | value >> 2); }

// Fifteen planes, the lowest bit of blue first.
void planes_to_rgb(Bytes planes, std::size_t line, std::span<std::uint8_t> out) {
    for (std::size_t x = 0; x * 3 < out.size(); ++x) {
        unsigned value = 0;
        for (std::size_t plane = 0; plane < 15; ++plane)
            value |= (planes[plane * line + x / 8] >> (7 - x % 8) & 1U) << plane;
        out[x * 3] = five_bits(value >> 10);
        out[x * 3 + 1] = five_bits(value >> 5 & 31);
        out[x * 3 + 2] = five_bits(value & 31);
    }
}

void words_to_rgb(Bytes words, std::span<std::uint8_t> out) {
    for (std::size_t x = 0; x * 3 < out.size(); ++x) {
        const unsigned value = word(words, x * 2), green = value >> 5 & 63;
        out[x * 3] = five_bits(value >> 11);
        out[x * 3 + 1] = static_cast<std::uint8_t>(green << 2 | green >> 4);
        out[x * 3 + 2] = five_bits(value & 31);
    }
}

void convert_row(const Header& header, Bytes row, std::span<std::uint8_t> out) {
    const std::size_t line = row.size() / header.lines();
    switch (header.planes) {
        case 1: std::memcpy(out.data(), row.data(), out.size()); break;
        case 15: planes_to_rgb(row, line, out); break;
        case 16: words_to_rgb(row, out); break;
        case 24:
            if (header.ventura)
                swap_rgb24(row.data(), out.data(), header.columns());
            else
                std::memcpy(out.data(), row.data(), out.size());
            break;
        case 32: drop_fourth(row.data(), out.data(), header.columns(), 1, 2, 3); break;
        default: planes_to_indices(row, line, out);
    }
}

// The length of the lines: the usual one, unless the packets fit another better.
std::size_t line_length(ByteReader in, const Header& header) {
    constexpr std::size_t kSample = 65'536;
    constexpr int kLines = 32;
    const auto [usual, other] = line_lengths(header);
    if (usual == other) return usual;
    const auto sample = in.bytes(kSample);
    const auto fits = [&](std::size_t line) { return try_lines(sample, header.coding, line, kLines).lines; };
    return fits(other) > fits(usual) ? other : usual;
}

Result<int> read_rows(RowReader& reader, std::size_t copies, const Header& header, Bitmap& bitmap,
                      RowSink& sink) {
    constexpr int kReport = 64;
    int y = 0, reported = 0;
    while (copies > 0) {
        const int end = static_cast<int>(std::min<std::int64_t>(header.height, y + std::int64_t(copies)));
        const auto first = bitmap.writable_row(y);
        convert_row(header, reader.row(), first);
        for (++y; y < end; ++y) std::ranges::copy(first, bitmap.writable_row(y).begin());
        const bool last = y == header.height || !reader.whole();
        if (y - reported >= kReport || last) {
            if (!sink.rows(bitmap, reported, y, y, header.height)) return Error{Fault::cancelled, "pixels"};
            reported = y;
        }
        copies = last ? 0 : reader.next();
    }
    if (reported < y && !sink.rows(bitmap, reported, y, y, header.height))
        return Error{Fault::cancelled, "pixels"};
    return y;
}

Result<Outcome> decode(ByteReader in, const ReadOptions& options, RowSink& sink) {
    const auto file = read_header(in, options.limits);
    if (!file) return file.error();
    const Header& header = file->header;
    RowReader reader{in, header, line_length(in, header)};
    // The first row comes before the memory for all of them.
    const std::size_t copies = reader.next();
    if (copies == 0 || !reader.whole()) return Error{Fault::truncated, "pixels"};
    auto bitmap = Bitmap::create(header.width, header.height, header.bits(), options.limits);
    if (!bitmap) return bitmap.error();
    if (header.planes <= 8) bitmap->set_palette(gem_palette(file->head, header.planes));
    bitmap->metadata().resolution = resolution_of(header);
    sink.begin(*bitmap);
    const auto rows = read_rows(reader, copies, header, *bitmap, sink);
    if (!rows) return rows.error();
    Outcome outcome = outcome_of(std::move(*bitmap), kFormat, *rows);
    if (gem_has_other_model(file->head)) outcome.warnings.push_back("colour model");
    return outcome;
}

// --- writing

constexpr std::size_t kPair = 2;  // the pattern length that we write

// With colours other than black and white the palette is kept, as XIMG has it.
bool needs_palette(const Bitmap& bitmap) { return bitmap.bits() > 1 || !InkRows::plain(bitmap.palette()); }

// The sides of a pixel; what readers would not believe is called unknown.
std::array<int, 2> micrometres(const Resolution& resolution) {
    const auto side = [](double dpi) {
        constexpr double kMost = 65'535;
        return dpi > 0 ? static_cast<int>(std::min(std::round(kMicrometresPerInch / dpi), kMost)) : 0;
    };
    const int width = side(resolution.x), height = side(resolution.y);
    if (width <= 1 || height <= 1 || !plausible_pixel(width, height)) return {1, 1};
    return {width, height};
}

void put_palette(const Palette& palette, std::size_t count, ByteWriter& out) {
    out.write(std::array<std::uint8_t, 4>{'X', 'I', 'M', 'G'});
    out.u16be(0);  // red, green and blue
    const auto thousandths = [&](unsigned value) { out.u16be((value * 1000 + 127) / 255); };
    for (std::size_t i = 0; i < count; ++i) {
        const Rgba entry = i < palette.size() ? palette[i] : Rgba{};
        thousandths(entry.r), thousandths(entry.g), thousandths(entry.b);
    }
}

void put_header(const Bitmap& bitmap, ByteWriter& out) {
    constexpr std::size_t kTagWords = 3;
    const std::size_t colours = needs_palette(bitmap) ? std::size_t{1} << bitmap.bits() : 0;
    const std::size_t words = kLeastWords + (colours > 0 ? kTagWords + colours * 3 : 0);
    out.u16be(1);
    out.u16be(static_cast<std::uint32_t>(words));
    out.u16be(static_cast<std::uint32_t>(bitmap.bits()));
    out.u16be(kPair);
    for (const int side : micrometres(bitmap.metadata().resolution))
        out.u16be(static_cast<std::uint32_t>(side));
    out.u16be(static_cast<std::uint32_t>(bitmap.width()));
    out.u16be(static_cast<std::uint32_t>(bitmap.height()));
    if (colours > 0) put_palette(bitmap.palette(), colours, out);
}

// The planes of row y behind each other; bits beyond the width are 0.
void get_planes(const Bitmap& bitmap, int y, std::span<std::uint8_t> out) {
    const auto row = bitmap.row(y);
    const std::size_t line = out.size() / static_cast<std::size_t>(bitmap.bits());
    if (bitmap.bits() == 1) {
        std::ranges::copy(row, out.begin());
        if (const int used = bitmap.width() % 8; used != 0)
            out.back() &= static_cast<std::uint8_t>(0xFF00U >> used);
        return;
    }
    for (std::size_t i = 0; i < line; ++i) {
        std::uint64_t eight = 0;  // pixels, the leftmost in the lowest byte
        for (std::size_t x = i * 8; x < std::min(i * 8 + 8, row.size()); ++x)
            eight |= std::uint64_t{row[x]} << (x % 8 * 8);
        for (std::size_t plane = 0; plane * line < out.size(); ++plane) {
            // The product brings the lowest bit of byte k to bit 63 - k.
            const std::uint64_t bits = eight >> plane & 0x0101010101010101U;
            out[plane * line + i] = static_cast<std::uint8_t>(bits * 0x8040201008040201U >> 56);
        }
    }
}

// How many bytes from the start on are equal and all white or all black.
std::size_t solid_length(Bytes in) {
    constexpr std::size_t kMost = 127;
    if (in[0] != 0 && in[0] != 0xFF) return 0;
    std::size_t count = 1;
    while (count < std::min(in.size(), kMost) && in[count] == in[0]) ++count;
    return count;
}

// How many times the first two bytes follow each other.
std::size_t pair_count(Bytes in) {
    constexpr std::size_t kMost = 255 * kPair;
    std::size_t end = std::min(in.size(), kPair);
    while (end < std::min(in.size(), kMost) && in[end] == in[end - kPair]) ++end;
    return end / kPair;
}

// Among plain bytes a packet of its own has to save more than the next packet of plain bytes costs.
constexpr std::size_t kWorthIt = 4;
bool starts_run(Bytes in) {
    return solid_length(in) >= kWorthIt || solid_length(in) == in.size() || pair_count(in) >= kWorthIt;
}

void pack(Bytes line, std::vector<std::uint8_t>& out) {
    constexpr std::size_t kLongest = 255;
    while (!line.empty()) {
        std::size_t used = solid_length(line);
        const std::size_t pairs = pair_count(line);
        if (used > 0) {
            out.push_back(static_cast<std::uint8_t>((line[0] & 0x80) | used));
        } else if (pairs >= kWorthIt) {
            used = pairs * kPair;
            out.insert(out.end(), {0, static_cast<std::uint8_t>(pairs), line[0], line[1]});
        } else {
            used = 1;
            while (used < std::min(line.size(), kLongest) && !starts_run(line.subspan(used))) ++used;
            out.insert(out.end(), {0x80, static_cast<std::uint8_t>(used)});
            out.insert(out.end(), line.begin(), line.begin() + static_cast<std::ptrdiff_t>(used));
        }
        line = line.subspan(used);
    }
}

// One row, said once for all its copies.
void pack_row(Bytes planes, std::size_t line, int copies, std::vector<std::uint8_t>& out) {
    out.clear();
    if (copies > 1) out.insert(out.end(), {0, 0, 0xFF, static_cast<std::uint8_t>(copies)});
    for (std::size_t at = 0; at < planes.size(); at += line) pack(planes.subspan(at, line), out);
}

Result<void> encode(const Bitmap& bitmap, ByteWriter& out, const WriteOptions& options) {
    constexpr int kMostCopies = 255, kReport = 64;
    if (bitmap.width() > 0xFFFF || bitmap.height() > 0xFFFF)
        return Error{Fault::too_large, "width or height"};
    put_header(bitmap, out);
    const bool ink_only = !needs_palette(bitmap);
    const InkRows ink{bitmap};
    const std::size_t line = (static_cast<std::size_t>(bitmap.width()) + 7) / 8;
    std::vector<std::uint8_t> row(line * static_cast<std::size_t>(bitmap.bits())), next = row, packed;
    const auto get = [&](int y, std::span<std::uint8_t> to) {
        if (ink_only)
            ink.get(y, to);
        else
            get_planes(bitmap, y, to);
    };
    get(0, row);
    for (int y = 0, end = 0; y < bitmap.height(); y = end) {
        for (end = y + 1; end < bitmap.height(); ++end) {
            get(end, next);
            if (end - y == kMostCopies || next != row) break;
        }
        pack_row(row, line, end - y, packed);
        out.write(packed);
        row.swap(next);
        if (out.failed()) return Error{Fault::io, "pixels"};
        if (end / kReport > y / kReport && options.progress && !options.progress(end, bitmap.height()))
            return Error{Fault::cancelled, "pixels"};
    }
    return {};
}

constexpr int kDepths[] = {1, 4, 8};
constexpr FormatCode kFormats[] = {{kFormat, "", kDepths}};
constexpr std::string_view kExtensions[] = {"img", "ximg", "timg"};

}  // namespace

extern const Codec gem;
const Codec gem{"GEM", kFormats, kExtensions, Pages::one, false, false, probe, info, decode, nullptr, encode};

}  // namespace quillmark::imaging::codecs
