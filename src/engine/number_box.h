// A spin box that keeps what was typed, also where it cannot be taken, and says why.
#pragma once

#include <QAbstractSpinBox>

#include "engine/parameter_text.h"

namespace quillmark::engine {

class NumberBox : public QAbstractSpinBox {
    Q_OBJECT
    // As assistive technology reads it.
    Q_PROPERTY(double value READ shown_value)
    Q_PROPERTY(double minimum READ shown_low)
    Q_PROPERTY(double maximum READ shown_high)

  public:
    /// Values low to high, in the engine's units.
    NumberBox(int low, int high, const Notation& notation, QWidget* parent);

    /// The last value that could be taken.
    int value() const { return value_; }
    /// Writes a value, clamped to the range, and emits edited when the text changes.
    void set_value(int value);
    /// Why the text cannot be taken; empty when it can.
    const QString& reason() const { return reason_; }
    int low() const { return low_; }
    int high() const { return high_; }
    QString text_of(int value) const { return value_text(value, notation_.decimals); }

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override { return sizeHint(); }
    QValidator::State validate(QString&, int&) const override { return QValidator::Acceptable; }
    void stepBy(int steps) override;

  signals:
    /// The text changed: value or reason may be new.
    void edited();

  protected:
    StepEnabled stepEnabled() const override;

  private:
    void read_text();
    QString reason_for(std::optional<int> typed) const;
    double shown_value() const { return text_of(value_).toDouble(); }
    double shown_low() const { return text_of(low_).toDouble(); }
    double shown_high() const { return text_of(high_).toDouble(); }

    int low_, high_;
    Notation notation_;
    int value_;
    QString reason_;
};

}  // namespace quillmark::engine
