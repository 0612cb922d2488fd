#include "operations/resize_form.h"

#include <QCheckBox>
#include <QGridLayout>
#include <QGroupBox>
#include <QLineEdit>
#include <QScrollBar>
#include <QSignalBlocker>
#include <algorithm>

#include "operations/form.h"
#include "text/numbers.h"

namespace quillmark::operations {
namespace {

constexpr int kWidest = 16384;
constexpr int kCap = 32767;
constexpr int kBarWidth = 260;

double number_in(const QLineEdit& box) { return text::leading_number(box.text().toStdString()); }

}  // namespace

Resize::Resize(int bitmap_width, int bitmap_height, QWidget* parent) : QDialog{parent} {
    sides_[kWidth].bitmap = std::max(bitmap_width, 1);
    sides_[kHeight].bitmap = std::max(bitmap_height, 1);
    setObjectName(QStringLiteral("Resize"));
    auto* layout = new QVBoxLayout{this};
    layout->setSpacing(10);
    layout->addWidget(build_side(kWidth, tr("Width")));
    layout->addWidget(build_side(kHeight, tr("Height")));
    aspect_ = new QCheckBox{tr("Maintain &Aspect-Ratio"), this};
    aspect_->setObjectName(QStringLiteral("AspectRatioBox"));
    resample_ = new QCheckBox{tr("&Resample"), this};
    resample_->setObjectName(QStringLiteral("ResampleBox"));
    resample_->setToolTip(tr("Smooth: new pixels are worked out from their neighbours"));
    layout->addWidget(aspect_);
    layout->addWidget(resample_);
    layout->addStretch();
    layout->addWidget(add_buttons(*this, QDialogButtonBox::Ok | QDialogButtonBox::Cancel));
    connect(aspect_, &QCheckBox::clicked, this, &Resize::aspect_clicked);
}

QWidget* Resize::build_side(Which which, const QString& caption) {
    Side& side = sides_[which];
    auto* frame = new QGroupBox{caption, this};
    side.bar = new QScrollBar{Qt::Horizontal, frame};
    side.bar->setObjectName(QStringLiteral("Value%1Bar").arg(which + 1));
    side.bar->setMinimumWidth(kBarWidth);
    side.bar->setFocusPolicy(Qt::StrongFocus);
    side.box = new QLineEdit{frame};
    side.box->setObjectName(QStringLiteral("Value%1Box").arg(which + 1));
    side.box->setMaximumWidth(side.box->fontMetrics().averageCharWidth() * 10);
    side.hint = make_hint(QStringLiteral("Value%1Hint").arg(which + 1), frame);
    for (QWidget* field : {static_cast<QWidget*>(side.bar), static_cast<QWidget*>(side.box)})
        field->setAccessibleName(tr("%1 in pixels").arg(caption));
    auto* layout = new QGridLayout{frame};
    layout->setHorizontalSpacing(10);
    layout->addWidget(side.bar, 0, 0);
    layout->addWidget(side.box, 0, 1);
    layout->addWidget(side.hint, 1, 0, 1, 2);
    connect(side.bar, &QScrollBar::valueChanged, this, [this, which] { bar_changed(which); });
    connect(side.box, &QLineEdit::textChanged, this, [this, which] { box_changed(which); });
    return frame;
}

int Resize::matching(Which which, int length) const {
    const double other = sides_[1 - which].bitmap;
    return static_cast<int>(
        std::min<std::int64_t>(text::round_half_even(length * other / sides_[which].bitmap), kCap));
}

int Resize::highest_bar() const { return std::max(matching(kWidth, kWidest), 1); }

void Resize::InitTheForm(int /*mode*/) {
    accepted_ = false;
    setWindowTitle(tr("Resize"));
    resample_->setChecked(false);
    aspect_->setChecked(true);
    for (Side& side : sides_) {
        const QSignalBlocker quiet{side.bar};
        side.bar->setRange(1, &side == &sides_[kWidth] ? kWidest : highest_bar());
        side.bar->setPageStep(100);
        side.bar->setSingleStep(10);
        side.bar->setValue(side.bitmap);
        write_box(side);
    }
    sides_[kWidth].box->selectAll();
    sides_[kWidth].box->setFocus();
    centre_on_screen(*this);
}

void Resize::write_box(Side& side) {
    side.bar_writes_box = true;
    side.box->setText(QString::number(side.bar->value()));
    side.bar_writes_box = false;  // an unchanged text raises no change that would clear it
    show_hint(side);
}

void Resize::bar_changed(Which which) {
    Side& side = sides_[which];
    if (side.box_writes_bar) {
        side.box_writes_bar = false;
        return;
    }
    write_box(side);
    if (!aspect_->isChecked()) return;
    QScrollBar* other = sides_[1 - which].bar;
    const int length = matching(which, side.bar->value());
    if (length >= other->minimum() && length <= other->maximum()) other->setValue(length);
}

void Resize::box_changed(Which which) {
    Side& side = sides_[which];
    if (side.bar_writes_box) {
        side.bar_writes_box = false;
        return;
    }
    show_hint(side);
    if (!box_valid(side)) return;
    side.box_writes_bar = true;
    side.bar->setValue(static_cast<int>(text::round_half_even(number_in(*side.box))));
    side.box_writes_bar = false;
}

void Resize::aspect_clicked() {
    sides_[kHeight].bar->setMaximum(highest_bar());
    sides_[kHeight].bar->setValue(matching(kWidth, sides_[kWidth].bar->value()));
}

bool Resize::box_valid(const Side& side) const {
    const double value = number_in(*side.box);
    return !side.box->text().isEmpty() && value >= side.bar->minimum() && value <= side.bar->maximum();
}

void Resize::show_hint(const Side& side) {
    const int most = side.bar->maximum();
    if (!box_valid(side))
        side.hint->setText(tr("A number from 1 to %1 is needed here").arg(most));
    else if (side.bitmap > most)
        side.hint->setText(
            tr("The image has %1; the most that can be chosen is %2").arg(side.bitmap).arg(most));
    else
        side.hint->clear();
}

Resize::Results Resize::GetResults() const {
    return {accepted_, sides_[kWidth].bar->value(), sides_[kHeight].bar->value(), resample_->isChecked()};
}

void Resize::accept() {
    for (const Side& side : sides_) {
        if (box_valid(side)) continue;
        side.box->setFocus();
        side.box->selectAll();
        return;
    }
    accepted_ = true;
    QDialog::accept();
}

}  // namespace quillmark::operations
