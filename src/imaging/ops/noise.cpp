// Evenly distributed noise out of a hash of each sample's place, the same for any split into parts or
// threads.
#include "imaging/ops/levels.h"
#include "imaging/ops/neighbourhood.h"
#include "imaging/ops/smoothing.h"
#include "imaging/ops/vector_choice.h"

namespace quillmark::imaging {
namespace {

// The finalizer of MurmurHash3 (A. Appleby): every bit of the input reaches every bit of the result.
[[gnu::always_inline]] inline std::uint32_t mixed(std::uint32_t h) {
    h = (h ^ h >> 16) * 0x85EBCA6BU;
    h = (h ^ h >> 13) * 0xC2B2AE35U;
    return h ^ h >> 16;
}

// An even distribution over the odd numbers from -65535 to 65535.
[[gnu::always_inline]] inline std::int32_t even_noise(std::uint32_t key, std::uint32_t place) {
    return static_cast<std::int32_t>(mixed(key ^ mixed(place)) >> 16) * 2 - 65535;
}

struct NoisyBytes {
    [[gnu::always_inline]] static void run(const std::uint8_t* __restrict in,
                                           const std::uint32_t* __restrict places, std::uint32_t key,
                                           std::int32_t amplitude, std::uint8_t* __restrict out,
                                           std::size_t count) {
        // The amplitude comes in 128ths of a level: its product with 65535 stays within 31 bits.
        for (std::size_t i = 0; i < count; ++i) {
            const std::int32_t change = (even_noise(key, places[i]) * amplitude + (1 << 22)) >> 23;
            const std::int32_t sum = in[i] + change;
            out[i] = static_cast<std::uint8_t>(sum < 0 ? 0 : sum > 255 ? 255 : sum);
        }
    }
};

struct NoisyWords {
    [[gnu::always_inline]] static void run(const std::uint16_t* __restrict in,
                                           const std::uint32_t* __restrict places, std::uint32_t key,
                                           std::int64_t amplitude, int highest, std::uint16_t* __restrict out,
                                           std::size_t count) {
        for (std::size_t i = 0; i < count; ++i) {
            const std::int64_t change = (even_noise(key, places[i]) * amplitude + (1 << 22)) >> 23;
            out[i] = static_cast<std::uint16_t>(std::clamp<std::int64_t>(in[i] + change, 0, highest));
        }
    }
};

// The places of a row's samples: four numbers a pixel, so that a channel's noise is the same in every form.
void fill_places(std::uint32_t* places, int width, int channels, int origin_x) {
    for (int x = 0; x < width; ++x)
        for (int c = 0; c < channels; ++c)
            *places++ = static_cast<std::uint32_t>(x + origin_x) * 4U + static_cast<std::uint32_t>(c);
}

}  // namespace

Result<Bitmap> add_noise(const Bitmap& bitmap, std::span<const int> amount_and_seed, const Context& context) {
    const int amount = amount_and_seed[0];
    const auto seed = mixed(static_cast<std::uint32_t>(amount_and_seed[1]));
    if (amount == 0) return bitmap;
    const auto band = [&](const Bitmap& in, Bitmap& out, int first, int last) {
        const LevelForm form = level_form(in);
        const std::size_t count =
            static_cast<std::size_t>(in.width()) * static_cast<std::size_t>(form.channels);
        Scratch<std::uint32_t> places{count};
        if (!places) return false;
        fill_places(places.data(), in.width(), form.channels, context.origin_x);
        const std::uint32_t* const at = places.data();
        const int highest = form.wide ? (1 << in.bits()) - 1 : 255;
        const std::int64_t amplitude = (std::int64_t{128} * amount * highest + 500) / 1000;
        for (int y = first; y < last; ++y) {
            const std::uint32_t key = mixed(seed + static_cast<std::uint32_t>(y + context.origin_y));
            if (form.wide)
                run_widest<NoisyWords>(samples<std::uint16_t>(in, y), at, key, amplitude, highest,
                                       writable_samples<std::uint16_t>(out, y), count);
            else
                run_widest<NoisyBytes>(samples<std::uint8_t>(in, y), at, key,
                                       static_cast<std::int32_t>(amplitude),
                                       writable_samples<std::uint8_t>(out, y), count);
        }
        return true;
    };
    return filter_bands(bitmap, 16, context, band);
}

}  // namespace quillmark::imaging
