// A button that shows a colour and asks for another one.
#pragma once

#include <QColor>
#include <QPushButton>

namespace quillmark::engine {

class ColourButton : public QPushButton {
    Q_OBJECT

  public:
    ColourButton(const QString& caption, const QColor& colour, QWidget* parent);
    const QColor& colour() const { return colour_; }
    void set_colour(const QColor& colour);

  signals:
    void colour_changed();

  private:
    void ask();
    QColor colour_;
};

}  // namespace quillmark::engine
