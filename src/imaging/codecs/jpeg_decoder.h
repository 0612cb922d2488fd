// The decoding side of libjpeg-turbo, in steps that can fail and be stopped.
// Only jpeg.cpp includes this.
#pragma once

#include <cstdint>

#include "imaging/codec.h"
#include "imaging/codecs/jpeg_library.h"

namespace quillmark::imaging::codecs {

/// One decode: start(), then rows(), then the facts. Not movable: the library keeps pointers into it.
class JpegDecoder {
  public:
    explicit JpegDecoder(ByteReader& in);
    ~JpegDecoder();
    JpegDecoder(const JpegDecoder&) = delete;
    JpegDecoder& operator=(const JpegDecoder&) = delete;

    /// Reads the header and settles the output: grey, RGB or (four components) CMYK, sides divided by reduce.
    bool start(int reduce);

    int width() const { return static_cast<int>(info_.output_width); }
    int height() const { return static_cast<int>(info_.output_height); }
    int components() const { return info_.output_components; }
    /// Several scans make up the image: all are read before the first row comes out.
    bool many_scans() const { return info_.buffered_image; }

    /// Called during rows(): the progress in units of `total`. False stops the decode.
    struct Listener {
        virtual ~Listener() = default;
        /// Scans are read; no row is out yet.
        virtual bool waiting(std::int64_t done, std::int64_t total) = 0;
        /// Where row y is to be written (components() bytes a pixel). Several rows may be asked for at once.
        virtual std::uint8_t* row(int y) = 0;
        /// Rows [first, last) have been written.
        virtual bool written(int first, int last) = 0;
    };

    /// Decodes every row there is. False after an error or a stop; rows_shown() then tells how far it came.
    bool rows(Listener& listener);

    /// Rows that were filled.
    int rows_filled() const { return rows_written_; }
    /// Rows that rest on data of the file (the library makes up what is missing); fewer than all when
    /// incomplete.
    int rows_shown() const { return incomplete_ && rows_written_ == height() ? height() - 1 : rows_written_; }
    /// The file ends, or breaks off, before its image does.
    bool incomplete() const { return incomplete_; }
    /// The library met contradictions in the data.
    bool corrupt() const { return corrupt_; }
    /// Reading stopped because the file has more scans than any honest one.
    bool too_many_scans() const { return too_many_scans_; }
    Error error() const { return errors_.error(); }

  private:
    static constexpr int kNone = -1;

    void install_source();
    bool read_scans();
    bool scans_step();
    bool all_scans_seen() const;
    bool output_rows();
    void settle_incomplete();
    void note_damage();
    int image_rows(int mcu_rows) const;
    int scan_limit() const;

    static boolean fill(j_decompress_ptr library);
    static void skip(j_decompress_ptr library, long count);
    static void message(j_common_ptr library, int level);
    static JpegDecoder& self(j_common_ptr library) {
        return *static_cast<JpegDecoder*>(library->client_data);
    }

    ByteReader& in_;
    JpegErrors errors_{};
    jpeg_decompress_struct info_{};
    jpeg_source_mgr source_{};
    std::size_t handed_out_ = 0;  // bytes of the reader's window that the library holds
    Listener* listener_ = nullptr;
    int rows_written_ = 0;
    int usable_rows_ = 0;     // output stops here
    int damaged_at_ = kNone;  // the MCU row at which the data of a scan ended
    int damaged_scan_ = 0;
    bool created_ = false;
    bool at_end_ = false;  // the file is used up
    bool incomplete_ = false;
    bool corrupt_ = false;
    bool too_many_scans_ = false;
};

}  // namespace quillmark::imaging::codecs
