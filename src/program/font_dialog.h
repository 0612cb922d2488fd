// Asks for the font of inserted text and its colour.
#pragma once

#include <QColor>
#include <QDialog>
#include <QFont>

class QCheckBox;
class QFontComboBox;
class QLineEdit;
class QSpinBox;

namespace quillmark::engine {
class ColourButton;
}

namespace quillmark::program {

class FontDialog : public QDialog {
    Q_OBJECT

  public:
    FontDialog(const QFont& font, const QColor& colour, QWidget* parent);
    /// Family, point size (1 to 255), bold and italic.
    QFont chosen_font() const;
    QColor chosen_colour() const;

  private:
    void build();
    void show_sample();

    QFontComboBox* family_;
    QSpinBox* size_;
    QCheckBox* bold_;
    QCheckBox* italic_;
    engine::ColourButton* colour_;
    QLineEdit* sample_;
};

}  // namespace quillmark::program
