// Fax documents of WinFax. Their layout is not public: pages are found by looking for fax data that decode
// without an error. What is written is TIFF, which later versions of that program use under these names too.
#include <algorithm>
#include <array>

#include "imaging/codecs/fax_pages.h"
#include "imaging/codecs/tiff_encode.h"
#include "imaging/codecs/tiff_handle.h"

namespace quillmark::imaging::codecs {

extern const Codec tiff;

namespace {

using fax::Coding;
using fax::Document;

enum Code : int { kGroup3 = 69, kGroup4 = 70 };

constexpr std::size_t kSearched = 1024;  // bytes before the first page
constexpr int kUsualWidth = 1728;
constexpr int kProbeRows = 64, kSureRows = 200;  // rows of group 4 without an error
constexpr std::array<std::uint8_t, 8> kOle2{0xD0, 0xCF, 0x11, 0xE0, 0xA1, 0xB1, 0x1A, 0xE1};

bool is_ole2(std::span<const std::uint8_t> head) {
    return head.size() >= kOle2.size() && std::equal(kOle2.begin(), kOle2.end(), head.begin());
}

struct Start {
    std::size_t offset;
    fax::Layout layout;
};

// Where the first page begins. Group 3 marks its rows; for group 4 each offset has to be tried.
std::optional<Start> find_start(std::span<const std::uint8_t> data, int group4_rows) {
    if (const auto layout = fax::identify_group3(data, fax::Evidence::scan)) return Start{0, *layout};
    for (const bool lowest_bit_first : {true, false}) {
        const fax::Layout layout{Coding::group4, kUsualWidth, lowest_bit_first};
        if (const auto offset = fax::find_group4(data, layout, kSearched, group4_rows))
            return Start{*offset, layout};
    }
    return {};
}

bool probe(std::span<const std::uint8_t> head) {
    // Fax data from the first byte on are told apart by nothing: they are raw.
    return !fax::identify(head) && find_start(head, kProbeRows).has_value();
}

Result<Document> open(const ByteReader& in, const Limits& limits) {
    Document document = fax::open_document(in);
    if (is_ole2(document.bytes)) return Error{Fault::unsupported, "WinFax in a compound document"};
    const auto start = find_start(document.bytes, kSureRows);
    if (!start) return Error{Fault::malformed, "fax rows"};
    document.sections.push_back(document.rest(start->offset, start->layout));
    const auto found = fax::find_pages(document, limits);
    if (!found) return found.error();
    return document;
}

bool is_tiff(ByteReader in) {
    in.seek(0);
    std::array<std::uint8_t, 8> head{};
    return in.read(head) == head.size() && tiff.probe(head);
}

int format_code(const Document& document, const ReadOptions& options) {
    return fax::section_of(document, options).layout.coding == Coding::group4 ? kGroup4 : kGroup3;
}

Result<ImageInfo> info(ByteReader in, const ReadOptions& options) {
    if (is_tiff(in)) return tiff.info(in, options);
    const auto document = open(in, options.limits);
    if (!document) return document.error();
    ImageInfo info = fax::info_of(*document, options);
    info.format_code = format_code(*document, options);
    return info;
}

Result<Outcome> decode(ByteReader in, const ReadOptions& options, RowSink& sink) {
    if (is_tiff(in)) return tiff.decode(in, options, sink);
    const auto document = open(in, options.limits);
    if (!document) return document.error();
    auto outcome = fax::decode_page(*document, options, format_code(*document, options), sink);
    if (outcome) outcome->warnings.push_back("pages found by scanning");
    return outcome;
}

Result<void> encode(const Bitmap& bitmap, ByteWriter& out, const WriteOptions& options) {
    Bitmap page = bitmap;
    Resolution& resolution = page.metadata().resolution;
    if (resolution.x <= 0 || resolution.y <= 0) resolution = {204, 196};
    return tiff::encode_page(page, out, COMPRESSION_CCITTFAX3, options);
}

constexpr int kDepths[] = {1};
constexpr FormatCode kFormats[] = {
    {kGroup3, "CCITT G3", kDepths},
    {kGroup4, "CCITT G4"},
};
constexpr std::string_view kExtensions[] = {"fxs", "fxr", "fxd", "fxm", "fxo", "wfx"};

}  // namespace

extern const Codec winfax;
const Codec winfax{"WinFax", kFormats, kExtensions, Pages::many, false, false,
                   probe,    info,     decode,      nullptr,     encode};

}  // namespace quillmark::imaging::codecs
