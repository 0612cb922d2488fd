// The status panel at the frame's bottom: five fields, one of which gives way to the progress gauge, and one
// more while there is a selection.
#pragma once

#include <QLabel>
#include <QProgressBar>
#include <QStackedWidget>
#include <QWidget>

#include "imaging/region.h"

namespace quillmark::program {

/// Named Picture2 in the widget tree.
class StatusBar final : public QWidget {
    Q_OBJECT

  public:
    explicit StatusBar(QWidget* parent = nullptr);

    QLabel* StatFileName;
    QLabel* StatWidthHeight;
    QLabel* StatBPP;
    QLabel* StatZoom;
    QLabel* StatSize;
    QLabel* selection;  ///< size and position of the selection; not there without one
    QProgressBar* StatGauge;

    /// The gauge takes the place of the file-name field, empty; or the other way round.
    void show_gauge(bool on);
    /// Fill of the gauge, 0 to 100.
    void set_gauge(int percent);
    /// Shows size and position of a selection ("120x80 at 10, 20"), or none when it is empty.
    void show_selection(const imaging::Rect& bounds);
    /// Empties the fields.
    void clear();

  private:
    QStackedWidget* first_;
};

}  // namespace quillmark::program
