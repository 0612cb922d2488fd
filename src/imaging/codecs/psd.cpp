// Photoshop documents: the merged picture in every colour mode, and the stamp. Layers are not composed.
// Source: Adobe Photoshop File Formats Specification.
#include <algorithm>
#include <array>
#include <atomic>
#include <cmath>
#include <cstring>

#include "imaging/codecs/psd_file.h"
#include "imaging/codecs/psd_planes.h"
#include "imaging/codecs/psd_write.h"
#include "imaging/codecs/row_stream.h"
#include "imaging/swizzle.h"
#include "imaging/threads.h"

namespace quillmark::imaging::codecs {

extern const Codec jpeg;

namespace {

bool probe(std::span<const std::uint8_t> head) {
    return head.size() >= 6 && std::memcmp(head.data(), "8BPS", 4) == 0 && head[4] == 0 &&
           (head[5] == 1 || head[5] == 2);
}

std::string_view packing_name(PsdPacking packing) {
    switch (packing) {
        case PsdPacking::none: return "";
        case PsdPacking::runs: return "RLE";
        default: return "ZIP";
    }
}

Result<ImageInfo> info(ByteReader in, const ReadOptions& options) {
    const auto file = read_psd(in, options.limits);
    if (!file) return file.error();
    ImageInfo info;
    info.format_code = kPsdFormat;
    info.width = file->width;
    info.height = file->height;
    info.bits = file->bits();
    info.has_stamp = file->stamp_size > 0;
    info.resolution = file->metadata.resolution;
    info.compression = packing_name(file->packing);
    return info;
}

// --- rows: planes to pixels
// ------------------------------------------------------------------------------------

using Planes = std::array<const std::uint8_t*, 5>;
using Convert = void (*)(const Planes& in, std::span<std::uint8_t> out);

void copy_bits(const Planes& in, std::span<std::uint8_t> out) { std::memcpy(out.data(), in[0], out.size()); }

void gray16(const Planes& in, std::span<std::uint8_t> out) {
    for (std::size_t i = 0; i < out.size(); i += 2) {
        const auto level = static_cast<std::uint16_t>(in[0][i] << 8 | in[0][i + 1]);
        std::memcpy(out.data() + i, &level, 2);
    }
}

// The gamma of sRGB (IEC 61966-2-1) for linear light from 0 to 1.
std::uint8_t encode_srgb(float linear) {
    constexpr int kSteps = 65535;  // fine enough for the dark end, where the curve is steep
    static const auto kTable = [] {
        std::vector<std::uint8_t> table(kSteps + 1);
        for (int i = 0; i <= kSteps; ++i) {
            const double v = i / double{kSteps};
            const double encoded = v <= 0.0031308 ? 12.92 * v : 1.055 * std::pow(v, 1 / 2.4) - 0.055;
            table[static_cast<std::size_t>(i)] = static_cast<std::uint8_t>(std::lround(encoded * 255));
        }
        return table;
    }();
    const float clamped = linear > 0 ? std::min(linear, 1.0F) : 0.0F;  // what is no number becomes 0
    return kTable[static_cast<std::size_t>(clamped * kSteps + 0.5F)];
}

float float_at(const std::uint8_t* in) {
    const std::uint32_t bits = std::uint32_t{in[0]} << 24 | std::uint32_t{in[1]} << 16 | in[2] << 8U | in[3];
    float value;
    std::memcpy(&value, &bits, sizeof value);
    return value;
}

template <std::size_t Channels>
void from_floats(const Planes& in, std::span<std::uint8_t> out) {
    for (std::size_t i = 0; i < out.size(); ++i)
        out[i] = encode_srgb(float_at(in[i % Channels] + i / Channels * 4));
}

void rgb8(const Planes& in, std::span<std::uint8_t> out) {
    interleave_rgb(in[0], in[1], in[2], out.data(), out.size() / 3);
}

// Of deeper samples the high byte is kept.
void rgb16(const Planes& in, std::span<std::uint8_t> out) {
    for (std::size_t x = 0; x < out.size() / 3; ++x) {
        for (std::size_t c = 0; c < 3; ++c) out[x * 3 + c] = in[c][x * 2];
    }
}

// Inks are stored as the light that they leave (0 is full ink); each lets its share through.
template <std::size_t Step>
void cmyk(const Planes& in, std::span<std::uint8_t> out) {
    for (std::size_t x = 0; x < out.size() / 3; ++x) {
        const unsigned black = in[3][x * Step];
        for (std::size_t c = 0; c < 3; ++c) {
            const unsigned product = in[c][x * Step] * black + 128;
            out[x * 3 + c] = static_cast<std::uint8_t>((product + (product >> 8)) >> 8);
        }
    }
}

// CIE L*a*b* relative to D50 into sRGB, adapted to D65 (Bradford; the matrix of B. Lindbloom).
void lab_to_srgb(float lightness, float a, float b, std::uint8_t* out) {
    const auto inverse = [](float t) {
        return t > 6.0F / 29 ? t * t * t : 3 * (6.0F / 29) * (6.0F / 29) * (t - 4.0F / 29);
    };
    const float fy = (lightness + 16) / 116;
    const float x = 0.96422F * inverse(fy + a / 500), y = inverse(fy), z = 0.82521F * inverse(fy - b / 200);
    out[0] = encode_srgb(3.1338561F * x - 1.6168667F * y - 0.4906146F * z);
    out[1] = encode_srgb(-0.9787684F * x + 1.9161415F * y + 0.0334540F * z);
    out[2] = encode_srgb(0.0719453F * x - 0.2289914F * y + 1.4052427F * z);
}

void lab8(const Planes& in, std::span<std::uint8_t> out) {
    for (std::size_t x = 0; x < out.size() / 3; ++x) {
        const auto offset = [&](std::size_t c) { return static_cast<float>(in[c][x] - 128); };
        lab_to_srgb(static_cast<float>(in[0][x]) * (100.0F / 255), offset(1), offset(2), &out[x * 3]);
    }
}

// 16 bits: L from 0 to 65535, a and b in 256ths around 32768.
void lab16(const Planes& in, std::span<std::uint8_t> out) {
    for (std::size_t x = 0; x < out.size() / 3; ++x) {
        const auto word = [&](std::size_t c) {
            return static_cast<float>(in[c][x * 2] << 8 | in[c][x * 2 + 1]);
        };
        lab_to_srgb(word(0) * (100.0F / 65535), (word(1) - 32768) / 256, (word(2) - 32768) / 256,
                    &out[x * 3]);
    }
}

Convert converter_for(const PsdFile& file) {
    const bool deep = file.depth == 16;
    if (file.colours() == 1) return file.depth == 32 ? from_floats<1> : deep ? gray16 : copy_bits;
    switch (file.mode) {
        case PsdMode::cmyk: return deep ? cmyk<2> : cmyk<1>;
        case PsdMode::lab: return deep ? lab16 : lab8;
        // Without a common meaning the first three inks are taken for cyan, magenta and yellow, whose
        // remaining light is red, green and blue.
        default: return file.depth == 32 ? from_floats<3> : deep ? rgb16 : rgb8;
    }
}

// --- decoding
// --------------------------------------------------------------------------------------------------

// Colours as a row without alpha (greys, deep greys or RGB), and the alpha channel's samples of depth bits.
void join_alpha(std::span<const std::uint8_t> colours, const std::uint8_t* alpha, int depth,
                std::span<std::uint8_t> out) {
    const std::size_t width = out.size() / 4, bytes = colours.size() / width;
    for (std::size_t x = 0; x < width; ++x) {
        if (bytes == 2) {
            std::uint16_t level;
            std::memcpy(&level, &colours[x * 2], 2);
            out[x * 4] = out[x * 4 + 1] = out[x * 4 + 2] = static_cast<std::uint8_t>(level >> 8);
        } else {
            for (std::size_t c = 0; c < 3; ++c) out[x * 4 + c] = colours[x * bytes + (bytes == 3 ? c : 0)];
        }
        if (depth == 32) {
            const float share = float_at(alpha + x * 4);
            out[x * 4 + 3] =
                static_cast<std::uint8_t>((share > 0 ? std::min(share, 1.0F) : 0.0F) * 255 + 0.5F);
        } else {
            out[x * 4 + 3] = alpha[x * static_cast<std::size_t>(depth / 8)];
        }
    }
}

// Rows [first, last), chunk by chunk. False when reading failed.
bool decode_band(const PsdFile& file, const PsdPlanes& planes, Convert convert, Bitmap& bitmap, int first,
                 int last) {
    constexpr std::size_t kChunk = std::size_t{128} << 10;
    const std::size_t row_bytes = file.row_bytes();
    const auto count = static_cast<std::size_t>(file.planes());
    const int step = static_cast<int>(std::clamp<std::size_t>(kChunk / (row_bytes * count), 1, 256));
    std::vector<std::uint8_t> own(planes.direct() ? 0 : row_bytes * count * static_cast<std::size_t>(step));
    const int bytes = file.colours() == 1 ? (file.depth == 16 ? 2 : 1) : 3;
    std::vector<std::uint8_t> colours(file.alpha ? static_cast<std::size_t>(file.width * bytes) : 0);
    for (int y = first; y < last; y += step) {
        const int end = std::min(y + step, last);
        Planes at{};
        for (std::size_t c = 0; c < count; ++c) {
            const std::size_t part = c * row_bytes * static_cast<std::size_t>(step);
            at[c] = planes.rows(static_cast<int>(c), y, end, own.empty() ? nullptr : own.data() + part);
            if (!at[c]) return false;
        }
        for (int row = y; row < end; ++row) {
            if (file.alpha) {
                convert(at, colours);
                join_alpha(colours, at[count - 1], file.depth, bitmap.writable_row(row));
            } else {
                convert(at, bitmap.writable_row(row));
            }
            for (std::size_t c = 0; c < count; ++c) at[c] += row_bytes;
        }
    }
    return true;
}

// Unused bits of a row's last byte are kept zero.
void clear_tail(Bitmap& bitmap, int rows) {
    const int used = bitmap.width() % 8;
    if (bitmap.bits() != 1 || used == 0) return;
    for (int y = 0; y < rows; ++y)
        bitmap.writable_row(y).back() &= static_cast<std::uint8_t>(0xFF00U >> used);
}

Result<void> decode_rows(const PsdFile& file, const PsdPlanes& planes, Bitmap& bitmap, RowSink& sink) {
    constexpr std::int64_t kBlock = std::int64_t{8} << 20;
    const Convert convert = converter_for(file);
    const int rows = planes.rows_there();
    const int block =
        static_cast<int>(std::max<std::int64_t>(1, kBlock / static_cast<std::int64_t>(bitmap.stride())));
    for (int first = 0; first < rows; first += block) {
        const int last = std::min(first + block, rows);
        std::atomic<bool> good{true};
        parallel_bands(last - first, 8, [&](int from, int to) {
            if (!decode_band(file, planes, convert, bitmap, first + from, first + to)) good = false;
        });
        if (!good) return Error{Fault::io, "pixels"};
        if (!sink.rows(bitmap, first, last, last, file.height)) return Error{Fault::cancelled, "pixels"};
    }
    clear_tail(bitmap, rows);
    return {};
}

void set_colours(const PsdFile& file, Bitmap& bitmap) {
    if (file.mode == PsdMode::indexed) bitmap.set_palette(file.palette);
    if (file.mode == PsdMode::bilevel)
        bitmap.set_palette({{255, 255, 255, 255}, {0, 0, 0, 255}});  // ink is 1
}

Result<Outcome> decode(ByteReader in, const ReadOptions& options, RowSink& sink) {
    auto file = read_psd(in, options.limits);
    if (!file) return file.error();
    const auto planes = PsdPlanes::open(in, *file, options.limits);
    if (!planes) return planes.error();
    const int rows = planes->rows_there();
    if (rows == 0) return Error{Fault::truncated, "pixels"};
    const bool complete = rows == file->height;
    const auto create = complete ? Bitmap::create_unfilled : Bitmap::create;
    auto bitmap = create(file->width, file->height, file->bits(), options.limits, file->bits() == 16);
    if (!bitmap) return bitmap.error();
    set_colours(*file, *bitmap);
    bitmap->metadata() = std::move(file->metadata);
    sink.begin(*bitmap);
    if (const auto decoded = decode_rows(*file, *planes, *bitmap, sink); !decoded) return decoded.error();
    auto outcome = outcome_of(std::move(*bitmap), kPsdFormat, rows);
    if (planes->damaged()) outcome.warnings.push_back("damaged rows");
    if (!file->merged) outcome.warnings.push_back("saved without its merged picture: layers are not shown");
    return outcome;
}

Result<Outcome> stamp(ByteReader in, const ReadOptions& options) {
    const auto file = read_psd(in, options.limits);
    if (!file) return file.error();
    if (file->stamp_size == 0) return Error{Fault::no_stamp, "PSD"};
    ReadOptions whole = options;
    whole.reduce = 1;
    RowSink quiet;
    auto outcome = jpeg.decode(in.sub(file->stamp_at, file->stamp_size), whole, quiet);
    if (!outcome) return outcome;
    outcome->format_code = kPsdFormat;
    outcome->bitmap.metadata().orientation = Orientation::normal;
    if (file->stamp_swapped && outcome->bitmap.layout() == Layout::rgb24 && outcome->bitmap.detach()) {
        for (int y = 0; y < outcome->bitmap.height(); ++y) {
            const auto row = outcome->bitmap.writable_row(y);
            swap_rgb24(row.data(), row.data(), row.size() / 3);
        }
    }
    return outcome;
}

constexpr int kDepths[] = {1, 8, 24};
constexpr FormatCode kFormats[] = {{kPsdFormat, "", kDepths}};
constexpr std::string_view kExtensions[] = {"psd", "psb", "pdd"};

}  // namespace

extern const Codec psd;
const Codec psd{"PSD", kFormats, kExtensions, Pages::one, true, true, probe, info, decode, stamp, encode_psd};

}  // namespace quillmark::imaging::codecs
