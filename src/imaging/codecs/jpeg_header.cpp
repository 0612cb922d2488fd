#include "imaging/codecs/jpeg_header.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <string_view>
#include <utility>

#include "imaging/codecs/exif.h"

namespace quillmark::imaging::codecs {
namespace {

using Bytes = std::vector<std::uint8_t>;
using View = std::span<const std::uint8_t>;

constexpr std::int64_t kMaxGarbage = 1 << 20;  // bytes between segments that are passed over
constexpr int kMaxSegments = 65'536;
constexpr std::size_t kMaxBlock = 16 << 20;  // of a profile or of resources, over all their segments
constexpr int kMaxStampSide = 512;

unsigned be16(View bytes, std::size_t at) {
    return at + 2 <= bytes.size() ? bytes[at] * 256U + bytes[at + 1] : 0U;
}
std::uint32_t be32(View bytes, std::size_t at) { return be16(bytes, at) << 16 | be16(bytes, at + 2); }

bool starts_with(View bytes, std::string_view name) {
    return bytes.size() >= name.size() && std::memcmp(bytes.data(), name.data(), name.size()) == 0;
}

using namespace std::string_view_literals;
constexpr auto kJfif = "JFIF\0"sv, kJfxx = "JFXX\0"sv, kExif = "Exif\0"sv, kIcc = "ICC_PROFILE\0"sv,
               kPhotoshop = "Photoshop 3.0\0"sv;

// A profile arrives in numbered segments, in any order.
class IccParts {
  public:
    void add(View payload) {
        if (payload.size() < 2 || bytes_ + payload.size() > kMaxBlock) return;
        bytes_ += payload.size();
        total_ = payload[1];
        parts_.emplace_back(payload[0], Bytes(payload.begin() + 2, payload.end()));
    }

    SharedBytes joined() {
        std::ranges::stable_sort(parts_, {}, &std::pair<int, Bytes>::first);
        Bytes profile;
        for (std::size_t i = 0; i < parts_.size(); ++i) {
            if (parts_[i].first != static_cast<int>(i) + 1) return {};
            profile.insert(profile.end(), parts_[i].second.begin(), parts_[i].second.end());
        }
        if (profile.empty() || static_cast<int>(parts_.size()) != total_) return {};
        return std::make_shared<const Bytes>(std::move(profile));
    }

  private:
    std::vector<std::pair<int, Bytes>> parts_;
    std::size_t bytes_ = 0;
    int total_ = 0;
};

// Calls each(id, data) for the resource blocks until it returns false.
template <typename Each>
void for_each_resource(View bytes, Each each) {
    std::size_t at = 0;
    while (at + 12 <= bytes.size() && starts_with(bytes.subspan(at), "8BIM"sv)) {
        const unsigned id = be16(bytes, at + 4);
        at += 6 + (bytes[at + 6] + 2U) / 2 * 2;  // the name with its length byte, padded
        const std::size_t size = be32(bytes, at);
        at += 4;
        if (at > bytes.size() || size > bytes.size() - at) return;
        if (!each(id, bytes.subspan(at, size))) return;
        at += (size + 1) / 2 * 2;
    }
}

Resolution sane(Resolution dpi) {
    const auto usable = [](double value) { return value > 0 && value <= 10'000; };
    return usable(dpi.x) && usable(dpi.y) ? dpi : Resolution{};
}

// Version (2 bytes), unit, densities, thumbnail size.
Resolution jfif_resolution(View jfif) {
    if (jfif.size() < 7 || (jfif[2] != 1 && jfif[2] != 2)) return {};
    const double per_inch = jfif[2] == 2 ? 2.54 : 1.0;
    return sane({be16(jfif, 3) * per_inch, be16(jfif, 5) * per_inch});
}

Resolution photoshop_resolution(View resources) {
    Resolution dpi;
    for_each_resource(resources, [&](unsigned id, View data) {
        if (id != 0x3ED || data.size() < 16) return true;
        dpi = sane({be32(data, 0) / 65536.0, be32(data, 8) / 65536.0});
        return false;
    });
    return dpi;
}

bool is_frame(int marker) {
    return marker >= 0xC0 && marker <= 0xCF && marker != 0xC4 && marker != 0xC8 && marker != 0xCC;
}

// Markers that may stand between the segments; anything else means that we are lost.
bool is_known(int marker) {
    return (marker >= 0xC0 && marker <= 0xCF) || (marker >= 0xDA && marker <= 0xDD) ||
           (marker >= 0xE0 && marker <= 0xEF) || marker == 0xFE;
}

class HeaderReader {
  public:
    explicit HeaderReader(ByteReader in) : in_{std::move(in)} {}

    Result<JpegHeader> read() {
        in_.skip(2);
        for (int count = 0; count < kMaxSegments; ++count) {
            const int marker = next_marker();
            if (marker == 0x01 || (marker >= 0xD0 && marker <= 0xD7)) continue;  // without parameters
            if (marker < 0) return Error{Fault::truncated, "JPEG segments"};
            if (marker == 0xD9) return Error{Fault::truncated, "JPEG file without an image"};
            if (!is_known(marker)) return Error{Fault::malformed, "JPEG marker"};
            const int size = in_.u16be();
            if (in_.failed()) return Error{Fault::truncated, "JPEG segments"};
            if (size < 2) return Error{Fault::malformed, "JPEG segment length"};
            if (marker == 0xDA) return finish();
            if (const auto taken = take(marker, size - 2); !taken) return taken.error();
        }
        return Error{Fault::malformed, "JPEG segments"};
    }

  private:
    // The next marker's code, -1 at the end. Bytes that do not belong there are passed over.
    int next_marker() {
        for (std::int64_t garbage = 0; garbage < kMaxGarbage && !in_.failed(); ++garbage) {
            if (in_.u8() != 0xFF) continue;
            int code = in_.u8();
            while (code == 0xFF) code = in_.u8();
            if (code != 0 && !in_.failed()) return code;
        }
        return -1;
    }

    Result<void> take(int marker, int size) {
        const bool wanted = is_frame(marker) || marker == 0xFE || (marker >= 0xE0 && marker <= 0xED);
        if (!wanted) {
            in_.skip(size);
            return in_.failed() ? Result<void>{Error{Fault::truncated, "JPEG segments"}} : Result<void>{};
        }
        const Bytes payload = in_.bytes(static_cast<std::size_t>(size));
        if (in_.failed()) return Error{Fault::truncated, "JPEG segments"};
        if (is_frame(marker)) return take_frame(marker, payload);
        if (marker == 0xFE && header_.comment.empty())
            header_.comment = text_from_bytes(payload.data(), payload.size());
        if (marker == 0xE0) take_app0(payload);
        if (marker == 0xE1 && starts_with(payload, kExif)) take_exif(payload);
        if (marker == 0xE2 && starts_with(payload, kIcc)) icc_.add(View{payload}.subspan(kIcc.size()));
        if (marker == 0xED && starts_with(payload, kPhotoshop) &&
            header_.photoshop.size() + payload.size() <= kMaxBlock) {
            header_.photoshop.insert(header_.photoshop.end(), payload.begin() + kPhotoshop.size(),
                                     payload.end());
        }
        return {};
    }

    Result<void> take_frame(int marker, View payload) {
        if (header_.frame != 0) return Error{Fault::malformed, "second JPEG frame"};
        if (payload.size() < 6) return Error{Fault::malformed, "JPEG frame"};
        header_.frame = marker;
        header_.precision = payload[0];
        header_.height = static_cast<int>(be16(payload, 1));
        header_.width = static_cast<int>(be16(payload, 3));
        header_.components = payload[5];
        if (payload.size() != 6 + header_.components * 3U) return Error{Fault::malformed, "JPEG frame"};
        return {};
    }

    void take_app0(View payload) {
        if (starts_with(payload, kJfif) && header_.jfif.empty()) {
            header_.jfif.assign(payload.begin() + kJfif.size(), payload.end());
        } else if (starts_with(payload, kJfxx) && header_.jfxx.empty()) {
            header_.jfxx.assign(payload.begin() + kJfxx.size(), payload.end());
        }
    }

    // Six bytes of name; some writers fill the last with 0xFF.
    void take_exif(View payload) {
        if (payload.size() <= 6 || header_.exif) return;
        header_.exif = std::make_shared<const Bytes>(payload.begin() + 6, payload.end());
    }

    Result<JpegHeader> finish() {
        if (header_.frame == 0) return Error{Fault::malformed, "JPEG scan without a frame"};
        header_.icc = icc_.joined();
        header_.resolution = jfif_resolution(header_.jfif);
        const auto use = [this](Resolution dpi) {
            if (header_.resolution == Resolution{}) header_.resolution = dpi;
        };
        if (header_.exif) {
            const ExifFacts facts = read_exif(*header_.exif);
            header_.orientation = facts.orientation;
            use(facts.resolution);
        }
        use(photoshop_resolution(header_.photoshop));
        return std::move(header_);
    }

    ByteReader in_;
    JpegHeader header_;
    IccParts icc_;
};

// A JPEG stamp with its size from its own header.
std::optional<JpegStamp> jpeg_stamp(View bytes) {
    if (bytes.size() < 4 || bytes[0] != 0xFF || bytes[1] != 0xD8) return {};
    const auto header = read_jpeg_header(ByteReader{memory_source(bytes)});
    if (!header || !jpeg_bits(*header)) return {};
    return JpegStamp{JpegStamp::Coding::jpeg, header->width, header->height, {bytes.begin(), bytes.end()}};
}

std::optional<JpegStamp> raw_stamp(JpegStamp::Coding coding, int width, int height, View bytes) {
    const std::size_t pixels = static_cast<std::size_t>(width) * static_cast<std::size_t>(height);
    const std::size_t size = coding == JpegStamp::Coding::palette ? 768 + pixels : pixels * 3;
    if (pixels == 0 || bytes.size() < size) return {};
    bytes = bytes.first(size);
    return JpegStamp{coding, width, height, {bytes.begin(), bytes.end()}};
}

std::optional<JpegStamp> exif_stamp(const JpegHeader& header) {
    if (!header.exif) return {};
    const auto place = read_exif(*header.exif).stamp;
    if (!place) return {};
    const View bytes = View{*header.exif}.subspan(place->offset, place->size);
    if (place->jpeg) return jpeg_stamp(bytes);
    return raw_stamp(place->rgb ? JpegStamp::Coding::rgb : JpegStamp::Coding::ycbcr, place->width,
                     place->height, bytes);
}

std::optional<JpegStamp> jfxx_stamp(const JpegHeader& header) {
    const View bytes{header.jfxx};
    if (bytes.size() < 3) return {};
    if (bytes[0] == 0x10) return jpeg_stamp(bytes.subspan(1));
    if (bytes[0] == 0x11) return raw_stamp(JpegStamp::Coding::palette, bytes[1], bytes[2], bytes.subspan(3));
    if (bytes[0] == 0x13) return raw_stamp(JpegStamp::Coding::rgb, bytes[1], bytes[2], bytes.subspan(3));
    return {};
}

std::optional<JpegStamp> jfif_stamp(const JpegHeader& header) {
    const View bytes{header.jfif};
    if (bytes.size() < 9) return {};
    return raw_stamp(JpegStamp::Coding::rgb, bytes[7], bytes[8], bytes.subspan(9));
}

// Resource 0x40C: 28 bytes of header (its first word 1: JPEG), then the file.
std::optional<JpegStamp> photoshop_stamp(const JpegHeader& header) {
    std::optional<JpegStamp> stamp;
    for_each_resource(header.photoshop, [&](unsigned id, View data) {
        if (id == 0x40C && data.size() > 28 && be32(data, 0) == 1) stamp = jpeg_stamp(data.subspan(28));
        return !stamp;
    });
    return stamp;
}

// Within 3 percent, and one pixel of the stamp for rounding.
bool same_aspect(const JpegStamp& stamp, const JpegHeader& image) {
    const double width = static_cast<double>(stamp.height) * image.width / image.height;
    const double height = static_cast<double>(stamp.width) * image.height / image.width;
    return std::abs(width - stamp.width) <= 0.03 * stamp.width + 1 ||
           std::abs(height - stamp.height) <= 0.03 * stamp.height + 1;
}

}  // namespace

Result<JpegHeader> read_jpeg_header(ByteReader in) { return HeaderReader{std::move(in)}.read(); }

Result<int> jpeg_bits(const JpegHeader& header) {
    if (header.frame == 0xC3 || header.frame == 0xCB) return Error{Fault::unsupported, "lossless JPEG"};
    if (header.frame > 0xC2 && header.frame != 0xC9 && header.frame != 0xCA) {
        return Error{Fault::unsupported, "hierarchical JPEG"};
    }
    if (header.precision == 12) return Error{Fault::unsupported, "12-bit JPEG"};
    if (header.precision != 8) return Error{Fault::unsupported, "JPEG sample precision"};
    if (header.height == 0) return Error{Fault::unsupported, "JPEG height given behind the image"};
    if (header.width == 0) return Error{Fault::malformed, "JPEG width"};
    switch (header.components) {
        case 1: return 8;
        case 3:
        case 4: return 24;
        case 2: return Error{Fault::unsupported, "JPEG of two components"};
        default: return Error{Fault::malformed, "JPEG components"};
    }
}

std::optional<JpegStamp> find_jpeg_stamp(const JpegHeader& header) {
    if (header.width == 0 || header.height == 0) return {};
    for (const auto find : {exif_stamp, jfxx_stamp, jfif_stamp, photoshop_stamp}) {
        auto stamp = find(header);
        if (stamp && stamp->width <= kMaxStampSide && stamp->height <= kMaxStampSide &&
            same_aspect(*stamp, header))
            return stamp;
    }
    return {};
}

}  // namespace quillmark::imaging::codecs
