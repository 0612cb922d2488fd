#include "imaging/ops/combine.h"

namespace quillmark::imaging {

Result<Bitmap> combine(const Bitmap&, const Rect&, const Bitmap&, Point, int, const Region*, const Context&) {
    return Error{Fault::unsupported, "combining"};
}

Result<Bitmap> underlay(const Bitmap&, const Bitmap&, UnderlayMode, const Region*, const Context&) {
    return Error{Fault::unsupported, "underlay"};
}

}  // namespace quillmark::imaging
