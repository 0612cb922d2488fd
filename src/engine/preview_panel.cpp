#include "engine/preview_panel.h"

#include <QFileInfo>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLocale>
#include <QPainter>
#include <QSignalBlocker>
#include <QSpinBox>
#include <QStyle>
#include <QVBoxLayout>
#include <algorithm>
#include <array>
#include <cmath>

#include "engine/elided_label.h"
#include "engine/preview_query.h"

namespace quillmark::engine {
namespace {

constexpr QSize kPictureMinimum{180, 140};
constexpr QSize kPictureWanted{360, 300};  // asked for at least, so that a wider panel needs no second decode
constexpr int kChecker = 8;                // squares behind transparent pixels

// The picture, fitted and centred, on a quiet field of its own; or a remark in its place.
class PictureField final : public QWidget {
  public:
    explicit PictureField(QWidget* parent) : QWidget{parent} {
        setObjectName("previewPicture");
        setMinimumSize(kPictureMinimum);
        setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Expanding);
        setAccessibleName(PreviewPanel::tr("Preview"));
    }
    QSize sizeHint() const override { return {240, 200}; }

    void set(const QImage& picture, const QString& remark, QSize whole) {
        picture_ = picture;
        whole_ = whole;
        remark_ = remark;
        setAccessibleDescription(remark);
        update();
    }

  protected:
    void paintEvent(QPaintEvent*) override {
        QPainter painter{this};
        painter.setRenderHint(QPainter::SmoothPixmapTransform);
        painter.setPen(palette().color(QPalette::Mid));
        painter.setBrush(palette().color(QPalette::Base));
        painter.drawRect(rect().adjusted(0, 0, -1, -1));
        QRect inside = rect().adjusted(8, 8, -8, -8);
        if (!remark_.isEmpty()) inside = paint_remark(painter, inside);
        if (!picture_.isNull()) paint_picture(painter, inside);
    }

  private:
    // Alone it stands in the middle; under a picture it takes the lower edge. Returns what is left.
    QRect paint_remark(QPainter& painter, QRect inside) {
        painter.setPen(palette().color(QPalette::Text));
        const bool alone = picture_.isNull();
        const int flags = Qt::TextWordWrap | Qt::AlignHCenter | (alone ? Qt::AlignVCenter : Qt::AlignBottom);
        const QRect taken = painter.boundingRect(inside, flags, remark_);
        painter.drawText(inside, flags, remark_);
        return alone ? inside : inside.adjusted(0, 0, 0, -taken.height() - 6);
    }

    void paint_picture(QPainter& painter, QRect inside) {
        // One image pixel is one device pixel, unless the image has to shrink.
        const double ratio = devicePixelRatioF();
        QSizeF size = QSizeF{whole_} / ratio;
        if (size.width() > inside.width() || size.height() > inside.height())
            size.scale(inside.size(), Qt::KeepAspectRatio);
        const QRectF target{inside.x() + (inside.width() - size.width()) / 2,
                            inside.y() + (inside.height() - size.height()) / 2, size.width(), size.height()};
        if (picture_.hasAlphaChannel()) paint_checker(painter, target);
        painter.drawImage(target, picture_);
    }

    static void paint_checker(QPainter& painter, const QRectF& target) {
        painter.save();
        painter.setClipRect(target);
        painter.fillRect(target, QColor{255, 255, 255});
        for (int y = 0; y * kChecker < target.height(); ++y) {
            for (int x = y % 2; x * kChecker < target.width(); x += 2) {
                painter.fillRect(
                    QRectF{target.x() + x * kChecker, target.y() + y * kChecker, kChecker, kChecker},
                    QColor{216, 216, 216});
            }
        }
        painter.restore();
    }

    QImage picture_;
    QString remark_;
    QSize whole_;
};

// A line whose whole text is its tip.
class ElidedLine final : public ElidedLabel {
  public:
    using ElidedLabel::ElidedLabel;
    QSize minimumSizeHint() const override { return {40, QLabel::minimumSizeHint().height()}; }
    QSize sizeHint() const override { return minimumSizeHint(); }
    void show_text(const QString& text) {
        setText(text);
        setToolTip(text.isEmpty() ? QString{} : QStringLiteral("<span>%1</span>").arg(text.toHtmlEscaped()));
    }
};

struct FactRow {
    const char* name;
    const char* caption;
};
enum Fact { kFormat, kSize, kDepth, kPages, kFileSize, kCompression, kResolution, kFactCount };
constexpr std::array<FactRow, kFactCount> kFacts{{{"factFormat", QT_TR_NOOP("Format:")},
                                                  {"factSize", QT_TR_NOOP("Size:")},
                                                  {"factDepth", QT_TR_NOOP("Depth:")},
                                                  {"factPages", QT_TR_NOOP("Pages:")},
                                                  {"factFileSize", QT_TR_NOOP("File size:")},
                                                  {"factCompression", QT_TR_NOOP("Compression:")},
                                                  {"factResolution", QT_TR_NOOP("Resolution:")}}};

QString from_view(std::string_view text) {
    return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
}

QString format_text(int code) {
    const std::string_view name = imaging::display_name(code);
    return name.empty() ? QString::number(code) : from_view(name);
}

QString resolution_text(const imaging::Resolution& resolution) {
    if (resolution.x <= 0 || resolution.y <= 0) return PreviewPanel::tr("Not stated");
    const auto number = [](double dpi) { return QLocale::c().toString(std::round(dpi * 10) / 10, 'g', 6); };
    if (std::abs(resolution.x - resolution.y) < 0.05)
        return PreviewPanel::tr("%1 dpi").arg(number(resolution.x));
    return PreviewPanel::tr("%1 × %2 dpi").arg(number(resolution.x), number(resolution.y));
}

std::array<QString, kFactCount> fact_texts(const PreviewAnswer& answer) {
    const imaging::ImageInfo& info = answer.info;
    return {format_text(info.format_code),
            PreviewPanel::tr("%1 × %2 pixels").arg(info.width).arg(info.height),
            info.bits == 1 ? PreviewPanel::tr("1 bit per pixel")
                           : PreviewPanel::tr("%1 bits per pixel").arg(info.bits),
            QString::number(info.pages),
            QLocale{}.formattedDataSize(answer.file_size),
            info.compression.empty() ? PreviewPanel::tr("None") : from_view(info.compression),
            resolution_text(info.resolution)};
}

}  // namespace

struct PreviewPanel::Private {
    PreviewQuery query;
    QString file;
    QSize box;  // device pixels of the last question
    ElidedLine* title = nullptr;
    PictureField* picture = nullptr;
    QLabel* page_label = nullptr;
    QSpinBox* page = nullptr;
    QLabel* page_count = nullptr;
    std::array<ElidedLine*, kFactCount> facts{};

    void build(PreviewPanel& panel);
    QLayout* build_page_row(PreviewPanel& panel);
    QLayout* build_facts(PreviewPanel& panel);
    void ask();
    void show_answer(const PreviewAnswer& answer);
    void clear_facts();
    void set_pages(int count);
};

void PreviewPanel::Private::build(PreviewPanel& panel) {
    panel.setObjectName("previewPanel");
    title = new ElidedLine{&panel};
    title->setObjectName("previewTitle");
    QFont bold = title->font();
    bold.setBold(true);
    title->setFont(bold);
    picture = new PictureField{&panel};
    auto* layout = new QVBoxLayout{&panel};
    layout->setContentsMargins(6, 0, 0, 0);
    layout->addWidget(title);
    layout->addWidget(picture, 1);
    layout->addLayout(build_page_row(panel));
    layout->addLayout(build_facts(panel));
    set_pages(0);
}

QLayout* PreviewPanel::Private::build_page_row(PreviewPanel& panel) {
    page = new QSpinBox{&panel};
    page->setObjectName("previewPage");
    page->setAccessibleName(tr("Page"));
    page->setKeyboardTracking(false);
    page->setAccelerated(true);
    page_label = new QLabel{tr("&Page:"), &panel};
    page_label->setBuddy(page);
    page_count = new QLabel{&panel};
    page_count->setObjectName("previewPageCount");
    auto* row = new QHBoxLayout;
    row->addWidget(page_label);
    row->addWidget(page);
    row->addWidget(page_count);
    row->addStretch();
    return row;
}

QLayout* PreviewPanel::Private::build_facts(PreviewPanel& panel) {
    auto* grid = new QGridLayout;
    grid->setVerticalSpacing(3);
    grid->setHorizontalSpacing(10);
    grid->setColumnStretch(1, 1);
    for (std::size_t i = 0; i < facts.size(); ++i) {
        auto* caption = new QLabel{tr(kFacts[i].caption), &panel};
        facts[i] = new ElidedLine{&panel};
        facts[i]->setObjectName(kFacts[i].name);
        grid->addWidget(caption, static_cast<int>(i), 0);
        grid->addWidget(facts[i], static_cast<int>(i), 1);
    }
    return grid;
}

void PreviewPanel::Private::clear_facts() {
    for (ElidedLine* fact : facts) fact->show_text({});
}

void PreviewPanel::Private::set_pages(int count) {
    const QSignalBlocker quiet{page};
    page->setRange(1, std::max(count, 1));
    page->setEnabled(count > 1);
    page_label->setEnabled(count > 1);
    page_count->setEnabled(count > 1);
    page_count->setText(count > 0 ? tr("of %1").arg(count) : QString{});
}

void PreviewPanel::Private::ask() {
    box = picture->size().expandedTo(kPictureWanted) * picture->devicePixelRatioF();
    query.ask(file, page->value(), box);
}

void PreviewPanel::Private::show_answer(const PreviewAnswer& answer) {
    if (!answer.readable) {
        picture->set({}, answer.remark, {});
        clear_facts();
        set_pages(0);
        return;
    }
    picture->set(answer.picture, answer.remark, {answer.info.width, answer.info.height});
    const auto texts = fact_texts(answer);
    for (std::size_t i = 0; i < facts.size(); ++i) facts[i]->show_text(texts[i]);
    set_pages(answer.info.pages);
}

PreviewPanel::PreviewPanel(QWidget* parent) : QWidget{parent}, d_{std::make_unique<Private>()} {
    d_->build(*this);
    connect(&d_->query, &PreviewQuery::answered, this,
            [this](const PreviewAnswer& answer) { d_->show_answer(answer); });
    connect(d_->page, &QSpinBox::valueChanged, this, [this] { d_->ask(); });
}

PreviewPanel::~PreviewPanel() = default;

void PreviewPanel::show_file(const QString& file, int count) {
    const QString name = QFileInfo{file}.fileName();
    d_->title->show_text(count > 1 ? tr("First of %1: %2").arg(count).arg(name) : name);
    if (file == d_->file) return;
    d_->file = file;
    d_->query.cancel();
    d_->picture->set({}, {}, {});
    d_->clear_facts();
    d_->set_pages(0);
    if (!file.isEmpty()) d_->ask();
}

void PreviewPanel::show_remark(const QString& remark) {
    show_file({}, 0);
    d_->picture->set({}, remark, {});
}

int PreviewPanel::page() const {
    d_->page->interpretText();
    return d_->page->value();
}

}  // namespace quillmark::engine
