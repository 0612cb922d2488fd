// The histogram of an open image, as a chart of one line per level.
#pragma once

#include <QDialog>
#include <QLineF>
#include <QWidget>
#include <array>
#include <cstdint>

#include "program/frame_face.h"

class QButtonGroup;
class QComboBox;
class QLabel;

namespace quillmark::operations {

/// The chart, in a user scale of 270 x 100 units whose left edge is at -5: level i stands at x = i.
class HistogramChart final : public QWidget {
    Q_OBJECT

  public:
    static constexpr int kLevels = 256;
    using Table = std::array<std::int64_t, kLevels>;

    explicit HistogramChart(QWidget* parent);
    /// The line of the most frequent level reaches from 98 up to 4; without any pixel all lines are flat.
    void draw(const Table& table);
    QLineF TheLine(int level) const;
    QSize sizeHint() const override;

  signals:
    void level_pointed(int level);  ///< -1: none any more

  protected:
    void paintEvent(QPaintEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void leaveEvent(QEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;

  private:
    void point_at(int level);

    Table table_{};
    std::int64_t max_ = 0;
    int pointed_ = -1;
};

class Histogram final : public QDialog {
    Q_OBJECT

  public:
    explicit Histogram(program::FrameFace& frame, QWidget* parent = nullptr);
    HistogramChart& TheHist() { return *chart_; }

  private:
    void build();
    QWidget* build_channels();
    void Form_Load();
    void FilterBox_Click();
    void Channel_Click(int channel);
    void show_readout(int level);

    program::FrameFace& frame_;
    QComboBox* filter_box_;
    QButtonGroup* channels_;
    HistogramChart* chart_;
    QLabel* readout_;
    HistogramChart::Table table_{};
};

}  // namespace quillmark::operations
