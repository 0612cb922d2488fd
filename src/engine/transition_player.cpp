#include "engine/transition_player.h"

#include <QCoreApplication>
#include <QEvent>
#include <QTimerEvent>
#include <algorithm>
#include <cmath>

#include "engine/transition.h"
#include "imaging/threads.h"

namespace quillmark::engine {
namespace {

constexpr int kRowGrain = 16;

QImage turning_steps(const Transition& effect, QSize sheet) {
    QImage turns{sheet, QImage::Format_Grayscale8};
    if (turns.isNull()) return turns;
    uchar* const base = turns.bits();
    const qsizetype stride = turns.bytesPerLine();
    imaging::parallel_bands(sheet.height(), kRowGrain, [&](int first, int last) {
        for (int y = first; y < last; ++y) {
            for (int x = 0; x < sheet.width(); ++x) {
                const double step = std::ceil(effect.arrival({x, y}, sheet) * TransitionPlayer::kSteps);
                base[y * stride + x] = static_cast<uchar>(std::max(step, 1.0));
            }
        }
    });
    return turns;
}

}  // namespace

bool TransitionPlayer::begin(int code, int delay, const QImage& from, const QImage& to, QRgb blank) {
    finish();
    const auto effect = Transition::of(code);
    if (!effect || to.isNull()) return false;
    turns_ = turning_steps(*effect, to.size());
    picture_ = from.isNull() ? QImage{to.size(), to.format()} : from.copy();
    if (turns_.isNull() || picture_.isNull()) return false;
    if (from.isNull()) picture_.fill(blank);
    target_ = to;
    step_ = 0;
    timer_.start(std::max(delay, 1), Qt::PreciseTimer, this);
    QCoreApplication::instance()->installEventFilter(this);
    return true;
}

void TransitionPlayer::finish() {
    if (!running()) return;
    timer_.stop();
    QCoreApplication::instance()->removeEventFilter(this);
    picture_ = target_ = turns_ = {};
    emit changed();
}

void TransitionPlayer::advance() {
    ++step_;
    for (int y = 0; y < picture_.height(); ++y) {
        const uchar* turn = turns_.constScanLine(y);
        const auto* to = reinterpret_cast<const QRgb*>(target_.constScanLine(y));
        auto* shown = reinterpret_cast<QRgb*>(picture_.scanLine(y));
        for (int x = 0; x < picture_.width(); ++x) shown[x] = turn[x] <= step_ ? to[x] : shown[x];
    }
}

void TransitionPlayer::timerEvent(QTimerEvent* event) {
    if (event->timerId() != timer_.timerId()) return QObject::timerEvent(event);
    advance();
    if (step_ == kSteps) return finish();
    emit changed();
}

bool TransitionPlayer::eventFilter(QObject* watched, QEvent* event) {
    switch (event->type()) {
        case QEvent::KeyPress:
        case QEvent::ShortcutOverride:
        case QEvent::MouseButtonPress: finish(); break;
        default: break;
    }
    return QObject::eventFilter(watched, event);
}

}  // namespace quillmark::engine
