// TIFF revision 6.0, BigTIFF and the kinds of compression that libtiff knows.
#include <algorithm>
#include <array>
#include <cstring>

#include "imaging/codec.h"
#include "imaging/codecs/tiff_decode.h"
#include "imaging/codecs/tiff_encode.h"
#include "imaging/codecs/tiff_handle.h"
#include "imaging/codecs/tiff_page.h"

namespace quillmark::imaging::codecs {
namespace {

using tiff::Chain;
using tiff::Handle;
using tiff::Page;

bool probe(std::span<const std::uint8_t> head) {
    constexpr std::string_view kSignatures[] = {{"II*\0", 4}, {"MM\0*", 4}, {"II+\0", 4}, {"MM\0+", 4}};
    if (head.size() < 4) return false;
    return std::ranges::any_of(
        kSignatures, [&](std::string_view s) { return std::memcmp(head.data(), s.data(), 4) == 0; });
}

// Why libtiff found no directory: the file ends before it, or it makes no sense.
Error no_directory(ByteReader in) {
    in.seek(0);
    const bool little = in.u16le() == 0x4949;
    const bool big = (little ? in.u16le() : in.u16be()) == 43;
    if (big) in.skip(4);
    const std::uint64_t offset =
        big ? (little ? in.u64le() : in.u64be()) : (little ? in.u32le() : in.u32be());
    if (in.failed() || offset >= static_cast<std::uint64_t>(in.size()))
        return {Fault::truncated, "TIFF header"};
    return {Fault::malformed, "TIFF directory"};
}

Result<ImageInfo> info(ByteReader in, const ReadOptions& options) {
    Handle handle{in};
    if (!handle.get()) return no_directory(in);
    const Chain chain = tiff::read_chain(handle.get(), options.limits);
    const int pages = static_cast<int>(chain.pages.size());
    const int number = std::clamp(options.page, 1, pages);
    if (!TIFFSetSubDirectory(handle.get(), chain.pages[static_cast<std::size_t>(number - 1)]))
        return no_directory(in);
    const auto page = tiff::read_page(handle.get(), options.limits);
    if (!page) return page.error();
    ImageInfo info;
    info.format_code = page->format_code();
    info.width = static_cast<int>(page->width);
    info.height = static_cast<int>(page->height);
    info.bits = page->bitmap_bits;
    info.pages = pages;
    info.page = number;
    info.has_stamp = chain.stamp != 0;
    info.resolution = page->resolution;
    info.orientation = page->orientation;
    info.compression = page->compression_name();
    return info;
}

Result<Outcome> decode_directory(Handle& handle, std::uint64_t offset, const ByteReader& in,
                                 const ReadOptions& options, RowSink& sink) {
    if (TIFFCurrentDirOffset(handle.get()) != offset && !TIFFSetSubDirectory(handle.get(), offset))
        return no_directory(in);
    const auto page = tiff::read_page(handle.get(), options.limits);
    if (!page) return page.error();
    return tiff::decode_page(handle, *page, options, sink);
}

Result<Outcome> decode(ByteReader in, const ReadOptions& options, RowSink& sink) {
    Handle handle{in};
    if (!handle.get()) return no_directory(in);
    const Chain chain = tiff::read_chain(handle.get(), options.limits);
    const auto number =
        static_cast<std::size_t>(std::clamp(options.page, 1, static_cast<int>(chain.pages.size())));
    return decode_directory(handle, chain.pages[number - 1], in, options, sink);
}

Result<Outcome> stamp(ByteReader in, const ReadOptions& options) {
    Handle handle{in};
    if (!handle.get()) return no_directory(in);
    const Chain chain = tiff::read_chain(handle.get(), options.limits);
    if (chain.stamp == 0) return Error{Fault::no_stamp, "TIFF"};
    RowSink nobody;
    return decode_directory(handle, chain.stamp, in, options, nobody);
}

Result<void> encode(const Bitmap& bitmap, ByteWriter& out, const WriteOptions& options) {
    switch (options.format_code) {
        case 3: return tiff::encode_page(bitmap, out, COMPRESSION_NONE, options);
        case 11: return tiff::encode_page(bitmap, out, COMPRESSION_LZW, options);
        case 25: return tiff::encode_page(bitmap, out, COMPRESSION_CCITTRLE, options);
        case 27: return tiff::encode_page(bitmap, out, COMPRESSION_CCITTFAX3, options);
        case 29: return tiff::encode_page(bitmap, out, COMPRESSION_CCITTFAX4, options);
        default: return Error{Fault::unsupported, "TIFF variant is not written"};
    }
}

constexpr int kPlainDepths[] = {1, 2, 3, 4, 5, 6, 7, 8, 16, 24, 32};
constexpr int kCompressedDepths[] = {1, 4, 8, 24, 32};
constexpr int kFaxDepths[] = {1};
constexpr FormatCode kFormats[] = {
    {3, "uncompressed", kPlainDepths, true},
    {11, "compressed", kCompressedDepths},
    {29, "CCITT G4", kFaxDepths},
    {22, "JPEG"},
    {25, "CCITT FAX", kFaxDepths},
    {27, "CCITT G3 1-D", kFaxDepths},
    {28, "CCITT G3 2-D"},
};
constexpr std::string_view kExtensions[] = {"tif", "tiff", "btf", "tf8"};

}  // namespace

extern const Codec tiff;
const Codec tiff{"TIFF", kFormats, kExtensions, Pages::many, true, true, probe, info, decode, stamp, encode};

}  // namespace quillmark::imaging::codecs
