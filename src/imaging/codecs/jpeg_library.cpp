#include "imaging/codecs/jpeg_library.h"

#include <jerror.h>

namespace quillmark::imaging::codecs {

void jpeg_leave(j_common_ptr library) { std::longjmp(reinterpret_cast<JpegErrors*>(library->err)->back, 1); }

void JpegErrors::install(void (*on_message)(j_common_ptr, int)) {
    jpeg_std_error(&manager);
    manager.error_exit = [](j_common_ptr library) { jpeg_leave(library); };
    manager.output_message = [](j_common_ptr) {};
    manager.emit_message = on_message;
}

Error JpegErrors::error() const {
    if (cancelled) return {Fault::cancelled, "JPEG"};
    switch (manager.msg_code) {
        case JERR_SOF_UNSUPPORTED:
        case JERR_BAD_PRECISION:
        case JERR_CONVERSION_NOTIMPL:
        case JERR_CCIR601_NOTIMPL:
        case JERR_FRACT_SAMPLE_NOTIMPL:
        case JERR_NOT_COMPILED:
        case JERR_ARITH_NOTIMPL: return {Fault::unsupported, "JPEG variant"};
        case JERR_OUT_OF_MEMORY: return {Fault::out_of_memory, "JPEG"};
        case JERR_IMAGE_TOO_BIG:
        case JERR_WIDTH_OVERFLOW: return {Fault::too_large, "JPEG"};
        case JERR_INPUT_EOF:
        case JERR_INPUT_EMPTY:
        case JERR_NO_IMAGE: return {Fault::truncated, "JPEG"};
        case JERR_FILE_WRITE: return {Fault::io, "JPEG"};
        default: return {Fault::malformed, "JPEG"};
    }
}

}  // namespace quillmark::imaging::codecs
