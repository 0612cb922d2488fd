#include "imaging/ops/separation.h"

namespace quillmark::imaging {

int plane_count(Separation kind) { return kind == Separation::cmyk ? 4 : 3; }

Result<std::vector<Bitmap>> separate(const Bitmap&, Separation, const Context&) {
    return Error{Fault::unsupported, "separation"};
}

Result<Bitmap> recombine(const std::vector<Bitmap>&, Separation, const Context&) {
    return Error{Fault::unsupported, "separation"};
}

}  // namespace quillmark::imaging
