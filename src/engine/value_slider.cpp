#include "engine/value_slider.h"

#include <QSignalBlocker>
#include <algorithm>
#include <cmath>

namespace quillmark::engine {
namespace {

constexpr int kGeometricFrom = 50;        // high / low from which equal ratios get equal room
constexpr int kGeometricSteps = 100'000;  // so many that every value has a position of its own
constexpr int kPage = 10;                 // steps

}  // namespace

ValueSlider::ValueSlider(int low, int high, int step, QWidget* parent)
    : QSlider{Qt::Horizontal, parent},
      low_{low},
      high_{high},
      step_{step},
      shown_{low},
      geometric_{low > 0 && high / low >= kGeometricFrom} {
    if (geometric_) {
        setRange(0, kGeometricSteps);
        setSingleStep(kGeometricSteps / 100);  // the wheel's
    } else {
        setRange(low, high);
        setSingleStep(step);
    }
    setMinimumWidth(220);
    connect(this, &QSlider::actionTriggered, this, &ValueSlider::take_step);
    connect(this, &QSlider::valueChanged, this, [this](int position) {
        shown_ = value_at(position);
        emit moved(shown_);
    });
}

void ValueSlider::show_value(int value) {
    shown_ = value;
    if (value_at(this->value()) == value) return;  // it stays under the mouse that is dragging it
    const QSignalBlocker quiet{this};
    setValue(position_of(value));
}

int ValueSlider::value_at(int position) const {
    if (!geometric_) return position;
    const double ratio = static_cast<double>(high_) / low_;
    return static_cast<int>(
        std::lround(low_ * std::pow(ratio, static_cast<double>(position) / kGeometricSteps)));
}

int ValueSlider::position_of(int value) const {
    if (!geometric_) return value;
    const double ratio = static_cast<double>(high_) / low_;
    return static_cast<int>(
        std::lround(kGeometricSteps * std::log(static_cast<double>(value) / low_) / std::log(ratio)));
}

// Keys and clicks beside the handle count in values, not in positions.
void ValueSlider::take_step(int action) {
    int steps = 0;
    switch (action) {
        case SliderSingleStepAdd: steps = 1; break;
        case SliderSingleStepSub: steps = -1; break;
        case SliderPageStepAdd: steps = kPage; break;
        case SliderPageStepSub: steps = -kPage; break;
        default: return;
    }
    const auto target = std::clamp<std::int64_t>(shown_ + std::int64_t{steps} * step_, low_, high_);
    setSliderPosition(position_of(static_cast<int>(target)));
}

}  // namespace quillmark::engine
