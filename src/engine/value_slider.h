// A slider over an engine value. Where the range spans orders of magnitude its lower end gets more room.
#pragma once

#include <QSlider>

namespace quillmark::engine {

class ValueSlider : public QSlider {
    Q_OBJECT

  public:
    /// Values low to high; step is what an arrow key adds.
    ValueSlider(int low, int high, int step, QWidget* parent);
    /// Shows a value without emitting moved.
    void show_value(int value);

  signals:
    /// The user moved the slider to a value.
    void moved(int value);

  private:
    int value_at(int position) const;
    int position_of(int value) const;
    void take_step(int action);

    int low_, high_, step_;
    int shown_;
    bool geometric_;
};

}  // namespace quillmark::engine
