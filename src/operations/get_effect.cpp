#include "operations/get_effect.h"

#include <QCoreApplication>
#include <QKeyEvent>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QVBoxLayout>

#include "engine/transition.h"
#include "operations/form.h"

namespace quillmark::operations {

GetEffect::GetEffect(QWidget* parent) : QDialog{parent}, code_{engine::kFirstPaintEffect} {
    setObjectName(QStringLiteral("GetEffect"));
    setWindowTitle(tr("Paint Effects"));
    search_ = new QLineEdit{this};
    search_->setObjectName(QStringLiteral("SearchBox"));
    search_->setPlaceholderText(tr("Part of a name"));
    search_->setAccessibleName(tr("Part of an effect's name"));
    search_->setClearButtonEnabled(true);
    search_->installEventFilter(this);
    filter_box_ = new QListWidget{this};
    filter_box_->setObjectName(QStringLiteral("FilterBox"));
    filter_box_->setUniformItemSizes(true);
    filter_box_->setMinimumSize(filter_box_->fontMetrics().averageCharWidth() * 52,
                                filter_box_->fontMetrics().lineSpacing() * 14);
    auto* label = new QLabel{tr("Select An Effect:"), this};
    label->setBuddy(filter_box_);
    hint_ = make_hint(QStringLiteral("SearchHint"), this);
    QDialogButtonBox* buttons = add_buttons(*this, QDialogButtonBox::Ok | QDialogButtonBox::Cancel);
    ok_ = buttons->button(QDialogButtonBox::Ok);
    auto* layout = new QVBoxLayout{this};
    for (QWidget* part :
         {static_cast<QWidget*>(label), static_cast<QWidget*>(search_), static_cast<QWidget*>(filter_box_),
          static_cast<QWidget*>(hint_), static_cast<QWidget*>(buttons)})
        layout->addWidget(part);
    fill();
    connect(search_, &QLineEdit::textChanged, this, &GetEffect::apply_search);
    connect(filter_box_, &QListWidget::currentItemChanged, this, &GetEffect::take_current);
    connect(filter_box_, &QListWidget::itemDoubleClicked, this, &GetEffect::accept);
    search_->setFocus();  // 555 names are found by typing; arrows walk the list from here, too
    centre_on_screen(*this);
}

void GetEffect::fill() {
    int code = engine::kFirstPaintEffect;
    for (const QString& name : engine::paint_effect_names()) {
        auto* item = new QListWidgetItem{name, filter_box_};
        item->setData(Qt::UserRole, code++);
    }
    filter_box_->setCurrentRow(0);
}

// Words of the name in any case, blanks for its underlines.
void GetEffect::apply_search(const QString& text) {
    const QString wanted = text.trimmed().replace(u' ', u'_');
    QListWidgetItem* first = nullptr;
    for (int row = 0; row < filter_box_->count(); ++row) {
        QListWidgetItem* item = filter_box_->item(row);
        item->setHidden(!item->text().contains(wanted, Qt::CaseInsensitive));
        if (!item->isHidden() && !first) first = item;
    }
    QListWidgetItem* current = filter_box_->currentItem();
    if (first && (!current || current->isHidden())) filter_box_->setCurrentItem(first);
    if (first) filter_box_->scrollToItem(filter_box_->currentItem());
    ok_->setEnabled(first != nullptr);
    hint_->setText(first ? QString{} : tr("No effect has this in its name"));
}

void GetEffect::take_current() {
    if (const QListWidgetItem* item = filter_box_->currentItem()) code_ = item->data(Qt::UserRole).toInt();
}

// The keys that walk the list work while the search has the focus.
bool GetEffect::eventFilter(QObject* watched, QEvent* event) {
    if (watched == search_ && event->type() == QEvent::KeyPress) {
        switch (static_cast<QKeyEvent*>(event)->key()) {
            case Qt::Key_Up:
            case Qt::Key_Down:
            case Qt::Key_PageUp:
            case Qt::Key_PageDown: return QCoreApplication::sendEvent(filter_box_, event);
            default: break;
        }
    }
    return QDialog::eventFilter(watched, event);
}

void GetEffect::accept() {
    if (!ok_->isEnabled()) return;
    take_current();
    accepted_ = true;
    QDialog::accept();
}

}  // namespace quillmark::operations
