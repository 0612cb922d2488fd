#include "engine/loading.h"

#include <algorithm>

namespace quillmark::engine {
namespace {

constexpr auto kEvery = std::chrono::milliseconds{60};

}  // namespace

Loading::Loading(bool paint, std::function<bool(std::int64_t, std::int64_t)> report,
                 std::function<void()> arrived)
    : paint_{paint}, report_{std::move(report)}, arrived_{std::move(arrived)} {}

void Loading::begin(const imaging::Bitmap& bitmap) {
    {
        const std::scoped_lock lock{mutex_};
        size_ = {bitmap.width(), bitmap.height()};
    }
    last_ = std::chrono::steady_clock::now();
    if (paint_) arrived_();
}

bool Loading::rows(const imaging::Bitmap& bitmap, int first, int last, std::int64_t done,
                   std::int64_t total) {
    if (paint_ && last > first) {
        {
            const std::scoped_lock lock{mutex_};
            const bool clean = dirty_first_ >= dirty_last_;
            dirty_first_ = clean ? first : std::min(dirty_first_, first);
            dirty_last_ = clean ? last : std::max(dirty_last_, last);
        }
        const auto now = std::chrono::steady_clock::now();
        if (now - last_ >= kEvery) {
            render_rows(bitmap);
            last_ = now;
            arrived_();
        }
    }
    return report_(done, total);
}

void Loading::render_rows(const imaging::Bitmap& bitmap) {
    const std::scoped_lock lock{mutex_};
    if (wanted_.exposed.isEmpty()) return;
    if (!(rendered_ == wanted_) || picture_.size() != wanted_.exposed.size()) {
        picture_ = QImage{wanted_.exposed.size(), QImage::Format_RGB32};
        if (picture_.isNull()) return;
        picture_.fill(Qt::lightGray);
        rendered_ = wanted_;
        dirty_first_ = 0;
    }
    const int first = std::max(0, rows_covered(bitmap, rendered_, dirty_first_) - 1);
    const int last = std::min(picture_.height(), rows_covered(bitmap, rendered_, dirty_last_));
    picture_.detach();
    render(bitmap, rendered_, picture_, first, last);
    dirty_first_ = dirty_last_;
}

QSize Loading::image_size() const {
    const std::scoped_lock lock{mutex_};
    return size_;
}

QImage Loading::picture(const RenderRequest& request) {
    const std::scoped_lock lock{mutex_};
    wanted_ = request;
    return rendered_ == request ? picture_ : QImage{};
}

}  // namespace quillmark::engine
