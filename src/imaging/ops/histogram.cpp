#include "imaging/ops/histogram.h"

namespace quillmark::imaging {

Result<Statistics> gather_statistics(const Bitmap&, const Region*, Channels, const Context&) {
    return Error{Fault::unsupported, "counting"};
}

Result<std::int64_t> count_colours(const Bitmap&, const Region*, const Context&) {
    return Error{Fault::unsupported, "counting"};
}

}  // namespace quillmark::imaging
