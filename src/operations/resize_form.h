// The form that asks for an image's new size.
#pragma once

#include <QDialog>
#include <array>

class QCheckBox;
class QLabel;
class QLineEdit;
class QScrollBar;

namespace quillmark::operations {

/// Each side has a scroll bar and a text box that follow each other. Moving a bar keeps the aspect ratio
/// where that is asked for; typing changes its own side only.
class Resize final : public QDialog {
    Q_OBJECT

  public:
    struct Results {
        bool ok = false;
        int width = 0, height = 0;
        bool resample = false;
    };

    Resize(int bitmap_width, int bitmap_height, QWidget* parent = nullptr);

    void InitTheForm(int mode);
    Results GetResults() const;
    /// Only when both boxes hold values within their bars' ranges; else the form stays open.
    void accept() override;

  private:
    enum Which { kWidth = 0, kHeight = 1 };
    struct Side {
        QScrollBar* bar;
        QLineEdit* box;
        QLabel* hint;
        int bitmap;                   ///< pixels of the image
        bool bar_writes_box = false;  ///< the box's change is an echo
        bool box_writes_bar = false;  ///< the bar's change is an echo
    };

    QWidget* build_side(Which which, const QString& caption);
    void bar_changed(Which which);
    void box_changed(Which which);
    void aspect_clicked();
    /// The other side's length that keeps the image's proportions.
    int matching(Which which, int length) const;
    bool box_valid(const Side& side) const;
    void write_box(Side& side);
    void show_hint(const Side& side);
    int highest_bar() const;

    std::array<Side, 2> sides_;
    QCheckBox* aspect_;
    QCheckBox* resample_;
    bool accepted_ = false;
};

}  // namespace quillmark::operations
