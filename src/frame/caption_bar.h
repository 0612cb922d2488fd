// The frame's own caption: a gradient with the caption text, and the buttons and drags that people expect of
// one.
#pragma once

#include <QColor>
#include <QRect>
#include <QString>
#include <QToolButton>
#include <QWidget>

namespace quillmark::frame {

/// Messages that reach the painter, under their numbers.
enum CaptionMessage : int { kNonClientPaint = 133, kNonClientActivate = 134, kSystemCommand = 274 };
/// System commands with the low four bits cleared.
enum SystemCommand : int { kMinimize = 61472, kRestore = 61728 };

class CaptionBar final : public QWidget {
    Q_OBJECT

  public:
    explicit CaptionBar(QWidget* frame);

    /// The text that is painted; empty paints nothing but the buttons.
    void set_text(const QString& text);
    /// Whether the frame is minimised: messages are then ignored.
    void set_minimized(bool minimized) { minimized_ = minimized; }

    /// What the frame's non-client events come down to. wparam: activation (0 or 1), or the system command.
    void OnCaptionMessage(int message, int wparam);
    /// Paints the bar: 128 bands from the full colour at the left to black at the right, the text over it.
    static void PaintGradientCaption(QPainter& painter, const QRect& bar, const QString& text,
                                     const QColor& colour, const QColor& text_colour);
    bool active() const { return active_; }

    QSize sizeHint() const override;

  signals:
    void menu_requested(QPoint global);

  protected:
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void mouseDoubleClickEvent(QMouseEvent* event) override;
    void contextMenuEvent(QContextMenuEvent* event) override;
    void changeEvent(QEvent* event) override;

  private:
    QToolButton* add_button(const QString& name, int picture);
    void toggle_maximized();
    void update_pictures();

    QString text_;
    bool active_ = true;
    bool minimized_ = false;
    bool busy_ = false;  // guards against re-entry
    bool pressed_ = false, moving_by_hand_ = false;
    QPoint press_global_, press_window_;
    QToolButton *minimize_, *maximize_, *close_;
};

}  // namespace quillmark::frame
