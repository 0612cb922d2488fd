// The image before and after an operation, side by side: fitted or one to one, dragged together.
#pragma once

#include <QWidget>

#include "engine/trial_query.h"

class QLabel;
class QRadioButton;

namespace quillmark::engine {

class PreviewPane;

class PreviewPair : public QWidget {
    Q_OBJECT

  public:
    PreviewPair(const TrialSubject& subject, QWidget* parent);
    /// Shows the operation with these arguments.
    void set_arguments(const std::vector<int>& arguments);
    /// Whether the last question has been answered for good.
    bool settled() const { return settled_; }

  protected:
    void resizeEvent(QResizeEvent* event) override;
    void showEvent(QShowEvent* event) override;

  private:
    void build();
    QWidget* build_zoom_row();
    void set_fit(bool fit);
    void pan(QPoint by);
    QPoint clamped(QPoint centre) const;
    void ask();
    void show_answer(const TrialAnswer& answer);

    QSize image_;
    imaging::Rect visible_;
    std::vector<int> arguments_;
    TrialView view_;
    bool settled_ = false;
    PreviewPane* before_ = nullptr;
    PreviewPane* after_ = nullptr;
    QRadioButton* fit_ = nullptr;
    QRadioButton* full_ = nullptr;
    QLabel* note_ = nullptr;
    QTimer patience_;
    TrialQuery query_;
};

}  // namespace quillmark::engine
