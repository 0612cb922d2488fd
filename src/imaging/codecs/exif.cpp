#include "imaging/codecs/exif.h"

#include <algorithm>

namespace quillmark::imaging {
namespace {

constexpr std::size_t kEntrySize = 12;
constexpr unsigned kMaxEntries = 512;

enum Tag : unsigned {
    kWidth = 0x100,
    kHeight = 0x101,
    kCompression = 0x103,
    kPhotometric = 0x106,
    kStripOffset = 0x111,
    kOrientation = 0x112,
    kXResolution = 0x11A,
    kYResolution = 0x11B,
    kResolutionUnit = 0x128,
    kStampOffset = 0x201,
    kStampSize = 0x202,
    kSubsampling = 0x212,
};

enum Type : unsigned { kByte = 1, kShort = 3, kLong = 4, kRational = 5 };

struct Entry {
    unsigned tag = 0, type = 0;
    std::uint32_t count = 0;
    std::size_t value_at = 0;  // of the four bytes that hold the value or its offset
};

// The block with its byte order; reads outside its bounds give 0.
class TiffBlock {
  public:
    explicit TiffBlock(std::span<const std::uint8_t> bytes) : bytes_{bytes} {
        if (bytes.size() < 8) return;
        big_endian_ = bytes[0] == 'M';
        valid_ = bytes[0] == bytes[1] && (big_endian_ || bytes[0] == 'I') && u16(2) == 42;
    }

    bool valid() const { return valid_; }
    std::size_t size() const { return bytes_.size(); }

    unsigned u16(std::size_t at) const {
        if (at + 2 > bytes_.size()) return 0;
        return big_endian_ ? bytes_[at] * 256U + bytes_[at + 1] : bytes_[at + 1] * 256U + bytes_[at];
    }
    std::uint32_t u32(std::size_t at) const {
        const std::uint32_t first = u16(at), second = u16(at + 2);
        return big_endian_ ? first << 16 | second : second << 16 | first;
    }

    std::size_t entry_count(std::size_t directory) const { return std::min(u16(directory), kMaxEntries); }

    // Where the offset of the next directory stands.
    std::size_t link_at(std::size_t directory) const { return directory + 2 + u16(directory) * kEntrySize; }

    Entry find(std::size_t directory, unsigned tag) const {
        for (std::size_t i = 0; i < entry_count(directory); ++i) {
            const std::size_t at = directory + 2 + i * kEntrySize;
            if (at + kEntrySize > bytes_.size()) break;
            if (u16(at) == tag) return {tag, u16(at + 2), u32(at + 4), at + 8};
        }
        return {};
    }

    // The first value of a tag of a whole type; 0 when there is none.
    std::uint32_t whole(std::size_t directory, unsigned tag) const {
        const Entry entry = find(directory, tag);
        if (entry.count == 0) return 0;
        if (entry.type == kByte) return bytes_[entry.value_at];
        if (entry.type == kShort) return u16(entry.value_at);
        return entry.type == kLong ? u32(entry.value_at) : 0;
    }

    double rational(std::size_t directory, unsigned tag) const {
        const Entry entry = find(directory, tag);
        if (entry.type != kRational || entry.count == 0) return 0;
        const std::size_t at = u32(entry.value_at);
        const std::uint32_t denominator = u32(at + 4);
        return denominator == 0 ? 0 : static_cast<double>(u32(at)) / denominator;
    }

  private:
    std::span<const std::uint8_t> bytes_;
    bool big_endian_ = false;
    bool valid_ = false;
};

Resolution read_resolution(const TiffBlock& block, std::size_t directory) {
    const double per_inch = block.whole(directory, kResolutionUnit) == 3 ? 2.54 : 1.0;
    const double x = block.rational(directory, kXResolution) * per_inch;
    const double y = block.rational(directory, kYResolution) * per_inch;
    const auto sane = [](double dpi) { return dpi > 0 && dpi <= 10'000; };
    return sane(x) && sane(y) ? Resolution{x, y} : Resolution{};
}

std::optional<ExifStamp> read_stamp(const TiffBlock& block, std::size_t directory) {
    ExifStamp stamp;
    stamp.jpeg = block.whole(directory, kCompression) != 1;
    if (stamp.jpeg) {
        stamp.offset = block.whole(directory, kStampOffset);
        stamp.size = block.whole(directory, kStampSize);
    } else {
        const Entry subsampling = block.find(directory, kSubsampling);
        const bool subsampled = subsampling.count == 2 && (block.u16(subsampling.value_at) != 1 ||
                                                           block.u16(subsampling.value_at + 2) != 1);
        stamp.rgb = block.whole(directory, kPhotometric) == 2;
        if (!stamp.rgb && (subsampled || block.whole(directory, kPhotometric) != 6)) return {};
        stamp.width = static_cast<int>(std::min(block.whole(directory, kWidth), 65'535U));
        stamp.height = static_cast<int>(std::min(block.whole(directory, kHeight), 65'535U));
        stamp.offset = block.whole(directory, kStripOffset);
        stamp.size = static_cast<std::size_t>(stamp.width) * static_cast<std::size_t>(stamp.height) * 3;
    }
    if (stamp.size == 0 || stamp.offset < 8 || stamp.offset >= block.size()) return {};
    // Cameras are known to count a few bytes too many; a JPEG stamp bears being cut.
    if (stamp.size > block.size() - stamp.offset) {
        if (!stamp.jpeg) return {};
        stamp.size = block.size() - stamp.offset;
    }
    return stamp;
}

// The directory of the stamp, 0 when there is none.
std::size_t stamp_directory(const TiffBlock& block, std::size_t first) {
    const std::size_t link = block.link_at(first);
    const std::size_t second = link + 4 <= block.size() ? block.u32(link) : 0;
    return second < 8 || second == first || second + 2 > block.size() ? 0 : second;
}

}  // namespace

ExifFacts read_exif(std::span<const std::uint8_t> bytes) {
    const TiffBlock block{bytes};
    ExifFacts facts;
    if (!block.valid()) return facts;
    const std::size_t first = block.u32(4);
    facts.orientation =
        orientation_from_tag(static_cast<int>(std::min(block.whole(first, kOrientation), 9U)));
    facts.resolution = read_resolution(block, first);
    if (const std::size_t second = stamp_directory(block, first)) facts.stamp = read_stamp(block, second);
    return facts;
}

std::vector<std::uint8_t> exif_for_saving(std::span<const std::uint8_t> bytes, Orientation orientation) {
    const TiffBlock block{bytes};
    if (!block.valid()) return {};
    std::vector<std::uint8_t> result(bytes.begin(), bytes.end());
    const std::size_t first = block.u32(4);
    if (const Entry entry = block.find(first, kOrientation); entry.count == 1) {
        const bool high_first = bytes[0] == 'M' && entry.type != kByte;
        const std::size_t width = entry.type == kByte ? 1 : entry.type == kShort ? 2 : 4;
        std::fill_n(result.begin() + static_cast<std::ptrdiff_t>(entry.value_at), 4, std::uint8_t{0});
        result[entry.value_at + (high_first ? width - 1 : 0)] = static_cast<std::uint8_t>(orientation);
    }
    if (const std::size_t second = stamp_directory(block, first)) {
        const auto link = result.begin() + static_cast<std::ptrdiff_t>(block.link_at(first));
        std::fill(link, link + 4, std::uint8_t{0});
        if (const auto stamp = read_stamp(block, second)) {
            const auto begin = result.begin() + static_cast<std::ptrdiff_t>(stamp->offset);
            if (stamp->offset + stamp->size == result.size())
                result.erase(begin, result.end());
            else
                std::fill_n(begin, stamp->size, std::uint8_t{0});
        }
    }
    return result;
}

}  // namespace quillmark::imaging
