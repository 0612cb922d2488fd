// GIF (87a and 89a). Every frame is a page: the screen as it stands when that frame has been drawn.
#include <algorithm>
#include <array>
#include <cstring>
#include <optional>

#include "imaging/codec.h"
#include "imaging/codecs/gif_lzw.h"

namespace quillmark::imaging::codecs {
namespace {

constexpr int kReportRows = 64;
constexpr int kMaxComment = 64 << 10;
// A frame that leaves most of a larger screen empty is drawn on untouched memory.
constexpr std::int64_t kMaxFilledScreen = 16 << 20;

enum class Disposal : std::uint8_t { keep, clear, restore };

/// A colour table in the file; size 0: none.
struct Table {
    std::int64_t at = 0;
    int bits = 0;  ///< 1 to 8
    friend bool operator==(const Table&, const Table&) = default;
};

struct Frame {
    int left = 0, top = 0, width = 0, height = 0;
    bool interlaced = false;
    int transparent = -1;  ///< an index, or -1
    Disposal disposal = Disposal::keep;
    Table table;
    std::int64_t data_at = 0;  ///< of the minimum code size
};

struct File {
    int width = 0, height = 0;  ///< of the screen
    std::vector<Frame> frames;
    std::string comment;
};

bool probe(std::span<const std::uint8_t> head) {
    return head.size() >= 6 && std::memcmp(head.data(), "GIF8", 4) == 0 && head[5] == 'a';
}

Table read_table(ByteReader& in, int flags) {
    if (!(flags & 0x80)) return {};
    const Table table{in.position(), (flags & 7) + 1};
    in.skip(std::int64_t{3} << table.bits);
    return table;
}

// Returns whether there was any data.
bool skip_blocks(ByteReader& in) {
    bool any = false;
    for (int size = in.u8(); size != 0; size = in.u8()) {
        any = true;
        in.skip(size);
        if (in.failed()) break;
    }
    return any;
}

void read_comment(ByteReader& in, std::string& comment) {
    std::vector<std::uint8_t> text;
    for (std::size_t size = in.u8(); size != 0 && text.size() < kMaxComment; size = in.u8()) {
        const auto part = in.bytes(size);
        text.insert(text.end(), part.begin(), part.end());
        if (in.failed()) break;
    }
    if (comment.empty()) comment = text_from_bytes(text.data(), text.size());
}

// What a graphic control block says of the frame after it.
void read_control(ByteReader& in, Frame& next) {
    const int size = in.u8();
    if (size < 4) {
        in.skip(size);
    } else {
        const int flags = in.u8();
        in.skip(2);
        const int transparent = in.u8();
        in.skip(size - 4);
        const int disposal = flags >> 2 & 7;
        next.disposal = disposal == 2                    ? Disposal::clear
                        : disposal == 3 || disposal == 4 ? Disposal::restore
                                                         : Disposal::keep;
        next.transparent = flags & 1 ? transparent : -1;
    }
    if (size != 0) skip_blocks(in);
}

// False when the file ends before the frame's data.
bool read_frame(ByteReader& in, Frame& frame) {
    frame.left = in.u16le();
    frame.top = in.u16le();
    frame.width = in.u16le();
    frame.height = in.u16le();
    const int flags = in.u8();
    frame.interlaced = flags & 0x40;
    if (flags & 0x80) frame.table = read_table(in, flags);
    frame.data_at = in.position();
    in.skip(1);
    return !in.failed() && skip_blocks(in);
}

// The screen grows to hold the first frame, or takes its size when it has none of its own.
void settle_screen(File& file) {
    const Frame& first = file.frames.front();
    if (file.width == 0 || file.height == 0) file.width = file.height = 0;
    file.width = std::max(file.width, first.left + first.width);
    file.height = std::max(file.height, first.top + first.height);
}

Result<File> read_file(ByteReader& in, const Limits& limits) {
    File file;
    in.seek(6);
    file.width = in.u16le();
    file.height = in.u16le();
    const int flags = in.u8();
    in.skip(2);
    const Table global = read_table(in, flags);
    if (in.failed()) return Error{Fault::truncated, "GIF header"};
    Frame next{.table = global};
    while (!in.failed() && !in.at_end() && std::ssize(file.frames) < limits.max_pages) {
        const int block = in.u8();
        if (block == 0x3B) break;
        if (block == 0x2C) {
            if (read_frame(in, next) && next.width > 0 && next.height > 0) file.frames.push_back(next);
            next = Frame{.table = global};
        } else if (block == 0x21) {
            const int label = in.u8();
            if (label == 0xF9)
                read_control(in, next);
            else if (label == 0xFE)
                read_comment(in, file.comment);
            else
                skip_blocks(in);
        }  // other bytes between blocks are stepped over
    }
    if (file.frames.empty()) return Error{Fault::truncated, "GIF without a picture"};
    settle_screen(file);
    return file;
}

/// How a page is made: the frames [base, page] are drawn one after the other.
struct Plan {
    int base = 0, page = 0;
    bool indexed = false;
    int empty = 0;         ///< indexed: the index of what no frame covers
    bool covered = false;  ///< the base frame covers the screen
    int bits = 32;
};

bool covers(const File& file, const Frame& frame) {
    return frame.left == 0 && frame.top == 0 && frame.width >= file.width && frame.height >= file.height;
}

// The last frame at or before page whose result does not depend on the frames before it.
int base_of(const File& file, int page) {
    for (int i = page; i > 0; --i) {
        const Frame& frame = file.frames[static_cast<std::size_t>(i)];
        const bool replaces = covers(file, frame) && frame.transparent < 0;
        if (replaces && (i == page || frame.disposal != Disposal::restore)) return i;
    }
    return 0;
}

Plan plan_for(const File& file, int page) {
    Plan plan{.base = base_of(file, page), .page = page};
    const Frame& base = file.frames[static_cast<std::size_t>(plan.base)];
    plan.covered = covers(file, base);
    const std::span frames{file.frames.begin() + plan.base, file.frames.begin() + page + 1};
    const bool one_table = std::ranges::all_of(frames, [&](const Frame& f) { return f.table == base.table; });
    const bool clears = std::ranges::any_of(frames.first(frames.size() - 1),
                                            [](const Frame& f) { return f.disposal == Disposal::clear; });
    const bool one_hole =
        base.transparent >= 0 && base.transparent < 1 << base.table.bits &&
        std::ranges::all_of(frames, [&](const Frame& f) { return f.transparent == base.transparent; });
    const bool small = std::int64_t{file.width} * file.height <= kMaxFilledScreen;
    const bool opaque = plan.covered && base.transparent < 0 && !clears;
    plan.indexed = one_table && (opaque || (one_hole && (plan.covered || small)));
    if (!plan.indexed) return plan;
    plan.bits = base.table.bits ? base.table.bits : 8;
    if (!opaque) plan.empty = base.transparent;
    return plan;
}

Palette read_palette(ByteReader& in, const Table& table) {
    if (table.bits == 0) return gray_palette(256);
    in.seek(table.at);
    Palette palette(std::size_t{1} << table.bits);
    for (Rgba& color : palette) color = {in.u8(), in.u8(), in.u8(), 255};
    return palette;
}

/// The screen while frames are drawn on it.
class Screen {
  public:
    Screen(Bitmap bitmap, const Plan& plan) : bitmap_{std::move(bitmap)}, plan_{plan} {}

    Bitmap& bitmap() { return bitmap_; }

    /// The frame that draw() is about. Under the first frame of an indexed screen lies nothing: its
    /// transparent index is the empty one and is drawn like any other.
    void use(const Frame& frame, Palette palette, bool is_base) {
        frame_ = &frame;
        is_base_ = is_base;
        palette_ = std::move(palette);
        palette_.resize(256, Rgba{0, 0, 0, 255});
        // An index beyond its table is shown as its first colour.
        entries_ = frame.table.bits ? 1 << frame.table.bits : 256;
    }
    /// count indices from the left end of the frame's row y.
    void draw(int y, const std::uint8_t* indices, int count) {
        if (frame_->top + y >= bitmap_.height()) return;
        count = std::min(count, bitmap_.width() - frame_->left);
        if (count <= 0) return;
        std::uint8_t* row = bitmap_.writable_row(frame_->top + y).data();
        if (bitmap_.layout() == Layout::bit1)
            draw_bits(row, indices, count);
        else if (bitmap_.layout() == Layout::index8)
            draw_indices(row + frame_->left, indices, count);
        else
            draw_colors(row + std::size_t{4} * static_cast<std::size_t>(frame_->left), indices, count);
    }
    /// Empties the part of the screen under a frame.
    void clear(const Frame& frame) {
        const int right = std::min(frame.left + frame.width, bitmap_.width());
        const int bottom = std::min(frame.top + frame.height, bitmap_.height());
        for (int y = frame.top; y < bottom; ++y) fill(y, frame.left, right);
    }
    void clear_all() {
        for (int y = 0; y < bitmap_.height(); ++y) fill(y, 0, bitmap_.width());
    }
    void fill(int y, int left, int right) {
        if (left >= right) return;
        std::uint8_t* row = bitmap_.writable_row(y).data();
        const auto from = static_cast<std::size_t>(left), count = static_cast<std::size_t>(right - left);
        switch (bitmap_.layout()) {
            case Layout::bit1:
                for (int x = left; x < right; ++x) set_bit(row, x, plan_.empty);
                break;
            case Layout::index8: std::memset(row + from, plan_.empty, count); break;
            default: std::memset(row + from * 4, 0, count * 4); break;
        }
    }

    /// Remembers the rows under a frame, and puts them back.
    void save(const Frame& frame) {
        saved_.clear();
        for (int y = frame.top; y < std::min(frame.top + frame.height, bitmap_.height()); ++y) {
            const auto row = bitmap_.row(y);
            saved_.insert(saved_.end(), row.begin(), row.end());
        }
    }
    void restore(const Frame& frame) {
        const std::uint8_t* from = saved_.data();
        for (int y = frame.top; y < std::min(frame.top + frame.height, bitmap_.height()); ++y) {
            const auto row = bitmap_.writable_row(y);
            std::memcpy(row.data(), from, row.size());
            from += row.size();
        }
    }

  private:
    static void set_bit(std::uint8_t* row, int x, int value) {
        const auto mask = static_cast<std::uint8_t>(0x80 >> (x & 7));
        row[x >> 3] = static_cast<std::uint8_t>(value ? row[x >> 3] | mask : row[x >> 3] & ~mask);
    }
    void draw_bits(std::uint8_t* row, const std::uint8_t* indices, int count) const {
        int x = 0;
        if (frame_->left == 0 && frame_->transparent < 0) {
            for (; x + 8 <= count; x += 8) {
                int byte = 0;
                for (int i = 0; i < 8; ++i) byte = byte << 1 | (indices[x + i] == 1);
                row[x >> 3] = static_cast<std::uint8_t>(byte);
            }
        }
        for (; x < count; ++x) {
            if (indices[x] != frame_->transparent)
                set_bit(row, frame_->left + x, indices[x] == 1);
            else if (is_base_)
                set_bit(row, frame_->left + x, plan_.empty);
        }
    }
    void draw_indices(std::uint8_t* out, const std::uint8_t* indices, int count) const {
        const auto size = static_cast<std::size_t>(count);
        if (frame_->transparent < 0 || is_base_) {
            std::memcpy(out, indices, size);
            if (entries_ == 256) return;
            const auto last = static_cast<std::uint8_t>(entries_ - 1);
            for (std::size_t i = 0; i < size; ++i) out[i] = out[i] <= last ? out[i] : std::uint8_t{0};
            return;
        }
        for (std::size_t i = 0; i < size; ++i) {
            if (indices[i] != frame_->transparent)
                out[i] = indices[i] < entries_ ? indices[i] : std::uint8_t{0};
        }
    }
    void draw_colors(std::uint8_t* out, const std::uint8_t* indices, int count) const {
        for (int i = 0; i < count; ++i, out += 4) {
            if (indices[i] == frame_->transparent) continue;
            const Rgba& c = palette_[indices[i] < entries_ ? indices[i] : 0];
            out[0] = c.r, out[1] = c.g, out[2] = c.b, out[3] = 255;
        }
    }
    Bitmap bitmap_;
    const Plan& plan_;
    const Frame* frame_ = nullptr;
    Palette palette_;
    int entries_ = 256;
    bool is_base_ = false;
    std::vector<std::uint8_t> saved_;
};

// The frame's row that stands at place n of the data.
int row_at(const Frame& frame, int n) {
    if (!frame.interlaced) return n;
    constexpr std::array<std::array<int, 2>, 4> kPasses{{{0, 8}, {4, 8}, {2, 4}, {1, 2}}};
    for (const auto& [first, step] : kPasses) {
        const int rows = frame.height > first ? (frame.height - first + step - 1) / step : 0;
        if (n < rows) return first + n * step;
        n -= rows;
    }
    return frame.height - 1;
}

/// Draws one frame; tells the sink of its rows.
class FrameDrawer {
  public:
    FrameDrawer(Screen& screen, const Plan& plan, RowSink& sink)
        : screen_{screen}, plan_{plan}, sink_{sink} {}

    /// Returns the number of whole rows, or a negative number when the sink asks to stop.
    int draw(const Frame& frame, GifLzwDecoder& lzw, int number) {
        int whole = 0;
        for (int n = 0; n < frame.height;) {
            const int end = std::min(frame.height, n + kReportRows);
            const std::int64_t have = lzw.decode_to(std::int64_t{end} * frame.width);
            for (int row = n; row < end; ++row) {
                const std::int64_t at = std::int64_t{row} * frame.width;
                const auto count = static_cast<int>(std::clamp<std::int64_t>(have - at, 0, frame.width));
                if (count == 0) return whole;
                screen_.draw(row_at(frame, row), lzw.indices(at), count);
                whole += count == frame.width;
            }
            if (!report(frame, n, end, number)) return -1;
            n = end;
        }
        return whole;
    }

  private:
    bool report(const Frame& frame, int first, int last, int number) {
        const std::int64_t total = std::int64_t{plan_.page - plan_.base + 1} * frame.height;
        const std::int64_t done = std::int64_t{number - plan_.base} * frame.height + last;
        const int height = screen_.bitmap().height();
        int from = 0, to = 0;  // nothing to see before the page's own frame
        if (number == plan_.page) {
            from = frame.interlaced ? frame.top : frame.top + first;
            to = frame.interlaced ? frame.top + frame.height : frame.top + last;
        }
        return sink_.rows(screen_.bitmap(), std::min(from, height), std::min(to, height), done, total);
    }

    Screen& screen_;
    const Plan& plan_;
    RowSink& sink_;
};

// Rows of the screen that a base frame did not deliver.
void empty_missing_rows(Screen& screen, const Frame& frame, int whole) {
    for (int n = whole; n < frame.height; ++n) {
        const int y = frame.top + row_at(frame, n);
        if (y < screen.bitmap().height()) screen.fill(y, 0, screen.bitmap().width());
    }
}

// Gives the screen to the codec's caller one frame after the other.
class Composer {
  public:
    Composer(ByteReader in, const File& file, const Plan& plan, const ReadOptions& options, RowSink& sink)
        : in_{std::move(in)}, file_{file}, plan_{plan}, options_{options}, sink_{sink} {}

    Result<Outcome> compose() {
        const Frame& base = frame(plan_.base);
        const auto area = Bitmap::check_size(base.width, base.height, 8, options_.limits);
        if (!area) return area.error();
        // The first row of data comes before the memory for all of them.
        auto lzw =
            std::make_unique<GifLzwDecoder>(in_.sub(base.data_at), std::int64_t{base.width} * base.height);
        if (!lzw->ready()) return Error{Fault::malformed, "GIF code size"};
        if (lzw->decode_to(base.width) < base.width) return Error{Fault::truncated, "GIF image data"};
        auto bitmap = create();
        if (!bitmap) return bitmap.error();
        Screen screen{std::move(*bitmap), plan_};
        if (!plan_.covered && plan_.indexed) screen.clear_all();
        sink_.begin(screen.bitmap());
        for (int i = plan_.base; i <= plan_.page; ++i) {
            if (i > plan_.base) {
                dispose(screen, i - 1);
                lzw = frame_decoder(i);
            }
            if (i < plan_.page && frame(i).disposal == Disposal::restore) screen.save(frame(i));
            if (lzw && !draw(screen, i, *lzw)) return Error{Fault::cancelled, "GIF"};
        }
        outcome_.bitmap = std::move(screen.bitmap());
        outcome_.format_code = 2;
        outcome_.rows_declared = file_.height;
        return std::move(outcome_);
    }

  private:
    const Frame& frame(int number) const { return file_.frames[static_cast<std::size_t>(number)]; }

    // LZW makes at most some 2700 indices of a byte: memory that a short file cannot fill is left untouched.
    bool looks_short() const { return std::int64_t{file_.width} * file_.height / 2700 > in_.size(); }

    Result<Bitmap> create() {
        // Packed rows are drawn bit by bit and must not keep foreign bits at their ends.
        zeroed_ = !plan_.indexed || plan_.bits == 1 || looks_short();
        const auto make = zeroed_ ? &Bitmap::create : &Bitmap::create_unfilled;
        auto bitmap = make(file_.width, file_.height, plan_.bits, options_.limits, false);
        if (!bitmap) return bitmap;
        if (plan_.indexed) {
            Palette palette = read_palette(in_, frame(plan_.base).table);
            const int hole = frame(plan_.base).transparent;
            if (hole >= 0 && hole < std::ssize(palette)) palette[static_cast<std::size_t>(hole)].a = 0;
            bitmap->set_palette(std::move(palette));
        }
        bitmap->metadata().comment = file_.comment;
        return bitmap;
    }

    std::unique_ptr<GifLzwDecoder> frame_decoder(int number) {
        const Frame& f = frame(number);
        if (!Bitmap::check_size(f.width, f.height, 8, options_.limits)) return damaged();
        auto lzw = std::make_unique<GifLzwDecoder>(in_.sub(f.data_at), std::int64_t{f.width} * f.height);
        return lzw->ready() ? std::move(lzw) : damaged();
    }
    std::unique_ptr<GifLzwDecoder> damaged() {
        outcome_.warnings.push_back("GIF frame is damaged");
        return nullptr;
    }

    void dispose(Screen& screen, int number) {
        if (frame(number).disposal == Disposal::clear) screen.clear(frame(number));
        // Before the first frame there was nothing to go back to.
        if (frame(number).disposal == Disposal::restore && number > 0) screen.restore(frame(number));
    }

    // False when the sink asks to stop.
    bool draw(Screen& screen, int number, GifLzwDecoder& lzw) {
        const Frame& f = frame(number);
        screen.use(f, plan_.indexed ? Palette{} : read_palette(in_, f.table), number == plan_.base);
        FrameDrawer drawer{screen, plan_, sink_};
        const int whole = drawer.draw(f, lzw, number);
        if (whole < 0) return false;
        if (number == plan_.base) outcome_.rows_shown = file_.height;
        if (whole == f.height) return true;
        outcome_.warnings.push_back("GIF frame is incomplete");
        if (number > plan_.base) return true;
        outcome_.rows_shown = std::max(1, file_.height - (f.height - whole));
        if (plan_.indexed && !looks_short()) empty_missing_rows(screen, f, whole);
        return true;
    }

    ByteReader in_;
    const File& file_;
    const Plan& plan_;
    const ReadOptions& options_;
    RowSink& sink_;
    bool zeroed_ = false;
    Outcome outcome_;
};

int frame_number(const File& file, int page) {
    return std::clamp(page, 1, static_cast<int>(file.frames.size())) - 1;
}

Result<ImageInfo> info(ByteReader in, const ReadOptions& options) {
    const auto file = read_file(in, options.limits);
    if (!file) return file.error();
    const Plan plan = plan_for(*file, frame_number(*file, options.page));
    ImageInfo info;
    info.format_code = 2;
    info.width = file->width;
    info.height = file->height;
    info.bits = plan.bits;
    info.pages = static_cast<int>(file->frames.size());
    info.page = plan.page + 1;
    info.compression = "LZW";
    return info;
}

Result<Outcome> decode(ByteReader in, const ReadOptions& options, RowSink& sink) {
    const auto file = read_file(in, options.limits);
    if (!file) return file.error();
    const Plan plan = plan_for(*file, frame_number(*file, options.page));
    const auto size = Bitmap::check_size(file->width, file->height, plan.bits, options.limits);
    if (!size) return size.error();
    return Composer{in, *file, plan, options, sink}.compose();
}

constexpr FormatCode kFormats[] = {{2, "GIF"}};
constexpr std::string_view kExtensions[] = {"gif"};

}  // namespace

extern const Codec gif;
const Codec gif{"GIF", kFormats, kExtensions, Pages::many, false,  true,
                probe, info,     decode,      nullptr,     nullptr};

}  // namespace quillmark::imaging::codecs
