// CALS raster files, type 1 (MIL-R-28002): a header of sixteen text records of 128 bytes, then one stream of
// group 4 fax data.
#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <optional>
#include <string>
#include <vector>

#include "imaging/codecs/fax_pages.h"
#include "text/paths.h"

namespace quillmark::imaging::codecs {
namespace {

constexpr int kFormat = 50;
constexpr std::size_t kRecord = 128, kRecords = 16;
constexpr std::size_t kHeaderSize = kRecord * kRecords;
constexpr int kDefaultDensity = 200;  // of files that do not say
constexpr int kWrittenDensity = 300;  // of images that do not know
constexpr int kMostPels = 999'999;    // six digits
constexpr std::int64_t kMostData = std::int64_t{1} << 30;

bool is_blank(char c) { return static_cast<unsigned char>(c) <= ' '; }

std::string_view trimmed(std::string_view text) {
    while (!text.empty() && is_blank(text.front())) text.remove_prefix(1);
    while (!text.empty() && is_blank(text.back())) text.remove_suffix(1);
    return text;
}

char lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

// key is lower case.
bool begins_with(std::string_view text, std::string_view key) {
    return text.size() >= key.size() &&
           std::equal(key.begin(), key.end(), text.begin(), [](char k, char c) { return k == lower(c); });
}

std::string_view text_of(std::span<const std::uint8_t> head) {
    return {reinterpret_cast<const char*>(head.data()), std::min(head.size(), kHeaderSize)};
}

// What a record says: its key stands at its beginning, or, where writers shifted them, anywhere.
std::optional<std::string_view> value_of(std::string_view header, std::string_view key) {
    for (std::size_t at = 0; at < header.size(); at += kRecord) {
        const auto record = trimmed(header.substr(at, kRecord));
        if (begins_with(record, key)) return trimmed(record.substr(key.size()));
    }
    const auto* const found = std::search(header.begin(), header.end(), key.begin(), key.end(),
                                          [](char c, char k) { return lower(c) == k; });
    if (found == header.end()) return {};
    const auto begin = static_cast<std::size_t>(found - header.begin());
    const std::size_t end = std::min(header.size(), (begin / kRecord + 1) * kRecord);
    if (begin + key.size() > end) return {};
    return trimmed(header.substr(begin + key.size(), end - begin - key.size()));
}

bool probe(std::span<const std::uint8_t> head) {
    const std::string_view header = text_of(head);
    for (const std::string_view key : {"srcdocid:", "version: mil-std-1840", "rorient:"}) {
        if (begins_with(header, key)) return true;
    }
    return value_of(header, "rtype:") && value_of(header, "rorient:") && value_of(header, "rpelcnt:");
}

// Takes digits (at most six) off the front of a text, or gives nothing.
std::optional<int> take_number(std::string_view& text) {
    constexpr std::size_t kDigits = 6;
    text = trimmed(text);
    std::size_t digits = 0;
    while (digits < text.size() && text[digits] >= '0' && text[digits] <= '9') ++digits;
    int number = 0;
    if (digits == 0 || digits > kDigits) return {};
    std::from_chars(text.data(), text.data() + digits, number);
    text.remove_prefix(digits);
    return number;
}

// Two numbers with a comma between them.
std::optional<std::array<int, 2>> pair_of(std::string_view text) {
    const auto first = take_number(text);
    text = trimmed(text);
    if (!first || text.empty() || text.front() != ',') return {};
    text.remove_prefix(1);
    const auto second = take_number(text);
    if (!second) return {};
    return std::array{*first, *second};
}

// The directions along a row and from row to row, counter-clockwise from rightwards.
struct Turn {
    std::array<int, 2> angles;
    Orientation orientation;
};
constexpr Turn kTurns[] = {
    {{0, 270}, Orientation::normal},       {{180, 270}, Orientation::mirrored},
    {{180, 90}, Orientation::rotated_180}, {{0, 90}, Orientation::flipped},
    {{270, 0}, Orientation::transposed},   {{270, 180}, Orientation::rotated_right},
    {{90, 180}, Orientation::transversed}, {{90, 0}, Orientation::rotated_left},
};

Orientation orientation_of(std::array<int, 2> angles) {
    const auto* turn = std::ranges::find(kTurns, angles, &Turn::angles);
    return turn == std::end(kTurns) ? Orientation::normal : turn->orientation;
}

struct Header {
    int width = 0, height = 0;
    double density = kDefaultDensity;
    Orientation orientation = Orientation::normal;
    std::string notes;
};

Result<Header> read_header(ByteReader& in, const Limits& limits) {
    std::array<std::uint8_t, kHeaderSize> bytes{};
    if (in.read(bytes) < kHeaderSize || in.at_end()) return Error{Fault::truncated, "header"};
    const std::string_view text = text_of(bytes);
    const auto type = value_of(text, "rtype:");
    if (type && begins_with(*type, "2")) return Error{Fault::unsupported, "CALS type 2"};
    if (type && !begins_with(*type, "1")) return Error{Fault::malformed, "raster type"};
    const auto pels = pair_of(value_of(text, "rpelcnt:").value_or(""));
    if (!pels) return Error{Fault::malformed, "number of pixels"};
    Header header;
    header.width = (*pels)[0], header.height = (*pels)[1];
    const auto size = Bitmap::check_size(header.width, header.height, 1, limits);
    if (!size) return size.error();
    std::string_view density = value_of(text, "rdensty:").value_or("");
    header.density = take_number(density).value_or(0);
    if (header.density == 0) header.density = kDefaultDensity;
    if (const auto angles = pair_of(value_of(text, "rorient:").value_or("")))
        header.orientation = orientation_of(*angles);
    const std::string_view notes = value_of(text, "notes:").value_or("");
    if (text::lower_ascii(notes) != "none")
        header.notes = text_from_bytes(reinterpret_cast<const std::uint8_t*>(notes.data()), notes.size());
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
    info.resolution = {header->density, header->density};
    info.orientation = header->orientation;
    info.compression = "CCITT G4";
    return info;
}

Result<Outcome> decode(ByteReader in, const ReadOptions& options, RowSink& sink) {
    const auto header = read_header(in, options.limits);
    if (!header) return header.error();
    std::vector<std::uint8_t> own;
    std::span<const std::uint8_t> data =
        in.source()->memory().empty() ? std::span<const std::uint8_t>{} : in.window();
    if (data.empty()) {
        own = in.bytes(static_cast<std::size_t>(std::min(in.remaining(), kMostData)));
        data = own;
    }
    fax::Decoder decoder{data, {fax::Coding::group4, header->width, false}};
    auto outcome = fax::decode_rows(decoder, header->width, header->height, kFormat, options.limits, sink);
    if (!outcome) return outcome;
    Metadata& metadata = outcome->bitmap.metadata();
    metadata.resolution = {header->density, header->density};
    metadata.orientation = header->orientation;
    metadata.comment = header->notes;
    return outcome;
}

// --- writing
// ---------------------------------------------------------------------------------------------------

void put_record(ByteWriter& out, std::string text) {
    text.resize(kRecord, ' ');
    out.write({reinterpret_cast<const std::uint8_t*>(text.data()), text.size()});
}

// The header holds ASCII only.
std::string notes_of(const Bitmap& bitmap) {
    std::string notes = bitmap.metadata().comment;
    std::ranges::replace_if(
        notes, [](char c) { return c < ' ' || c > '~'; }, '?');
    return trimmed(notes).empty() ? "NONE" : notes;
}

int density_of(const Resolution& resolution) {
    if (resolution.x <= 0) return kWrittenDensity;
    return static_cast<int>(std::lround(std::clamp(resolution.x, 1.0, 9999.0)));
}

Result<void> encode(const Bitmap& bitmap, ByteWriter& out, const WriteOptions& options) {
    if (bitmap.width() > kMostPels || bitmap.height() > kMostPels)
        return Error{Fault::too_large, "six digits for each side"};
    const auto data = fax::encode_page(bitmap, {fax::Coding::group4, bitmap.width(), false}, options);
    if (!data) return data.error();
    const std::array angles =
        std::ranges::find(kTurns, bitmap.metadata().orientation, &Turn::orientation)->angles;
    std::array<char, 64> turn{}, pels{}, density{};
    std::snprintf(turn.data(), turn.size(), "rorient: %03d,%03d", angles[0], angles[1]);
    std::snprintf(pels.data(), pels.size(), "rpelcnt: %06d,%06d", bitmap.width(), bitmap.height());
    std::snprintf(density.data(), density.size(), "rdensty: %04d", density_of(bitmap.metadata().resolution));
    for (const char* key : {"srcdocid: NONE", "dstdocid: NONE", "txtfilid: NONE", "figid: NONE",
                            "srcgph: NONE", "doccls: NONE", "rtype: 1"}) {
        put_record(out, key);
    }
    put_record(out, turn.data());
    put_record(out, pels.data());
    put_record(out, density.data());
    put_record(out, "notes: " + notes_of(bitmap));
    for (int unused = 11; unused < static_cast<int>(kRecords); ++unused) put_record(out, "");
    out.write(*data);
    if (out.failed()) return Error{Fault::io, "pixels"};
    return {};
}

constexpr int kDepths[] = {1};
constexpr FormatCode kFormats[] = {{kFormat, "type 1", kDepths}};
constexpr std::string_view kExtensions[] = {"cal", "cals", "ct1", "ct2", "gp4"};

}  // namespace

extern const Codec cals;
const Codec cals{"CALS", kFormats, kExtensions, Pages::one, false, true,
                 probe,  info,     decode,      nullptr,    encode};

}  // namespace quillmark::imaging::codecs
