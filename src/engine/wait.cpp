#include "engine/wait.h"

#include <QApplication>
#include <QEvent>
#include <QEventLoop>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QPointer>
#include <QThreadPool>
#include <QTimer>
#include <QWidget>
#include <QWindow>
#include <chrono>
#include <condition_variable>
#include <mutex>

namespace quillmark::engine {
namespace {

constexpr auto kQuietStart = std::chrono::milliseconds{15};
constexpr int kTick = 30;

bool is_user_input(QEvent::Type type) {
    switch (type) {
        case QEvent::MouseButtonPress:
        case QEvent::MouseButtonRelease:
        case QEvent::MouseButtonDblClick:
        case QEvent::MouseMove:
        case QEvent::Wheel:
        case QEvent::KeyPress:
        case QEvent::KeyRelease:
        case QEvent::Shortcut:
        case QEvent::ShortcutOverride:
        case QEvent::ContextMenu:
        case QEvent::NonClientAreaMouseButtonPress:
        case QEvent::TouchBegin:
        case QEvent::TouchUpdate:
        case QEvent::TouchEnd:
        case QEvent::TabletPress:
        case QEvent::DragEnter:
        case QEvent::DragMove:
        case QEvent::Drop: return true;
        default: return false;
    }
}

// A painted close button is as good as the window manager's.
bool is_click_to_close(const QEvent& event) {
    if (event.type() != QEvent::MouseButtonRelease) return false;
    const QPoint place = static_cast<const QMouseEvent&>(event).globalPosition().toPoint();
    const QWidget* widget = QApplication::widgetAt(place);
    return widget && widget->property(kCloses).toBool();
}

class InputFilter final : public QObject {
  public:
    explicit InputFilter(std::function<void()> escape) : escape_{std::move(escape)} {
        qApp->installEventFilter(this);
    }
    ~InputFilter() override {
        qApp->removeEventFilter(this);
        if (closing_)
            QTimer::singleShot(0, closing_.data(), [window = closing_] {
                if (window) window->close();
            });
    }

    bool eventFilter(QObject* target, QEvent* event) override {
        if (event->type() == QEvent::KeyPress && static_cast<QKeyEvent*>(event)->key() == Qt::Key_Escape) {
            // The same key press visits several objects on its way; only the first visit counts.
            if (target->isWindowType()) escape_();
            return true;
        }
        auto* window = qobject_cast<QWindow*>(target);
        if (event->type() == QEvent::Close || (window && is_click_to_close(*event))) {
            event->ignore();
            if (window && !window->transientParent()) {
                closing_ = window;
                escape_();
            }
            return true;
        }
        if (is_user_input(event->type())) {
            event->ignore();
            return true;
        }
        return QObject::eventFilter(target, event);
    }

  private:
    std::function<void()> escape_;
    QPointer<QWindow> closing_;
};

}  // namespace

void run_and_wait(const std::function<void()>& work, const std::function<void()>& tick,
                  const std::function<void()>& escape) {
    std::mutex mutex;
    std::condition_variable ended;
    bool done = false;
    QEventLoop loop;
    QThreadPool::globalInstance()->start([&] {
        work();
        // Everything here lives on the waiter's stack: the waiter may only go on once this thread has let go.
        const std::scoped_lock lock{mutex};
        done = true;
        ended.notify_all();
        QMetaObject::invokeMethod(&loop, &QEventLoop::quit, Qt::QueuedConnection);
    });
    std::unique_lock lock{mutex};
    const bool have_interface = qobject_cast<QApplication*>(QCoreApplication::instance()) != nullptr;
    if (!have_interface) {
        ended.wait(lock, [&] { return done; });
        return;
    }
    if (ended.wait_for(lock, kQuietStart, [&] { return done; })) return;
    lock.unlock();
    {
        const InputFilter filter{escape};
        QTimer timer;
        QObject::connect(&timer, &QTimer::timeout, &timer, tick);
        timer.start(kTick);
        for (;;) {
            loop.exec();
            const std::scoped_lock check{mutex};
            if (done) break;
        }
    }
}

}  // namespace quillmark::engine
