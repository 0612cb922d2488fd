#include "engine/preview_pair.h"

#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QRadioButton>
#include <algorithm>

#include "engine/preview_pane.h"

namespace quillmark::engine {
namespace {

constexpr int kPatience = 300;  // ms without an answer before that is worth a word

// One axis: the view stays inside the image; a smaller image stays in the middle.
int clamped_centre(int centre, int pane, int image) {
    if (image <= pane) return image / 2;
    return std::clamp(centre, pane / 2, image - (pane - pane / 2));
}

}  // namespace

PreviewPair::PreviewPair(const TrialSubject& subject, QWidget* parent)
    : QWidget{parent},
      image_{subject.bitmap.width(), subject.bitmap.height()},
      visible_{subject.keeps_size ? subject.visible : imaging::Rect{}},
      query_{subject, nullptr} {
    const imaging::Rect middle =
        visible_.empty() ? imaging::Rect{0, 0, image_.width(), image_.height()} : visible_;
    view_.centre = {middle.x + middle.width / 2, middle.y + middle.height / 2};
    // What looks at a pixel's neighbours, or dithers, is judged by single pixels; a tone or a turn by the
    // whole.
    const bool by_pixels =
        subject.operation->reach || (subject.keeps_size && subject.operation->scope == imaging::Scope::whole);
    view_.fit = !by_pixels;
    build();
    patience_.setSingleShot(true);
    patience_.setInterval(kPatience);
    connect(&patience_, &QTimer::timeout, this, [this] { note_->setText(tr("Working…")); });
    connect(&query_, &TrialQuery::answered, this, &PreviewPair::show_answer);
}

void PreviewPair::build() {
    before_ = new PreviewPane{tr("Before"), this};
    before_->setObjectName("previewBefore");
    after_ = new PreviewPane{tr("After"), this};
    after_->setObjectName("previewAfter");
    auto* grid = new QGridLayout{this};
    grid->setContentsMargins(0, 0, 0, 0);
    grid->addWidget(new QLabel{before_->accessibleName(), this}, 0, 0);
    grid->addWidget(new QLabel{after_->accessibleName(), this}, 0, 1);
    grid->addWidget(before_, 1, 0);
    grid->addWidget(after_, 1, 1);
    grid->addWidget(build_zoom_row(), 2, 0, 1, 2);
    grid->setRowStretch(1, 1);
    grid->setColumnStretch(0, 1);
    grid->setColumnStretch(1, 1);
    for (PreviewPane* pane : {before_, after_}) {
        pane->set_view(view_);
        connect(pane, &PreviewPane::panned, this, &PreviewPair::pan);
        connect(pane, &PreviewPane::double_clicked, this,
                [this] { (view_.fit ? full_ : fit_)->setChecked(true); });
    }
}

QWidget* PreviewPair::build_zoom_row() {
    auto* row = new QWidget{this};
    fit_ = new QRadioButton{tr("Fi&t"), row};
    fit_->setObjectName("previewFit");
    fit_->setAccessibleName(tr("Preview fitted"));
    full_ = new QRadioButton{tr("&100 %"), row};
    full_->setObjectName("previewFull");
    full_->setAccessibleName(tr("Preview at 100 percent"));
    note_ = new QLabel{row};
    note_->setObjectName("previewNote");
    note_->setForegroundRole(QPalette::PlaceholderText);
    (view_.fit ? fit_ : full_)->setChecked(true);
    connect(fit_, &QRadioButton::toggled, this, &PreviewPair::set_fit);
    auto* layout = new QHBoxLayout{row};
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(fit_);
    layout->addWidget(full_);
    layout->addStretch();
    layout->addWidget(note_);
    return row;
}

void PreviewPair::set_arguments(const std::vector<int>& arguments) {
    if (arguments == arguments_) return;
    arguments_ = arguments;
    ask();
}

void PreviewPair::resizeEvent(QResizeEvent* event) {
    QWidget::resizeEvent(event);
    ask();
}

void PreviewPair::showEvent(QShowEvent* event) {
    QWidget::showEvent(event);
    ask();
}

void PreviewPair::set_fit(bool fit) {
    view_.fit = fit;
    ask();
}

void PreviewPair::pan(QPoint by) {
    if (!view_.fit) {
        view_.centre -= by;
        ask();
    }
}

QPoint PreviewPair::clamped(QPoint centre) const {
    return {clamped_centre(centre.x(), view_.pane.width(), image_.width()),
            clamped_centre(centre.y(), view_.pane.height(), image_.height())};
}

void PreviewPair::ask() {
    view_.pane = before_->device_size().boundedTo(after_->device_size());
    if (arguments_.empty() || !isVisible()) return;
    view_.centre = clamped(view_.centre);
    for (PreviewPane* pane : {before_, after_}) pane->set_view(view_);
    settled_ = false;
    if (!patience_.isActive()) patience_.start();
    query_.ask(arguments_, view_);
}

void PreviewPair::show_answer(const TrialAnswer& answer) {
    if (answer.before) before_->show_picture(*answer.before, answer.view);
    if (!answer.after) return;
    patience_.stop();
    settled_ = answer.after->complete;
    note_->setText(answer.after->approximate ? tr("Approximate") : QString{});
    if (answer.after->remark.isEmpty())
        after_->show_picture(answer.after->picture, answer.view);
    else
        after_->show_remark(answer.after->remark);
}

}  // namespace quillmark::engine
