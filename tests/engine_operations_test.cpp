// The control around the library's operations: regions, stops, failures, counts.
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <QApplication>
#include <QKeyEvent>
#include <QTimer>
#include <QWindow>
#include <fstream>

#include "engine/engine.h"
#include "imaging/ops/operation.h"
#include "support/child.h"
#include "support/fixtures.h"

namespace quillmark::tests {
namespace {

using engine::Engine;
using imaging::Bitmap;
using imaging::Region;

constexpr engine::Code kWell = 0, kNoMemory = 20001, kNoBitmap = 20002, kSides = 20011, kParameter = 20013,
                       kStopped = 20029;

bool same_pixels(const Bitmap& a, const Bitmap& b) {
    if (a.width() != b.width() || a.height() != b.height()) return false;
    for (int y = 0; y < a.height(); ++y) {
        for (int x = 0; x < a.width(); ++x)
            if (a.pixel(x, y) != b.pixel(x, y)) return false;
    }
    return true;
}

// How much address space this process has.
rlim_t bytes_in_use() {
    std::ifstream facts{"/proc/self/statm"};
    rlim_t pages = 0;
    facts >> pages;
    return pages * static_cast<rlim_t>(getpagesize());
}

// In a child, because a limit on memory stays; first of all tests, because threads do not survive the fork.
TEST(EngineOperations, a_without_memory_the_image_stays) {
    const ChildReport report = run_in_child([](ChildLog& log) {
        Engine small, image;
        small.SetBitmap(pattern(300, 300, 24));
        if (small.Invert() != kWell) log.fail("the threads do not start");
        auto large = Bitmap::create(8000, 6000, 24, {});
        if (!large) return log.fail("no image");
        image.SetBitmap(*large);
        constexpr rlim_t kLittle = 32 << 20;
        const rlimit limit{bytes_in_use() + kLittle, bytes_in_use() + kLittle};
        setrlimit(RLIMIT_AS, &limit);
        for (const char* name : {"Rotate", "Invert", "Average", "Size"}) {
            log.trying(name);
            const engine::Code code = name[0] == 'R'   ? image.Rotate(1234, true, Qt::white)
                                      : name[0] == 'I' ? image.Invert()
                                      : name[0] == 'A' ? image.Average(5)
                                                       : image.Size(7900, 5900, 1);
            if (code != kNoMemory) log.fail("code " + std::to_string(code));
            if (image.BitmapWidth() != 8000 || image.BitmapHeight() != 6000)
                log.fail("the image has changed");
        }
    });
    EXPECT_GE(report.attempts, 4);
    for (const std::string& failure : report.failures) ADD_FAILURE() << failure;
}

TEST(EngineOperations, act_on_the_region_and_undo_brings_all_back) {
    Engine image, undo;
    image.SetBitmap(pattern(60, 50, 24));
    image.SetRgn(Region::ellipse({10, 10, 30, 20}));
    undo.SetBitmap(image.Bitmap());
    const Bitmap before = image.Bitmap();
    ASSERT_EQ(image.Invert(), kWell);
    EXPECT_EQ(image.Bitmap().pixel(0, 0), before.pixel(0, 0));
    EXPECT_NE(image.Bitmap().pixel(25, 20), before.pixel(25, 20));
    image.SetBitmap(undo.Bitmap());
    EXPECT_TRUE(same_pixels(image.Bitmap(), before));
    EXPECT_TRUE(image.HasRgn()) << "the size is the same, so the selection stays";
    ASSERT_EQ(image.Rotate(9000, true, Qt::white), kWell);
    EXPECT_FALSE(image.HasRgn()) << "another size: the selection would mean other pixels";
}

TEST(EngineOperations, counts_follow_the_region) {
    Engine image;
    image.SetBitmap(pattern(60, 50, 24));
    std::int64_t pixels = 0;
    ASSERT_EQ(image.GetHistogram(1), kWell);
    for (int i = 0; i < 256; ++i) pixels += image.HistogramTable(i);
    EXPECT_EQ(pixels, 60 * 50);
    const std::int64_t colours = image.GetColorCount();
    image.SetRgn(Region::rectangle({3, 4, 1, 1}));
    EXPECT_EQ(image.GetColorCount(), 1);
    EXPECT_GT(colours, 1);
    ASSERT_EQ(image.GetHistogram(2), kWell);
    EXPECT_EQ(image.HistogramTable(image.Bitmap().pixel(3, 4).g), 1);
    EXPECT_EQ(image.GetHistogram(9), kParameter);
}

TEST(EngineOperations, planes_are_kept_until_the_next_separation) {
    Engine image;
    image.SetBitmap(pattern(20, 10, 24));
    ASSERT_EQ(image.ColorSeparate(1), kWell);
    for (int plane = 0; plane < 4; ++plane) EXPECT_EQ(image.ColorPlanes(plane).bits(), 8) << plane;
    EXPECT_TRUE(image.ColorPlanes(4).empty());
    EXPECT_TRUE(image.ColorPlanes(-1).empty());
    image.SetBitmap({});
    EXPECT_EQ(image.ColorSeparate(0), kNoBitmap);
    EXPECT_TRUE(image.ColorPlanes(0).empty());
}

TEST(EngineOperations, failures_leave_the_image) {
    Engine image;
    EXPECT_EQ(image.Invert(), kNoBitmap);
    image.SetBitmap(pattern(40, 30, 24));
    const Bitmap before = image.Bitmap();
    EXPECT_EQ(image.Grayscale(9), kParameter);
    EXPECT_EQ(image.Trim(100, 100, 5, 5), kParameter);
    EXPECT_EQ(image.Size(65'000, 65'000, 1), kSides);
    EXPECT_EQ(image.SpatialFilter(9999), kParameter);
    EXPECT_TRUE(same_pixels(image.Bitmap(), before));
}

// Esc goes through the waiting interface to the working threads.
TEST(EngineOperations, escape_stops_and_leaves_the_image) {
    Engine image;
    auto large = Bitmap::create(9000, 6000, 24, {});
    ASSERT_TRUE(large);
    image.SetBitmap(*large);
    QTimer esc;
    QObject::connect(&esc, &QTimer::timeout, [] {
        QKeyEvent press{QEvent::KeyPress, Qt::Key_Escape, Qt::NoModifier};
        QWindow target;
        QApplication::sendEvent(&target, &press);
    });
    esc.start(1);
    EXPECT_EQ(image.Median(63), kStopped);
    EXPECT_EQ(image.BitmapWidth(), 9000);
    esc.stop();
    EXPECT_EQ(image.Flip(), kWell) << "the next operation is not stopped";
}

}  // namespace
}  // namespace quillmark::tests
