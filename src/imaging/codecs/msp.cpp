// Microsoft Paint (.msp), versions 1 (plain rows) and 2 (packed rows behind a table of their lengths).
#include <algorithm>
#include <array>
#include <utility>
#include <vector>

#include "imaging/codecs/bilevel.h"
#include "imaging/codecs/row_stream.h"

namespace quillmark::imaging::codecs {
namespace {

constexpr int kFormat = 53;
constexpr std::array<std::uint8_t, 4> kPlain{'D', 'a', 'n', 'M'}, kPacked{'L', 'i', 'n', 'S'};
constexpr std::int64_t kHeaderSize = 32;
constexpr std::size_t kWords = 16, kWidthAt = 2, kHeightAt = 3, kSumAt = 12;
constexpr std::size_t kLongest = 255;  // bytes of one packet

struct Header {
    int width = 0, height = 0;
    bool packed = false, sum_right = false;

    std::size_t row_bytes() const { return (static_cast<std::size_t>(width) + 7) / 8; }
};

bool probe(std::span<const std::uint8_t> head) {
    if (head.size() < kPlain.size()) return false;
    const auto magic = head.first(kPlain.size());
    return std::ranges::equal(magic, kPlain) || std::ranges::equal(magic, kPacked);
}

// Reads the header and leaves the reader behind it.
Result<Header> read_header(ByteReader& in, const Limits& limits) {
    std::array<std::uint8_t, kHeaderSize> bytes{};
    if (in.read(bytes) < bytes.size()) return Error{Fault::truncated, "header"};
    if (!probe(bytes)) return Error{Fault::malformed, "signature"};
    std::array<int, kWords> words{};
    int sum = 0;
    for (std::size_t i = 0; i < kWords; ++i) sum ^= words[i] = bytes[i * 2] | bytes[i * 2 + 1] << 8;
    const Header header{words[kWidthAt], words[kHeightAt], bytes[0] == kPacked[0], sum == 0};
    const auto size = Bitmap::check_size(header.width, header.height, 1, limits);
    if (!size) return size.error();
    return header;
}

Result<ImageInfo> info(ByteReader in, const ReadOptions& options) {
    const auto header = read_header(in, options.limits);
    if (!header) return header.error();
    ImageInfo info;
    info.format_code = kFormat;
    info.width = header->width;
    info.height = header->height;
    info.bits = 1;
    info.compression = header->packed ? "RLE" : "";
    return info;
}

// In the file 1 is white. We keep the complement, so that pixels that are missing are white without a touch.
std::uint8_t shown(std::uint8_t stored) { return static_cast<std::uint8_t>(~stored); }

// 0 count value is a run, any other n is followed by n plain bytes. False when the row is not filled exactly.
bool unpack(std::span<const std::uint8_t> in, std::span<std::uint8_t> out) {
    std::size_t done = 0;
    while (!in.empty()) {
        const bool run = in[0] == 0;
        if (run && in.size() < 3) return false;
        const std::size_t count = run ? in[1] : std::min<std::size_t>(in[0], in.size() - 1);
        const std::size_t part = std::min(count, out.size() - done);
        const auto target = out.subspan(done, part);
        if (run)
            std::ranges::fill(target, shown(in[2]));
        else
            std::ranges::transform(in.subspan(1, part), target.begin(), shown);
        done += part;
        if (part < count) return false;
        in = in.subspan(run ? 3 : 1 + count);
    }
    return done == out.size();
}

struct Rows {
    int shown = 0;
    bool uneven = false;  // some row held more or less than its pixels
};

Result<Rows> read_packed(ByteReader& in, const Header& header, Bitmap& bitmap, RowSink& sink) {
    constexpr int kReport = 256;
    if (in.remaining() < std::int64_t{2} * header.height) return Error{Fault::truncated, "row table"};
    std::vector<std::uint16_t> lengths(static_cast<std::size_t>(header.height));
    for (auto& length : lengths) length = in.u16le();
    std::vector<std::uint8_t> packed(0x10000);
    Rows rows;
    for (bool whole = true; whole && rows.shown < header.height;) {
        const std::size_t length = lengths[static_cast<std::size_t>(rows.shown)];
        const auto row = std::span{packed}.first(length);
        const std::size_t got = in.read(row);
        whole = got == length;
        if (!whole && got == 0) break;
        // Without data the row is white, as are the pixels that a short one leaves out.
        const bool even = length == 0 || unpack(row.first(got), bitmap.writable_row(rows.shown));
        if (whole && !even) rows.uneven = true;
        ++rows.shown;
        if (rows.shown % kReport != 0 && whole && rows.shown < header.height) continue;
        if (!sink.rows(bitmap, (rows.shown - 1) / kReport * kReport, rows.shown, rows.shown, header.height))
            return Error{Fault::cancelled, "pixels"};
    }
    if (rows.shown == 0) return Error{Fault::truncated, "pixels"};
    return rows;
}

Result<Rows> read_plain(const ByteReader& in, const Header& header, Bitmap& bitmap, RowSink& sink) {
    const RowBody body = [&](const std::uint8_t* stored, int y) {
        std::transform(stored, stored + header.row_bytes(), bitmap.writable_row(y).begin(), shown);
    };
    const auto row_bytes = static_cast<std::int64_t>(header.row_bytes());
    const auto rows = read_raw_rows(in, header.row_bytes(), RowOrder{header.height}, bitmap, sink, body);
    if (!rows) return rows.error();
    // A row that is there in part was filled up with zeros, which are black in the file.
    const auto part = static_cast<std::size_t>(in.remaining() % row_bytes);
    if (in.remaining() < row_bytes * header.height && part > 0)
        std::ranges::fill(bitmap.writable_row(*rows - 1).subspan(part), std::uint8_t{0});
    return Rows{*rows};
}

Result<Outcome> decode(ByteReader in, const ReadOptions& options, RowSink& sink) {
    const auto header = read_header(in, options.limits);
    if (!header) return header.error();
    if (in.at_end()) return Error{Fault::truncated, "pixels"};
    auto bitmap = Bitmap::create(header->width, header->height, 1, options.limits);
    if (!bitmap) return bitmap.error();
    bitmap->set_palette(paper_and_ink());
    sink.begin(*bitmap);
    const auto rows =
        header->packed ? read_packed(in, *header, *bitmap, sink) : read_plain(in, *header, *bitmap, sink);
    if (!rows) return rows.error();
    Outcome outcome = outcome_of(std::move(*bitmap), kFormat, rows->shown);
    if (!header->sum_right) outcome.warnings.push_back("checksum");
    if (rows->uneven) outcome.warnings.push_back("row lengths");
    return outcome;
}

// --- writing

void put_header(const Bitmap& bitmap, ByteWriter& out) {
    constexpr std::size_t kAspectAt = 4, kAspects = 4;
    std::array<int, kWords> words{kPacked[0] | kPacked[1] << 8, kPacked[2] | kPacked[3] << 8};
    words[kWidthAt] = bitmap.width();
    words[kHeightAt] = bitmap.height();
    for (std::size_t i = 0; i < kAspects; ++i) words[kAspectAt + i] = 1;
    int sum = 0;
    for (const int word : words) sum ^= word;
    words[kSumAt] = sum;  // all words together give 0
    for (const int word : words) out.u16le(static_cast<std::uint32_t>(word));
}

std::size_t run_length(std::span<const std::uint8_t> bytes) {
    std::size_t count = 1;
    while (count < bytes.size() && bytes[count] == bytes[0]) ++count;
    return count;
}

// A run of up to three bytes among plain ones is no longer than its packet.
void pack(std::span<const std::uint8_t> row, std::vector<std::uint8_t>& out) {
    constexpr std::size_t kWorthIt = 4;
    out.clear();
    while (!row.empty()) {
        std::size_t count = std::min(run_length(row), kLongest);
        if (count >= kWorthIt || count == row.size()) {
            out.insert(out.end(), {0, static_cast<std::uint8_t>(count), row[0]});
        } else {
            while (count < std::min(row.size(), kLongest) && run_length(row.subspan(count)) < kWorthIt)
                ++count;
            out.push_back(static_cast<std::uint8_t>(count));
            out.insert(out.end(), row.begin(), row.begin() + static_cast<std::ptrdiff_t>(count));
        }
        row = row.subspan(count);
    }
}

Result<void> encode(const Bitmap& bitmap, ByteWriter& out, const WriteOptions& options) {
    if (bitmap.width() > 0xFFFF || bitmap.height() > 0xFFFF)
        return Error{Fault::too_large, "width or height"};
    const std::int64_t start = out.position();
    put_header(bitmap, out);
    out.zeros(static_cast<std::size_t>(bitmap.height()) * 2);
    const InkRows ink{bitmap};
    std::vector<std::uint8_t> row(bitmap.row_bytes()), packed;
    std::vector<std::size_t> lengths;
    for (int y = 0; y < bitmap.height(); ++y) {
        ink.get(y, row);
        std::ranges::transform(row, row.begin(), shown);  // the complement works both ways
        pack(row, packed);
        out.write(packed);
        lengths.push_back(packed.size());
        if (out.failed()) return Error{Fault::io, "pixels"};
        if (y % 64 == 63 && options.progress && !options.progress(y + 1, bitmap.height()))
            return Error{Fault::cancelled, "pixels"};
    }
    const std::int64_t end = out.position();
    out.seek(start + kHeaderSize);
    for (const std::size_t length : lengths) out.u16le(static_cast<std::uint32_t>(length));
    out.seek(end);
    return {};
}

constexpr int kDepths[] = {1};
constexpr FormatCode kFormats[] = {{kFormat, "", kDepths}};
constexpr std::string_view kExtensions[] = {"msp"};

}  // namespace

extern const Codec msp;
const Codec msp{"MSP", kFormats, kExtensions, Pages::one, false, true, probe, info, decode, nullptr, encode};

}  // namespace quillmark::imaging::codecs
