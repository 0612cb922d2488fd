#include "engine/render.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <vector>

#include "imaging/convert_depth.h"
#include "imaging/threads.h"

namespace quillmark::engine {
namespace {

using imaging::Bitmap;
using imaging::Layout;
using imaging::Rgba;

constexpr int kMostSamples =
    8;  // per output pixel and axis; beyond this ratio pixels are sampled, not all read
constexpr int kRowGrain = 16;

struct Span {
    int first, last, step;  // source pixels first, first + step, ... below last
};

// The source pixels behind each of count output pixels from offset on.
std::vector<Span> spans(double dst_start, double dst_size, int source, int offset, int count) {
    std::vector<Span> result(static_cast<std::size_t>(count));
    const double ratio = source / dst_size;
    for (int i = 0; i < count; ++i) {
        const double at = offset + i - dst_start;
        int first = 0, last = 0;
        if (ratio <= 1.0) {
            first = static_cast<int>(std::floor((at + 0.5) * ratio));
            last = first + 1;
        } else {
            first = static_cast<int>(std::floor(at * ratio));
            last = static_cast<int>(std::floor((at + 1) * ratio));
        }
        first = std::clamp(first, 0, source - 1);
        last = std::clamp(last, first + 1, source);
        result[static_cast<std::size_t>(i)] = {first, last, (last - first + kMostSamples - 1) / kMostSamples};
    }
    return result;
}

QRgb chequer(int x, int y) { return ((x >> 3) + (y >> 3)) % 2 ? qRgb(204, 204, 204) : qRgb(255, 255, 255); }

QRgb over(unsigned r, unsigned g, unsigned b, unsigned a, int x, int y) {
    if (a >= 255) return qRgb(static_cast<int>(r), static_cast<int>(g), static_cast<int>(b));
    const QRgb under = chequer(x, y);
    const auto blend = [a](unsigned top, int below) {
        return static_cast<int>((top * a + static_cast<unsigned>(below) * (255 - a) + 127) / 255);
    };
    return qRgb(blend(r, qRed(under)), blend(g, qGreen(under)), blend(b, qBlue(under)));
}

// One output row by averaging; sums hold r, g, b weighted by alpha, alpha, and the number of samples.
class Averager {
  public:
    Averager(const Bitmap& bitmap, const std::vector<Span>& columns) : bitmap_{bitmap}, columns_{columns} {
        first_ = columns.front().first;
        last_ = columns.back().last;
        alpha_ = bitmap.has_alpha();
        const std::size_t pixel = alpha_ ? 4 : 3;
        direct_ = bitmap.layout() == (alpha_ ? Layout::rgba32 : Layout::rgb24);
        if (!direct_) scratch_.resize(static_cast<std::size_t>(last_ - first_) * pixel);
    }

    void row(const Span& rows, int x0, int y_device, QRgb* out) {
        sums_.assign(columns_.size() * 5, 0);
        for (int y = rows.first; y < rows.last; y += rows.step) {
            if (alpha_)
                add<4>(pixels(y));
            else
                add<3>(pixels(y));
        }
        for (std::size_t i = 0; i < columns_.size(); ++i) {
            const unsigned* s = &sums_[i * 5];
            const int x = x0 + static_cast<int>(i);
            if (!alpha_) {
                const unsigned n = s[4];
                out[i] = qRgb(static_cast<int>((s[0] + n / 2) / n), static_cast<int>((s[1] + n / 2) / n),
                              static_cast<int>((s[2] + n / 2) / n));
            } else if (s[3] == 0) {
                out[i] = chequer(x, y_device);
            } else {
                const unsigned a = s[3];
                out[i] = over((s[0] + a / 2) / a, (s[1] + a / 2) / a, (s[2] + a / 2) / a,
                              (a + s[4] / 2) / s[4], x, y_device);
            }
        }
    }

  private:
    const std::uint8_t* pixels(int y) {
        if (direct_) return bitmap_.row(y).data() + static_cast<std::size_t>(first_) * (alpha_ ? 4 : 3);
        if (alpha_)
            imaging::row_to_rgba(bitmap_, y, first_, scratch_);
        else
            imaging::row_to_rgb(bitmap_, y, first_, scratch_);
        return scratch_.data();
    }

    template <std::size_t Size>
    void add(const std::uint8_t* row) {
        unsigned* s = sums_.data();
        for (const Span& span : columns_) {
            unsigned r = 0, g = 0, b = 0, a = 0, n = 0;
            for (int x = span.first; x < span.last; x += span.step, ++n) {
                const std::uint8_t* p = row + static_cast<std::size_t>(x - first_) * Size;
                if constexpr (Size == 4) {
                    r += p[0] * p[3], g += p[1] * p[3], b += p[2] * p[3], a += p[3];
                } else {
                    r += p[0], g += p[1], b += p[2];
                }
            }
            s[0] += r, s[1] += g, s[2] += b, s[3] += a, s[4] += n;
            s += 5;
        }
    }

    const Bitmap& bitmap_;
    const std::vector<Span>& columns_;
    int first_ = 0, last_ = 0;
    bool alpha_ = false, direct_ = false;
    std::vector<std::uint8_t> scratch_;
    std::vector<unsigned> sums_;
};

// One source pixel per output pixel: 100 % and enlargements.
class Repeater {
  public:
    Repeater(const Bitmap& bitmap, const std::vector<Span>& columns) : bitmap_{bitmap}, columns_{columns} {
        first_ = columns.front().first;
        rgba_.resize(static_cast<std::size_t>(columns.back().last - first_) * 4);
    }

    void row(const Span& rows, int x0, int y_device, QRgb* out) {
        if (rows.first != row_) imaging::row_to_rgba(bitmap_, row_ = rows.first, first_, rgba_);
        for (std::size_t i = 0; i < columns_.size(); ++i) {
            const std::uint8_t* p = &rgba_[static_cast<std::size_t>(columns_[i].first - first_) * 4];
            out[i] = over(p[0], p[1], p[2], p[3], x0 + static_cast<int>(i), y_device);
        }
    }

  private:
    const Bitmap& bitmap_;
    const std::vector<Span>& columns_;
    int first_ = 0;
    int row_ = -1;
    std::vector<std::uint8_t> rgba_;
};

unsigned count_bits(const std::uint8_t* row, int first, int last) {
    unsigned count = 0;
    int byte = first / 8;
    unsigned mask = 0xFFU >> (first % 8);
    for (; byte < last / 8; ++byte, mask = 0xFF)
        count += static_cast<unsigned>(std::popcount(row[byte] & mask));
    if (last % 8) count += static_cast<unsigned>(std::popcount(row[byte] & mask & ~(0xFFU >> (last % 8))));
    return count;
}

// Reduction of packed bits without unpacking them: bits are counted over each output pixel's area.
class BitReducer {
  public:
    BitReducer(const Bitmap& bitmap, const std::vector<Span>& columns, BitonalScale scale)
        : bitmap_{bitmap}, columns_{columns}, scale_{scale} {
        for (std::size_t i = 0; i < 2 && i < bitmap.palette().size(); ++i) colours_[i] = bitmap.palette()[i];
        const auto light = [](const Rgba& c) { return c.r + c.g + c.b; };
        dark_is_one_ = light(colours_[1]) < light(colours_[0]);
    }

    void row(const Span& rows, int x0, int y_device, QRgb* out) {
        if (scale_ == BitonalScale::normal) return nearest((rows.first + rows.last) / 2, x0, y_device, out);
        counts_.assign(columns_.size(), 0);
        for (int y = rows.first; y < rows.last; ++y) {
            const std::uint8_t* bits = bitmap_.row(y).data();
            for (std::size_t i = 0; i < columns_.size(); ++i)
                counts_[i] += count_bits(bits, columns_[i].first, columns_[i].last);
        }
        for (std::size_t i = 0; i < columns_.size(); ++i) {
            const unsigned total =
                static_cast<unsigned>((columns_[i].last - columns_[i].first) * (rows.last - rows.first));
            out[i] = shade(counts_[i], total, x0 + static_cast<int>(i), y_device);
        }
    }

  private:
    void nearest(int y, int x0, int y_device, QRgb* out) const {
        const std::uint8_t* bits = bitmap_.row(y).data();
        for (std::size_t i = 0; i < columns_.size(); ++i) {
            const int x = (columns_[i].first + columns_[i].last) / 2;
            const Rgba& c = colours_[bits[x / 8] >> (7 - x % 8) & 1];
            out[i] = over(c.r, c.g, c.b, c.a, x0 + static_cast<int>(i), y_device);
        }
    }

    QRgb shade(unsigned ones, unsigned total, int x, int y) const {
        if (scale_ == BitonalScale::favour_black) {
            const unsigned dark = dark_is_one_ ? ones : total - ones;
            const Rgba& c = colours_[(dark > 0) == dark_is_one_ ? 1 : 0];
            return over(c.r, c.g, c.b, c.a, x, y);
        }
        const auto mix = [&](unsigned zero, unsigned one) {
            return (zero * (total - ones) + one * ones + total / 2) / total;
        };
        return over(mix(colours_[0].r, colours_[1].r), mix(colours_[0].g, colours_[1].g),
                    mix(colours_[0].b, colours_[1].b), mix(colours_[0].a, colours_[1].a), x, y);
    }

    const Bitmap& bitmap_;
    const std::vector<Span>& columns_;
    BitonalScale scale_;
    Rgba colours_[2];
    bool dark_is_one_ = false;
    std::vector<unsigned> counts_;
};

template <typename Renderer>
void run(Renderer renderer, const std::vector<Span>& rows, QRect exposed, QImage& out, int first, int last) {
    // QImage::scanLine may detach; it is called once here, the threads only add offsets.
    uchar* const base = out.bits();
    const qsizetype stride = out.bytesPerLine();
    imaging::parallel_bands(last - first, kRowGrain, [&, base, stride](int from, int to) {
        Renderer own = renderer;
        for (int y = first + from; y < first + to; ++y) {
            own.row(rows[static_cast<std::size_t>(y)], exposed.x(), exposed.y() + y,
                    reinterpret_cast<QRgb*>(base + y * stride));
        }
    });
}

}  // namespace

void render(const Bitmap& bitmap, const RenderRequest& request, QImage& out, int first, int last) {
    if (bitmap.empty() || request.exposed.isEmpty() || request.dst.isEmpty() || first >= last) return;
    const QRect exposed = request.exposed;
    const auto columns =
        spans(request.dst.x(), request.dst.width(), bitmap.width(), exposed.x(), exposed.width());
    const auto rows =
        spans(request.dst.y(), request.dst.height(), bitmap.height(), exposed.y(), exposed.height());
    const bool reduced = request.dst.width() < bitmap.width() || request.dst.height() < bitmap.height();
    if (!reduced)
        run(Repeater{bitmap, columns}, rows, exposed, out, first, last);
    else if (bitmap.layout() == Layout::bit1)
        run(BitReducer{bitmap, columns, request.bitonal}, rows, exposed, out, first, last);
    else
        run(Averager{bitmap, columns}, rows, exposed, out, first, last);
}

QImage render(const Bitmap& bitmap, const RenderRequest& request) {
    QImage image{request.exposed.size(), QImage::Format_RGB32};
    if (!image.isNull()) render(bitmap, request, image, 0, image.height());
    return image;
}

int rows_covered(const Bitmap& bitmap, const RenderRequest& request, int source_row) {
    const auto rows = spans(request.dst.y(), request.dst.height(), bitmap.height(), request.exposed.y(),
                            request.exposed.height());
    const auto missing =
        std::ranges::find_if(rows, [source_row](const Span& s) { return s.last > source_row; });
    return static_cast<int>(missing - rows.begin());
}

}  // namespace quillmark::engine
