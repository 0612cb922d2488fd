// libjpeg-turbo behind faces that neither jump nor leak: errors become values, bytes come from a ByteReader.
// Only jpeg.cpp and jpeg_writer.cpp include this.
#pragma once

#include <csetjmp>
#include <cstdio>  // jpeglib.h needs it

#include <jpeglib.h>

#include "imaging/result.h"

namespace quillmark::imaging::codecs {

/// The library's error manager with the way back. Functions that call setjmp on `back` hold no object with a
/// destructor, because longjmp would pass it over.
struct JpegErrors {
    jpeg_error_mgr manager;  // first: the library hands us its address
    std::jmp_buf back;
    bool cancelled = false;  ///< a stop was asked for; not the library's own error

    /// Fills in the manager; warnings go to on_message (never null).
    void install(void (*on_message)(j_common_ptr, int));
    /// What the library's last error means.
    Error error() const;
};

/// Leaves the library at once. Only from inside its callbacks.
[[noreturn]] void jpeg_leave(j_common_ptr library);

}  // namespace quillmark::imaging::codecs
