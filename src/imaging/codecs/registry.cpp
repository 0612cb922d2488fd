// The codecs in probing order. A new format adds its name here and its file to CMakeLists.txt.
#include "imaging/codec.h"

namespace quillmark::imaging {
namespace codecs {

extern const Codec png, jpeg, gif, tiff, bmp, dcx, sunraster, ico, cur, msp, pcx, tga, macpaint, gem, dib,
    ioca, psd, pict, cals, rawfax, winfax;

}  // namespace codecs

namespace {

// clang-format off
constexpr const Codec* kCodecs[] = {
    &codecs::png, &codecs::jpeg, &codecs::gif, &codecs::tiff, &codecs::bmp, &codecs::psd, &codecs::dcx,
    &codecs::sunraster, &codecs::cals, &codecs::pict, &codecs::ioca, &codecs::ico, &codecs::cur, &codecs::msp,
    // weak signatures from here on
    &codecs::pcx,
    // none at all
    &codecs::tga, &codecs::macpaint, &codecs::gem, &codecs::dib, &codecs::rawfax, &codecs::winfax,
};
// clang-format on

}  // namespace

std::span<const Codec* const> all_codecs() { return kCodecs; }

}  // namespace quillmark::imaging
