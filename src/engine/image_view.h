// Shows one Engine: scrolls, zooms, paints while an image arrives, and reports the mouse.
#pragma once

#include <QAbstractScrollArea>
#include <QImage>

#include "engine/display.h"
#include "engine/engine.h"
#include "engine/render.h"
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

  signals:
    /// button: 1 left, 2 right, 4 middle. shift: 1 Shift, 2 Ctrl, 4 Alt. Positions in the engine's ScaleMode.
    void MouseDown(int button, int shift, double x, double y);
    void MouseMove(int button, int shift, double x, double y);
    void MouseUp(int button, int shift, double x, double y);
    /// Ctrl and the wheel: steps up (in) or down (out).
    void zoom_wheel(int steps);
    void menu_key();  ///< the keyboard's key for the context menu

  protected:
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void scrollContentsBy(int dx, int dy) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
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

    Engine& engine_;
    QRectF dst_;
    QImage cache_;
    RenderRequest cached_;
    bool stale_ = true;
    bool transition_due_ = false;
    TransitionPlayer transition_;
};

}  // namespace quillmark::engine
