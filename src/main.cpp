// quillmark: the window program.
#include <QApplication>
#include <QTimer>

#include "frame/image_process.h"
#include "frame/picture_icon.h"
#include "frame/theme.h"
#include "platform/program_folder.h"

int main(int argc, char** argv) {
    QGuiApplication::setHighDpiScaleFactorRoundingPolicy(Qt::HighDpiScaleFactorRoundingPolicy::PassThrough);
    QApplication application{argc, argv};
    QCoreApplication::setApplicationName(QStringLiteral("Image Processing"));
    QCoreApplication::setApplicationVersion(QStringLiteral(QUILLMARK_VERSION));
    QGuiApplication::setDesktopFileName(QStringLiteral("quillmark"));
    quillmark::frame::ImageProcess frame{{quillmark::platform::program_folder(),
                                          quillmark::platform::settings_folder(),
                                          QCoreApplication::arguments().mid(1), nullptr}};
    QObject::connect(&frame, &quillmark::frame::ImageProcess::ended, &application, &QCoreApplication::quit,
                     Qt::QueuedConnection);
    quillmark::frame::apply_theme(quillmark::frame::chosen_theme(frame.settings()));
    frame.MDIForm_Load();
    frame.show();
    // The first paint waits for neither: drawing the icon in all its sizes takes longer than the caption.
    QTimer::singleShot(0, &frame, [&frame] {
        QGuiApplication::setWindowIcon(quillmark::frame::picture_icon(QStringLiteral("quillmark")));
        frame.open_at_start();
    });
    return QApplication::exec();
}
