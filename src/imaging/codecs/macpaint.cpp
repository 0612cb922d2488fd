// MacPaint (.mac): 720 packed rows of 576 pixels behind 512 bytes of patterns, often inside a MacBinary file.
#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <optional>
#include <utility>
#include <vector>

#include "imaging/codecs/bilevel.h"
#include "imaging/codecs/row_stream.h"
#include "imaging/convert_depth.h"
#include "imaging/ops/resize.h"

namespace quillmark::imaging::codecs {
namespace {

constexpr int kFormat = 51;
constexpr int kWidth = 576, kHeight = 720;
constexpr double kDpi = 72;  // of the screen that the program drew for
constexpr std::size_t kRowBytes = kWidth / 8, kPixelBytes = kRowBytes * kHeight;
constexpr std::size_t kPatterns = 512;  // bytes in front of the rows: version, patterns, zeros
constexpr std::size_t kWrapper = 128;   // bytes of a MacBinary header
constexpr std::size_t kBlock = 128;     // MacBinary pads its parts to whole blocks
constexpr std::size_t kTypeAt = 65, kForkLengthAt = 83, kChecksumAt = 124;
constexpr std::array<std::uint8_t, 4> kType{'P', 'N', 'T', 'G'}, kCreator{'M', 'P', 'N', 'T'};
constexpr std::size_t kLongest = 128;  // bytes of one packet

using Bytes = std::span<const std::uint8_t>;

std::uint32_t u32_at(Bytes bytes, std::size_t at) {
    return static_cast<std::uint32_t>(bytes[at]) << 24 | static_cast<std::uint32_t>(bytes[at + 1]) << 16 |
           static_cast<std::uint32_t>(bytes[at + 2]) << 8 | bytes[at + 3];
}

// One packet: a control byte n below 128 is followed by n + 1 plain bytes, one above 128 by a byte that
// stands 257 - n times. Writers disagree on 128: nothing, or a run of 129.
struct Packet {
    std::size_t size = 1;  // in the file
    std::size_t count = 0;
    bool run = false;
};

Packet packet(std::uint8_t control, bool long_runs) {
    if (control < 128) return {2U + control, 1U + control, false};
    if (control == 128 && !long_runs) return {};
    return {2, 257U - control, true};
}

bool is_wrapped(Bytes head) {
    constexpr std::uint8_t kLongestName = 63;
    return head.size() >= kWrapper && head[0] == 0 && head[1] >= 1 && head[1] <= kLongestName &&
           std::ranges::equal(head.subspan(kTypeAt, kType.size()), kType) && head[74] == 0 && head[82] == 0;
}

// What the first rows look like when they are unpacked.
struct Trial {
    int rows = 0;          // full rows, up to kTrial
    bool crossed = false;  // some packet runs across the end of a row
};

constexpr int kTrial = 20;
Trial try_rows(Bytes head, std::size_t start) {
    if (head.size() < start + kPatterns || u32_at(head, start) > 3) return {};
    Bytes in = head.subspan(start + kPatterns);
    std::size_t packets = 0, filled = 0;
    Trial trial;
    while (trial.rows < kTrial && !in.empty()) {
        const Packet next = packet(in[0], false);
        if (next.size > in.size()) break;
        in = in.subspan(next.size);
        filled += next.count;
        ++packets;
        if (filled < kRowBytes) continue;
        trial.crossed |= filled > kRowBytes;
        trial.rows += static_cast<int>(filled / kRowBytes);
        filled %= kRowBytes;
    }
    // Zeros unpack too, one byte from two: no writer packs like that.
    const bool packed = static_cast<std::size_t>(trial.rows) * kRowBytes * 4 >= packets * 5;
    return packed ? trial : Trial{};
}

int clean_rows(Bytes head, std::size_t start) {
    const Trial trial = try_rows(head, start);
    return trial.crossed ? 0 : trial.rows;
}

// Packets across rows need another witness: the zeros behind the patterns.
bool may_be_stream(Bytes head) {
    constexpr std::size_t kZeros = 308;  // from here to the rows
    const Trial trial = try_rows(head, 0);
    return trial.rows >= kTrial &&
           std::ranges::all_of(head.subspan(kZeros, kPatterns - kZeros), [](int byte) { return byte == 0; });
}

// Where the picture begins: behind a MacBinary header, at the start, or behind 128 bytes of something else.
std::optional<std::size_t> find_start(Bytes head) {
    if (is_wrapped(head)) return kWrapper;
    const int bare = clean_rows(head, 0), behind = clean_rows(head, kWrapper);
    if (bare > 0 || behind > 0) return bare >= behind ? 0 : kWrapper;
    if (may_be_stream(head)) return 0;
    return std::nullopt;
}

bool probe(Bytes head) { return find_start(head).has_value(); }

// The version, the patterns and the rows. Faults: malformed, truncated.
Result<ByteReader> open_picture(const ByteReader& file, const Limits& limits) {
    std::array<std::uint8_t, 4096> buffer{};
    ByteReader in = file.sub(0);
    const auto head = Bytes{buffer}.first(in.read(buffer));
    const auto start = find_start(head);
    const std::size_t least = kPatterns + kRowBytes;
    if (head.size() < least) return Error{Fault::truncated, "patterns"};
    // Damaged rows defeat the trial; whoever insists on this format may still be right.
    if (!start && u32_at(head, 0) > 3) return Error{Fault::malformed, "version"};
    const auto size = Bitmap::check_size(kWidth, kHeight, 1, limits);
    if (!size) return size.error();
    std::int64_t length = file.size();
    if (is_wrapped(head)) {
        const std::uint32_t fork = u32_at(head, kForkLengthAt);
        if (fork >= least) length = fork;
    }
    ByteReader picture = file.sub(static_cast<std::int64_t>(start.value_or(0)), length);
    if (picture.size() < static_cast<std::int64_t>(least)) return Error{Fault::truncated, "rows"};
    return picture;
}

Result<ImageInfo> info(ByteReader in, const ReadOptions& options) {
    const auto picture = open_picture(in, options.limits);
    if (!picture) return picture.error();
    ImageInfo info;
    info.format_code = kFormat;
    info.width = kWidth;
    info.height = kHeight;
    info.bits = 1;
    info.resolution = {kDpi, kDpi};
    info.compression = "PackBits";
    return info;
}

struct Unpacked {
    std::size_t bytes = 0;
    bool cut = false;        // the last packet held more than there was room for
    bool ambiguous = false;  // control byte 128 occurred
};

Unpacked unpack(Bytes in, std::span<std::uint8_t> out, bool long_runs) {
    Unpacked result;
    while (!in.empty() && result.bytes < out.size()) {
        const Packet next = packet(in[0], long_runs);
        result.ambiguous |= in[0] == 128;
        if (next.run && in.size() < 2) break;
        const std::size_t there = next.run ? next.count : std::min(next.count, in.size() - 1);
        const std::size_t part = std::min(there, out.size() - result.bytes);
        if (next.run)
            std::memset(&out[result.bytes], in[1], part);
        else if (part > 0)
            std::memcpy(&out[result.bytes], &in[1], part);
        result.bytes += part;
        result.cut = part < next.count;
        in = in.subspan(std::min(next.size, in.size()));
    }
    return result;
}

// All rows as one stream: some writers let packets run across rows. Returns the bytes that arrived.
std::size_t unpack_rows(Bytes packed, std::vector<std::uint8_t>& rows) {
    const Unpacked plain = unpack(packed, rows, false);
    if (!plain.ambiguous || (plain.bytes == rows.size() && !plain.cut)) return plain.bytes;
    std::vector<std::uint8_t> other(rows.size());
    const Unpacked long_runs = unpack(packed, other, true);
    if (long_runs.bytes < rows.size() || long_runs.cut) return plain.bytes;
    rows = std::move(other);
    return long_runs.bytes;
}

Result<Outcome> decode(ByteReader in, const ReadOptions& options, RowSink& sink) {
    auto picture = open_picture(in, options.limits);
    if (!picture) return picture.error();
    picture->skip(kPatterns);
    // No sane packing is longer than its rows by more than this; what follows is not ours.
    const auto most = std::min<std::int64_t>(picture->remaining(), 3 * kPixelBytes);
    const auto packed = picture->bytes(static_cast<std::size_t>(most));
    std::vector<std::uint8_t> pixels(kPixelBytes);
    const std::size_t bytes = unpack_rows(packed, pixels);
    if (bytes == 0) return Error{Fault::truncated, "rows"};
    auto bitmap = Bitmap::create(kWidth, kHeight, 1, options.limits);
    if (!bitmap) return bitmap.error();
    bitmap->set_palette(paper_and_ink());
    bitmap->metadata().resolution = {kDpi, kDpi};
    sink.begin(*bitmap);
    const int rows = static_cast<int>((bytes + kRowBytes - 1) / kRowBytes);
    for (int y = 0; y < rows; ++y)
        std::memcpy(bitmap->writable_row(y).data(), &pixels[static_cast<std::size_t>(y) * kRowBytes],
                    kRowBytes);
    if (!sink.rows(*bitmap, 0, rows, rows, kHeight)) return Error{Fault::cancelled, "rows"};
    return outcome_of(std::move(*bitmap), kFormat, rows);
}

// --- writing

// A picture that is too large is reduced until all of it fits on the page.
Result<Bitmap> fitted(const Bitmap& bitmap) {
    const double scale = std::min(
        {1.0, static_cast<double>(kWidth) / bitmap.width(), static_cast<double>(kHeight) / bitmap.height()});
    if (scale == 1.0) return bitmap;
    const auto side = [&](int of, int most) {
        return std::clamp(static_cast<int>(std::lround(of * scale)), 1, most);
    };
    const auto reduced = resize(bitmap, side(bitmap.width(), kWidth), side(bitmap.height(), kHeight),
                                ResizeFilter::area, Context{});
    if (!reduced) return reduced.error();
    return convert_depth(*reduced, 1, Limits{});
}

std::size_t run_length(Bytes bytes) {
    std::size_t count = 1;
    while (count < std::min(bytes.size(), kLongest) && bytes[count] == bytes[0]) ++count;
    return count;
}

void pack(Bytes row, std::vector<std::uint8_t>& out) {
    constexpr std::size_t kWorthIt = 3;
    while (!row.empty()) {
        std::size_t count = run_length(row);
        if (count >= kWorthIt) {
            out.insert(out.end(), {static_cast<std::uint8_t>(257 - count), row[0]});
        } else {
            while (count < std::min(row.size(), kLongest) && run_length(row.subspan(count)) < kWorthIt)
                ++count;
            out.push_back(static_cast<std::uint8_t>(count - 1));
            out.insert(out.end(), row.begin(), row.begin() + static_cast<std::ptrdiff_t>(count));
        }
        row = row.subspan(count);
    }
}

// CRC-16 of polynomial 1021, starting from 0, as XMODEM has it.
std::uint16_t checksum(Bytes bytes) {
    unsigned crc = 0;
    for (const std::uint8_t byte : bytes) {
        crc ^= static_cast<unsigned>(byte) << 8;
        for (int bit = 0; bit < 8; ++bit) crc = (crc << 1) ^ ((crc & 0x8000) != 0 ? 0x1021U : 0U);
    }
    return static_cast<std::uint16_t>(crc);
}

// MacBinary II. Without dates: the same picture gives the same file.
std::array<std::uint8_t, kWrapper> wrapper(std::size_t fork_length) {
    constexpr std::string_view kName = "Picture";
    std::array<std::uint8_t, kWrapper> header{};
    header[1] = kName.size();
    std::ranges::copy(kName, header.begin() + 2);
    std::ranges::copy(kType, header.begin() + kTypeAt);
    std::ranges::copy(kCreator, header.begin() + kTypeAt + kType.size());
    for (std::size_t i = 0; i < 4; ++i)
        header[kForkLengthAt + i] = static_cast<std::uint8_t>(fork_length >> (24 - 8 * i));
    header[122] = header[123] = 129;  // the version that wrote it, and the least that reads it
    const std::uint16_t crc = checksum(Bytes{header}.first(kChecksumAt));
    header[kChecksumAt] = static_cast<std::uint8_t>(crc >> 8);
    header[kChecksumAt + 1] = static_cast<std::uint8_t>(crc);
    return header;
}

// A smaller picture lies at the top left, where the page is shown first.
Result<void> encode(const Bitmap& bitmap, ByteWriter& out, const WriteOptions& options) {
    const auto page = fitted(bitmap);
    if (!page) return page.error();
    const InkRows ink{*page};
    std::vector<std::uint8_t> packed(kPatterns);  // version 0: the program's own patterns
    for (int y = 0; y < kHeight; ++y) {
        std::array<std::uint8_t, kRowBytes> row{};
        if (y < page->height()) ink.get(y, row);
        pack(row, packed);
    }
    if (options.progress && !options.progress(kHeight, kHeight)) return Error{Fault::cancelled, "pixels"};
    out.write(wrapper(packed.size()));
    out.write(packed);
    out.zeros((kBlock - packed.size() % kBlock) % kBlock);
    if (out.failed()) return Error{Fault::io, "pixels"};
    return {};
}

constexpr int kDepths[] = {1};
constexpr FormatCode kFormats[] = {{kFormat, "", kDepths}};
constexpr std::string_view kExtensions[] = {"mac", "pntg", "pnt", "macp", "mpnt"};

}  // namespace

extern const Codec macpaint;
const Codec macpaint{"MacPaint", kFormats, kExtensions, Pages::one, false, false,
                     probe,      info,     decode,      nullptr,    encode};

}  // namespace quillmark::imaging::codecs
