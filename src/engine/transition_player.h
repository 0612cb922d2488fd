// Plays a paint effect: the picture on its way from what is shown to what is to be shown, step by step.
#pragma once

#include <QBasicTimer>
#include <QImage>
#include <QObject>

namespace quillmark::engine {

class TransitionPlayer final : public QObject {
    Q_OBJECT

  public:
    static constexpr int kSteps = 30;

    using QObject::QObject;

    /// Begins effect code, a step every delay milliseconds; from and to are Format_RGB32 of one size, and a
    /// null from is a sheet of the colour blank. Nothing plays (false) when there is no such effect, nothing
    /// to show or no memory.
    bool begin(int code, int delay, const QImage& from, const QImage& to, QRgb blank);
    bool running() const { return timer_.isActive(); }
    /// What is to be shown at this moment while it runs, and where it leads.
    const QImage& picture() const { return picture_; }
    const QImage& target() const { return target_; }
    /// Ends at once; any key and any mouse button do the same, wherever in the program they are pressed.
    void finish();

  signals:
    void changed();  ///< there is something else to show

  protected:
    void timerEvent(QTimerEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;

  private:
    void advance();

    QBasicTimer timer_;
    QImage picture_, target_;
    QImage turns_;  // the step at which each pixel turns, 1 to kSteps
    int step_ = 0;
};

}  // namespace quillmark::engine
