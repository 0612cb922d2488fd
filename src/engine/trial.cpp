#include "engine/trial.h"

#include <algorithm>
#include <cmath>

#include "engine/render.h"
#include "imaging/ops/histogram.h"
#include "imaging/ops/resize.h"
#include "imaging/result_codes.h"
#include "text/messages.h"

namespace quillmark::engine {
namespace {

using imaging::Bitmap;
using imaging::Rect;

constexpr double kLargestScale = 16;                    // of a fitted view
constexpr std::int64_t kMostExactPixels = 100'000'000;  // beyond these an exact answer takes too much memory

Rect whole(QSize size) { return {0, 0, size.width(), size.height()}; }

std::int64_t pixel_count(const Rect& rect) { return std::int64_t{rect.width} * rect.height; }

TrialPlacement fitted(QSize pane, const Rect& part) {
    const double scale = std::min({static_cast<double>(pane.width()) / part.width,
                                   static_cast<double>(pane.height()) / part.height, kLargestScale});
    const QSize size{std::max(1, static_cast<int>(std::lround(part.width * scale))),
                     std::max(1, static_cast<int>(std::lround(part.height * scale)))};
    return {part, {QPoint{(pane.width() - size.width()) / 2, (pane.height() - size.height()) / 2}, size}};
}

TrialPlacement one_to_one(const TrialView& view, QSize image) {
    const int left = view.centre.x() - view.pane.width() / 2, top = view.centre.y() - view.pane.height() / 2;
    const Rect part = Rect{left, top, view.pane.width(), view.pane.height()}.intersected(whole(image));
    if (part.empty()) return {};
    return {part, {part.x - left, part.y - top, part.width, part.height}};
}

bool is_reduced(const TrialPlacement& shown) { return shown.place.width() < shown.part.width; }

// The part of bitmap that belongs to shown, as it appears.
TrialPicture drawn(const Bitmap& bitmap, const TrialPlacement& shown) {
    if (bitmap.empty() || shown.place.isEmpty()) return {};
    const double x = static_cast<double>(shown.place.width()) / shown.part.width,
                 y = static_cast<double>(shown.place.height()) / shown.part.height;
    const QRectF dst{shown.place.x() - shown.part.x * x, shown.place.y() - shown.part.y * y,
                     bitmap.width() * x, bitmap.height() * y};
    return {render(bitmap, {dst, shown.place, BitonalScale::to_gray}), shown.place.topLeft()};
}

TrialOutcome refused(const imaging::Error& error) {
    TrialOutcome outcome;
    outcome.complete = true;
    outcome.remark = QString::fromStdString(text::error_message(imaging::result_code(error)));
    return outcome;
}

// A pane without room, or beside the image.
TrialOutcome nothing_shown() {
    TrialOutcome outcome;
    outcome.complete = true;
    return outcome;
}

bool stopped(const imaging::Result<Bitmap>& result) {
    return !result && result.error().fault == imaging::Fault::cancelled;
}

// The part at another size, every pixel the mean of those it stands for.
imaging::Result<Bitmap> resized(const Bitmap& bitmap, const Rect& part, QSize size) {
    const bool all = part == Rect{0, 0, bitmap.width(), bitmap.height()};
    const auto cut = all ? imaging::Result<Bitmap>{bitmap} : imaging::cropped(bitmap, part, {});
    if (!cut) return cut;
    return imaging::resize(*cut, size.width(), size.height(), imaging::ResizeFilter::area, {});
}

// A region of the part at another size: pixels whose centres lie inside.
imaging::Region resized(const imaging::Region& region, const Rect& part, QSize size) {
    return imaging::Region::where(whole(size), [&](int x, int y) {
        return region.contains(
            part.x + static_cast<int>((2 * x + 1) * std::int64_t{part.width} / (2 * size.width())),
            part.y + static_cast<int>((2 * y + 1) * std::int64_t{part.height} / (2 * size.height())));
    });
}

}  // namespace

TrialPlacement placement(const TrialView& view, QSize image, const Rect& visible) {
    if (image.isEmpty() || view.pane.isEmpty()) return {};
    if (!view.fit) return one_to_one(view, image);
    const Rect part = visible.intersected(whole(image));
    return fitted(view.pane, part.empty() ? whole(image) : part);
}

Trial::Trial(TrialSubject subject) : subject_{std::move(subject)} {
    // A turned image has nothing at the place of the part that is visible now.
    if (!subject_.keeps_size) subject_.visible = {};
}

TrialPicture Trial::before(const TrialView& view) const {
    return drawn(subject_.bitmap, placement(view, image_size(), subject_.visible));
}

int Trial::reach(const std::vector<int>& arguments) const {
    return subject_.operation->reach ? subject_.operation->reach(arguments) : 0;
}

imaging::Context Trial::context(const Stop& stop) const {
    imaging::Context context;
    context.progress = [stop](std::int64_t, std::int64_t) { return !stop(); };
    return context;
}

const imaging::Statistics* Trial::statistics() {
    if (!subject_.operation->statistics) return nullptr;
    const std::scoped_lock lock{statistics_mutex_};
    if (!statistics_) {
        auto counted =
            imaging::gather_statistics(subject_.bitmap, region(), subject_.operation->statistics, {});
        if (!counted) return nullptr;
        statistics_ = std::move(*counted);
    }
    return &*statistics_;
}

Trial::Reduced Trial::reduced(const TrialPlacement& shown) {
    const std::scoped_lock lock{reduced_mutex_};
    if (reduced_.size != shown.place.size()) {
        reduced_.size = shown.place.size();
        auto copy = resized(subject_.bitmap, shown.part, reduced_.size);
        reduced_.bitmap = copy ? std::move(*copy) : Bitmap{};
        reduced_.region.reset();
        if (subject_.region) reduced_.region = resized(*subject_.region, shown.part, reduced_.size);
    }
    return reduced_;
}

std::optional<Bitmap> Trial::kept_result(const std::vector<int>& arguments) {
    const std::scoped_lock lock{result_mutex_};
    if (result_.empty() || result_arguments_ != arguments) return std::nullopt;
    return result_;
}

void Trial::keep_result(const std::vector<int>& arguments, const Bitmap& result) {
    const std::scoped_lock lock{result_mutex_};
    result_arguments_ = arguments;
    result_ = result;
}

Trial::Pixels Trial::on_part(const std::vector<int>& arguments, const TrialPlacement& shown,
                             const Stop& stop) {
    imaging::Context part_context = context(stop);
    part_context.statistics = statistics();
    if (acts_on_pixels())
        return imaging::apply_part(*subject_.operation, subject_.bitmap, arguments, region(), shown.part,
                                   part_context);
    const auto part =
        imaging::cropped(subject_.bitmap, shown.part, part_context.limits, part_context.progress);
    if (!part) return part;
    part_context.origin_x = shown.part.x;
    part_context.origin_y = shown.part.y;
    return imaging::apply(*subject_.operation, *part, arguments, nullptr, part_context);
}

// Sizes in pixels shrink with the copy, so that what is seen keeps its proportions.
Trial::Pixels Trial::on_reduced(const std::vector<int>& arguments, const TrialPlacement& shown,
                                const Stop& stop) {
    const Reduced copy = reduced(shown);
    const double scale = static_cast<double>(shown.place.width()) / shown.part.width;
    std::vector<int> scaled = arguments;
    for (std::size_t i = 0; i < scaled.size(); ++i) {
        const imaging::Parameter& parameter = subject_.operation->parameters[i];
        if (parameter.unit == "pixels")
            scaled[i] = std::max(parameter.low, static_cast<int>(std::lround(scaled[i] * scale)));
    }
    imaging::Context small = context(stop);
    small.statistics = statistics();
    small.origin_x = static_cast<int>(std::lround(shown.part.x * scale));
    small.origin_y = static_cast<int>(std::lround(shown.part.y * scale));
    return imaging::apply(*subject_.operation, copy.bitmap, scaled, copy.region ? &*copy.region : nullptr,
                          small);
}

TrialOutcome Trial::shown_part(const Pixels& part, const TrialPlacement& shown, bool complete) const {
    if (!part) return refused(part.error());
    TrialOutcome outcome;
    outcome.picture = drawn(*part, {{0, 0, part->width(), part->height()}, shown.place});
    outcome.complete = complete;
    return outcome;
}

TrialOutcome Trial::shown_whole(const Bitmap& result, const TrialView& view) const {
    TrialView moved = view;
    const QSize size{result.width(), result.height()};
    // The same distance from the middle.
    moved.centre +=
        QPoint{(size.width() - image_size().width()) / 2, (size.height() - image_size().height()) / 2};
    TrialOutcome outcome;
    outcome.picture = drawn(result, placement(moved, size, subject_.visible));
    outcome.complete = true;
    return outcome;
}

// A result of the copy that was reduced by scale, shown as large as the real one will be.
TrialOutcome Trial::shown_turned(const Pixels& small, const TrialView& view, double scale) const {
    if (!small) return refused(small.error());
    TrialOutcome outcome;
    outcome.approximate = !view.fit;
    const QSize size{small->width(), small->height()};
    if (view.fit) {
        outcome.picture = drawn(*small, fitted(view.pane, whole(size)));
        return outcome;
    }
    const QPointF offset =
        QPointF{view.centre} - QPointF{image_size().width() / 2.0, image_size().height() / 2.0};
    const QSizeF full = QSizeF{size} / scale;
    const QRectF dst{view.pane.width() / 2.0 - full.width() / 2 - offset.x(),
                     view.pane.height() / 2.0 - full.height() / 2 - offset.y(), full.width(), full.height()};
    const QRect place = dst.toAlignedRect().intersected(QRect{QPoint{}, view.pane});
    if (!place.isEmpty())
        outcome.picture = {render(*small, {dst, place, BitonalScale::to_gray}), place.topLeft()};
    return outcome;
}

std::optional<TrialOutcome> Trial::quick(const std::vector<int>& arguments, const TrialView& view,
                                         const Stop& stop) {
    const TrialPlacement shown = placement(view, image_size(), subject_.visible);
    if (shown.part.empty()) return nothing_shown();
    if (!acts_on_pixels()) {
        if (const auto kept = kept_result(arguments)) return shown_whole(*kept, view);
    }
    if (!subject_.keeps_size) {
        TrialView all = view;
        all.fit = true;
        TrialPlacement fit = placement(all, image_size(), {});
        if (!is_reduced(fit)) fit.place = {0, 0, fit.part.width, fit.part.height};
        const Pixels result = on_reduced(arguments, fit, stop);
        if (stopped(result)) return std::nullopt;
        return shown_turned(result, view, static_cast<double>(fit.place.width()) / fit.part.width);
    }
    const bool rough = is_reduced(shown);
    const Pixels result = rough ? on_reduced(arguments, shown, stop) : on_part(arguments, shown, stop);
    if (stopped(result)) return std::nullopt;
    TrialOutcome outcome = shown_part(result, shown, acts_on_pixels() && !rough);
    outcome.approximate = !outcome.complete && (!acts_on_pixels() || reach(arguments) > 0);
    return outcome;
}

std::optional<TrialOutcome> Trial::exact(const std::vector<int>& arguments, const TrialView& view,
                                         const Stop& stop) {
    const TrialPlacement shown = placement(view, image_size(), subject_.visible);
    if (pixel_count(acts_on_pixels() ? shown.part : whole(image_size())) > kMostExactPixels)
        return std::nullopt;
    if (acts_on_pixels()) {
        if (shown.part.empty()) return nothing_shown();
        const Pixels result = on_part(arguments, shown, stop);
        if (stopped(result)) return std::nullopt;
        return shown_part(result, shown, true);
    }
    if (const auto kept = kept_result(arguments)) return shown_whole(*kept, view);
    imaging::Context all = context(stop);
    all.statistics = statistics();
    const Pixels result = imaging::apply(*subject_.operation, subject_.bitmap, arguments, region(), all);
    if (stopped(result)) return std::nullopt;
    if (!result) return refused(result.error());
    keep_result(arguments, *result);
    return shown_whole(*result, view);
}

}  // namespace quillmark::engine
