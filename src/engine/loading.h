// The image that is arriving: rows are rendered for the screen on the decoding thread, a few times a second,
// so that the interface never touches pixels that are being written.
#pragma once

#include <QImage>
#include <QSize>
#include <chrono>
#include <functional>
#include <mutex>

#include "engine/render.h"
#include "imaging/codec.h"

namespace quillmark::engine {

class Loading final : public imaging::RowSink {
  public:
    /// report: done of total, false to stop. arrived: called on the decoding thread when there is more to
    /// show. paint off: only progress is reported.
    Loading(bool paint, std::function<bool(std::int64_t, std::int64_t)> report,
            std::function<void()> arrived);

    void begin(const imaging::Bitmap& bitmap) override;
    bool rows(const imaging::Bitmap& bitmap, int first, int last, std::int64_t done,
              std::int64_t total) override;

    // Called by the view, on the interface's thread.
    /// Size of the image once known, else empty.
    QSize image_size() const;
    /// What has been rendered for this request so far; null when nothing yet. Remembers the request for the
    /// rows to come.
    QImage picture(const RenderRequest& request);

  private:
    void render_rows(const imaging::Bitmap& bitmap);

    const bool paint_;
    std::function<bool(std::int64_t, std::int64_t)> report_;
    std::function<void()> arrived_;
    std::chrono::steady_clock::time_point last_{};

    mutable std::mutex mutex_;  // guards what follows
    QSize size_;
    RenderRequest wanted_, rendered_;
    QImage picture_;
    int rows_rendered_ = 0;                 // exposed rows that are final
    int dirty_first_ = 0, dirty_last_ = 0;  // source rows that arrived since the last rendering
};

}  // namespace quillmark::engine
