#include "engine/preview_query.h"

#include <QFile>
#include <QFileInfo>
#include <algorithm>
#include <functional>
#include <string>
#include <vector>

#include "imaging/convert_depth.h"
#include "imaging/load.h"
#include "imaging/result_codes.h"
#include "text/messages.h"

namespace quillmark::engine {
namespace {

// What a preview may cost: about 60 million pixels of 24 bits. A codec that decodes at reduced size gets
// more, because it holds only the small picture.
constexpr std::int64_t kMaxBytes = 180'000'000;
constexpr std::int64_t kMaxReducedBytes = 4 * kMaxBytes;

using Ticket = std::shared_ptr<std::atomic<std::uint64_t>>;

class StopWhenStale final : public imaging::RowSink {
  public:
    StopWhenStale(Ticket current, std::uint64_t mine) : current_{std::move(current)}, mine_{mine} {}
    bool rows(const imaging::Bitmap&, int, int, std::int64_t, std::int64_t) override { return !stale(); }
    bool stale() const { return current_->load(std::memory_order_relaxed) != mine_; }

  private:
    Ticket current_;
    std::uint64_t mine_;
};

QString reason(const imaging::Error& error) {
    return QString::fromStdString(text::error_message(imaging::result_code(error)));
}

bool decodes_reduced(const imaging::ImageInfo& info) {
    const imaging::Codec* codec = imaging::codec_for_format(info.format_code);
    return codec && codec->name == "JPEG";
}

// The strongest reduction that still fills the box.
int reduction(const imaging::ImageInfo& info, QSize box) {
    if (!decodes_reduced(info)) return 1;
    const QSize target = QSize{info.width, info.height}.scaled(box, Qt::KeepAspectRatio);
    for (const int factor : {8, 4, 2}) {
        if (info.width / factor >= target.width() && info.height / factor >= target.height()) return factor;
    }
    return 1;
}

bool affordable(const imaging::ImageInfo& info, int reduce) {
    const std::int64_t bytes = std::int64_t{info.width} * info.height * info.bits / 8;
    return bytes <= (reduce > 1 ? kMaxReducedBytes : kMaxBytes);
}

bool fills(const QImage& picture, const imaging::ImageInfo& info, QSize box) {
    const QSize target =
        QSize{info.width, info.height}.scaled(box, Qt::KeepAspectRatio).boundedTo({info.width, info.height});
    return 2 * picture.width() >= target.width() && 2 * picture.height() >= target.height();
}

// Answers one question; tell passes each step on and is called on this thread.
class Question {
  public:
    Question(QString file, int page, QSize box, StopWhenStale sink,
             std::function<void(const PreviewAnswer&)> tell)
        : box_{box}, sink_{std::move(sink)}, tell_{std::move(tell)} {
        answer_.file = std::move(file);
        answer_.page = page;
        options_.page = page;
    }

    void work() {
        if (sink_.stale()) return;
        path_ = QFile::encodeName(answer_.file).toStdString();
        const auto info = imaging::read_info(path_, options_);
        if (!info) return finish(reason(info.error()));
        answer_.readable = true;
        answer_.info = *info;
        answer_.file_size = QFileInfo{answer_.file}.size();
        tell_(answer_);
        if (!try_stamp()) decode();
    }

  private:
    void finish(const QString& remark) {
        answer_.remark = remark;
        answer_.complete = true;
        tell_(answer_);
    }

    // Shows the stamp at once; true when it is good enough to stay.
    bool try_stamp() {
        if (!answer_.info.has_stamp || answer_.page != 1 || sink_.stale()) return false;
        const auto stamp = imaging::load_stamp(path_, options_);
        if (!stamp) return false;
        answer_.picture = preview_picture(stamp->bitmap, box_);
        answer_.complete = fills(answer_.picture, answer_.info, box_);
        tell_(answer_);
        return answer_.complete;
    }

    void decode() {
        options_.reduce = reduction(answer_.info, box_);
        if (!affordable(answer_.info, options_.reduce)) {
            return finish(answer_.picture.isNull() ? PreviewQuery::tr("Too large for a preview") : QString{});
        }
        const auto outcome = imaging::load(path_, options_, sink_);
        if (sink_.stale()) return;
        if (!outcome) return finish(reason(outcome.error()));
        answer_.picture = preview_picture(outcome->bitmap, box_);
        const bool whole = outcome->rows_shown >= outcome->rows_declared;
        finish(whole ? QString{}
                     : PreviewQuery::tr("Damaged: %1 of %2 rows can be read")
                           .arg(outcome->rows_shown)
                           .arg(outcome->rows_declared));
    }

    QSize box_;
    StopWhenStale sink_;
    std::function<void(const PreviewAnswer&)> tell_;
    std::string path_;
    imaging::LoadOptions options_;
    PreviewAnswer answer_;
};

// Adds the pixels of one source row to the sums of one target row, colours weighted by alpha.
void add_row(const std::vector<std::uint8_t>& rgba, const std::vector<int>& starts,
             std::vector<std::uint64_t>& sums) {
    for (std::size_t x = 0; x + 1 < starts.size(); ++x) {
        std::uint64_t red = 0, green = 0, blue = 0, alpha = 0;
        for (int source = starts[x]; source < starts[x + 1]; ++source) {
            const std::uint8_t* pixel = &rgba[static_cast<std::size_t>(source) * 4];
            red += static_cast<std::uint64_t>(pixel[0]) * pixel[3];
            green += static_cast<std::uint64_t>(pixel[1]) * pixel[3];
            blue += static_cast<std::uint64_t>(pixel[2]) * pixel[3];
            alpha += pixel[3];
        }
        sums[x * 4] += red;
        sums[x * 4 + 1] += green;
        sums[x * 4 + 2] += blue;
        sums[x * 4 + 3] += alpha;
    }
}

// Where the source pixels of each target pixel begin, and the end of the last.
std::vector<int> box_starts(int source, int target) {
    std::vector<int> starts;
    for (int i = 0; i <= target; ++i) starts.push_back(static_cast<int>(std::int64_t{source} * i / target));
    return starts;
}

}  // namespace

QImage preview_picture(const imaging::Bitmap& bitmap, QSize box) {
    if (bitmap.empty() || box.isEmpty()) return {};
    QSize size{bitmap.width(), bitmap.height()};
    if (size.width() > box.width() || size.height() > box.height()) size.scale(box, Qt::KeepAspectRatio);
    size = size.expandedTo({1, 1});
    QImage picture{size, QImage::Format_RGBA8888_Premultiplied};
    if (picture.isNull()) return {};

    const std::vector<int> columns = box_starts(bitmap.width(), size.width());
    const std::vector<int> rows = box_starts(bitmap.height(), size.height());
    std::vector<std::uint8_t> rgba(static_cast<std::size_t>(bitmap.width()) * 4);
    std::vector<std::uint64_t> sums(static_cast<std::size_t>(size.width()) * 4);
    for (int y = 0; y < size.height(); ++y) {
        std::ranges::fill(sums, 0);
        const int first = rows[static_cast<std::size_t>(y)], last = rows[static_cast<std::size_t>(y) + 1];
        for (int source = first; source < last; ++source) {
            imaging::row_to_rgba(bitmap, source, 0, rgba);
            add_row(rgba, columns, sums);
        }
        std::uint8_t* out = picture.scanLine(y);
        for (std::size_t x = 0; x < static_cast<std::size_t>(size.width()); ++x) {
            const auto count = static_cast<std::uint64_t>(last - first) *
                               static_cast<std::uint64_t>(columns[x + 1] - columns[x]);
            for (std::size_t c = 0; c < 3; ++c) {
                out[x * 4 + c] = static_cast<std::uint8_t>((sums[x * 4 + c] + count * 127) / (count * 255));
            }
            out[x * 4 + 3] = static_cast<std::uint8_t>((sums[x * 4 + 3] + count / 2) / count);
        }
    }
    return picture;
}

PreviewQuery::PreviewQuery(QObject* parent)
    : QObject{parent}, current_{std::make_shared<std::atomic<std::uint64_t>>(0)} {
    // Two: a stale decode between two rows does not keep the next file waiting.
    pool_.setMaxThreadCount(2);
}

PreviewQuery::~PreviewQuery() {
    cancel();
    pool_.waitForDone();
}

void PreviewQuery::cancel() {
    ++*current_;
    pool_.clear();
}

void PreviewQuery::ask(const QString& file, int page, QSize box) {
    cancel();
    const std::uint64_t ticket = current_->load();
    const auto tell = [this, ticket](const PreviewAnswer& answer) {
        // The pool is drained before this object goes, so it is still there to post to.
        QMetaObject::invokeMethod(
            this,
            [this, ticket, answer] {
                if (current_->load() == ticket) emit answered(answer);
            },
            Qt::QueuedConnection);
    };
    pool_.start([current = current_, ticket, file, page, box, tell] {
        Question{file, page, box, StopWhenStale{current, ticket}, tell}.work();
    });
}

}  // namespace quillmark::engine
