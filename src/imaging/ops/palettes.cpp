#include "imaging/ops/palettes.h"

namespace quillmark::imaging {
namespace {

std::uint8_t level(int i, int count) { return static_cast<std::uint8_t>((i * 510 / (count - 1) + 1) / 2); }

Palette cube(int side) {
    Palette palette;
    for (int r = 0; r < side; ++r)
        for (int g = 0; g < side; ++g)
            for (int b = 0; b < side; ++b)
                palette.push_back({level(r, side), level(g, side), level(b, side), 255});
    return palette;
}

Palette sixteen() {
    Palette palette;
    for (int i = 0; i < 8; ++i) {  // the dark half: silver stands where dark white would
        const auto on = [i](int bit) { return static_cast<std::uint8_t>(i & bit ? 128 : 0); };
        palette.push_back({on(1), on(2), on(4), 255});
    }
    palette[7] = {192, 192, 192, 255};
    palette.push_back({128, 128, 128, 255});
    for (int i = 1; i < 8; ++i) {
        const auto on = [i](int bit) { return static_cast<std::uint8_t>(i & bit ? 255 : 0); };
        palette.push_back({on(1), on(2), on(4), 255});
    }
    return palette;
}

// Fills up to count with greys, shared out over the gaps between the cube's levels.
Palette with_greys(Palette palette, int side, int count) {
    const int greys = count - static_cast<int>(palette.size()), gaps = side - 1;
    for (int gap = 0; gap < gaps; ++gap) {
        const int here = greys / gaps + (gap < greys % gaps ? 1 : 0);
        const int from = level(gap, side), to = level(gap + 1, side);
        for (int i = 1; i <= here; ++i) {
            const auto grey = static_cast<std::uint8_t>(from + (to - from) * i / (here + 1));
            palette.push_back({grey, grey, grey, 255});
        }
    }
    return palette;
}

}  // namespace

Palette fixed_palette(int bits) {
    switch (bits) {
        case 1:
        case 2: return gray_palette(1 << bits);
        case 3: return cube(2);
        case 4: return sixteen();
        default: return with_greys(cube(bits - 2), bits - 2, 1 << bits);
    }
}

}  // namespace quillmark::imaging
