// The codecs in probing order. A new format adds its name here and its file to CMakeLists.txt.
#include "imaging/codec.h"

namespace quillmark::imaging {
namespace codecs {

extern const Codec png, jpeg, gif, tiff, bmp, dcx, sunraster, ico, cur, pcx, tga, dib, cals, rawfax, winfax;

}  // namespace codecs

namespace {

// clang-format off
constexpr const Codec* kCodecs[] = {
    &codecs::png, &codecs::jpeg, &codecs::gif, &codecs::tiff, &codecs::bmp, &codecs::dcx, &codecs::sunraster,
    &codecs::cals,
    &codecs::ico, &codecs::cur, &codecs::pcx,                       // weak signatures from here on
    &codecs::tga, &codecs::dib, &codecs::rawfax, &codecs::winfax,   // none at all
};
// clang-format on

}  // namespace

std::span<const Codec* const> all_codecs() { return kCodecs; }

}  // namespace quillmark::imaging
