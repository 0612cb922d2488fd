#include "program/status_bar.h"

#include <QHBoxLayout>
#include <algorithm>

namespace quillmark::program {
namespace {

QLabel* make_field(QWidget* parent, const char* name, const QString& purpose, const QString& widest) {
    auto* field = new QLabel{parent};
    field->setObjectName(QString::fromLatin1(name));
    field->setAccessibleName(purpose);
    field->setToolTip(purpose);
    field->setFrameStyle(QFrame::StyledPanel | QFrame::Sunken);
    field->setMargin(2);
    field->setTextFormat(Qt::PlainText);
    if (!widest.isEmpty()) field->setMinimumWidth(field->fontMetrics().horizontalAdvance(widest) + 12);
    return field;
}

}  // namespace

StatusBar::StatusBar(QWidget* parent) : QWidget{parent} {
    setObjectName(QStringLiteral("Picture2"));
    first_ = new QStackedWidget{this};
    StatFileName = make_field(first_, "StatFileName", tr("File format"), {});
    StatGauge = new QProgressBar{first_};
    StatGauge->setObjectName(QStringLiteral("StatGauge"));
    StatGauge->setAccessibleName(tr("Progress"));
    StatGauge->setRange(0, 100);
    StatGauge->setTextVisible(false);
    first_->addWidget(StatFileName);
    first_->addWidget(StatGauge);
    StatWidthHeight = make_field(this, "StatWidthHeight", tr("Width x height"), tr("Press 'Esc' To Stop"));
    StatBPP = make_field(this, "StatBPP", tr("Bits per pixel"), QStringLiteral("24 BPP"));
    StatZoom = make_field(this, "StatZoom", tr("Zoom"), QStringLiteral("STRETCHED"));
    selection =
        make_field(this, "selection", tr("Selection: size and position"), tr("9999x9999 at 9999, 9999"));
    selection->hide();
    StatSize = make_field(this, "StatSize", tr("Size in memory"), QStringLiteral("999,999,999 bytes"));

    auto* row = new QHBoxLayout{this};
    row->setContentsMargins(2, 2, 2, 2);
    row->setSpacing(2);
    row->addWidget(first_, 1);
    for (QLabel* field : {selection, StatWidthHeight, StatBPP, StatZoom, StatSize}) row->addWidget(field);
    first_->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Fixed);
    setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Fixed);
}

void StatusBar::show_gauge(bool on) {
    if (on) set_gauge(0);
    first_->setCurrentWidget(on ? static_cast<QWidget*>(StatGauge) : StatFileName);
}

void StatusBar::set_gauge(int percent) { StatGauge->setValue(std::clamp(percent, 0, 100)); }

void StatusBar::clear() {
    for (QLabel* field : {StatFileName, StatWidthHeight, StatBPP, StatZoom, StatSize}) field->clear();
    show_selection({});
}

void StatusBar::show_selection(const imaging::Rect& bounds) {
    const QString text =
        bounds.empty()
            ? QString{}
            : tr("%1x%2 at %3, %4").arg(bounds.width).arg(bounds.height).arg(bounds.x).arg(bounds.y);
    selection->setText(text);
    selection->setAccessibleDescription(text);
    selection->setVisible(!text.isEmpty());
}

}  // namespace quillmark::program
