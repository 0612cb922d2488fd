#include "frame/edit_tool.h"

#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QPainter>

#include "frame/caption_text.h"

namespace quillmark::frame {
namespace {

constexpr int kLongestText = 256;

/// The line edit of one place. Esc gives the committed text back.
class EditBox final : public QLineEdit {
  public:
    EditBox(EditTool& tool, QWidget* parent) : QLineEdit(tool.edit_text(), parent), tool_(tool) {
        setMaxLength(kLongestText);
        setFixedWidth(fontMetrics().horizontalAdvance(QStringLiteral("000000")) + 16);
        setToolTip(tool.toolTip());
        setAccessibleName(plain_text(tool.text()));
    }

  protected:
    void keyPressEvent(QKeyEvent* event) override {
        if (event->key() == Qt::Key_Escape) setText(tool_.edit_text());
        const bool enter = event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter;
        if (enter) commit();
        // In a menu, Enter and Esc go on to it, which closes it.
        if (!enter || qobject_cast<QMenu*>(window())) QLineEdit::keyPressEvent(event);
    }

    /// The style's own frame is all but invisible on the background of a dark menu.
    void paintEvent(QPaintEvent* event) override {
        QLineEdit::paintEvent(event);
        QColor edge = palette().color(hasFocus() ? QPalette::Highlight : QPalette::Text);
        if (!hasFocus()) edge.setAlpha(90);
        QPainter painter(this);
        painter.setRenderHint(QPainter::Antialiasing);
        painter.setPen(edge);
        painter.drawRoundedRect(QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5), 2, 2);
    }

    void focusInEvent(QFocusEvent* event) override {
        QLineEdit::focusInEvent(event);
        selectAll();
    }

    void focusOutEvent(QFocusEvent* event) override {
        QLineEdit::focusOutEvent(event);
        if (text() != tool_.edit_text()) commit();
    }

    void hideEvent(QHideEvent* event) override {  // a menu closes: no focus event is certain then
        QLineEdit::hideEvent(event);
        if (text() != tool_.edit_text()) commit();
        clearFocus();  // or the menu, opened again, would type its access keys into this box
    }

  private:
    void commit() {
        const QString confirmed = text();
        tool_.set_edit_text(confirmed);
        emit tool_.committed(confirmed);
    }

    EditTool& tool_;
};

}  // namespace

void EditTool::set_edit_text(const QString& text) {
    edit_text_ = text;
    emit edit_text_changed(text);
}

QWidget* EditTool::createWidget(QWidget* parent) {
    auto* place = new QWidget(parent);
    auto* label = new QLabel(place);
    auto* box = new EditBox(*this, place);
    const bool in_menu = qobject_cast<QMenu*>(parent) != nullptr;
    auto* row = new QHBoxLayout(place);
    // In a menu the label lines up with the other entries' texts behind their pictures.
    row->setContentsMargins(in_menu ? QMargins(28, 1, 6, 1) : QMargins(4, 0, 4, 0));
    row->addWidget(label);
    if (in_menu)
        row->addStretch();
    else
        place->setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Preferred);
    row->addWidget(box);
    label->setBuddy(box);
    if (in_menu) parent->installEventFilter(this);
    place->setFocusProxy(box);  // a menu gives the focus to the place
    place->setFocusPolicy(Qt::StrongFocus);

    const auto show = [this, label] { label->setText(text()); };
    show();
    connect(this, &QAction::changed, label, show);
    connect(this, &EditTool::edit_text_changed, box, &QLineEdit::setText);
    return place;
}

bool EditTool::eventFilter(QObject* watched, QEvent* event) {
    auto* menu = qobject_cast<QMenu*>(watched);
    if (!menu || event->type() != QEvent::KeyPress) return QWidgetAction::eventFilter(watched, event);
    const auto* key = static_cast<QKeyEvent*>(event);
    const QKeySequence access = QKeySequence::mnemonic(text());
    if (access.isEmpty() || access != QKeySequence(Qt::ALT | Qt::Key(key->key()))) return false;
    for (QWidget* place : createdWidgets())
        if (place->parent() == menu) {
            menu->setActiveAction(this);
            place->setFocus(Qt::ShortcutFocusReason);
            return true;
        }
    return false;
}

}  // namespace quillmark::frame
