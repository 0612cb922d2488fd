#include "operations/form.h"

#include <QLayout>
#include <QPushButton>
#include <QScreen>

namespace quillmark::operations {

void centre_on_screen(QDialog& form) {
    form.layout()->activate();
    const QRect screen = form.screen()->geometry();
    const QSize size = form.size().expandedTo(form.sizeHint());
    form.move(screen.x() + (screen.width() - size.width()) / 2,
              screen.y() + (screen.height() - size.height()) / 2);
}

QDialogButtonBox* add_buttons(QDialog& form, QDialogButtonBox::StandardButtons buttons) {
    auto* box = new QDialogButtonBox{buttons, &form};
    if (QPushButton* ok = box->button(QDialogButtonBox::Ok)) {
        ok->setObjectName(QStringLiteral("OK"));
        ok->setText(QDialog::tr("&OK"));
        ok->setDefault(true);
    }
    if (QPushButton* cancel = box->button(QDialogButtonBox::Cancel)) {
        cancel->setObjectName(QStringLiteral("Cancel"));
        cancel->setText(QDialog::tr("&Cancel"));
    }
    QObject::connect(box, &QDialogButtonBox::accepted, &form, &QDialog::accept);
    QObject::connect(box, &QDialogButtonBox::rejected, &form, &QDialog::reject);
    return box;
}

QLabel* make_hint(const QString& name, QWidget* parent) {
    auto* hint = new QLabel{parent};
    hint->setObjectName(name);
    hint->setMinimumHeight(hint->fontMetrics().lineSpacing());
    return hint;
}

}  // namespace quillmark::operations
