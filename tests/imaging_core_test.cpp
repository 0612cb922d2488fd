// The floor of the imaging library: readers and writers, byte shuffles, bitmaps, threads, depths and turns.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <filesystem>
#include <fstream>
#include <numeric>
#include <random>

#include "imaging/bitmap.h"
#include "imaging/convert_depth.h"
#include "imaging/ops/geometry.h"
#include "imaging/output.h"
#include "imaging/source.h"
#include "imaging/swizzle.h"
#include "imaging/threads.h"

namespace quillmark::imaging {
namespace {

namespace fs = std::filesystem;
using Bytes = std::vector<std::uint8_t>;

Bytes noise(std::size_t size, unsigned seed = 1) {
    std::mt19937 random{seed};
    Bytes bytes(size);
    for (auto& b : bytes) b = static_cast<std::uint8_t>(random());
    return bytes;
}

class Folder : public testing::Test {
  protected:
    void SetUp() override {
        std::string name = (fs::temp_directory_path() / "imaging-core-XXXXXX").string();
        ASSERT_NE(mkdtemp(name.data()), nullptr);
        path = name;
    }
    void TearDown() override { fs::remove_all(path); }

    std::string put(const std::string& name, const Bytes& bytes) const {
        std::ofstream{path / name, std::ios::binary}.write(reinterpret_cast<const char*>(bytes.data()),
                                                           static_cast<std::streamsize>(bytes.size()));
        return (path / name).string();
    }
    Bytes get(const std::string& name) const {
        std::ifstream in{path / name, std::ios::binary};
        return {std::istreambuf_iterator<char>{in}, {}};
    }
    std::ptrdiff_t entries() const { return std::distance(fs::directory_iterator{path}, {}); }

    fs::path path;
};

// --- reader ---

class Reader : public Folder {
  protected:
    // The same bytes as a file and as memory.
    std::array<ByteReader, 2> readers(const Bytes& bytes) {
        auto file = open_file(put("bytes", bytes));
        EXPECT_TRUE(file);
        return {ByteReader{*file}, ByteReader{memory_source(bytes)}};
    }
};

TEST_F(Reader, ReadsEveryWidthAcrossWindowBorders) {
    const Bytes bytes = noise(200'000);
    for (ByteReader in : readers(bytes)) {
        for (const std::int64_t border : {65'536, 131'072, 199'992}) {
            for (std::int64_t at = border - 8; at <= std::min<std::int64_t>(border, 199'992); ++at) {
                const auto b = [&](int i) { return std::uint64_t{bytes[static_cast<std::size_t>(at + i)]}; };
                in.seek(border - 8);  // so that the window ends where it ends for a sequential reader
                in.skip(at - (border - 8));
                const std::uint64_t little = b(0) | b(1) << 8 | b(2) << 16 | b(3) << 24 | b(4) << 32 |
                                             b(5) << 40 | b(6) << 48 | b(7) << 56;
                ASSERT_EQ(in.u64le(), little) << at;
                in.seek(at);
                ASSERT_EQ(in.u32be(), b(0) << 24 | b(1) << 16 | b(2) << 8 | b(3));
                ASSERT_EQ(in.u16le(), b(4) | b(5) << 8);
                ASSERT_EQ(in.position(), at + 6);
                ASSERT_FALSE(in.failed());
            }
        }
    }
}

TEST_F(Reader, StaysFailedAndYieldsZerosPastTheEnd) {
    for (ByteReader in : readers({1, 2, 3})) {
        EXPECT_EQ(in.u32le(), 0x00030201U);
        EXPECT_TRUE(in.failed());
        EXPECT_EQ(in.u16be(), 0);
        in.skip(-1);
        EXPECT_TRUE(in.failed()) << "skipping does not forget";
        in.seek(2);
        EXPECT_FALSE(in.failed());
        EXPECT_EQ(in.u8(), 3);
        EXPECT_TRUE(in.at_end());
        EXPECT_TRUE(in.window().empty());
        EXPECT_FALSE(in.failed()) << "looking is not reading";
        for (const std::int64_t outside : {std::int64_t{-1}, std::int64_t{4}, INT64_MAX, INT64_MIN}) {
            in.seek(outside);
            EXPECT_TRUE(in.failed());
            EXPECT_GE(in.position(), 0);
            EXPECT_LE(in.position(), 3);
        }
        in.seek(1);
        Bytes out(5, 0xEE);
        EXPECT_EQ(in.read(out), 2U);
        EXPECT_EQ(out, (Bytes{2, 3, 0, 0, 0}));
        EXPECT_TRUE(in.failed());
    }
}

TEST_F(Reader, LargeReadsAndCopiesGoOnWhereTheyStood) {
    const Bytes bytes = noise(400'000, 2);
    for (ByteReader in : readers(bytes)) {
        in.skip(1000);
        in.u8();
        Bytes big(300'000);
        ASSERT_EQ(in.read(big), big.size());
        EXPECT_TRUE(std::equal(big.begin(), big.end(), bytes.begin() + 1001));
        ByteReader copy = in;
        EXPECT_EQ(copy.position(), 301'001);
        EXPECT_EQ(copy.u8(), bytes[301'001]);
        EXPECT_EQ(in.u8(), bytes[301'001]) << "a copy moves alone";
        EXPECT_EQ(in.bytes(200'000).size(), 400'000U - 301'002U);
        EXPECT_TRUE(in.failed());
    }
}

TEST_F(Reader, SubReadersNeverLeaveTheirRange) {
    const Bytes bytes = noise(100'000, 3);
    for (const ByteReader& in : readers(bytes)) {
        ByteReader part = in.sub(70'000, 10);
        EXPECT_EQ(part.size(), 10);
        EXPECT_EQ(part.base(), 70'000);
        EXPECT_EQ(part.bytes(11).size(), 10U);
        EXPECT_TRUE(part.failed());
        ByteReader inner = in.sub(70'000, 10).sub(4, 100);
        EXPECT_EQ(inner.size(), 6);
        EXPECT_EQ(inner.u8(), bytes[70'004]);
        EXPECT_EQ(in.sub(-5, 3).size(), 3);
        EXPECT_EQ(in.sub(200'000).size(), 0);
        EXPECT_EQ(in.sub(99'999, INT64_MAX).size(), 1);
        EXPECT_EQ(in.sub(10, -1).u8(), 0);
    }
}

TEST_F(Reader, FileThatShrinksEndsInsteadOfLooping) {
    const std::string name = put("shrinking", noise(300'000));
    ByteReader in{*open_file(name)};
    in.u8();
    fs::resize_file(name, 100);
    std::int64_t passes = 0;
    while (in.remaining() > 0 && passes < 100) in.advance(in.window().size()), ++passes;
    EXPECT_LT(passes, 100);
}

TEST_F(Reader, OpensOnlyRegularFiles) {
    EXPECT_EQ(open_file((path / "none").string()).error().fault, Fault::not_found);
    EXPECT_EQ(open_file(path.string()).error().fault, Fault::cannot_open);
    ASSERT_EQ(mkfifo((path / "pipe").c_str(), 0600), 0);
    EXPECT_EQ(open_file((path / "pipe").string()).error().fault, Fault::cannot_open);
    EXPECT_EQ(ByteReader{*open_file(put("empty", {}))}.u8(), 0);
}

// --- writer ---

TEST_F(Folder, WritersPatchReadBackAndAgree) {
    auto file = AtomicFileWriter::create((path / "out").string());
    ASSERT_TRUE(file);
    MemoryWriter memory;
    const Bytes big = noise(600'000, 4);
    for (ByteWriter* out : {static_cast<ByteWriter*>(file->get()), static_cast<ByteWriter*>(&memory)}) {
        out->u32le(0);
        out->write(big);
        out->u16be(0xABCD);
        out->zeros(700);
        const auto end = out->position();
        EXPECT_EQ(end, 4 + 600'000 + 2 + 700);
        out->seek(0);
        out->u32be(0x01020304);
        EXPECT_EQ(out->size(), end);
        Bytes back(6);
        EXPECT_EQ(out->read_at(2, back), 6U);
        EXPECT_EQ(back, (Bytes{3, 4, big[0], big[1], big[2], big[3]}));
        EXPECT_EQ(out->read_at(end - 1, back), 1U);
        out->seek(end);
        out->u8(7);
        EXPECT_FALSE(out->failed());
    }
    ASSERT_TRUE((*file)->commit());
    EXPECT_EQ(get("out"), memory.bytes());
    memory.seek(-1);
    EXPECT_TRUE(memory.failed());
}

TEST_F(Folder, ReplacingKeepsPermissionsAndFollowsLinks) {
    const std::string target = put("target", {1, 2, 3});
    ASSERT_EQ(chmod(target.c_str(), 0640), 0);
    fs::create_symlink("target", path / "link");
    fs::create_symlink("link", path / "chain");
    auto out = AtomicFileWriter::create((path / "chain").string());
    ASSERT_TRUE(out);
    (*out)->u8(9);
    ASSERT_TRUE((*out)->commit());
    EXPECT_EQ(get("target"), Bytes{9});
    EXPECT_TRUE(fs::is_symlink(path / "chain") && fs::is_symlink(path / "link"));
    struct stat facts {};
    ASSERT_EQ(stat(target.c_str(), &facts), 0);
    EXPECT_EQ(facts.st_mode & 07777, 0640U);

    fs::create_symlink("later", path / "dangling");
    auto fresh = AtomicFileWriter::create((path / "dangling").string());
    ASSERT_TRUE(fresh);
    (*fresh)->u8(5);
    ASSERT_TRUE((*fresh)->commit());
    EXPECT_EQ(get("later"), Bytes{5});
    EXPECT_TRUE(fs::is_symlink(path / "dangling"));
}

TEST_F(Folder, WithoutCommitNothingChanges) {
    put("old", {1, 2, 3});
    {
        auto out = AtomicFileWriter::create((path / "old").string());
        ASSERT_TRUE(out);
        (*out)->write(noise(300'000));
        EXPECT_EQ(entries(), 2);
    }
    EXPECT_EQ(get("old"), (Bytes{1, 2, 3}));
    EXPECT_EQ(entries(), 1) << "the temporary file is gone";
    EXPECT_EQ(AtomicFileWriter::create((path / "no" / "file").string()).error().fault, Fault::not_found);
    EXPECT_EQ(AtomicFileWriter::create(path.string()).error().fault, Fault::cannot_open);
}

TEST_F(Folder, NewFilesObeyTheUmask) {
    const mode_t before = umask(027);
    auto out = AtomicFileWriter::create((path / "new").string());
    umask(before);
    ASSERT_TRUE(out && (*out)->commit());
    struct stat facts {};
    ASSERT_EQ(stat((path / "new").c_str(), &facts), 0);
    EXPECT_EQ(facts.st_mode & 07777, 0640U);
}

// --- swizzle ---

TEST(Swizzle, EqualsThePlainTwinAtAnyLengthAndOffset) {
    const Bytes in = noise(700, 5);
    for (std::size_t count = 0; count <= 100; ++count) {
        for (std::size_t offset = 0; offset < 4; ++offset) {
            // Guard bytes behind each output show writes past the end.
            const auto same = [&](auto fast, auto slow, std::size_t size) {
                Bytes a(offset + size + 32, 0xEE), b = a;
                fast(a.data() + offset), slow(b.data() + offset);
                ASSERT_EQ(a, b) << count << " pixels at " << offset;
            };
            const std::uint8_t* p = in.data() + offset;
            same([&](auto* o) { swap_rgb24(p, o, count); }, [&](auto* o) { plain::swap_rgb24(p, o, count); },
                 count * 3);
            same([&](auto* o) { swap_rgba32(p, o, count); },
                 [&](auto* o) { plain::swap_rgba32(p, o, count); }, count * 4);
            same([&](auto* o) { drop_fourth(p, o, count, 3, 1, 2); },
                 [&](auto* o) { plain::drop_fourth(p, o, count, 3, 1, 2); }, count * 3);
            same([&](auto* o) { interleave_rgb(p, p + 150, p + 300, o, count); },
                 [&](auto* o) { plain::interleave_rgb(p, p + 150, p + 300, o, count); }, count * 3);
            Bytes place{in.begin(), in.end()}, twin = place;
            swap_rgb24(place.data(), place.data(), count), plain::swap_rgb24(twin.data(), twin.data(), count);
            swap_rgba32(place.data() + 320, place.data() + 320, 90),
                plain::swap_rgba32(twin.data() + 320, twin.data() + 320, 90);
            ASSERT_EQ(place, twin);
        }
    }
}

// --- bitmap, buffers, limits ---

TEST(BitmapCore, CopiesAreIndependentOnceDetached) {
    Bitmap a = *Bitmap::create(5, 4, 24, {});
    Bitmap b = a;
    EXPECT_TRUE(a.shared());
    EXPECT_EQ(a.row(0).data(), b.row(0).data());
    ASSERT_TRUE(b.detach());
    b.writable_row(1)[3] = 77;
    EXPECT_EQ(a.row(1)[3], 0);
    EXPECT_FALSE(a.shared());
    const std::uint8_t* own = a.row(0).data();
    ASSERT_TRUE(a.detach());
    EXPECT_EQ(a.row(0).data(), own) << "nothing to copy";
}

// More than one core copies it then, and the last block is not a whole one.
TEST(BitmapCore, LargeCopiesAreWhole) {
    Bitmap a = *Bitmap::create(1501, 2003, 24, {});
    for (int y = 0; y < a.height(); ++y)
        for (std::size_t x = 0; x < a.row(y).size(); ++x)
            a.writable_row(y)[x] = static_cast<std::uint8_t>(x * 7 + static_cast<std::size_t>(y) * 13);
    for (const int threads : {1, 2, 7}) {
        set_thread_count(threads);
        Bitmap b = a;
        ASSERT_TRUE(b.detach());
        ASSERT_NE(a.row(0).data(), b.row(0).data());
        for (int y = 0; y < a.height(); ++y) ASSERT_TRUE(std::ranges::equal(a.row(y), b.row(y))) << y;
    }
    set_thread_count(0);
}

TEST(BitmapCore, LimitsAllowExactlyWhatTheySay) {
    Limits limits{.max_side = 100, .max_bilevel_side = 1000, .max_pixels = 5000, .max_bytes = 15'360};
    const auto fault = [&](int w, int h, int bits) {
        const auto checked = Bitmap::check_size(w, h, bits, limits);
        const auto made = Bitmap::create(w, h, bits, limits);
        EXPECT_EQ(static_cast<bool>(checked), static_cast<bool>(made));
        return made ? -1 : static_cast<int>(made.error().fault);
    };
    constexpr int kFine = -1, kLarge = static_cast<int>(Fault::too_large),
                  kWrong = static_cast<int>(Fault::malformed);
    EXPECT_EQ(fault(100, 50, 8), kFine);
    EXPECT_EQ(fault(100, 51, 8), kLarge);
    EXPECT_EQ(fault(101, 1, 8), kLarge);
    EXPECT_EQ(fault(1000, 100, 1), kFine);
    EXPECT_EQ(fault(1001, 1, 1), kLarge);
    EXPECT_EQ(fault(32, 100, 32), kFine);
    EXPECT_EQ(fault(50, 96, 24), kFine);
    EXPECT_EQ(fault(50, 97, 24), kLarge);
    EXPECT_EQ(fault(0, 5, 8), kWrong);
    EXPECT_EQ(fault(5, -1, 8), kWrong);
    EXPECT_EQ(fault(5, 5, 9), kWrong);
    EXPECT_FALSE(Bitmap::check_size(INT64_C(1) << 40, INT64_C(1) << 40, 1, Limits{}));
}

TEST(BitmapCore, RecycledMemoryIsClearedWhenAskedFor) {
    release_pooled_buffers();
    for (int round = 0; round < 3; ++round) {
        Bitmap bitmap = *Bitmap::create(1500, 1000, 24, {});
        for (int y = 0; y < bitmap.height(); ++y) {
            const auto row = bitmap.writable_row(y);
            ASSERT_TRUE(std::ranges::all_of(row, [](auto v) { return v == 0; })) << round;
            std::ranges::fill(row, std::uint8_t{0xA5});
        }
    }
    release_pooled_buffers();
}

// --- threads ---

TEST(Threads, BandsCoverEveryItemOnce) {
    for (const int threads : {1, 2, 7}) {
        set_thread_count(threads);
        for (const int count : {0, 1, 2, 63, 64, 1000, 4321}) {
            for (const int grain : {0, 1, 64, 5000}) {
                std::vector<std::atomic<int>> hits(static_cast<std::size_t>(count));
                parallel_bands(count, grain, [&](int first, int last) {
                    // A nested call must neither wait for ever nor lose items.
                    parallel_bands(last - first, 1, [&](int from, int to) {
                        for (int i = first + from; i < first + to; ++i) ++hits[static_cast<std::size_t>(i)];
                    });
                });
                ASSERT_TRUE(std::ranges::all_of(hits, [](const auto& n) { return n == 1; }))
                    << threads << ' ' << count << ' ' << grain;
            }
        }
    }
    set_thread_count(3);
    std::atomic<std::int64_t> covered{0};
    parallel_bands(INT_MAX, 1, [&](int first, int last) { covered += last - first; });
    EXPECT_EQ(covered, INT_MAX);
    set_thread_count(0);
}

TEST(Threads, MemoryThatRunsOutIsToldToTheCallerAndThePoolWorksOn) {
    for (const int threads : {1, 3}) {
        set_thread_count(threads);
        EXPECT_THROW(parallel_bands(100, 1, [](int, int) { throw std::bad_alloc{}; }), std::bad_alloc);
        std::atomic<int> covered{0};
        parallel_bands(100, 1, [&](int first, int last) { covered += last - first; });
        EXPECT_EQ(covered, 100);
    }
    set_thread_count(0);
}

// --- depths and turns, in every layout ---

struct Kind {
    int bits;
    bool gray;
};
constexpr Kind kKinds[] = {{1, false}, {2, false},  {4, false},  {8, false}, {12, true},
                           {16, true}, {16, false}, {24, false}, {32, false}};

// A bitmap whose pixels all count: noise within the depth, alpha included.
Bitmap sample(Kind kind, int width, int height) {
    Bitmap bitmap = *Bitmap::create(width, height, kind.bits, {}, kind.gray);
    std::mt19937 random{static_cast<unsigned>(width * 31 + height + kind.bits)};
    for (int y = 0; y < height; ++y) {
        if (bitmap.layout() == Layout::gray16) {
            for (auto& v : bitmap.writable_row16(y))
                v = static_cast<std::uint16_t>(random() & ((1U << kind.bits) - 1));
            continue;
        }
        const unsigned mask = bitmap.layout() == Layout::index8 ? (1U << kind.bits) - 1 : 255;
        for (auto& v : bitmap.writable_row(y)) v = static_cast<std::uint8_t>(random() & mask);
    }
    return bitmap;
}

TEST(Depth, WideningLosesNothingInAnyLayout) {
    for (const Kind kind : kKinds) {
        for (const int width : {1, 7, 8, 9, 31, 64, 65}) {
            const Bitmap from = sample(kind, width, 3);
            const auto rgb = convert_depth(from, 24, {}), rgba = convert_depth(from, 32, {});
            ASSERT_TRUE(rgb && rgba);
            for (int y = 0; y < 3; ++y) {
                for (int x = 0; x < width; ++x) {
                    const Rgba want = from.pixel(x, y);
                    ASSERT_EQ(rgba->pixel(x, y), want) << kind.bits << ' ' << x;
                    ASSERT_EQ(rgb->pixel(x, y), (Rgba{want.r, want.g, want.b, 255})) << kind.bits << ' ' << x;
                }
            }
            const int part = width / 2;
            Bytes piece(static_cast<std::size_t>(width - part) * 3);
            row_to_rgb(from, 1, part, piece);
            EXPECT_EQ(piece.back(), from.pixel(width - 1, 1).b);
        }
    }
}

TEST(Depth, EveryPairOfDepthsKeepsWhatFits) {
    for (const Kind kind : kKinds) {
        for (const int bits : {1, 2, 3, 4, 7, 8, 12, 16, 24, 32}) {
            const Bitmap from = sample(kind, 13, 5);
            const auto to = convert_depth(from, bits, {});
            ASSERT_TRUE(to) << kind.bits << " to " << bits;
            EXPECT_EQ(to->bits(), bits);
            if (kind.bits <= 8 && bits <= 8 && bits >= kind.bits) {
                for (int x = 0; x < 13; ++x)
                    EXPECT_EQ(to->pixel(x, 4), from.pixel(x, 4)) << kind.bits << " to " << bits;
            }
            for (int y = 0; bits < 8 && bits > 1 && y < 5; ++y)
                EXPECT_LT(std::ranges::max(to->row(y)), 1 << bits);
        }
    }
    EXPECT_EQ(convert_depth(sample({8, false}, 3, 3), 9, {}).error().fault, Fault::unsupported);
    EXPECT_FALSE(convert_depth(Bitmap{}, 8, {}));
}

TEST(Depth, ExtremesStayExtremes) {
    for (const int bits : {12, 16}) {
        Bitmap gray = *Bitmap::create(2, 1, bits, {}, true);
        gray.writable_row16(0)[1] = static_cast<std::uint16_t>((1 << bits) - 1);
        const auto other = convert_depth(gray, bits == 12 ? 16 : 12, {});
        ASSERT_TRUE(other);
        EXPECT_EQ(other->row16(0)[0], 0);
        EXPECT_EQ(other->row16(0)[1], bits == 12 ? 65535 : 4095);
        EXPECT_EQ(convert_depth(gray, 8, {})->pixel(1, 0), (Rgba{255, 255, 255, 255}));
        if (bits == 12) {  // samples may go beyond what the depth knows
            gray.writable_row16(0)[1] = 4096;
            EXPECT_EQ(convert_depth(gray, 16, {})->row16(0)[1], 65535);
        }
    }
}

void expect_equal(const Bitmap& a, const Bitmap& b, int bits) {
    ASSERT_EQ(a.width(), b.width());
    ASSERT_EQ(a.height(), b.height());
    for (int y = 0; y < a.height(); ++y) {
        for (int x = 0; x < a.width(); ++x) {
            ASSERT_EQ(a.pixel(x, y), b.pixel(x, y))
                << bits << " bits at " << x << ',' << y << " of " << a.width();
        }
    }
}

TEST(Geometry, FourTurnsAndTwoMirrorsAreNothing) {
    for (const Kind kind : kKinds) {
        for (const auto& [width, height] :
             {std::pair{1, 1}, {3, 2}, {7, 13}, {8, 8}, {9, 70}, {33, 31}, {65, 64}, {67, 129}}) {
            const Bitmap from = sample(kind, width, height);
            Bitmap turned = from;
            for (int i = 0; i < 4; ++i) {
                turned = *rotate_quarters(turned, 1, {});
                expect_equal(turned, *rotate_quarters(from, i - 3, {}), kind.bits);
            }
            expect_equal(turned, from, kind.bits);
            expect_equal(*flip(*flip(from, {}), {}), from, kind.bits);
            expect_equal(*reverse(*reverse(from, {}), {}), from, kind.bits);
        }
    }
}

TEST(Geometry, EightOrientationsOfAKnownPicture) {
    // Six pixels a to f, stored as "abc" over "def".
    constexpr std::array<std::array<const char*, 3>, 8> kUpright{{{"abc", "def"},
                                                                  {"cba", "fed"},
                                                                  {"fed", "cba"},
                                                                  {"def", "abc"},
                                                                  {"ad", "be", "cf"},
                                                                  {"da", "eb", "fc"},
                                                                  {"fc", "eb", "da"},
                                                                  {"cf", "be", "ad"}}};
    for (const Kind kind : kKinds) {
        const Bitmap stored = sample(kind, 3, 2);
        for (int tag = 1; tag <= 8; ++tag) {
            Bitmap bitmap = stored;
            bitmap.metadata().orientation = orientation_from_tag(tag);
            bitmap.metadata().resolution = {100, 200};
            const auto upright = apply_orientation(bitmap, {});
            ASSERT_TRUE(upright);
            EXPECT_EQ(upright->metadata().orientation, Orientation::normal);
            EXPECT_EQ(upright->metadata().resolution.x, tag >= 5 ? 200 : 100);
            const auto& want = kUpright[static_cast<std::size_t>(tag - 1)];
            ASSERT_EQ(upright->width(), tag >= 5 ? 2 : 3);
            for (int y = 0; y < upright->height(); ++y) {
                for (int x = 0; x < upright->width(); ++x) {
                    const int letter = want[static_cast<std::size_t>(y)][x] - 'a';
                    ASSERT_EQ(upright->pixel(x, y), stored.pixel(letter % 3, letter / 3))
                        << "orientation " << tag << ", " << kind.bits << " bits";
                }
            }
        }
    }
}

}  // namespace
}  // namespace quillmark::imaging
