// An edit-box tool: one text, shown by a line edit in every menu and on every bar where the tool stands.
#pragma once

#include <QWidgetAction>

namespace quillmark::frame {

class EditTool : public QWidgetAction {
    Q_OBJECT

  public:
    using QWidgetAction::QWidgetAction;

    const QString& edit_text() const { return edit_text_; }
    /// Shows the text at every place; half-typed texts are lost. Emits no `committed`.
    void set_edit_text(const QString& text);

  signals:
    /// The user confirmed a text: Enter, or the box lost the focus with a changed text.
    void committed(const QString& text);
    void edit_text_changed(const QString& text);

  protected:
    QWidget* createWidget(QWidget* parent) override;
    /// In a menu, the access key leads into the box instead of closing the menu.
    bool eventFilter(QObject* watched, QEvent* event) override;

  private:
    QString edit_text_;
};

}  // namespace quillmark::frame
