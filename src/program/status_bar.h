// The status panel at the frame's bottom: five fields, one of which gives way to the progress gauge.
#pragma once

#include <QLabel>
#include <QProgressBar>
#include <QStackedWidget>
#include <QWidget>

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
    QProgressBar* StatGauge;

    /// The gauge takes the place of the file-name field, empty; or the other way round.
    void show_gauge(bool on);
    /// Fill of the gauge, 0 to 100.
    void set_gauge(int percent);
    /// Empties the five fields.
    void clear();

  private:
    QStackedWidget* first_;
};

}  // namespace quillmark::program
