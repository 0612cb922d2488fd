#include "imaging/codecs/pict_file.h"

#include <array>
#include <bit>
#include <cmath>
#include <numbers>
#include <optional>

#include "imaging/codecs/pict_stream.h"

namespace quillmark::imaging::codecs {
namespace {

constexpr std::size_t kMostRasters = 10'000, kMostShapes = 200'000;
constexpr std::int64_t kMostCanvas =
    16'000'000;  // pixels that a picture may have beyond those of its rasters
constexpr int kMaxRowBytes = 0x7FFF;

PictRect read_rect(ByteReader& in) {
    PictRect rect;
    rect.top = in.i16be();
    rect.left = in.i16be();
    rect.bottom = in.i16be();
    rect.right = in.i16be();
    return rect;
}

double fixed(std::uint32_t value) { return static_cast<std::int32_t>(value) / 65536.0; }

Resolution read_resolution(ByteReader& in) {
    const double x = fixed(in.u32be()), y = fixed(in.u32be());
    const auto usable = [](double dpi) { return dpi >= 1 && dpi <= 10'000; };
    return usable(x) && usable(y) ? Resolution{x, y} : Resolution{};
}

Rgba read_rgb(ByteReader& in) {
    std::array<std::uint8_t, 3> levels{};
    for (std::uint8_t& level : levels) level = static_cast<std::uint8_t>(in.u16be() >> 8);
    return {levels[0], levels[1], levels[2], 255};
}

// Eight by eight pixels of ink and paper, as far as their mean goes.
struct Pattern {
    int ink = 64;                ///< pixels of ink out of 64
    std::optional<Rgba> colour;  ///< or one colour for all
};

// The eight colours of the first pictures.
Rgba old_colour(std::uint32_t number) {
    switch (number) {
        case 30: return {255, 255, 255, 255};
        case 69: return {252, 243, 5, 255};
        case 137: return {242, 8, 132, 255};
        case 205: return {221, 8, 6, 255};
        case 273: return {2, 171, 234, 255};
        case 341: return {0, 128, 17, 255};
        case 409: return {0, 0, 212, 255};
        default: return {0, 0, 0, 255};
    }
}

// Walks one row's packets without unpacking; the bytes that they stand for.
std::int64_t unpacked_size(std::span<const std::uint8_t> packed, int unit) {
    std::int64_t size = 0;
    for (std::size_t i = 0; i < packed.size();) {
        const std::size_t n = packed[i++];
        if (n == 128) continue;
        const std::size_t units = n < 128 ? n + 1 : 257 - n;
        size += static_cast<std::int64_t>(units) * unit;
        i += (n < 128 ? units : 1) * static_cast<std::size_t>(unit);
        if (i > packed.size()) return -1;
    }
    return size;
}

// Whether the first rows have counts of so many bytes and unpack to just what a row holds.
bool rows_fit(ByteReader in, const PictRaster& raster, int count_bytes) {
    constexpr int kRows = 64;
    const int unit = raster.depth == 16 ? 2 : 1;
    for (int y = 0; y < std::min(kRows, raster.bounds.height()); ++y) {
        const std::size_t count = count_bytes == 2 ? in.u16be() : in.u8();
        if (in.failed() || static_cast<std::int64_t>(count) > in.remaining()) return false;
        const auto packed = in.bytes(count);
        if (unpacked_size(packed, unit) != static_cast<std::int64_t>(raster.unpacked())) return false;
    }
    return true;
}

// Byte counts have two bytes for rows above 250. Some writers begin at 200, others never do: the rows
// themselves decide where the rule does not fit them.
int count_bytes_of(const ByteReader& in, const PictRaster& raster) {
    const int rule = raster.row_bytes > 250 ? 2 : 1;
    if (rows_fit(in, raster, rule)) return rule;
    return rows_fit(in, raster, 3 - rule) ? 3 - rule : rule;
}

Palette read_table(ByteReader& in, int depth) {
    in.skip(4);
    const bool positional = (in.u16be() & 0x8000) != 0;
    const std::size_t entries = in.u16be() + std::size_t{1};
    Palette palette(std::size_t{1} << depth);
    for (std::size_t i = 0; i < entries && !in.failed(); ++i) {
        const std::size_t value = in.u16be(), index = positional ? i : value;
        std::array<std::uint8_t, 3> rgb{};
        for (std::uint8_t& level : rgb) level = static_cast<std::uint8_t>(in.u16be() >> 8);
        if (index < palette.size()) palette[index] = {rgb[0], rgb[1], rgb[2], 255};
    }
    return palette;
}

// Bytes of data of an opcode that only has to be passed; nothing for those that state their length
// themselves.
std::optional<int> fixed_length(unsigned op) {
    if ((op >= 0x30 && op <= 0x37) || (op >= 0x40 && op <= 0x47) || (op >= 0x50 && op <= 0x57)) return 8;
    if (op >= 0x60 && op <= 0x67) return 12;
    if (op >= 0x68 && op <= 0x6F) return 4;
    if ((op >= 0x38 && op <= 0x5F) || (op >= 0x78 && op <= 0x7F) || (op >= 0x88 && op <= 0x8F)) return 0;
    if ((op >= 0xB0 && op <= 0xCF) || (op >= 0x8000 && op <= 0x80FF)) return 0;
    if (op >= 0x100 && op <= 0x7FFF) return static_cast<int>(op >> 8) * 2;
    switch (op) {
        case 0x00:
        case 0x17:
        case 0x18:
        case 0x19:
        case 0x1C:
        case 0x1E: return 0;
        case 0x04: return 1;
        case 0x03:
        case 0x05:
        case 0x08:
        case 0x0D:
        case 0x15:
        case 0x16:
        case 0x23:
        case 0xA0: return 2;
        case 0x06:
        case 0x07:
        case 0x0B:
        case 0x0C:
        case 0x0E:
        case 0x0F:
        case 0x21: return 4;
        case 0x1A:
        case 0x1B:
        case 0x1D:
        case 0x1F:
        case 0x22: return 6;
        case 0x02:
        case 0x09:
        case 0x0A:
        case 0x10:
        case 0x20: return 8;
        default: return std::nullopt;
    }
}

bool draws(unsigned op) {
    if (op >= 0x20 && op <= 0x23) return true;
    if (op == 0x28 || (op >= 0x29 && op <= 0x2B)) return true;
    // Shapes; their last three verbs of eight are reserved.
    return op >= 0x30 && op <= 0x8F && (op & 7) <= 4;
}

class Walker {
  public:
    Walker(ByteReader in, PictFile& file) : in_{std::move(in)}, file_{file} {}

    Result<void> header();
    Result<void> walk();

  private:
    // False: the data end, or contradict themselves, here.
    bool opcode(unsigned op);
    bool skip(std::int64_t count);
    bool self_counted();
    bool pixel_pattern(unsigned op);
    Pattern read_pattern();
    Rgba mean(const Pattern& pattern) const;
    void shape(unsigned op);
    void arc(const PictRect& place, PictShape& shape);
    void line(unsigned op);
    void polygon(PictShape& shape);
    void keep(PictShape shape);
    bool state(unsigned op);
    bool extended_header();
    bool raster(unsigned op);
    bool pixmap(PictRaster& raster, bool has_table);
    bool check(PictRaster& raster);
    bool pass_rows(PictRaster& raster);
    bool stream(std::int64_t end);
    bool uncompressed(std::int64_t end);
    void add(PictRaster raster);

    ByteReader in_;
    PictFile& file_;
    bool wide_ = false;  // version 2: opcodes of two bytes at even places
    int origin_x_ = 0, origin_y_ = 0;
    Rgba ink_{0, 0, 0, 255}, paper_{255, 255, 255, 255};
    Pattern pen_, fill_, back_;
    double pen_width_ = 1, pen_height_ = 1;
    PictPoint pen_at_;
    std::array<PictRect, 8> places_{};  // of the last shape of each kind
    bool after_stream_ = false;
    PictRect stream_area_;
};

bool Walker::skip(std::int64_t count) {
    if (count < 0 || count > in_.remaining()) return false;
    in_.skip(count);
    return true;
}

// A length of two bytes that counts itself: regions and polygons.
bool Walker::self_counted() {
    const int size = in_.u16be();
    return !in_.failed() && size >= 2 && skip(size - 2);
}

Result<void> Walker::header() {
    in_.skip(2);  // the low half of the size
    file_.frame = read_rect(in_);
    const unsigned first = in_.u16be();
    if (first == 0x1101) {
        wide_ = false;
    } else if (first == 0x0011 && in_.u16be() == 0x02FF) {
        wide_ = true;
    } else {
        return Error{in_.failed() ? Fault::truncated : Fault::malformed, "version"};
    }
    return in_.failed() ? Result<void>{Error{Fault::truncated, "header"}} : Result<void>{};
}

Result<void> Walker::walk() {
    if (const auto begun = header(); !begun) return begun.error();
    while (!in_.at_end()) {
        if (wide_ && in_.position() % 2 != 0) in_.skip(1);
        const unsigned op = wide_ ? in_.u16be() : in_.u8();
        if (in_.failed()) break;
        if (op == 0xFF) {
            file_.finished = true;
            break;
        }
        if (file_.rasters.size() >= kMostRasters || !opcode(op) || in_.failed()) break;
    }
    return {};
}

bool Walker::opcode(unsigned op) {
    if (draws(op)) {
        file_.drawing = true;
        const std::int64_t at = in_.position();
        shape(op);
        in_.seek(at);
    }
    if (op == 0x90 || op == 0x91 || (op >= 0x98 && op <= 0x9B)) return raster(op);
    if (op == 0x02 || op == 0x07 || op == 0x09 || op == 0x0A || op == 0x0C || op == 0x0E || op == 0x0F ||
        op == 0x1A || op == 0x1B)
        return state(op);
    if (op == 0x0C00) return extended_header();
    if (op == 0x11) return skip(wide_ ? 2 : 1);
    if (op >= 0x12 && op <= 0x14) return pixel_pattern(op);
    if (const auto length = fixed_length(op)) return skip(*length);
    if (op == 0x01 || (op >= 0x70 && op <= 0x77) || (op >= 0x80 && op <= 0x87)) return self_counted();
    if (op >= 0x28 && op <= 0x2B) {
        constexpr int kBefore[] = {4, 1, 1, 2};
        return skip(kBefore[op - 0x28]) && skip(in_.u8());
    }
    if (op == 0xA1) return skip(2) && skip(in_.u16be());
    if ((op >= 0x24 && op <= 0x2F) || (op >= 0x92 && op <= 0xAF)) return skip(in_.u16be());
    const std::int64_t size = in_.u32be();  // D0 to FE, and from 8100 on
    if (in_.failed() || size > in_.remaining()) return false;
    const std::int64_t end = in_.position() + size;
    if (op == 0x8200) {
        stream(end);
    } else if (op == 0x8201) {
        uncompressed(end);
    }
    in_.seek(end);
    return true;
}

bool Walker::state(unsigned op) {
    switch (op) {
        case 0x02: back_ = read_pattern(); break;
        case 0x09: pen_ = read_pattern(); break;
        case 0x0A: fill_ = read_pattern(); break;
        case 0x07:
            pen_height_ = in_.i16be();
            pen_width_ = in_.i16be();
            break;
        case 0x0C:
            origin_x_ = std::clamp(origin_x_ + in_.i16be(), -32768, 32767);
            origin_y_ = std::clamp(origin_y_ + in_.i16be(), -32768, 32767);
            break;
        case 0x0E: ink_ = old_colour(in_.u32be()); break;
        case 0x0F: paper_ = old_colour(in_.u32be()); break;
        case 0x1A: ink_ = read_rgb(in_); break;
        default: paper_ = read_rgb(in_);
    }
    return !in_.failed();
}

bool Walker::extended_header() {
    ByteReader data = in_.sub(in_.position(), 24);
    if (data.u16be() == 0xFFFE) {
        data.skip(2);
        file_.resolution = read_resolution(data);
    }
    return skip(24);
}

bool Walker::pixel_pattern(unsigned op) {
    const unsigned type = in_.u16be();
    Pattern& own = op == 0x12 ? back_ : op == 0x13 ? pen_ : fill_;
    own = read_pattern();
    if (type == 2) {
        own = {64, read_rgb(in_)};
        return !in_.failed();
    }
    PictRaster raster;
    raster.row_bytes = in_.u16be() & kMaxRowBytes;
    raster.bounds = read_rect(in_);
    return pixmap(raster, true) && check(raster) && pass_rows(raster);
}

Pattern Walker::read_pattern() {
    Pattern pattern;
    pattern.ink = 0;
    for (int i = 0; i < 8; ++i) pattern.ink += std::popcount(in_.u8());
    return pattern;
}

Rgba Walker::mean(const Pattern& pattern) const {
    if (pattern.colour) return *pattern.colour;
    const auto mix = [&](int ink, int paper) {
        return static_cast<std::uint8_t>((ink * pattern.ink + paper * (64 - pattern.ink) + 32) / 64);
    };
    return {mix(ink_.r, paper_.r), mix(ink_.g, paper_.g), mix(ink_.b, paper_.b), 255};
}

// The shapes come in rows of eight: the verb in the low bits (frame, paint, erase, invert, fill), the upper
// half of each row repeating the place of the last of its kind.
void Walker::shape(unsigned op) {
    if (op <= 0x23) return line(op);
    const unsigned kind = op >> 4, verb = op & 7;
    if (op < 0x30) {  // text
        file_.simplified = true;
        return;
    }
    PictShape shape;
    shape.verb = verb == 0   ? PictShape::Verb::frame
                 : verb == 3 ? PictShape::Verb::invert
                             : PictShape::Verb::fill;
    shape.colour = mean(verb == 2 ? back_ : verb == 4 ? fill_ : pen_);
    if (verb == 2 && !back_.colour && back_.ink == 64) shape.colour = paper_;
    shape.kind = kind == 5 ? PictShape::Kind::oval : PictShape::Kind::polygon;
    if (kind == 7) {
        if ((op & 8) == 0) polygon(shape);
        return keep(std::move(shape));
    }
    if (kind == 8 && (op & 8) == 0 && in_.u16be() != 10) {  // a region that is no rectangle
        file_.simplified = true;
        return;
    }
    PictRect& place = places_[kind & 7];
    if ((op & 8) == 0) place = read_rect(in_);
    if (place.empty()) return;
    if (kind == 6) {
        arc(place, shape);
        return keep(std::move(shape));
    }
    // A frame is drawn inside its rectangle.
    const bool frame = shape.verb == PictShape::Verb::frame && shape.kind == PictShape::Kind::polygon;
    const double left = place.left, top = place.top;
    const double right = place.right - (frame ? pen_width_ : 0),
                 bottom = place.bottom - (frame ? pen_height_ : 0);
    if (shape.kind == PictShape::Kind::oval) {
        shape.points = {{left, top}, {right, bottom}};
    } else {
        shape.points = {{left, top}, {right, top}, {right, bottom}, {left, bottom}, {left, top}};
    }
    if (kind == 4) file_.simplified = true;
    keep(std::move(shape));
}

// Degrees run clockwise from the top. Framed it is the curve alone, else a wedge.
void Walker::arc(const PictRect& place, PictShape& shape) {
    const int start = in_.i16be(), extent = std::clamp<int>(in_.i16be(), -360, 360);
    const double rx = place.width() / 2.0, ry = place.height() / 2.0, cx = place.left + rx,
                 cy = place.top + ry;
    const int steps = std::max(1, std::abs(extent) / 3);
    for (int i = 0; i <= steps; ++i) {
        const double angle = (start + double(extent) * i / steps) * std::numbers::pi / 180;
        shape.points.push_back({cx + rx * std::sin(angle), cy - ry * std::cos(angle)});
    }
    if (shape.verb != PictShape::Verb::frame) shape.points.push_back({cx, cy});
}

void Walker::line(unsigned op) {
    if (op == 0x20 || op == 0x22) {
        pen_at_.y = in_.i16be();
        pen_at_.x = in_.i16be();
    }
    PictShape shape;
    shape.colour = mean(pen_);
    shape.points = {pen_at_};
    if (op <= 0x21) {
        pen_at_.y = in_.i16be();
        pen_at_.x = in_.i16be();
    } else {
        pen_at_.x += in_.i8();
        pen_at_.y += in_.i8();
    }
    shape.points.push_back(pen_at_);
    keep(std::move(shape));
}

void Walker::polygon(PictShape& shape) {
    const int size = in_.u16be();
    in_.skip(8);
    for (int at = 10; at + 4 <= size && !in_.failed(); at += 4) {
        const double y = in_.i16be(), x = in_.i16be();
        shape.points.push_back({x, y});
    }
}

void Walker::keep(PictShape shape) {
    if (in_.failed() || file_.shapes.size() >= kMostShapes || shape.points.size() < 2) return;
    for (PictPoint& p : shape.points) p = {p.x - origin_x_, p.y - origin_y_};
    shape.pen_width = pen_width_;
    shape.pen_height = pen_height_;
    shape.before = file_.rasters.size();
    file_.shapes.push_back(std::move(shape));
}

// The fields behind the bounds, and the colours.
bool Walker::pixmap(PictRaster& raster, bool has_table) {
    in_.skip(2);
    raster.pack_type = in_.u16be();
    in_.skip(4);
    raster.resolution = read_resolution(in_);
    in_.skip(2);
    raster.depth = in_.u16be();
    raster.components = in_.u16be();
    in_.skip(14);
    if (has_table) raster.palette = read_table(in_, std::clamp(raster.depth, 1, 8));
    return !in_.failed() && (has_table || raster.depth > 8);
}

std::int64_t needed_bytes(const PictRaster& raster) {
    return (std::int64_t{raster.bounds.width()} * raster.depth + 7) / 8;
}

bool Walker::check(PictRaster& raster) {
    constexpr std::array kDepths{1, 2, 4, 8, 16, 32};
    if (std::ranges::find(kDepths, raster.depth) == kDepths.end()) return false;
    if (raster.bounds.empty() || raster.bounds.width() > 32767 || raster.bounds.height() > 32767)
        return false;
    if (raster.row_bytes < needed_bytes(raster)) return false;
    raster.bits = raster.depth == 32 ? 24 : raster.depth;
    // Packets stand for 64 times their size at most: less than that is no picture.
    const std::int64_t pixels = std::int64_t{raster.row_bytes} * raster.bounds.height();
    return pixels <= in_.remaining() * 128 + 65'536;
}

// Settles how rows are counted and leaves the reader behind them; what is missing at the end is the decoder's
// matter.
bool Walker::pass_rows(PictRaster& raster) {
    raster.data_at = in_.position();
    if (raster.row_bytes < 8 || raster.pack_type == 1 || (raster.depth == 32 && raster.pack_type == 2)) {
        raster.count_bytes = 0;
        const auto size = static_cast<std::int64_t>(raster.unpacked()) * raster.bounds.height();
        in_.skip(std::min(size, in_.remaining()));
        return true;
    }
    raster.count_bytes = 2;  // packed: an unpacked row's size depends on it
    raster.count_bytes = count_bytes_of(in_, raster);
    for (int y = 0; y < raster.bounds.height() && !in_.at_end(); ++y) {
        const std::int64_t count = raster.count_bytes == 2 ? in_.u16be() : in_.u8();
        in_.skip(std::min(count, in_.remaining()));
    }
    return true;
}

bool Walker::raster(unsigned op) {
    const bool direct = op == 0x9A || op == 0x9B;
    if (direct) in_.skip(4);  // a base address
    PictRaster raster;
    const unsigned first = in_.u16be();
    const bool has_fields = (first & 0x8000) != 0;
    raster.row_bytes = static_cast<int>(first) & kMaxRowBytes;
    raster.bounds = read_rect(in_);
    if (in_.failed() || (direct && !has_fields)) return false;
    if (has_fields) {
        if (!pixmap(raster, !direct)) return false;
    } else {
        raster.palette = {paper_, ink_};
    }
    raster.source = read_rect(in_);
    raster.target = read_rect(in_);
    raster.mode = in_.u16be() & 63;
    if (op & 1 && !self_counted()) return false;  // the region that masks it
    if (in_.failed() || !check(raster) || !pass_rows(raster)) return false;
    add(std::move(raster));
    return true;
}

// An image description with its data behind a matrix and masks.
bool Walker::stream(std::int64_t end) {
    PictRaster raster;
    in_.skip(2);
    std::array<double, 9> matrix{};
    for (double& value : matrix) value = fixed(in_.u32be());
    const std::int64_t matte = in_.u32be();
    in_.skip(8);
    raster.mode = in_.u16be() & 63;
    PictRect shown = read_rect(in_);
    in_.skip(4);
    const std::int64_t mask = in_.u32be();
    if (in_.failed() || !skip(mask) || !skip(matte)) return false;
    const std::int64_t description = in_.position(), size = in_.u32be();
    raster.stream = in_.u32be();
    in_.skip(24);
    raster.stream_width = in_.u16be();
    raster.stream_height = in_.u16be();
    raster.resolution = read_resolution(in_);
    const std::int64_t data = in_.u32be();
    in_.skip(34);
    raster.stream_depth = in_.u16be();
    if (in_.failed() || size < 86 || size > end - description) return false;
    raster.data_at = description + size;
    raster.data_size = data > 0 ? std::min(data, end - raster.data_at) : end - raster.data_at;
    if (!settle_pict_stream(in_.sub(raster.data_at, raster.data_size), raster)) {
        file_.unknown_stream = true;
    }
    if (shown.empty()) shown = {0, 0, raster.stream_height, raster.stream_width};
    const auto place = [](double scale, int at, double offset) {
        return static_cast<int>(std::lround(std::clamp(scale * at + offset, -32768.0, 32767.0)));
    };
    raster.target = {place(matrix[4], shown.top, matrix[7]), place(matrix[0], shown.left, matrix[6]),
                     place(matrix[4], shown.bottom, matrix[7]), place(matrix[0], shown.right, matrix[6])};
    raster.source = raster.bounds = {0, 0, raster.stream_height, raster.stream_width};
    stream_area_ = raster.target;
    after_stream_ = true;
    if (raster.bits > 0 && !raster.bounds.empty() && !raster.target.empty()) file_.rasters.push_back(raster);
    return true;
}

// A plain raster in QuickTime's wrapping.
bool Walker::uncompressed(std::int64_t end) {
    constexpr int kBeforeMatte = 38, kBehind = 8;
    if (!skip(kBeforeMatte)) return false;
    const std::int64_t matte = in_.u32be();
    if (!skip(kBehind) || !skip(matte) || in_.position() >= end) return false;
    const unsigned op = in_.u16be();
    return (op == 0x90 || op == 0x91 || (op >= 0x98 && op <= 0x9B)) && raster(op);
}

void Walker::add(PictRaster raster) {
    const int dx = raster.target.left, dy = raster.target.top;
    const bool inside = dx >= stream_area_.left && dy >= stream_area_.top &&
                        raster.target.right <= stream_area_.right &&
                        raster.target.bottom <= stream_area_.bottom;
    // The bitmap behind a stream tells those who cannot decode it what they miss.
    if (after_stream_ && inside && raster.depth == 1) return;
    after_stream_ = false;
    raster.target = {dy - origin_y_, dx - origin_x_, raster.target.bottom - origin_y_,
                     raster.target.right - origin_x_};
    const PictRect &b = raster.bounds, &s = raster.source;
    raster.source = {std::max(s.top, b.top), std::max(s.left, b.left), std::min(s.bottom, b.bottom),
                     std::min(s.right, b.right)};
    if (raster.source.empty() || raster.target.empty()) return;
    file_.rasters.push_back(std::move(raster));
}

// --- the result
// ------------------------------------------------------------------------------------------------

PictRect united(const std::vector<PictRaster>& rasters) {
    PictRect all = rasters.front().target;
    for (const PictRaster& raster : rasters) {
        const PictRect& t = raster.target;
        all = {std::min(all.top, t.top), std::min(all.left, t.left), std::max(all.bottom, t.bottom),
               std::max(all.right, t.right)};
    }
    return all;
}

double finest_scale(const PictFile& file) {
    double scale = 1;
    const double area = double(file.frame.width()) * file.frame.height();
    for (const PictRaster& r : file.rasters) {
        const double covered = double(r.target.width()) * r.target.height();
        // A small raster among drawing commands does not make the whole drawing larger.
        if (file.drawing && covered < area / 2) continue;
        scale = std::max({scale, double(r.source.width()) / r.target.width(),
                          double(r.source.height()) / r.target.height()});
    }
    return scale;
}

Result<void> settle_canvas(PictFile& file, const Limits& limits) {
    double most = kMostCanvas;
    for (const PictRaster& r : file.rasters) most += double(r.source.width()) * r.source.height();
    most = std::min(most, double(limits.max_pixels));
    const double area = double(file.frame.width()) * file.frame.height();
    if (area > most) return Error{Fault::too_large, "frame"};
    file.scale = std::min(finest_scale(file), std::sqrt(most / area));
    const auto side = [&](int units) { return std::max(1, static_cast<int>(units * file.scale + 0.5)); };
    file.width = side(file.frame.width());
    file.height = side(file.frame.height());
    file.bits = 24;
    if (file.scale > 1.001) file.resolution = {72 * file.scale, 72 * file.scale};
    return {};
}

}  // namespace

std::size_t PictRaster::unpacked() const {
    const auto bytes = static_cast<std::size_t>(row_bytes);
    if (depth != 32) return bytes;
    if (planar()) return bytes / 4 * static_cast<std::size_t>(components == 4 ? 4 : 3);
    return pack_type == 2 ? bytes / 4 * 3 : bytes;
}

bool PictFile::single() const {
    if (rasters.size() != 1 || drawing) return false;
    const PictRect& target = rasters[0].target;
    return target.width() == frame.width() && target.height() == frame.height();
}

std::int64_t find_pict(std::span<const std::uint8_t> head) {
    const auto i16 = [&](std::size_t at) { return static_cast<std::int16_t>(head[at] << 8 | head[at + 1]); };
    for (const std::size_t begin : {512, 0, 640}) {
        if (head.size() < begin + 14) continue;
        const auto* version = head.data() + begin + 10;
        if (version[0] == 0 && version[1] == 0x11 && version[2] == 0x02 && version[3] == 0xFF)
            return static_cast<std::int64_t>(begin);
        // The first version's mark is weak: the frame and the first opcode have to make sense.
        if (version[0] != 0x11 || version[1] != 0x01) continue;
        const int height = i16(begin + 6) - i16(begin + 2), width = i16(begin + 8) - i16(begin + 4);
        const unsigned op = version[2];
        const bool usual = op == 0x01 || op == 0xA0 || op == 0xA1 || op == 0x90 || op == 0x98 || op <= 0x10;
        if (height > 0 && width > 0 && usual) return static_cast<std::int64_t>(begin);
    }
    return -1;
}

Result<PictFile> read_pict(const ByteReader& in, const Limits& limits) {
    PictFile file;
    ByteReader start = in;
    const auto head = start.bytes(static_cast<std::size_t>(std::min<std::int64_t>(in.size(), 1024)));
    file.begin = find_pict(head);
    if (file.begin < 0) return Error{head.size() < 640 ? Fault::truncated : Fault::malformed, "signature"};
    Walker walker{in.sub(file.begin), file};
    if (const auto walked = walker.walk(); !walked) return walked.error();
    if (file.rasters.empty() && file.unknown_stream)
        return Error{Fault::unsupported, "QuickTime compression"};
    if (file.rasters.empty() && file.shapes.empty()) {
        if (!file.finished) return Error{Fault::truncated, "picture"};
        return Error{Fault::unsupported, "nothing that can be shown"};
    }
    if (file.frame.empty() && file.rasters.empty()) return Error{Fault::malformed, "frame"};
    if (file.frame.empty()) file.frame = united(file.rasters);
    if (file.single()) {
        const PictRaster& only = file.rasters[0];
        file.width = only.source.width();
        file.height = only.source.height();
        file.bits = only.bits;
        if (only.resolution.x > 0) file.resolution = only.resolution;
    } else if (const auto canvas = settle_canvas(file, limits); !canvas) {
        return canvas.error();
    }
    if (file.resolution.x <= 0) file.resolution = {72, 72};
    if (const auto size = Bitmap::check_size(file.width, file.height, file.bits, limits); !size)
        return size.error();
    return file;
}

}  // namespace quillmark::imaging::codecs
