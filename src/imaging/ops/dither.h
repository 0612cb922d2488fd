// Pixels onto a palette, with and without dithering.
#pragma once

#include "imaging/bitmap.h"
#include "imaging/ops/context.h"

namespace quillmark::imaging {

/// How the error of a pixel's palette colour is made up for. All of them but none and ordered spread it over
/// neighbours yet to come, rows from the top down, every row from left to right.
enum class Dither : int {
    none = 0,             ///< the nearest colour
    floyd_steinberg = 1,  ///< R. Floyd, L. Steinberg, An adaptive algorithm for spatial grey scale, 1976
    stucki = 2,           ///< P. Stucki, MECCA, 1981
    burkes = 3,           ///< D. Burkes, 1988: Stucki's without the third row
    sierra = 4,           ///< F. Sierra, 1989: three rows
    stevenson_arce = 5,   ///< R. Stevenson, G. Arce, Binary display of hexagonally sampled images, 1985
    jarvis = 6,           ///< J. Jarvis, C. Judice, W. Ninke, 1976
    ordered = 7,          ///< an 8 x 8 threshold matrix (B. Bayer, 1973), as strong as the palette is coarse
};

/// The image on palette at bits per pixel (1 to 8, palette.size() <= 2^bits). A palette of greys takes the
/// luminance, others the colours; alpha is dropped. Without dithering every pixel has the exactly nearest
/// entry; error diffusion looks it up at 5 bits a channel. An empty palette gives black. The result does not
/// depend on the number of threads. Faults: malformed (no image), too_large, out_of_memory, cancelled.
Result<Bitmap> dithered(const Bitmap& bitmap, const Palette& palette, int bits, Dither dither,
                        const Context& context);

}  // namespace quillmark::imaging
