#include "imaging/ops/neighbourhood.h"

#include <atomic>

#include "imaging/ops/levels.h"
#include "imaging/ops/row_loop.h"

namespace quillmark::imaging {
void keep_alpha(const Bitmap& in, Bitmap& out, int first, int last) {
    if (in.layout() != Layout::rgba32) return;
    for (int y = first; y < last; ++y) {
        const std::uint8_t* from = in.row(y).data();
        std::uint8_t* to = out.writable_row(y).data();
        for (int x = 0; x < in.width(); ++x) to[4 * x + 3] = from[4 * x + 3];
    }
}

Result<Bitmap> filter_bands(const Bitmap& bitmap, int grain, const Context& context, const FilterBand& band,
                            RowGroups groups) {
    const auto in = level_image(bitmap, context.limits, context.progress);
    if (!in) return in.error();
    auto out = blank_like(*in, context.limits);
    if (!out) return out;
    const int height = in->height();
    std::atomic<bool> short_of_memory{false};
    const auto body = [&](int first_group, int last_group) {
        if (short_of_memory) return;
        const int first = groups.start(first_group, height), last = groups.start(last_group, height);
        if (!band(*in, *out, first, last)) short_of_memory = true;
        keep_alpha(*in, *out, first, last);
    };
    const auto ended = parallel_rows(groups.of(height - 1) + 1, grain, context, body);
    if (!ended) return ended.error();
    if (short_of_memory) return Error{Fault::out_of_memory, "rows of a filter"};
    return out;
}

}  // namespace quillmark::imaging
