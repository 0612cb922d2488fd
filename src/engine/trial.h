// What an operation would do to the part of an image that a preview shows: quickly and roughly where the
// image is large, or exactly.
#pragma once

#include <QImage>
#include <QPoint>
#include <QSize>
#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

#include "imaging/ops/operation.h"

namespace quillmark::engine {

struct TrialSubject {
    const imaging::Operation* operation = nullptr;
    imaging::Bitmap bitmap;
    std::optional<imaging::Region> region;
    imaging::Rect visible;   ///< what a fitted view shows; empty: everything
    bool keeps_size = true;  ///< the result lies where the image lies
};

/// What a pane shows. Device pixels, image pixels.
struct TrialView {
    bool fit = true;  ///< the visible part as large as the pane allows; otherwise one to one
    QPoint centre;    ///< one to one: the image pixel in the middle of the pane
    QSize pane;
    friend bool operator==(const TrialView&, const TrialView&) = default;
};

struct TrialPicture {
    QImage image;  ///< RGB32, device pixels
    QPoint place;  ///< its top left corner in the pane
};

struct TrialOutcome {
    TrialPicture picture;
    bool complete =
        false;  ///< nothing better follows: the pixels of the final result (reduced where the view is)
    bool approximate = false;  ///< may visibly differ from the final result
    QString remark;            ///< why there is no picture
};

/// Which part of an image of that size a view shows (part: image pixels), and where (place: pane pixels).
struct TrialPlacement {
    imaging::Rect part;
    QRect place;
};
TrialPlacement placement(const TrialView& view, QSize image, const imaging::Rect& visible);

/// Asked from any thread. What serves every answer (statistics, the reduced copy, the last whole result) is
/// worked out once and kept.
class Trial {
  public:
    using Stop = std::function<bool()>;

    explicit Trial(TrialSubject subject);

    /// The image itself.
    TrialPicture before(const TrialView& view) const;
    /// The operation at the price of what is shown. Nothing when stopped.
    std::optional<TrialOutcome> quick(const std::vector<int>& arguments, const TrialView& view,
                                      const Stop& stop);
    /// The operation on all pixels that are shown. Nothing when stopped, or when it would take too much
    /// memory.
    std::optional<TrialOutcome> exact(const std::vector<int>& arguments, const TrialView& view,
                                      const Stop& stop);
    /// Otherwise an exact answer takes the whole image, whatever is shown of it.
    bool acts_on_pixels() const { return subject_.operation->scope == imaging::Scope::pixels; }
    /// How many pixels around itself a result pixel depends on.
    int reach(const std::vector<int>& arguments) const;

  private:
    struct Reduced {
        imaging::Bitmap bitmap;
        std::optional<imaging::Region> region;
        QSize size;
    };
    using Pixels = imaging::Result<imaging::Bitmap>;

    QSize image_size() const { return {subject_.bitmap.width(), subject_.bitmap.height()}; }
    const imaging::Region* region() const { return subject_.region ? &*subject_.region : nullptr; }
    imaging::Context context(const Stop& stop) const;
    const imaging::Statistics* statistics();
    std::optional<imaging::Bitmap> kept_result(const std::vector<int>& arguments);
    void keep_result(const std::vector<int>& arguments, const imaging::Bitmap& result);
    Reduced reduced(const TrialPlacement& shown);
    Pixels on_part(const std::vector<int>& arguments, const TrialPlacement& shown, const Stop& stop);
    Pixels on_reduced(const std::vector<int>& arguments, const TrialPlacement& shown, const Stop& stop);
    TrialOutcome shown_part(const Pixels& part, const TrialPlacement& shown, bool complete) const;
    TrialOutcome shown_whole(const imaging::Bitmap& whole, const TrialView& view) const;
    TrialOutcome shown_turned(const Pixels& small, const TrialView& view, double scale) const;

    TrialSubject subject_;
    std::mutex statistics_mutex_, reduced_mutex_, result_mutex_;
    std::optional<imaging::Statistics> statistics_;
    Reduced reduced_;
    std::vector<int> result_arguments_;
    imaging::Bitmap result_;
};

}  // namespace quillmark::engine
