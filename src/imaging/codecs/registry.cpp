// The codecs in probing order. A new format adds its name here and its file to CMakeLists.txt.
#include "imaging/codec.h"

namespace quillmark::imaging {
namespace codecs {

extern const Codec png, jpeg, gif, tiff, bmp, dcx, sunraster, ico, cur, pcx, tga, dib, psd, pict;

}  // namespace codecs

namespace {

constexpr const Codec* kCodecs[] =
    {
        &codecs::png,  &codecs::jpeg, &codecs::gif, &codecs::tiff,
        &codecs::bmp,  &codecs::psd,  &codecs::dcx, &codecs::sunraster,
        &codecs::pict, &codecs::ico,  &codecs::cur, &codecs::pcx,  // weak signatures from here on
        &codecs::tga,  &codecs::dib,                               // none at all
};

}  // namespace

std::span<const Codec* const> all_codecs() { return kCodecs; }

}  // namespace quillmark::imaging
