// Finds the images in a file of IOCA segments: bare ones, or those that travel in the structured fields of
// MO:DCA and AFP.
#pragma once

#include <cstdint>
#include <span>

#include "imaging/buffer.h"
#include "imaging/limits.h"
#include "imaging/metadata.h"
#include "imaging/result.h"
#include "imaging/source.h"

namespace quillmark::imaging::codecs {

/// Where one image lies.
struct IocaPage {
    std::int64_t begin = 0, end = 0;  ///< the part of the file that holds it
    std::int64_t size = 0;            ///< bytes of its segment
    bool in_fields = false;           ///< the segment is spread over structured fields
    Resolution resolution;            ///< as the fields state it; zeros when they do not
};

struct IocaPages {
    IocaPage page;  ///< the one asked for, or the last one
    int number = 1;
    int count = 0;
};

/// Whether the beginning of a file is a bare segment or a chain of structured fields.
bool looks_like_ioca(std::span<const std::uint8_t> head);

/// Counts the images and finds one of them (1-based; beyond the last means the last). Faults: malformed (no
/// image), unsupported (only images of the older family).
Result<IocaPages> find_ioca_page(ByteReader in, int page, const Limits& limits);

/// The bytes of the image's segment in one piece. Faults: out_of_memory, truncated.
Result<Buffer> join_ioca_page(ByteReader in, const IocaPage& page);

}  // namespace quillmark::imaging::codecs
