#include "operations/histogram.h"

#include <QButtonGroup>
#include <QComboBox>
#include <QGroupBox>
#include <QKeyEvent>
#include <QPainter>
#include <QRadioButton>
#include <QSignalBlocker>
#include <QVBoxLayout>
#include <algorithm>
#include <cmath>
#include <numeric>

#include "operations/form.h"
#include "program/document_list.h"
#include "program/image_window.h"
#include "text/numbers.h"

namespace quillmark::operations {
namespace {

constexpr double kScaleLeft = -5, kScaleWidth = 270, kScaleHeight = 100;
constexpr double kFoot = kScaleHeight - 2;  // where every line begins
constexpr double kTallest = kFoot - 4;

struct ChannelRow {
    const char* caption;
    int index;
};
constexpr ChannelRow kChannels[] = {{"&Blue", 3}, {"&Green", 2}, {"&Red", 1}, {"&Master", 0}};

}  // namespace

// --- The chart ---

HistogramChart::HistogramChart(QWidget* parent) : QWidget{parent} {
    setObjectName(QStringLiteral("TheHist"));
    setAccessibleName(tr("Pixels per level"));
    setMouseTracking(true);
    setFocusPolicy(Qt::StrongFocus);
    setMinimumSize(sizeHint() / 2);
}

QSize HistogramChart::sizeHint() const {
    return {static_cast<int>(2 * kScaleWidth), static_cast<int>(2 * kScaleHeight)};
}

void HistogramChart::draw(const Table& table) {
    table_ = table;
    max_ = *std::ranges::max_element(table_);
    update();
}

QLineF HistogramChart::TheLine(int level) const {
    const auto count = static_cast<double>(table_.at(static_cast<std::size_t>(level)));
    const double height = max_ > 0 ? count * kTallest / static_cast<double>(max_) : 0;
    return {QPointF(level, kFoot), QPointF(level, kFoot - height)};
}

void HistogramChart::paintEvent(QPaintEvent*) {
    QPainter painter{this};
    painter.fillRect(rect(), Qt::white);
    const double sx = width() / kScaleWidth, sy = height() / kScaleHeight;
    const auto bar = [&](int level, double top) {
        const QLineF line = TheLine(level);
        const double x = (line.x1() - kScaleLeft - 0.5) * sx;
        return QRectF{x, top * sy, sx, std::max((line.y1() - top) * sy, 1.0)};
    };
    if (pointed_ >= 0) painter.fillRect(bar(pointed_, 0), QColor{255, 196, 128});
    for (int level = 0; level < kLevels; ++level)
        painter.fillRect(bar(level, TheLine(level).y2()), Qt::black);
    painter.setPen(hasFocus() ? palette().color(QPalette::Highlight) : QColor{Qt::gray});
    painter.drawRect(rect().adjusted(0, 0, -1, -1));
}

void HistogramChart::point_at(int level) {
    pointed_ = level;
    update();
    emit level_pointed(level);
}

void HistogramChart::mouseMoveEvent(QMouseEvent* event) {
    const double x = event->position().x() * kScaleWidth / width() + kScaleLeft;
    point_at(std::clamp(static_cast<int>(std::lround(x)), 0, kLevels - 1));
}

void HistogramChart::leaveEvent(QEvent*) { point_at(-1); }

void HistogramChart::keyPressEvent(QKeyEvent* event) {
    const int step = event->key() == Qt::Key_Left ? -1 : event->key() == Qt::Key_Right ? 1 : 0;
    if (!step) return QWidget::keyPressEvent(event);
    point_at(std::clamp(pointed_ + step, 0, kLevels - 1));
}

// --- The form ---

Histogram::Histogram(program::FrameFace& frame, QWidget* parent) : QDialog{parent}, frame_{frame} {
    setObjectName(QStringLiteral("Histogram"));
    setWindowTitle(tr("Image Histogram"));
    build();
    Form_Load();
}

void Histogram::build() {
    filter_box_ = new QComboBox{this};
    filter_box_->setObjectName(QStringLiteral("FilterBox"));
    filter_box_->setAccessibleName(tr("Image window"));
    filter_box_->setSizeAdjustPolicy(QComboBox::AdjustToMinimumContentsLengthWithIcon);
    filter_box_->setMinimumContentsLength(24);
    chart_ = new HistogramChart{this};
    readout_ = make_hint(QStringLiteral("Readout"), this);
    auto* row = new QHBoxLayout;
    row->setSpacing(12);
    row->addWidget(chart_, 1);
    row->addWidget(build_channels());
    auto* layout = new QVBoxLayout{this};
    layout->setSpacing(10);
    layout->addWidget(filter_box_);
    layout->addLayout(row, 1);
    layout->addWidget(readout_);
    layout->addWidget(add_buttons(*this, QDialogButtonBox::Ok));
    connect(filter_box_, &QComboBox::currentIndexChanged, this, &Histogram::FilterBox_Click);
    connect(chart_, &HistogramChart::level_pointed, this, &Histogram::show_readout);
}

QWidget* Histogram::build_channels() {
    auto* frame = new QGroupBox{tr("Channel"), this};
    auto* layout = new QVBoxLayout{frame};
    channels_ = new QButtonGroup{this};
    channels_->setObjectName(QStringLiteral("Channel"));
    for (const ChannelRow& row : kChannels) {
        auto* button = new QRadioButton{tr(row.caption), frame};
        button->setObjectName(QStringLiteral("Channel%1").arg(row.index));
        channels_->addButton(button, row.index);
        layout->addWidget(button);
    }
    layout->addStretch();
    channels_->button(0)->setChecked(true);
    connect(channels_, &QButtonGroup::idToggled, this, [this](int channel, bool on) {
        if (on) Channel_Click(channel);
    });
    return frame;
}

void Histogram::Form_Load() {
    program::ImageWindow* active = frame_.active_window();
    const int position = active ? frame_.kids().FindKid(active->handle()) : 0;
    {
        const QSignalBlocker quiet{filter_box_};
        filter_box_->addItems(frame_.kids().BuildKidList().split(u';'));
        filter_box_->setCurrentIndex(-1);
    }
    centre_on_screen(*this);
    filter_box_->setCurrentIndex(position);
}

void Histogram::FilterBox_Click() {
    if (filter_box_->currentIndex() < 0) return;
    frame_.kids().MakeKidActive(static_cast<std::int16_t>(filter_box_->currentIndex()));
    Channel_Click(channels_->checkedId());
}

void Histogram::Channel_Click(int channel) {
    const auto& kids = frame_.kids().KidList();
    const auto position = static_cast<std::size_t>(std::max(filter_box_->currentIndex(), 0));
    program::ImageWindow* window = position < kids.size() ? frame_.image_window(kids[position]) : nullptr;
    if (!window) return;
    engine::Engine& image = window->LEAD1();
    image.GetHistogram(channel);  // a failure leaves the table empty, and the chart flat
    for (int level = 0; level < HistogramChart::kLevels; ++level)
        table_[static_cast<std::size_t>(level)] = image.HistogramTable(level);
    chart_->draw(table_);
    show_readout(-1);
}

void Histogram::show_readout(int level) {
    const auto total = std::accumulate(table_.begin(), table_.end(), std::int64_t{0});
    if (level < 0 || total == 0) return readout_->clear();
    const auto count = table_[static_cast<std::size_t>(level)];
    const auto below = std::accumulate(table_.begin(), table_.begin() + level + 1, std::int64_t{0});
    readout_->setText(tr("Level %1: %2 pixels, percentile %3")
                          .arg(level)
                          .arg(count > 0 ? QString::fromStdString(text::grouped(count)) : QStringLiteral("0"))
                          .arg(100.0 * static_cast<double>(below) / static_cast<double>(total), 0, 'f', 1));
}

}  // namespace quillmark::operations
