// Fax data that say little about themselves: finding out how they are coded, where their pages are, and
// reading and writing whole pages.
#pragma once

#include <optional>
#include <vector>

#include "imaging/codec.h"
#include "imaging/codecs/fax_decoder.h"

namespace quillmark::imaging::fax {

/// How the data are coded, judged by decoding their beginning (at most 64 KB). With end-of-line codes the
/// width is what most rows add up to, and the data have to begin with such a code or a row. Group 4 and rows
/// without those codes are tried at the widths of fax machines, and have to be free of errors.
std::optional<Layout> identify(std::span<const std::uint8_t> data);
/// What speaks for fax data beside the rows themselves.
enum class Evidence : std::uint8_t {
    header,     ///< they stand behind the header of a fax: a few rows of one width are enough
    beginning,  ///< they begin with an end-of-line code or a row: more rows, or a short page and nothing else
    scan,       ///< nothing: many rows of a fax machine's width
};
/// The same for data with end-of-line codes only.
std::optional<Layout> identify_group3(std::span<const std::uint8_t> data, Evidence evidence);
/// The first of the offsets below searched from which the data are a page of group 4 of that layout: free of
/// errors for rows rows and some more, as far as there are any, and not blank.
std::optional<std::size_t> find_group4(std::span<const std::uint8_t> data, const Layout& layout,
                                       std::size_t searched, int rows);

/// Bytes of one kind of coding; several pages may follow each other.
struct Section {
    std::size_t begin = 0, size = 0;  ///< in the document's bytes
    Layout layout;
    Resolution resolution;  ///< 0: to be guessed from the page's sides
};

struct Page {
    std::size_t section = 0;
    int skipped = 0;  ///< page ends in the section before this page
    int rows = 0;     ///< up to the last good one
};

/// A file of fax pages. The bytes are its own or those of the source.
struct Document {
    std::vector<std::uint8_t> own;
    std::span<const std::uint8_t> bytes;
    std::vector<Section> sections;
    std::vector<Page> pages;

    std::span<const std::uint8_t> data_of(const Section& section) const {
        return bytes.subspan(section.begin, section.size);
    }
    /// The section behind offset, as far as the bytes go.
    Section rest(std::size_t offset, const Layout& layout) const {
        return {offset, bytes.size() - offset, layout, {}};
    }
};

/// All bytes of the reader (at most 256 MB), without sections.
Document open_document(const ByteReader& in);
/// Fills in the pages by counting rows. Faults: malformed (no page with a good row).
Result<void> find_pages(Document& document, const Limits& limits);

/// What is known of the page that the options ask for.
ImageInfo info_of(const Document& document, const ReadOptions& options);
/// That page: packed pixels, white and black.
Result<Outcome> decode_page(const Document& document, const ReadOptions& options, int format_code,
                            RowSink& sink);
/// The section of that page.
const Section& section_of(const Document& document, const ReadOptions& options);

/// Rows of a page whose sides are known, into a new bitmap of white and black; rows that the data do not
/// give are white. Faults: those of Bitmap::check_size, truncated (not one good row), cancelled.
Result<Outcome> decode_rows(Decoder& decoder, int width, int height, int format_code, const Limits& limits,
                            RowSink& sink);

/// A 1-bit bitmap as fax data, the darker of its colours black. Faults: unsupported (more bits), cancelled.
Result<std::vector<std::uint8_t>> encode_page(const Bitmap& bitmap, const Layout& layout,
                                              const WriteOptions& options);
/// Rows between one-dimensional ones that suit the resolution.
int k_for(const Resolution& resolution);

/// Dots per inch of a page that does not say: by its width, and fine or normal by its length. 0: unknown.
Resolution usual_resolution(int width, int rows);

}  // namespace quillmark::imaging::fax
