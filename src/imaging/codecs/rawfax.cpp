// Fax data as fax machines and modems exchange them (ITU-T T.4 and T.6), bare or behind the small headers of
// fax programs.
#include <algorithm>
#include <array>
#include <cstring>
#include <utility>

#include "imaging/codecs/fax_encoder.h"
#include "imaging/codecs/fax_pages.h"

namespace quillmark::imaging::codecs {
namespace {

using fax::Coding;
using fax::Document;

enum Code : int {
    kWrapped1d = 66,
    kWrapped2d = 67,
    kWrappedG4 = 68,
    kRaw1d = 77,
    kRaw2d = 78,
    kRawG4 = 79,
};

// Headers of fax programs; numbers in them are little-endian.
enum class Wrapper : std::uint8_t { none, digifax, qfx, sff, brooktrout, qfax, iff };

constexpr std::size_t kDigifaxHeader = 64, kQfxHeader = 1536, kBrooktroutHeader = 128, kQfaxHeader = 64;
constexpr std::array<std::uint8_t, 24> kDigifax{0,   'P', 'C', ' ', 'R', 'e', 's', 'e', 'a', 'r', 'c', 'h',
                                                ',', ' ', 'I', 'n', 'c', 0,   0,   0,   0,   0,   0,   0};
constexpr std::size_t kDigifaxName = 17;
constexpr Resolution kNormal{204, 98}, kFine{204, 196};

bool begins(std::span<const std::uint8_t> bytes, std::string_view with, std::size_t at = 0) {
    return bytes.size() >= at + with.size() && std::memcmp(bytes.data() + at, with.data(), with.size()) == 0;
}

Wrapper wrapper_of(std::span<const std::uint8_t> head) {
    if (begins(head, {reinterpret_cast<const char*>(kDigifax.data()), kDigifaxName})) return Wrapper::digifax;
    if (begins(head, {"QLIIFAX\0", 8})) return Wrapper::qfx;
    if (begins(head, {"Sfff\1", 5})) return Wrapper::sff;
    if (begins(head, {"\xBB\x01\x00\x01", 4}) && head.size() > kBrooktroutHeader) return Wrapper::brooktrout;
    if (begins(head, "QFAX")) return Wrapper::qfax;
    if (begins(head, "FORM") && (begins(head, "FAX3", 8) || begins(head, "FAXX", 8))) return Wrapper::iff;
    return Wrapper::none;
}

bool probe(std::span<const std::uint8_t> head) {
    return wrapper_of(head) != Wrapper::none || fax::identify(head).has_value();
}

std::uint32_t u16(std::span<const std::uint8_t> bytes, std::size_t at) {
    return at + 2 <= bytes.size() ? bytes[at] | static_cast<std::uint32_t>(bytes[at + 1]) << 8 : 0U;
}

// One stream of group 3 data behind a header.
Result<void> add_stream(Document& document, std::size_t offset, Resolution resolution) {
    if (offset >= document.bytes.size()) return Error{Fault::truncated, "fax header"};
    const auto layout = fax::identify_group3(document.bytes.subspan(offset), fax::Evidence::header);
    if (!layout) return Error{Fault::malformed, "fax rows"};
    document.sections.push_back(document.rest(offset, *layout));
    document.sections.back().resolution = resolution;
    return {};
}

// Rows of the CAPI's structured files: each a record of its own, without end-of-line codes. They are put
// together as rows that begin on bytes.
class SffReader {
  public:
    SffReader(std::span<const std::uint8_t> in, const Limits& limits) : in_{in}, limits_{limits} {}

    Result<Document> read() {
        constexpr std::size_t kFirstPage = 10;
        at_ = u16(in_, kFirstPage);
        while (at_ < in_.size() && static_cast<int>(document_.sections.size()) < limits_.max_pages) {
            if (!read_record()) break;
        }
        close_page();
        if (document_.sections.empty()) return Error{Fault::truncated, "fax pages"};
        document_.bytes = document_.own;
        return std::move(document_);
    }

  private:
    static constexpr int kBlank = 216, kPage = 254, kOther = 255;
    static constexpr std::size_t kPageHeader = 18;
    static constexpr std::size_t kMostBytes = std::size_t{256} << 20;

    bool read_record() {
        const int kind = in_[at_++];
        if (kind == kPage) return open_page();
        if (width_ == 0 || document_.own.size() > kMostBytes) return false;
        if (kind == kOther) {
            if (at_ >= in_.size()) return false;
            const std::size_t skipped = in_[at_++];
            if (skipped == 0)
                return put({document_.own.begin() + static_cast<std::ptrdiff_t>(last_), document_.own.end()});
            at_ += skipped;
            return true;
        }
        if (kind > kBlank) {
            for (int i = kBlank; i < kind; ++i) put(blank_);
            return true;
        }
        std::size_t size = static_cast<std::size_t>(kind);
        if (kind == 0) {
            size = u16(in_, at_);
            at_ += 2;
        }
        if (at_ >= in_.size() || size == 0) return false;
        const auto row = in_.subspan(at_, std::min(size, in_.size() - at_));
        at_ += size;
        return put({row.begin(), row.end()});
    }

    bool open_page() {
        close_page();
        if (at_ >= in_.size() || in_[at_] == 0 || at_ + kPageHeader - 1 > in_.size()) return false;
        const std::size_t header = at_ - 1;
        at_ += std::size_t{1} + in_[at_];
        width_ = static_cast<int>(u16(in_, header + 6));
        if (width_ == 0) return false;
        resolution_ = in_[header + 2] == 0 ? kNormal : kFine;
        begin_ = last_ = document_.own.size();
        fax::Encoder white{{Coding::aligned_rows, width_, true}};
        white.add_row(std::vector<std::uint8_t>(static_cast<std::size_t>(width_ + 7) / 8));
        blank_ = white.bytes();
        return true;
    }

    void close_page() {
        if (width_ == 0) return;
        const fax::Layout layout{Coding::aligned_rows, width_, true};
        document_.sections.push_back({begin_, document_.own.size() - begin_, layout, resolution_});
        width_ = 0;
    }

    // Zeros behind the last code would run into the next row.
    bool put(std::vector<std::uint8_t> row) {
        while (!row.empty() && row.back() == 0) row.pop_back();
        last_ = document_.own.size();
        document_.own.insert(document_.own.end(), row.begin(), row.end());
        return true;
    }

    std::span<const std::uint8_t> in_;
    const Limits& limits_;
    Document document_;
    std::size_t at_ = 0, begin_ = 0, last_ = 0;  // last_: where the row before begins
    int width_ = 0;                              // 0: no page is open
    Resolution resolution_;
    std::vector<std::uint8_t> blank_;
};

Result<void> add_wrapped(Document& document, Wrapper wrapper) {
    switch (wrapper) {
        case Wrapper::digifax: {
            constexpr std::size_t kResolution = 29;
            const bool fine = document.bytes.size() > kResolution && document.bytes[kResolution] != 0;
            return add_stream(document, kDigifaxHeader, fine ? kFine : kNormal);
        }
        case Wrapper::qfx:
            return add_stream(document, kQfxHeader,
                              u16(document.bytes, 16) == 2 ? Resolution{200, 100} : Resolution{200, 200});
        case Wrapper::brooktrout: {
            const std::uint32_t lines = u16(document.bytes, 6);
            return add_stream(
                document, kBrooktroutHeader,
                lines == 100 || lines == 200 ? Resolution{200, static_cast<double>(lines)} : Resolution{});
        }
        case Wrapper::qfax: return add_stream(document, kQfaxHeader, {});
        default: return Error{Fault::unsupported, "IFF fax"};
    }
}

Result<void> add_raw(Document& document) {
    const auto layout = fax::identify(document.bytes);
    if (!layout) return Error{Fault::malformed, "fax rows"};
    document.sections.push_back(document.rest(0, *layout));
    return {};
}

struct Opened {
    Document document;
    Wrapper wrapper = Wrapper::none;

    int format_code(const ReadOptions& options) const {
        const Coding coding = fax::section_of(document, options).layout.coding;
        const bool wrapped = wrapper != Wrapper::none;
        if (coding == Coding::group4) return wrapped ? kWrappedG4 : kRawG4;
        if (coding == Coding::group3_2d) return wrapped ? kWrapped2d : kRaw2d;
        return wrapped ? kWrapped1d : kRaw1d;
    }
};

Result<Opened> open(const ByteReader& in, const Limits& limits) {
    Opened opened{fax::open_document(in)};
    opened.wrapper = wrapper_of(opened.document.bytes);
    if (opened.wrapper == Wrapper::sff) {
        auto pages = SffReader{opened.document.bytes, limits}.read();
        if (!pages) return pages.error();
        opened.document = std::move(*pages);
    } else {
        const auto added = opened.wrapper == Wrapper::none ? add_raw(opened.document)
                                                           : add_wrapped(opened.document, opened.wrapper);
        if (!added) return added.error();
    }
    const auto found = fax::find_pages(opened.document, limits);
    if (!found) return found.error();
    return opened;
}

Result<ImageInfo> info(ByteReader in, const ReadOptions& options) {
    const auto opened = open(in, options.limits);
    if (!opened) return opened.error();
    ImageInfo info = fax::info_of(opened->document, options);
    info.format_code = opened->format_code(options);
    return info;
}

Result<Outcome> decode(ByteReader in, const ReadOptions& options, RowSink& sink) {
    const auto opened = open(in, options.limits);
    if (!opened) return opened.error();
    return fax::decode_page(opened->document, options, opened->format_code(options), sink);
}

// --- writing
// ---------------------------------------------------------------------------------------------------

// Fine rows are nearly as far apart as their pixels; normal ones twice as far.
bool is_fine(const Resolution& resolution) { return resolution.x <= 0 || resolution.y > 0.75 * resolution.x; }

void put_digifax_header(const Resolution& resolution, ByteWriter& out) {
    out.write(kDigifax);
    for (const int value : {1, 0, 1, 0, 1}) out.u8(value);  // one page; the rest as every writer has it
    out.u8(is_fine(resolution) ? 1 : 0);
    out.zeros(kDigifaxHeader - static_cast<std::size_t>(out.position()));
}

Result<void> encode(const Bitmap& bitmap, ByteWriter& out, const WriteOptions& options) {
    const bool wrapped = options.format_code == kWrapped1d;
    const Coding coding = options.format_code == kRaw2d ? Coding::group3_2d : Coding::group3;
    const auto data = fax::encode_page(bitmap, {coding, bitmap.width(), false, wrapped}, options);
    if (!data) return data.error();
    if (wrapped) put_digifax_header(bitmap.metadata().resolution, out);
    out.write(*data);
    if (out.failed()) return Error{Fault::io, "pixels"};
    return {};
}

// Group 4 says nothing of its width: what is written could not be read again.
constexpr int kDepths[] = {1};
constexpr FormatCode kFormats[] = {
    {kRaw1d, "CCITT G3 1-D", kDepths},
    {kRaw2d, "CCITT G3 2-D", kDepths},
    {kRawG4, "CCITT G4"},
    {kWrapped1d, "CCITT G3 1-D with header", kDepths},
    {kWrapped2d, "CCITT G3 2-D with header"},
    {kWrappedG4, "CCITT G4 with header"},
};
constexpr std::string_view kExtensions[] = {"fax", "g3", "g4", "t4", "t6", "sff", "qfx", "301"};

}  // namespace

extern const Codec rawfax;
const Codec rawfax{"Raw fax", kFormats, kExtensions, Pages::many, false, false,
                   probe,     info,     decode,      nullptr,     encode};

}  // namespace quillmark::imaging::codecs
