#include "engine/number_box.h"

#include <QLineEdit>
#include <QStyleOptionSpinBox>
#include <algorithm>

namespace quillmark::engine {

NumberBox::NumberBox(int low, int high, const Notation& notation, QWidget* parent)
    : QAbstractSpinBox{parent}, low_{low}, high_{high}, notation_{notation}, value_{low} {
    setKeyboardTracking(false);
    setAccelerated(true);
    lineEdit()->setText(text_of(value_));
    connect(lineEdit(), &QLineEdit::textChanged, this, &NumberBox::read_text);
    connect(this, &QAbstractSpinBox::editingFinished, this, [this] {
        if (reason_.isEmpty()) lineEdit()->setText(text_of(value_));
    });
}

void NumberBox::set_value(int value) { lineEdit()->setText(text_of(std::clamp(value, low_, high_))); }

void NumberBox::read_text() {
    const auto typed = value_in(lineEdit()->text(), notation_.decimals);
    reason_ = reason_for(typed);
    if (reason_.isEmpty()) value_ = *typed;
    emit edited();
}

QString NumberBox::reason_for(std::optional<int> typed) const {
    if (!typed) return tr("Not a number: enter %1 to %2").arg(text_of(low_), text_of(high_));
    if (*typed < low_) return tr("Too small: the least is %1").arg(text_of(low_));
    if (*typed > high_) return tr("Too large: the most is %1").arg(text_of(high_));
    return {};
}

void NumberBox::stepBy(int steps) {
    // In 64 bits: accelerated steps over a wide range must not wrap around.
    const std::int64_t target = value_ + std::int64_t{steps} * notation_.step;
    set_value(static_cast<int>(std::clamp<std::int64_t>(target, low_, high_)));
    selectAll();
}

QAbstractSpinBox::StepEnabled NumberBox::stepEnabled() const {
    StepEnabled enabled = StepNone;
    if (value_ < high_) enabled |= StepUpEnabled;
    if (value_ > low_) enabled |= StepDownEnabled;
    return enabled;
}

QSize NumberBox::sizeHint() const {
    ensurePolished();
    const int longest = std::max(fontMetrics().horizontalAdvance(text_of(low_)),
                                 fontMetrics().horizontalAdvance(text_of(high_)));
    QStyleOptionSpinBox option;
    initStyleOption(&option);
    const QSize content{longest + fontMetrics().horizontalAdvance(QStringLiteral("00")),
                        lineEdit()->sizeHint().height()};
    return style()->sizeFromContents(QStyle::CT_SpinBox, &option, content, this);
}

}  // namespace quillmark::engine
