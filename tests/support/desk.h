// A whole frame for the window tests: its own folders, scripted prompts, and image files to open.
#pragma once

#include <gtest/gtest.h>

#include <QApplication>
#include <QDir>
#include <QFile>
#include <QImage>
#include <QMdiArea>
#include <QMdiSubWindow>
#include <QMimeData>
#include <QPainter>
#include <QScrollBar>
#include <QStatusBar>
#include <QTemporaryDir>
#include <QTest>
#include <memory>

#include "frame/command_surface.h"
#include "frame/image_process.h"
#include "support/fake_prompts.h"
#include "viewer/viewer.h"

/// How a failed comparison shows texts.
inline void PrintTo(const QString& text, std::ostream* out) { *out << text.toStdString(); }

namespace quillmark::test {

class Desk : public testing::Test {
  protected:
    void SetUp() override {
        ASSERT_TRUE(folder_.isValid());
        ASSERT_TRUE(QDir{folder_.path()}.mkpath(QStringLiteral("program")));
    }
    void TearDown() override { frame_.reset(); }

    QString path(const QString& name) const { return folder_.filePath(name); }
    QString program_file(const QString& name) const {
        return folder_.filePath(QStringLiteral("program/") + name);
    }

    /// Starts the frame (again): what an earlier one stored is found by the next.
    frame::ImageProcess& start(const QStringList& arguments = {}) {
        frame_.reset();
        frame_ = std::make_unique<frame::ImageProcess>(frame::ImageProcess::Start{
            program_file({}), path(QStringLiteral("settings")), arguments, &prompts_});
        frame_->MDIForm_Load();
        frame_->show();
        QCoreApplication::processEvents();
        frame_->open_at_start();
        return *frame_;
    }

    /// A PNG file of random-looking colours, written by Qt and not by our own encoder.
    QString make_image(const QString& name, int width, int height,
                       QImage::Format format = QImage::Format_RGB32) {
        QImage image{width, height, QImage::Format_RGB32};
        for (int y = 0; y < height; ++y) {
            for (int x = 0; x < width; ++x)
                image.setPixel(x, y, qRgb(x * 7 % 256, y * 5 % 256, (x + y) * 3 % 256));
        }
        const QString file = path(name);
        EXPECT_TRUE(image.convertToFormat(format).save(file, "PNG"));
        return file;
    }

    QString make_file(const QString& name, const QByteArray& bytes) {
        QFile file{path(name)};
        EXPECT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(bytes);
        return file.fileName();
    }

    void click(const char16_t* id) { frame_->SSActiveToolBars1_ToolClick(QString::fromUtf16(id)); }
    void open(const QString& file);
    viewer::Viewer& active() { return *qobject_cast<viewer::Viewer*>(frame_->active_window()); }
    program::ProgramState& state() { return frame_->state(); }
    QString setting(const QString& key, const QString& name) {
        return frame_->settings().QueryKeyValue(settings::Root::HKEY_LOCAL_MACHINE, key, name);
    }

    QTemporaryDir folder_;
    FakePrompts prompts_;
    std::unique_ptr<frame::ImageProcess> frame_;
};

}  // namespace quillmark::test
