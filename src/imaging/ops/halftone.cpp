#include "imaging/ops/halftone.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>
#include <numeric>

#include "imaging/ops/grayscale.h"
#include "imaging/ops/index_rows.h"
#include "imaging/ops/row_loop.h"

namespace quillmark::imaging {
namespace {

constexpr int kRowGrain = 16;
constexpr int kFraction = 16;  // bits after the point of screen coordinates

// In which order the 64 places of a screen's period are inked.
using Ranks = std::array<std::array<int, 8>, 8>;

constexpr int square(int value) { return value * value; }

// A dot that grows around the middle of a square of side places. Places equally far from the middle take
// turns by quadrant, so that the dot stays round.
template <int Side>
constexpr std::array<std::array<int, Side>, Side> round_dot() {
    std::array<int, Side * Side> order{};
    std::iota(order.begin(), order.end(), 0);
    const auto key = [](int place) {
        const int x = place % Side * 2 - (Side - 1), y = place / Side * 2 - (Side - 1);
        const int quadrant = y < 0 ? (x < 0 ? 0 : 2) : (x < 0 ? 3 : 1);
        return (square(x) + square(y)) * 4 * Side * Side + quadrant * Side * Side + place;
    };
    std::ranges::sort(order, {}, key);
    std::array<std::array<int, Side>, Side> ranks{};
    for (int i = 0; i < Side * Side; ++i) {
        const auto place = static_cast<std::size_t>(order[static_cast<std::size_t>(i)]);
        ranks[place / Side][place % Side] = i;
    }
    return ranks;
}

constexpr Ranks kPrint = round_dot<8>();

// Four dots to a period; of places with the same rank, one dot after the other is inked, crosswise.
constexpr Ranks kView = [] {
    constexpr auto kDot = round_dot<4>();
    constexpr std::array<std::array<int, 2>, 2> kTurn{{{0, 2}, {3, 1}}};
    Ranks ranks{};
    for (std::size_t y = 0; y < 8; ++y)
        for (std::size_t x = 0; x < 8; ++x) ranks[y][x] = kDot[y % 4][x % 4] * 4 + kTurn[y / 4][x / 4];
    return ranks;
}();

// Levels below the bound are inked: of 64 places, as many as the darkness asks for, rounded.
std::array<std::uint8_t, 64> bounds_of(const Ranks& ranks) {
    std::array<std::uint8_t, 64> bounds{};
    for (std::size_t y = 0; y < 8; ++y) {
        for (std::size_t x = 0; x < 8; ++x) {
            // darkness * 64 > rank * 255 + 127, darkness being 255 - level.
            const int least = (ranks[y][x] * 255 + 127) / 64 + 1;
            bounds[y * 8 + x] = static_cast<std::uint8_t>(256 - least);
        }
    }
    return bounds;
}

// Screen coordinates of the steps along a row and down a column.
struct Turn {
    std::int64_t cosine, sine;
};

Turn turn_by(int degrees) {
    const double angle = degrees * std::numbers::pi / 180;
    return {std::llround(std::cos(angle) * (1 << kFraction)),
            std::llround(std::sin(angle) * (1 << kFraction))};
}

}  // namespace

Result<Bitmap> halftone(const Bitmap& bitmap, Screen screen, int degrees, const Context& context) {
    if (bitmap.empty()) return Error{Fault::malformed, "no image"};
    auto result = Bitmap::create_unfilled(bitmap.width(), bitmap.height(), 1, context.limits);
    if (!result) return result;
    result->metadata() = bitmap.metadata();
    const auto bounds = bounds_of(screen == Screen::print ? kPrint : kView);
    const LevelTable levels = luminance_of(bitmap.palette());
    const Turn turn = turn_by(degrees);
    const auto done = parallel_rows(bitmap.height(), kRowGrain, context, [&](int from, int to) {
        std::array<std::uint8_t, PlanarPixels::kCapacity> row;
        for (int y = from; y < to; ++y) {
            for_pieces(bitmap.width(), [&](int first, int count) {
                const auto piece = std::span{row}.first(static_cast<std::size_t>(count));
                luminance_row(bitmap, y, first, piece, levels);
                const std::int64_t x0 = first + context.origin_x, y0 = y + context.origin_y;
                // 32 bits suffice from here on: only the place within the period counts.
                auto u = static_cast<std::uint32_t>(x0 * turn.cosine - y0 * turn.sine);
                auto v = static_cast<std::uint32_t>(x0 * turn.sine + y0 * turn.cosine);
                for (std::uint8_t& level : piece) {
                    const std::size_t place = (v >> kFraction & 7U) * 8 + (u >> kFraction & 7U);
                    level = level >= bounds[place];
                    u += static_cast<std::uint32_t>(turn.cosine);
                    v += static_cast<std::uint32_t>(turn.sine);
                }
                put_indices(*result, y, first, piece);
            });
        }
    });
    if (!done) return done.error();
    return result;
}

}  // namespace quillmark::imaging
