#include "operations/get_filter.h"

#include <QListWidget>
#include <QVBoxLayout>
#include <algorithm>

#include "operations/form.h"

namespace quillmark::operations {
namespace {

constexpr int kNarrowest = 44, kWidest = 100;  // columns of the list; longer entries lose their middle

}  // namespace

GetFilter::GetFilter(QWidget* parent) : QDialog{parent} {
    setObjectName(QStringLiteral("GetFilter"));
    filter_box_ = new QListWidget{this};
    filter_box_->setObjectName(QStringLiteral("FilterBox"));
    filter_box_->setTextElideMode(Qt::ElideMiddle);
    filter_box_->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    auto* label = new QLabel{tr("&Type"), this};
    label->setBuddy(filter_box_);
    auto* layout = new QVBoxLayout{this};
    layout->addWidget(label);
    layout->addWidget(filter_box_);
    layout->addWidget(add_buttons(*this, QDialogButtonBox::Ok | QDialogButtonBox::Cancel));
    connect(filter_box_, &QListWidget::currentRowChanged, this, [this](int row) { selected_ = row; });
    connect(filter_box_, &QListWidget::itemDoubleClicked, this, &GetFilter::accept);
}

void GetFilter::InitTheForm(const QString& title, const QString& list) {
    setWindowTitle(title);
    accepted_ = false;
    filter_box_->clear();
    filter_box_->addItems(list.split(u';'));
    int widest = 0;
    for (int row = 0; row < filter_box_->count(); ++row) {
        QListWidgetItem& item = *filter_box_->item(row);
        item.setToolTip(item.text());
        widest = std::max(widest, filter_box_->fontMetrics().horizontalAdvance(item.text()));
    }
    const int column = filter_box_->fontMetrics().averageCharWidth();
    filter_box_->setMinimumWidth(std::clamp(widest + 8 * column, kNarrowest * column, kWidest * column));
    filter_box_->setCurrentRow(0);
    filter_box_->setFocus();
    centre_on_screen(*this);
}

void GetFilter::accept() {
    accepted_ = true;
    selected_ = std::max(filter_box_->currentRow(), 0);
    QDialog::accept();
}

}  // namespace quillmark::operations
