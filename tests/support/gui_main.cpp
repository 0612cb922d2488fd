// The main of the window tests: an application on the offscreen platform, then the tests.
#include <gtest/gtest.h>

#include <QApplication>

int main(int argc, char** argv) {
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication application{argc, argv};
    QCoreApplication::setApplicationName(QStringLiteral("Image Processing"));
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
