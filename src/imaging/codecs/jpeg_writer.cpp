#include "imaging/codecs/jpeg_writer.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>

#include "imaging/codecs/exif.h"
#include "imaging/codecs/jpeg_library.h"
#include "imaging/convert_depth.h"

namespace quillmark::imaging::codecs {
namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr std::size_t kMaxPayload = 65'533;
constexpr int kFullColourQuality = 90;
constexpr int kRowsPerReport = 64;

// Every segment that stands before the frame, ready to be written: the marker and its payload.
struct Segment {
    int marker;
    Bytes payload;
};

Bytes named(std::string_view name) { return {name.begin(), name.end()}; }

void append(Bytes& to, std::span<const std::uint8_t> bytes) {
    to.insert(to.end(), bytes.begin(), bytes.end());
}

void add_exif(const Metadata& metadata, std::vector<Segment>& segments) {
    using namespace std::string_view_literals;
    if (!metadata.exif) return;
    const Bytes block = exif_for_saving(*metadata.exif, metadata.orientation);
    if (block.empty() || block.size() > kMaxPayload - 6) return;
    segments.push_back({JPEG_APP0 + 1, named("Exif\0\0"sv)});
    append(segments.back().payload, block);
}

void add_icc(const Metadata& metadata, std::vector<Segment>& segments) {
    using namespace std::string_view_literals;
    constexpr std::size_t kPart = kMaxPayload - 14;
    if (!metadata.icc || metadata.icc->empty()) return;
    const std::span<const std::uint8_t> icc{*metadata.icc};
    const std::size_t count = (icc.size() + kPart - 1) / kPart;
    if (count > 255) return;
    for (std::size_t i = 0; i < count; ++i) {
        segments.push_back({JPEG_APP0 + 2, named("ICC_PROFILE\0"sv)});
        Bytes& payload = segments.back().payload;
        payload.push_back(static_cast<std::uint8_t>(i + 1));
        payload.push_back(static_cast<std::uint8_t>(count));
        append(payload, icc.subspan(i * kPart, std::min(kPart, icc.size() - i * kPart)));
    }
}

void add_comment(const Metadata& metadata, std::vector<Segment>& segments) {
    if (metadata.comment.empty()) return;
    segments.push_back({JPEG_COM, named(std::string_view{metadata.comment}.substr(0, kMaxPayload))});
}

// The library's destination: a block that goes to the writer when it is full.
struct Destination {
    jpeg_destination_mgr manager;  // first: the library hands us its address
    ByteWriter* out;
    std::array<std::uint8_t, 65'536> block;

    void empty() {
        manager.next_output_byte = block.data();
        manager.free_in_buffer = block.size();
    }
    void store() { out->write(std::span{block}.first(block.size() - manager.free_in_buffer)); }
};

Destination& destination(j_compress_ptr library) { return *reinterpret_cast<Destination*>(library->dest); }

// One encode. Not movable: the library keeps pointers into it.
class JpegEncoder {
  public:
    JpegEncoder(const Bitmap& bitmap, ByteWriter& out, const WriteOptions& options)
        : bitmap_{bitmap}, options_{options}, gray_{bitmap.is_gray()} {
        const Metadata& metadata = bitmap.metadata();
        add_exif(metadata, segments_);
        add_icc(metadata, segments_);
        add_comment(metadata, segments_);
        line_.resize(static_cast<std::size_t>(bitmap.width()) * 3);
        for (std::size_t i = 0; i < bitmap.palette().size(); ++i) levels_[i] = bitmap.palette()[i].r;
        errors_.install([](j_common_ptr, int) {});
        info_.err = &errors_.manager;
        destination_.out = &out;
        destination_.manager.init_destination = [](j_compress_ptr library) { destination(library).empty(); };
        destination_.manager.empty_output_buffer = [](j_compress_ptr library) -> boolean {
            Destination& to = destination(library);
            to.manager.free_in_buffer = 0;
            to.store();
            to.empty();
            return TRUE;
        };
        destination_.manager.term_destination = [](j_compress_ptr library) { destination(library).store(); };
    }
    ~JpegEncoder() {
        if (created_) jpeg_destroy_compress(&info_);
    }
    JpegEncoder(const JpegEncoder&) = delete;
    JpegEncoder& operator=(const JpegEncoder&) = delete;

    Result<void> run() {
        if (!write()) return errors_.error();
        if (destination_.out->failed()) return Error{Fault::io, "JPEG"};
        return {};
    }

  private:
    void set_up() {
        info_.dest = &destination_.manager;
        info_.image_width = static_cast<JDIMENSION>(bitmap_.width());
        info_.image_height = static_cast<JDIMENSION>(bitmap_.height());
        info_.input_components = gray_ ? 1 : 3;
        info_.in_color_space = gray_ ? JCS_GRAYSCALE : JCS_RGB;
        jpeg_set_defaults(&info_);
        const int quality = std::clamp(options_.quality, 1, 100);
        jpeg_set_quality(&info_, quality, TRUE);
        if (!gray_)
            info_.comp_info[0].h_samp_factor = info_.comp_info[0].v_samp_factor =
                quality >= kFullColourQuality ? 1 : 2;
        const Resolution dpi = bitmap_.metadata().resolution;
        if (dpi.x > 0 && dpi.y > 0) {
            info_.density_unit = 1;
            info_.X_density = static_cast<UINT16>(std::clamp(std::lround(dpi.x), 1L, 65'535L));
            info_.Y_density = static_cast<UINT16>(std::clamp(std::lround(dpi.y), 1L, 65'535L));
        }
    }

    // No object with a destructor in here: errors jump back to the top.
    bool write() {
        if (setjmp(errors_.back) != 0) return false;
        jpeg_create_compress(&info_);
        created_ = true;
        set_up();
        jpeg_start_compress(&info_, TRUE);
        write_segments();
        const int height = bitmap_.height();
        for (int y = 0; y < height; ++y) {
            JSAMPROW row = const_cast<JSAMPROW>(pixels(y));  // the library only reads it
            jpeg_write_scanlines(&info_, &row, 1);
            if ((y + 1) % kRowsPerReport == 0 && options_.progress && !options_.progress(y + 1, height)) {
                errors_.cancelled = true;
                return false;
            }
        }
        jpeg_finish_compress(&info_);
        return true;
    }

    void write_segments() {
        for (const Segment& segment : segments_) {
            jpeg_write_marker(&info_, segment.marker, segment.payload.data(),
                              static_cast<unsigned>(segment.payload.size()));
        }
    }

    const std::uint8_t* pixels(int y) {
        if (!gray_) {
            if (bitmap_.layout() == Layout::rgb24) return bitmap_.row(y).data();
            row_to_rgb(bitmap_, y, 0, line_);
            return line_.data();
        }
        const auto width = static_cast<std::size_t>(bitmap_.width());
        const auto row = bitmap_.row(y);
        if (bitmap_.layout() == Layout::index8) {
            for (std::size_t x = 0; x < width; ++x) line_[x] = levels_[row[x]];
        } else if (bitmap_.layout() == Layout::bit1) {
            for (std::size_t x = 0; x < width; ++x) line_[x] = levels_[row[x / 8] >> (7 - x % 8) & 1U];
        } else {
            const auto words = bitmap_.row16(y);
            const int shift = bitmap_.bits() - 8;
            for (std::size_t x = 0; x < width; ++x)
                line_[x] = static_cast<std::uint8_t>(std::min(words[x] >> shift, 255));
        }
        return line_.data();
    }

    const Bitmap& bitmap_;
    const WriteOptions& options_;
    bool gray_;
    bool created_ = false;
    std::vector<Segment> segments_;
    Bytes line_;
    std::array<std::uint8_t, 256> levels_{};
    JpegErrors errors_{};
    jpeg_compress_struct info_{};
    Destination destination_{};
};

}  // namespace

Result<void> encode_jpeg(const Bitmap& bitmap, ByteWriter& out, const WriteOptions& options) {
    if (bitmap.empty()) return Error{Fault::malformed, "no image"};
    if (bitmap.width() > JPEG_MAX_DIMENSION || bitmap.height() > JPEG_MAX_DIMENSION)
        return Error{Fault::too_large, "JPEG"};
    return JpegEncoder{bitmap, out, options}.run();
}

}  // namespace quillmark::imaging::codecs
