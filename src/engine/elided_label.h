// One line of plain text that is shortened in the middle where it does not fit; text() stays whole, for tips
// and assistive technology.
#pragma once

#include <QLabel>

namespace quillmark::engine {

class ElidedLabel : public QLabel {
  public:
    explicit ElidedLabel(QWidget* parent) : QLabel{parent} { setTextFormat(Qt::PlainText); }

  protected:
    void paintEvent(QPaintEvent* event) override;
};

}  // namespace quillmark::engine
