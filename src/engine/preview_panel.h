// The preview beside a file list: a small picture, the facts of the file, and the choice of a page.
#pragma once

#include <QWidget>
#include <memory>

namespace quillmark::engine {

class PreviewPanel : public QWidget {
    Q_OBJECT

  public:
    explicit PreviewPanel(QWidget* parent = nullptr);
    ~PreviewPanel() override;

    /// Shows the first of the chosen files at its first page; count is how many are chosen. An empty name
    /// empties the panel. The same name again keeps what is shown.
    void show_file(const QString& file, int count);
    /// Says something in place of the picture (plain text) and drops the file.
    void show_remark(const QString& remark);
    /// 1-based page chosen for the file that is shown.
    int page() const;

  private:
    struct Private;
    std::unique_ptr<Private> d_;
};

}  // namespace quillmark::engine
