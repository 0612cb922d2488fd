#include "imaging/codecs/jpeg_decoder.h"

#include <algorithm>
#include <array>

#include <jerror.h>

namespace quillmark::imaging::codecs {
namespace {

constexpr int kRowsAtOnce = 16;
constexpr int kRowsPerReport = 32;
constexpr std::array<JOCTET, 2> kEndOfImage{0xFF, JPEG_EOI};

// Honest progressive files have about ten scans. A hostile one repeats scans that cost a few bytes in the
// file and a walk over the whole image each: the work is bounded as well.
constexpr int kMaxScans = 500, kMinScanLimit = 64;
constexpr std::int64_t kMaxScannedPixels = 20'000'000'000;

// What a frame header declares. The library takes over the facts of a second header before it refuses that,
// and would go on with sides and components that its buffers were not made for.
class FrameFacts {
  public:
    explicit FrameFacts(const jpeg_decompress_struct& info)
        : width_{info.image_width},
          height_{info.image_height},
          components_{info.num_components},
          precision_{info.data_precision},
          progressive_{info.progressive_mode},
          arithmetic_{info.arith_code} {}

    void restore(jpeg_decompress_struct& info) const {
        info.image_width = width_;
        info.image_height = height_;
        info.num_components = components_;
        info.data_precision = precision_;
        info.progressive_mode = progressive_;
        info.arith_code = arithmetic_;
    }

  private:
    JDIMENSION width_, height_;
    int components_, precision_;
    boolean progressive_, arithmetic_;
};

bool is_restart(int marker) { return marker >= JPEG_RST0 && marker <= JPEG_RST0 + 7; }

}  // namespace

JpegDecoder::JpegDecoder(ByteReader& in) : in_{in} {
    errors_.install(message);
    info_.err = &errors_.manager;
    info_.client_data = this;
}

JpegDecoder::~JpegDecoder() {
    if (created_) jpeg_destroy_decompress(&info_);
}

void JpegDecoder::install_source() {
    source_.init_source = [](j_decompress_ptr) {};
    source_.fill_input_buffer = fill;
    source_.skip_input_data = skip;
    source_.resync_to_restart = jpeg_resync_to_restart;
    source_.term_source = [](j_decompress_ptr) {};
    info_.src = &source_;
}

// The library reads the reader's window in place. At the end it gets end-of-image markers for ever, and makes
// up the missing pixels; note_damage() knows from which row on.
boolean JpegDecoder::fill(j_decompress_ptr library) {
    JpegDecoder& decoder = self(reinterpret_cast<j_common_ptr>(library));
    decoder.in_.advance(decoder.handed_out_);
    const auto window = decoder.in_.window();
    decoder.handed_out_ = window.size();
    if (window.empty()) {
        decoder.at_end_ = true;
        if (library->arith_code) decoder.note_damage();
        library->src->next_input_byte = kEndOfImage.data();
        library->src->bytes_in_buffer = kEndOfImage.size();
    } else {
        library->src->next_input_byte = window.data();
        library->src->bytes_in_buffer = window.size();
    }
    return TRUE;
}

void JpegDecoder::skip(j_decompress_ptr library, long count) {
    JpegDecoder& decoder = self(reinterpret_cast<j_common_ptr>(library));
    jpeg_source_mgr& source = *library->src;
    if (count <= 0) return;
    const auto distance = static_cast<std::size_t>(count);
    if (distance <= source.bytes_in_buffer) {
        source.next_input_byte += distance;
        source.bytes_in_buffer -= distance;
        return;
    }
    if (!decoder.at_end_) {
        decoder.in_.advance(decoder.handed_out_);
        decoder.handed_out_ = 0;
        decoder.in_.skip(static_cast<std::int64_t>(distance - source.bytes_in_buffer));
    }
    fill(library);
}

// Called for warnings (level -1) and traces. A marker where pixels should be means that the scan's data have
// ended early, unless it is a restart marker: those are found again.
void JpegDecoder::message(j_common_ptr library, int level) {
    if (level >= 0) return;
    JpegDecoder& decoder = self(library);
    ++library->err->num_warnings;
    if (library->err->msg_code == JWRN_HIT_MARKER && !is_restart(decoder.info_.unread_marker)) {
        decoder.note_damage();
    } else if (library->err->msg_code == JWRN_HIT_MARKER || library->err->msg_code == JWRN_HUFF_BAD_CODE ||
               library->err->msg_code == JWRN_ARITH_BAD_CODE || library->err->msg_code == JWRN_MUST_RESYNC) {
        decoder.corrupt_ = true;
    }
}

void JpegDecoder::note_damage() {
    const auto row = static_cast<int>(info_.input_iMCU_row), rows = static_cast<int>(info_.total_iMCU_rows);
    // Arithmetic coding may drop the zeros at a scan's end: in the last row the file's end proves nothing.
    if (damaged_at_ != kNone || row >= rows || (info_.arith_code && row + 1 == rows)) return;
    damaged_at_ = row;
    damaged_scan_ = info_.input_scan_number;
    incomplete_ = true;
}

int JpegDecoder::image_rows(int mcu_rows) const {
    const std::int64_t rows =
        static_cast<std::int64_t>(mcu_rows) * info_.max_v_samp_factor * info_.min_DCT_scaled_size;
    return static_cast<int>(std::min<std::int64_t>(rows, height()));
}

int JpegDecoder::scan_limit() const {
    const std::int64_t pixels = static_cast<std::int64_t>(info_.image_width) * info_.image_height;
    return static_cast<int>(std::clamp<std::int64_t>(kMaxScannedPixels / pixels, kMinScanLimit, kMaxScans));
}

bool JpegDecoder::start(int reduce) {
    if (setjmp(errors_.back) != 0) return false;
    jpeg_create_decompress(&info_);
    created_ = true;
    install_source();
    jpeg_read_header(&info_, TRUE);
    if (info_.num_components == 4)
        info_.out_color_space = JCS_CMYK;
    else
        info_.out_color_space = info_.num_components == 1 ? JCS_GRAYSCALE : JCS_RGB;
    info_.scale_num = static_cast<unsigned>(8 / reduce);
    info_.scale_denom = 8;
    info_.buffered_image = jpeg_has_multiple_scans(&info_);
    jpeg_calc_output_dimensions(&info_);
    return true;
}

bool JpegDecoder::rows(Listener& listener) {
    listener_ = &listener;
    usable_rows_ = height();
    if (setjmp(errors_.back) != 0) return false;
    jpeg_start_decompress(&info_);
    if (many_scans()) {
        if (!read_scans()) return false;
        settle_incomplete();
    }
    return usable_rows_ > 0 && output_rows();
}

// Reads all scans. An error between two of them leaves the earlier ones to be shown: the second attempt only
// brings the library to the end of the image.
bool JpegDecoder::read_scans() {
    const FrameFacts frame{info_};
    for (int attempt = 0; attempt < 2; ++attempt) {
        if (scans_step()) return true;
        frame.restore(info_);
        if (errors_.cancelled || info_.input_scan_number == 0) return false;
        incomplete_ = at_end_ = true;
        info_.unread_marker = 0;
        source_.bytes_in_buffer = 0;
    }
    return false;
}

bool JpegDecoder::scans_step() {
    if (setjmp(errors_.back) != 0) return false;
    for (int rows = 0;; ++rows) {
        const int status = jpeg_consume_input(&info_);
        if (status == JPEG_REACHED_EOI || status == JPEG_SUSPENDED) return true;
        if (damaged_at_ != kNone && at_end_) return true;
        if (status == JPEG_REACHED_SOS && info_.input_scan_number > scan_limit()) {
            too_many_scans_ = incomplete_ = true;
            return true;
        }
        if (rows % kRowsPerReport == 0 && !listener_->waiting(in_.position(), in_.size())) {
            errors_.cancelled = true;
            return false;
        }
    }
}

// Whether the scans that were read carry every component, and every coefficient in full precision.
bool JpegDecoder::all_scans_seen() const {
    if (!info_.coef_bits) return info_.input_scan_number >= info_.num_components;
    for (int component = 0; component < info_.num_components; ++component) {
        for (int i = 0; i < DCTSIZE2; ++i) {
            if (info_.coef_bits[component][i] != 0) return false;
        }
    }
    return true;
}

// A file that broke off in its first scan holds the rows up to there. After that scan the whole picture is
// there in a coarse form; its last row is counted as missing, so that nobody takes it for complete.
void JpegDecoder::settle_incomplete() {
    if (damaged_at_ == kNone && at_end_ && !all_scans_seen()) incomplete_ = true;
    if (!incomplete_) return;
    if (damaged_scan_ == 1) usable_rows_ = image_rows(damaged_at_);
}

bool JpegDecoder::output_rows() {
    if (setjmp(errors_.back) != 0) return false;
    if (many_scans()) jpeg_start_output(&info_, info_.input_scan_number);
    int reported = 0;
    JSAMPROW targets[kRowsAtOnce];
    while (rows_written_ < usable_rows_) {
        const int count = std::min(kRowsAtOnce, usable_rows_ - rows_written_);
        for (int i = 0; i < count; ++i) targets[i] = listener_->row(rows_written_ + i);
        rows_written_ +=
            static_cast<int>(jpeg_read_scanlines(&info_, targets, static_cast<JDIMENSION>(count)));
        if (!many_scans() && damaged_at_ != kNone) {
            usable_rows_ = image_rows(damaged_at_);
            rows_written_ = std::min(rows_written_, usable_rows_);
        }
        if (rows_written_ - reported < kRowsPerReport && rows_written_ < usable_rows_) continue;
        if (rows_written_ > reported && !listener_->written(reported, rows_written_)) {
            errors_.cancelled = true;
            return false;
        }
        reported = rows_written_;
    }
    return true;
}

}  // namespace quillmark::imaging::codecs
