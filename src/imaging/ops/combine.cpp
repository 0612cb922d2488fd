#include "imaging/ops/combine.h"

#include <algorithm>
#include <atomic>
#include <new>

#include "imaging/convert_depth.h"
#include "imaging/ops/index_rows.h"
#include "imaging/ops/levels.h"
#include "imaging/ops/neighbourhood.h"
#include "imaging/ops/operation.h"
#include "imaging/ops/put_region.h"
#include "imaging/ops/row_loop.h"
#include "imaging/ops/vector_choice.h"

namespace quillmark::imaging {
namespace {

constexpr int kRowGrain = 16;

// --- samples ---

[[gnu::always_inline]] inline int limited(int value, int highest) {
    return value < 0 ? 0 : value > highest ? highest : value;
}

// The product of two levels as fractions of the highest, rounded to nearest; highest is 2^bits - 1.
[[gnu::always_inline]] inline std::uint32_t product(std::uint32_t a, std::uint32_t b, int bits) {
    const std::uint32_t x = a * b + (1U << (bits - 1));
    return (x + (x >> bits)) >> bits;
}

struct Copy {
    [[gnu::always_inline]] static int join(int, int s, int, int) { return s; }
};
struct And {
    [[gnu::always_inline]] static int join(int t, int s, int, int) { return t & s; }
};
struct Or {
    [[gnu::always_inline]] static int join(int t, int s, int, int) { return t | s; }
};
struct Xor {
    [[gnu::always_inline]] static int join(int t, int s, int, int) { return t ^ s; }
};
struct AddSigned {
    [[gnu::always_inline]] static int join(int t, int s, int highest, int) {
        return limited(t + s - (highest / 2 + 1), highest);
    }
};
struct Add {
    [[gnu::always_inline]] static int join(int t, int s, int highest, int) { return limited(t + s, highest); }
};
struct Subtract {
    [[gnu::always_inline]] static int join(int t, int s, int highest, int) { return limited(t - s, highest); }
};
struct Average {
    [[gnu::always_inline]] static int join(int t, int s, int, int) { return (t + s + 1) / 2; }
};
struct Multiply {
    [[gnu::always_inline]] static int join(int t, int s, int, int bits) {
        return static_cast<int>(product(static_cast<std::uint32_t>(t), static_cast<std::uint32_t>(s), bits));
    }
};
struct Lighter {
    [[gnu::always_inline]] static int join(int t, int s, int, int) { return t < s ? s : t; }
};
struct Darker {
    [[gnu::always_inline]] static int join(int t, int s, int, int) { return t < s ? t : s; }
};

// Bits per sample, and what inverts the samples of either side: the highest level or 0.
template <typename T>
struct Levels {
    int bits;
    T invert_target, invert_source;
};

template <typename T, typename Join>
struct JoinRow {
    [[gnu::always_inline]] static void run(const T* __restrict target, const T* __restrict source,
                                           Levels<T> levels, T* __restrict out, std::size_t count) {
        const int highest = (1 << levels.bits) - 1;
        for (std::size_t i = 0; i < count; ++i) {
            int t = target[i], s = source[i];
            if constexpr (sizeof(T) > 1)  // 12-bit samples beyond white count as white
                t = t < highest ? t : highest, s = s < highest ? s : highest;
            out[i] = static_cast<T>(
                Join::join(t ^ levels.invert_target, s ^ levels.invert_source, highest, levels.bits));
        }
    }
};

template <typename T>
using RowJoin = void (*)(const T*, const T*, Levels<T>, T*, std::size_t);

template <typename T>
RowJoin<T> row_join(int flags) {
    using Size = std::size_t;
    switch (flags & kCombineMask) {
        case kCombineCopy: return run_widest<JoinRow<T, Copy>, const T*, const T*, Levels<T>, T*, Size>;
        case kCombineAnd: return run_widest<JoinRow<T, And>, const T*, const T*, Levels<T>, T*, Size>;
        case kCombineOr: return run_widest<JoinRow<T, Or>, const T*, const T*, Levels<T>, T*, Size>;
        case kCombineAddSigned:
            return run_widest<JoinRow<T, AddSigned>, const T*, const T*, Levels<T>, T*, Size>;
        case kCombineAdd: return run_widest<JoinRow<T, Add>, const T*, const T*, Levels<T>, T*, Size>;
        case kCombineSubtract:
            return run_widest<JoinRow<T, Subtract>, const T*, const T*, Levels<T>, T*, Size>;
        case kCombineXor: return run_widest<JoinRow<T, Xor>, const T*, const T*, Levels<T>, T*, Size>;
        case kCombineAverage: return run_widest<JoinRow<T, Average>, const T*, const T*, Levels<T>, T*, Size>;
        case kCombineMultiply:
            return run_widest<JoinRow<T, Multiply>, const T*, const T*, Levels<T>, T*, Size>;
        case kCombineLighter: return run_widest<JoinRow<T, Lighter>, const T*, const T*, Levels<T>, T*, Size>;
        case kCombineDarker: return run_widest<JoinRow<T, Darker>, const T*, const T*, Levels<T>, T*, Size>;
        default: return nullptr;
    }
}

// --- forms ---

Result<Bitmap> part_of(const Bitmap& bitmap, const Rect& rect, const Context& context) {
    return rect == whole(bitmap) ? Result<Bitmap>{bitmap}
                                 : cropped(bitmap, rect, context.limits, context.progress);
}

// A level image of the bitmap that can take what comes from source: greys get colours where source has some.
Result<Bitmap> receiving(const Bitmap& bitmap, const Bitmap& source, const Context& context) {
    auto level = level_image(bitmap, context.limits, context.progress);
    if (!level || level->layout() != Layout::index8 || source.is_gray()) return level;
    return convert_depth(*level, 24, context.limits, context.progress);
}

// The bitmap in the form of a level image.
Result<Bitmap> in_form_of(const Bitmap& form, const Bitmap& bitmap, const Context& context) {
    auto level = level_image(bitmap, context.limits, context.progress);
    if (!level || (level->layout() == form.layout() && level->bits() == form.bits())) return level;
    if (form.layout() != Layout::gray16 || form.bits() == 12)
        return convert_depth(*level, form.bits(), context.limits, context.progress);
    // 16 bits of colour are not grey, 12 bits always are.
    const auto gray = level->layout() == Layout::gray16
                          ? level
                          : convert_depth(*level, 12, context.limits, context.progress);
    if (!gray) return gray.error();
    return convert_depth(*gray, form.bits(), context.limits, context.progress);
}

// What came out at offset in the whole image, put into its place.
Result<Bitmap> placed(const Bitmap& image, const Bitmap& change, const Rect& rect, const Region* region,
                      const Context& context) {
    const bool all = rect == whole(image) && !region;
    if (all && is_level_image(image)) return change;
    const Region inside = region ? region->clipped(rect) : Region::rectangle(rect);
    return put_region(image, change, {rect.x, rect.y}, inside, context.limits, context.progress);
}

Rect limited_to(const Region* region, const Rect& rect) {
    return region ? rect.intersected(region->bounds()) : rect;
}

// --- combining ---

template <typename T>
Result<Bitmap> joined(const Bitmap& target, const Bitmap& source, int flags, const Context& context) {
    auto out = blank_like(target, context.limits);
    if (!out) return out;
    const LevelForm form = level_form(target);
    const int bits = form.wide ? target.bits() : 8;
    const auto highest = static_cast<T>((1 << bits) - 1);
    const Levels<T> levels{bits, flags & kCombineInvertTarget ? highest : T{0},
                           flags & kCombineInvertSource ? highest : T{0}};
    const RowJoin<T> join = row_join<T>(flags);
    const auto count = static_cast<std::size_t>(target.width()) * static_cast<std::size_t>(form.channels);
    const auto ended = parallel_rows(target.height(), kRowGrain, context, [&](int first, int last) {
        for (int y = first; y < last; ++y)
            join(samples<T>(target, y), samples<T>(source, y), levels, writable_samples<T>(*out, y), count);
        keep_alpha(target, *out, first, last);
    });
    if (!ended) return ended.error();
    return out;
}

// Both as level images of one form, joined.
Result<Bitmap> combined(const Bitmap& target, const Bitmap& source, int flags, const Context& context) {
    const auto lower = receiving(target, source, context);
    if (!lower) return lower.error();
    const auto upper = in_form_of(*lower, source, context);
    if (!upper) return upper.error();
    return level_form(*lower).wide ? joined<std::uint16_t>(*lower, *upper, flags, context)
                                   : joined<std::uint8_t>(*lower, *upper, flags, context);
}

// A palette image as it is, but without transparent entries.
Bitmap opaque(Bitmap bitmap) {
    Palette palette = bitmap.palette();
    for (Rgba& entry : palette) entry.a = 255;
    bitmap.set_palette(std::move(palette));
    return bitmap;
}

// --- underlay ---

// a, b as fractions of 255: the mean of both, weighted by alpha and 255 - alpha, rounded to nearest.
[[gnu::always_inline]] inline std::uint8_t blended(int a, int b, int alpha) {
    const int x = a * alpha + b * (255 - alpha) + 128;
    return static_cast<std::uint8_t>((x + (x >> 8)) >> 8);
}

// What is printed on paper: a row of the image on a row of the underlay, both rgba32.
struct PrintRow {
    [[gnu::always_inline]] static void run(const std::uint8_t* __restrict image,
                                           const std::uint8_t* __restrict paper, std::uint8_t* __restrict out,
                                           std::size_t pixels) {
        for (std::size_t i = 0; i < 4 * pixels; i += 4) {
            for (std::size_t c = i; c < i + 3; ++c) {
                const auto printed = static_cast<int>(product(image[c], paper[c], 8));
                out[c] = blended(printed, paper[c], image[i + 3]);
            }
            out[i + 3] = 255;
        }
    }
};

// Where a stretched row or column takes its samples: between at and next, part / 256 of the way.
struct Between {
    int at, next;
    std::uint32_t part;
};

// Position number `to` of `count`, spread over `from` positions; pixels count from their centres.
Between between(int to, int count, int from) {
    const std::int64_t place = ((2 * std::int64_t{to} + 1) * from * 128) / count - 128;
    const std::int64_t inside = std::clamp<std::int64_t>(place, 0, (std::int64_t{from} - 1) * 256);
    const auto at = static_cast<int>(inside >> 8);
    return {at, std::min(at + 1, from - 1), static_cast<std::uint32_t>(inside & 255)};
}

// Rows of an underlay as they lie beneath the pixels of rect.
template <typename T>
class Paper {
  public:
    Paper(const Bitmap& underlay, UnderlayMode mode, const Rect& image, const Rect& rect)
        : underlay_{underlay},
          mode_{mode},
          image_{image},
          rect_{rect},
          channels_{level_form(underlay).channels},
          row_{static_cast<std::size_t>(rect.width) * static_cast<std::size_t>(channels_)} {}
    explicit operator bool() const { return static_cast<bool>(row_); }

    // The row beneath row y of rect; the next call overwrites it.
    const T* row(int y) {
        mode_ == kUnderlayTile ? tile(rect_.y + y) : stretch(rect_.y + y);
        return row_.data();
    }

  private:
    void tile(int y) {
        const T* from = samples<T>(underlay_, y % underlay_.height());
        const int width = underlay_.width();
        for (int x = 0; x < rect_.width;) {
            const int start = (rect_.x + x) % width, count = std::min(width - start, rect_.width - x);
            std::copy_n(from + start * channels_, count * channels_, row_.data() + x * channels_);
            x += count;
        }
    }
    void stretch(int y) {
        const Between v = between(y, image_.height, underlay_.height());
        const T *upper = samples<T>(underlay_, v.at), *lower = samples<T>(underlay_, v.next);
        T* to = row_.data();
        for (int x = rect_.x; x < rect_.right(); ++x) {
            const Between h = between(x, image_.width, underlay_.width());
            const int left = h.at * channels_, right = h.next * channels_;
            for (int c = 0; c < channels_; ++c) {
                const std::uint32_t above = upper[left + c] * (256 - h.part) + upper[right + c] * h.part;
                const std::uint32_t below = lower[left + c] * (256 - h.part) + lower[right + c] * h.part;
                *to++ = static_cast<T>(
                    (above * std::uint64_t{256 - v.part} + below * std::uint64_t{v.part} + 32768) >> 16);
            }
        }
    }

    const Bitmap& underlay_;
    UnderlayMode mode_;
    Rect image_, rect_;
    int channels_;
    Scratch<T> row_;
};

// image (the pixels of rect of an image of the given size) printed on the underlay: level images of one form.
template <typename T>
Result<Bitmap> printed(const Bitmap& image, const Bitmap& underlay, UnderlayMode mode, const Rect& size,
                       const Rect& rect, const Context& context) {
    auto out = blank_like(image, context.limits);
    if (!out) return out;
    const LevelForm form = level_form(image);
    const auto width = static_cast<std::size_t>(image.width());
    const Levels<T> levels{form.wide ? image.bits() : 8, 0, 0};
    const RowJoin<T> multiply = row_join<T>(kCombineMultiply);
    std::atomic<bool> short_of_memory{false};
    const auto ended = parallel_rows(image.height(), kRowGrain, context, [&](int first, int last) {
        Paper<T> paper{underlay, mode, size, rect};
        if (!paper) short_of_memory = true;
        for (int y = first; y < last && paper; ++y) {
            const T *top = samples<T>(image, y), *bottom = paper.row(y);
            T* to = writable_samples<T>(*out, y);
            if constexpr (sizeof(T) == 1) {
                if (form.channels == 4) {
                    run_widest<PrintRow>(top, bottom, to, width);
                    continue;
                }
            }
            multiply(top, bottom, levels, to, width * static_cast<std::size_t>(form.channels));
        }
    });
    if (!ended) return ended.error();
    if (short_of_memory) return Error{Fault::out_of_memory, "row of an underlay"};
    return out;
}

}  // namespace

Result<Bitmap> combine(const Bitmap& target, const Rect& place, const Bitmap& source, Point from, int flags,
                       const Region* region, const Context& context) try {
    if (target.empty() || source.empty()) return Error{Fault::malformed, "no image"};
    constexpr int kKnown = kCombineMask | kCombineInvertSource | kCombineInvertTarget;
    if ((flags & ~kKnown) != 0 || !row_join<std::uint8_t>(flags))
        return Error{Fault::bad_parameter, "flags of a combination"};
    const Point apart{place.x - from.x, place.y - from.y};
    const Rect source_there{apart.x, apart.y, source.width(), source.height()};
    const Rect rect = limited_to(region, place.intersected(whole(target)).intersected(source_there));
    if (rect.empty()) return target;
    const auto upper =
        part_of(source, {rect.x - apart.x, rect.y - apart.y, rect.width, rect.height}, context);
    if (!upper) return upper.error();
    if (flags == kCombineCopy && has_palette(target) && has_palette(*upper))
        return placed(target, target.has_alpha() ? *upper : opaque(*upper), rect, region, context);
    const auto lower = part_of(target, rect, context);
    if (!lower) return lower.error();
    const auto change = combined(*lower, *upper, flags, context);
    if (!change) return change.error();
    return placed(target, *change, rect, region, context);
} catch (const std::bad_alloc&) {
    return kOutOfMemory;
}

Result<Bitmap> underlay(const Bitmap& image, const Bitmap& underlay, UnderlayMode mode, const Region* region,
                        const Context& context) try {
    if (image.empty() || underlay.empty()) return Error{Fault::malformed, "no image"};
    if (mode != kUnderlayTile && mode != kUnderlayStretch)
        return Error{Fault::bad_parameter, "mode of an underlay"};
    const Rect rect = limited_to(region, whole(image));
    if (rect.empty()) return image;
    const auto part = part_of(image, rect, context);
    if (!part) return part.error();
    const auto top = receiving(*part, underlay, context);
    if (!top) return top.error();
    const auto bottom = in_form_of(*top, underlay, context);
    if (!bottom) return bottom.error();
    const auto change = level_form(*top).wide
                            ? printed<std::uint16_t>(*top, *bottom, mode, whole(image), rect, context)
                            : printed<std::uint8_t>(*top, *bottom, mode, whole(image), rect, context);
    if (!change) return change.error();
    return placed(image, *change, rect, region, context);
} catch (const std::bad_alloc&) {
    return kOutOfMemory;
}

}  // namespace quillmark::imaging
