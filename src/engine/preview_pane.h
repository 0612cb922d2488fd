// One picture of a preview pair: shows what it was given, follows a drag until the next picture arrives.
#pragma once

#include <QWidget>

#include "engine/trial.h"

namespace quillmark::engine {

class PreviewPane : public QWidget {
    Q_OBJECT

  public:
    PreviewPane(const QString& name, QWidget* parent);

    QSize device_size() const { return (QSizeF{size()} * devicePixelRatioF()).toSize(); }
    void show_picture(const TrialPicture& picture, const TrialView& view);
    /// Says something in place of a picture (plain text).
    void show_remark(const QString& remark);
    /// The view is now another: a one-to-one picture moves along.
    void set_view(const TrialView& view);
    const TrialPicture& picture() const { return picture_; }

    QSize sizeHint() const override { return {360, 280}; }
    QSize minimumSizeHint() const override { return {200, 150}; }

  signals:
    /// Dragged, or moved by the arrow keys: device pixels.
    void panned(QPoint by);
    void double_clicked(QPoint at);

  protected:
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void mouseDoubleClickEvent(QMouseEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;

  private:
    void choose_pointer();

    TrialPicture picture_;
    TrialView shown_, wanted_;
    QString remark_;
    QPointF grabbed_;
    bool dragging_ = false;
};

}  // namespace quillmark::engine
