// Shows one Engine: scrolls, zooms, paints while an image arrives, reports the mouse and draws selections.
#pragma once

#include <QAbstractScrollArea>
#include <QBasicTimer>
#include <QImage>

#include "engine/display.h"
#include "engine/engine.h"
#include "engine/region_tracker.h"
#include "engine/render.h"
#include "engine/selection_painter.h"
#include "engine/transition_player.h"

namespace quillmark::engine {

class ImageView final : public QAbstractScrollArea {
    Q_OBJECT

  public:
    explicit ImageView(Engine& engine, QWidget* parent = nullptr);

    QSize sizeHint() const override;
    /// Device-independent size whose viewport holds width x height device pixels exactly.
    QSizeF size_for_image(int width, int height) const;
    /// On the screen: the middle of the part that can be seen.
    QPoint middle_seen() const;
    /// The pixels of the image that can be seen, also in part.
    imaging::Rect visible_pixels() const;
    /// The bounds of the selection that is being drawn; empty when none is.
    imaging::Rect tracked_bounds() const { return tracker_.region().bounds(); }

  signals:
    /// button: 1 left, 2 right, 4 middle. shift: 1 Shift, 2 Ctrl, 4 Alt. Positions are whole device pixels,
    /// whatever ScaleMode says: handlers switch it back and forth, and a drag is measured in one unit.
    /// When a press leaves a RgnTracking shape behind, the view draws it until the release, and sets the
    /// region before it reports the release.
    void MouseDown(int button, int shift, double x, double y);
    void MouseMove(int button, int shift, double x, double y);
    void MouseUp(int button, int shift, double x, double y);
    /// Ctrl and the wheel: steps up (in) or down (out).
    void zoom_wheel(int steps);
    void menu_key();  ///< the keyboard's key for the context menu
    void tracked();   ///< tracked_bounds has changed
    /// An arrow key while there is a region: bitmap pixels, 10 at a time with Shift.
    void nudge(int dx, int dy);

  protected:
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void scrollContentsBy(int dx, int dy) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void mouseDoubleClickEvent(QMouseEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void showEvent(QShowEvent* event) override;
    void timerEvent(QTimerEvent* event) override;
    void wheelEvent(QWheelEvent* event) override;
    void contextMenuEvent(QContextMenuEvent* event) override;
    bool viewportEvent(QEvent* event) override;

  private:
    QSize image_size() const;
    QSize view_size() const;  // device pixels
    DisplayRequest request() const;
    void update_layout();
    void image_changed();
    RenderRequest render_request() const;
    QRect visible_part() const;  // device pixels
    void draw(QPainter& painter, const QImage& image, QPoint at);
    QColor surround() const;  // around the image, and the sheet before it
    void refresh_cache(const RenderRequest& wanted);
    void begin_transition(const QImage& shown);
    QPointF pixel_offset() const;
    QPointF device_position(const QMouseEvent& event) const;
    void draw_selection(QPainter& painter);
    void region_changed();
    void march();
    void stop_tracking();
    void show_pointer();

    Engine& engine_;
    QRectF dst_;
    QImage cache_;
    RenderRequest cached_;
    bool stale_ = true;
    bool transition_due_ = false;
    TransitionPlayer transition_;
    RegionTracker tracker_;
    SelectionPainter selection_;
    QBasicTimer marching_;
};

}  // namespace quillmark::engine
