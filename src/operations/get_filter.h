// A list to choose one entry from.
#pragma once

#include <QDialog>

class QListWidget;

namespace quillmark::operations {

class GetFilter final : public QDialog {
    Q_OBJECT

  public:
    explicit GetFilter(QWidget* parent = nullptr);

    /// list: the entries, joined by ";".
    void InitTheForm(const QString& title, const QString& list);
    /// Whether OK was chosen.
    bool UserResult() const { return accepted_; }
    /// The chosen row, from 0.
    int GetAmount() const { return selected_; }
    void accept() override;

  private:
    QListWidget* filter_box_;
    bool accepted_ = false;
    int selected_ = 0;
};

}  // namespace quillmark::operations
