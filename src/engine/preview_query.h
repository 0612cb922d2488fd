// Facts and a small picture of a file, found out on another thread. Only the latest question is answered.
#pragma once

#include <QImage>
#include <QObject>
#include <QSize>
#include <QString>
#include <QThreadPool>
#include <atomic>
#include <cstdint>
#include <memory>

#include "imaging/codec.h"

namespace quillmark::engine {

/// What is known of a file so far. An answer arrives in steps, each with everything of the one before.
struct PreviewAnswer {
    QString file;
    int page = 1;           ///< the page that was asked for
    bool readable = false;  ///< info holds facts; otherwise remark says why not
    imaging::ImageInfo info;
    std::int64_t file_size = 0;  ///< bytes
    QImage picture;              ///< null while there is none; premultiplied RGBA, no larger than asked for
    QString remark;         ///< why there is no picture, or what is missing of it; plain text, mostly empty
    bool complete = false;  ///< no further step follows
};

class PreviewQuery : public QObject {
    Q_OBJECT

  public:
    explicit PreviewQuery(QObject* parent = nullptr);
    /// Stops the work under way and waits for it.
    ~PreviewQuery() override;

    /// Asks for a page (1-based) with a picture that fits into box (device pixels). Earlier questions are
    /// dropped: their decoding is stopped at its next row and nothing of them is answered any more.
    void ask(const QString& file, int page, QSize box);
    void cancel();

  signals:
    void answered(const quillmark::engine::PreviewAnswer& answer);

  private:
    QThreadPool pool_;
    std::shared_ptr<std::atomic<std::uint64_t>> current_;
};

/// The bitmap at most as large as box, its proportions kept, every pixel the mean of those it stands for.
/// Small bitmaps are not enlarged. Null when bitmap or box is empty.
QImage preview_picture(const imaging::Bitmap& bitmap, QSize box);

}  // namespace quillmark::engine
