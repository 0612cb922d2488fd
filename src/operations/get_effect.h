// The list of paint effects.
#pragma once

#include <QDialog>

class QLabel;
class QLineEdit;
class QListWidget;
class QPushButton;

namespace quillmark::operations {

class GetEffect final : public QDialog {
    Q_OBJECT

  public:
    explicit GetEffect(QWidget* parent = nullptr);

    /// Whether OK was chosen.
    bool UserResult() const { return accepted_; }
    /// The code of the chosen effect, 2000 and above.
    int GetAmount() const { return code_; }
    void accept() override;

  protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

  private:
    void fill();
    void apply_search(const QString& text);
    void take_current();

    QLineEdit* search_;
    QListWidget* filter_box_;
    QLabel* hint_;
    QPushButton* ok_;
    bool accepted_ = false;
    int code_;
};

}  // namespace quillmark::operations
