// The walks through segments and structured fields. Sources: IOCA and MO:DCA references of the AFP
// Consortium.
#include "imaging/codecs/ioca_pages.h"

#include <algorithm>
#include <array>
#include <utility>

#include "imaging/codecs/ioca_content.h"

namespace quillmark::imaging::codecs {
namespace {

// Structured fields that matter here.
constexpr std::uint32_t kBeginImage = 0xD3A8FB, kEndImage = 0xD3A9FB, kDescriptor = 0xD3A6FB,
                        kPicture = 0xD3EEFB;
constexpr std::uint8_t kCarriageControl = 0x5A;  // stands before every field of files made for printers
constexpr std::int64_t kFieldHeader = 8;

struct Field {
    std::uint32_t id = 0;
    std::int64_t at = 0, size = 0;  // its data
    // Images of the family before IOCA: cells without compression.
    bool old_image() const { return (id & 0xFF00FF) == 0xD3007B; }
};

// What an extension in front and padding behind take from a field's data.
void trim(ByteReader& in, int flags, Field& field) {
    if (flags & 0x80 && field.size > 0) {
        in.seek(field.at);
        const std::int64_t extension = std::min<std::int64_t>(in.u8(), field.size);
        field.at += extension;
        field.size -= extension;
    }
    if (flags & 0x08 && field.size > 0) {
        in.seek(field.at + field.size - 1);
        std::int64_t padding = in.u8();
        if (padding == 0 && field.size >= 3) {
            in.seek(field.at + field.size - 3);
            padding = in.u16be();
        }
        field.size -= std::min(padding, field.size);
    }
}

// Reads the next field and leaves the reader behind it. A field that the file's end cuts keeps what is there.
// False at the end of the chain.
bool next_field(ByteReader& in, Field& field) {
    std::uint32_t length = in.u8();
    if (length == kCarriageControl) length = in.u8();
    length = length << 8 | in.u8();
    field.id = static_cast<std::uint32_t>(in.u8()) << 16;
    field.id |= in.u16be();
    const int flags = in.u8();
    in.u16be();
    if (in.failed() || length < kFieldHeader || field.id >> 16 != 0xD3) return false;
    field.at = in.position();
    field.size = std::min<std::int64_t>(length - kFieldHeader, in.remaining());
    const std::int64_t next = field.at + field.size;
    if (flags & 0x88) trim(in, flags, field);
    in.seek(next);
    return true;
}

// Takes finished pages and keeps the one that was asked for.
class PageKeeper {
  public:
    PageKeeper(int wanted, const Limits& limits) : wanted_{wanted}, most_{limits.max_pages} {}

    void add(const IocaPage& page) {
        if (found_.count == most_) return;
        if (++found_.count > wanted_) return;
        found_.page = page;
        found_.number = found_.count;
    }
    const IocaPages& found() const { return found_; }

  private:
    IocaPages found_;
    int wanted_, most_;
};

Resolution descriptor_resolution(ByteReader in, const Field& field) {
    if (field.size < 5) return {};
    in.seek(field.at);
    const int unit = in.u8();
    const int x = in.u16be();
    return ioca_resolution(unit, x, in.u16be());
}

// Every image object is a page; image data outside of one begin one as well.
Result<IocaPages> pages_in_fields(ByteReader in, int wanted, const Limits& limits) {
    PageKeeper keeper{wanted, limits};
    IocaPage page;
    bool old_family = false;
    const auto close = [&](std::int64_t at) {
        page.end = at;
        if (page.size > 0) keeper.add(page);
        page = {};
        page.in_fields = true;
        page.begin = at;
    };
    close(0);
    Field field;
    for (std::int64_t before = 0; next_field(in, field); before = in.position()) {
        old_family = old_family || field.old_image();
        switch (field.id) {
            case kBeginImage: close(before); break;
            case kEndImage: close(in.position()); break;
            case kDescriptor: page.resolution = descriptor_resolution(in, field); break;
            case kPicture: page.size += field.size; break;
            default: break;
        }
    }
    close(in.position());
    if (keeper.found().count > 0) return keeper.found();
    if (old_family) return Error{Fault::unsupported, "IM image"};
    return Error{Fault::malformed, "no image in the document"};
}

// Skips one self-defining field; false where none can be, or where its data have no stated end.
bool skip_self_defining(ByteReader& in, unsigned& code) {
    code = in.u8();
    std::int64_t length = 0;
    if (code == 0xFE) {
        code = code << 8 | in.u8();
        length = in.u16be();
        if (length == 0 && code == ioca_code::kImageData) {
            ByteReader ahead = in;
            const unsigned next = ahead.u8();
            if (next != 0xFE && next != ioca_code::kEndContent) return false;
        }
    } else {
        length = in.u8();
    }
    if (in.failed() || length > in.remaining()) return false;
    in.skip(length);
    return true;
}

// Segments one after the other. What follows the last one is no concern of ours.
Result<IocaPages> bare_pages(ByteReader in, int wanted, const Limits& limits) {
    PageKeeper keeper{wanted, limits};
    IocaPage page;
    bool inside = false, content = false;
    const auto close = [&](std::int64_t at) {
        page.end = at;
        page.size = page.end - page.begin;
        if (inside && content) keeper.add(page);
        inside = content = false;
    };
    while (!in.at_end()) {
        const std::int64_t at = in.position();
        unsigned code = 0;
        const bool whole = skip_self_defining(in, code);
        if (code == ioca_code::kBeginSegment) {
            close(at);
            page.begin = at;
            inside = true;
        }
        content = content || code == ioca_code::kBeginContent || code == ioca_code::kBeginTile;
        if (!whole) break;
        if (code == ioca_code::kEndSegment) close(in.position());
        // Some writers repeat the ends; anything else between two segments is none of theirs.
        if (!inside && code != ioca_code::kEndSegment && code != ioca_code::kEndContent) break;
    }
    close(in.size());
    if (keeper.found().count == 0) return Error{Fault::malformed, "no image content"};
    return keeper.found();
}

bool looks_like_segment(std::span<const std::uint8_t> head) {
    if (head.size() < 2 || head[0] != ioca_code::kBeginSegment || head[1] > 4) return false;
    const std::size_t at = std::size_t{2} + head[1];
    if (head.size() < at + 3) return false;
    if (head[at] == ioca_code::kBeginTile)
        return head[at + 1] == 0 && head[at + 2] == ioca_code::kTilePosition;
    return head[at] == ioca_code::kBeginContent && head[at + 1] == 1 && head[at + 2] == 0xFF;
}

bool looks_like_field(std::span<const std::uint8_t> head, std::size_t& size) {
    const std::size_t shift = !head.empty() && head[0] == kCarriageControl ? 1 : 0;
    if (head.size() < shift + kFieldHeader) return false;
    const auto field = head.subspan(shift);
    size = shift + (std::size_t{field[0]} << 8 | field[1]);
    constexpr std::array<std::uint8_t, 12> kTypes{0xA0, 0xA2, 0xA6, 0xA7, 0xA8, 0xA9,
                                                  0xAB, 0xAC, 0xAF, 0xB0, 0xB1, 0xEE};
    return size >= shift + kFieldHeader && field[2] == 0xD3 &&
           std::ranges::find(kTypes, field[3]) != kTypes.end();
}

// Two fields that follow one another, or a first one that can only begin a document.
bool looks_like_fields(std::span<const std::uint8_t> head) {
    std::size_t size = 0, second = 0;
    if (!looks_like_field(head, size)) return false;
    if (size + kFieldHeader + 1 <= head.size()) return looks_like_field(head.subspan(size), second);
    const std::size_t shift = head[0] == kCarriageControl ? 1 : 0;
    return shift == 1 || head[shift + 3] == 0xA8;
}

}  // namespace

bool looks_like_ioca(std::span<const std::uint8_t> head) {
    return looks_like_segment(head) || looks_like_fields(head);
}

Result<IocaPages> find_ioca_page(ByteReader in, int page, const Limits& limits) {
    in.seek(0);
    if (in.u8() == ioca_code::kBeginSegment) {
        in.seek(0);
        return bare_pages(std::move(in), page, limits);
    }
    in.seek(0);
    return pages_in_fields(std::move(in), page, limits);
}

Result<Buffer> join_ioca_page(ByteReader in, const IocaPage& page) {
    Buffer joined = Buffer::allocate(static_cast<std::size_t>(page.size));
    if (!joined) return Error{Fault::out_of_memory, "image segment"};
    const std::span<std::uint8_t> room{joined.data(), static_cast<std::size_t>(page.size)};
    in.seek(page.begin);
    if (!page.in_fields) {
        if (in.read(room) < room.size()) return Error{Fault::io, "image segment"};
        return joined;
    }
    std::size_t filled = 0;
    Field field;
    while (in.position() < page.end && next_field(in, field)) {
        if (field.id != kPicture) continue;
        const std::int64_t next = in.position();
        const auto size = static_cast<std::size_t>(field.size);
        in.seek(field.at);
        if (size > room.size() - filled || in.read(room.subspan(filled, size)) < size)
            return Error{Fault::io, "image segment"};
        filled += size;
        in.seek(next);
    }
    return joined;
}

}  // namespace quillmark::imaging::codecs
