// Life cycle of the image window: creation for a source, status bar, Esc and progress, closing.
#include "viewer/viewer.h"

#include <QCloseEvent>
#include <QCoreApplication>
#include <QFileInfo>
#include <QKeyEvent>
#include <QScreen>
#include <QStyle>
#include <QVBoxLayout>
#include <array>

#include "platform/screen.h"
#include "program/document_list.h"
#include "program/prompts.h"
#include "program/status_bar.h"
#include "program/tool_face.h"
#include "text/messages.h"
#include "text/numbers.h"

namespace quillmark::viewer {
namespace {

constexpr std::int16_t kNotExamined = 20000;

std::int32_t next_handle() {
    static std::int32_t last = 0;  // one interface thread
    return ++last;
}

// Sources that are captions themselves, recognised by their first characters.
bool is_own_caption(const QString& source) {
    static const std::array kPrefixes{QStringLiteral("Twain"), QStringLiteral("The DeskTop"),
                                      QStringLiteral("Blue"), QStringLiteral("Green"), QStringLiteral("Red")};
    return std::any_of(kPrefixes.begin(), kPrefixes.end(),
                       [&](const QString& p) { return source.startsWith(p); });
}

QString grouped(std::int64_t value) { return QString::fromStdString(text::grouped(value)); }

}  // namespace

Viewer::Viewer(program::FrameFace& frame)
    : frame_{frame}, view_{new engine::ImageView{lead1_, this}}, handle_{next_handle()} {
    setObjectName(QStringLiteral("Viewer"));
    setAttribute(Qt::WA_DeleteOnClose, false);  // the framing sub-window deletes it
    auto* layout = new QVBoxLayout{this};
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(view_);
    setFocusProxy(view_);
    connect(&lead1_, &engine::Engine::ProgressStatus, this, &Viewer::LEAD1_ProgressStatus);
    connect(&lead1_, &engine::Engine::EscapePressed, this, [this] { Form_KeyPress(27); });
    connect(&lead1_, &engine::Engine::region_changed, this, &Viewer::show_selection);
    connect(&lead1_, &engine::Engine::floater_changed, this, &Viewer::show_selection);
    connect(view_, &engine::ImageView::tracked, this, &Viewer::show_selection);
    connect(view_, &engine::ImageView::MouseDown, this, &Viewer::LEAD1_MouseDown);
    connect(view_, &engine::ImageView::MouseMove, this, &Viewer::LEAD1_MouseMove);
    connect(view_, &engine::ImageView::MouseUp, this, &Viewer::LEAD1_MouseUp);
    connect(view_, &engine::ImageView::nudge, this, &Viewer::nudge_region);
    connect(view_, &engine::ImageView::zoom_wheel, this,
            [this](int steps) { steps > 0 ? ZoomIn() : ZoomOut(); });
    connect(view_, &engine::ImageView::menu_key, this,
            [this] { frame_.tools().show_popup(u"ID_RightClick", view_->middle_seen()); });
    Form_Load();
}

Viewer::~Viewer() {
    // A window that goes without having been closed (the frame is torn down) still leaves the list.
    if (loaded_) {
        loaded_ = false;
        frame_.kids().RemoveKid(handle_);
        --frame_.kids().KidCount;
        frame_.kids().RedimKids();
    }
}

void Viewer::set_frame_window(QMdiSubWindow* window) {
    window_ = window;
    connect(window, &QMdiSubWindow::windowStateChanged, this, [this] { frame_.MainView_Click(); });
}

void Viewer::Form_Load() {
    loaded_ = true;
    ++frame_.kids().KidCount;
    frame_.kids().RedimKids();
    frame_.kids().AddKid(handle_);
    frame_.state().ImageChanged = false;
}

std::int16_t Viewer::InitTheForm(const QString& source, const program::FileArguments* file) {
    if (file) lead1_.SetPCDResolution(file->pcd_resolution);
    lead1_.SetDisplaySwitch(0, false);
    if (file) {
        const std::int16_t page = file->page < 2 ? std::int16_t{1} : file->page;
        if (const engine::Code code = lead1_.GetFileInfo(file->name, page); code != 0) {
            frame_.prompts().message_with_detail(
                QStringLiteral("Error Code = %1").arg(code),
                QString::fromStdString(text::error_message(code)) + u'\n' + file->name,
                QStringLiteral("UNEXPECTED ERROR! (Viewer: InitTheForm)"), program::Icon::stop);
            return kNotExamined;
        }
        ResizeSuppressed = true;
        show_window();
        ResizeSuppressed = false;
        size_client_to(lead1_.Info().width, lead1_.Info().height);
        QCoreApplication::processEvents(QEventLoop::ExcludeUserInputEvents);
    }
    lead1_.SetDisplaySwitch(1, false);
    for (const int on : {2, 3, 4}) lead1_.SetDisplaySwitch(on, true);
    if (file) lead1_.SetPaintWhileLoad(file->paint_while_load);
    set_title(source);
    lead1_.SetBitonalDisplay(0);
    return 0;
}

void Viewer::set_title(const QString& source) {
    if (is_own_caption(source)) {
        setWindowTitle(source);
    } else if (source.left(9).toLower() == u"clipboard") {
        setWindowTitle(QStringLiteral("Image from clipboard"));
    } else if (const QFileInfo file{source}; file.exists()) {
        // A placeholder mark in a file name must not be taken for the window-modified mark.
        const QString name = QString{source}.replace(QStringLiteral("[*]"), QStringLiteral("[*][*]"));
        setWindowTitle(QStringLiteral("%1 (%2 bytes)").arg(name, grouped(file.size())));
    }
}

void Viewer::show_window() {
    if (!window_) return;
    window_->show();
    if (QMdiArea* area = window_->mdiArea()) area->setActiveSubWindow(window_);
}

void Viewer::unload() {
    if (window_)
        window_->close();
    else
        close();
}

// Gives the client area width x height device pixels, borders and caption added around.
bool Viewer::size_client_to(int width, int height) {
    if (!window_) return false;
    if (window_->isMaximized()) return true;  // it keeps filling the frame, and its own size for later
    const QSizeF client = view_->size_for_image(width, height);
    const QSize border = window_->size() - size();
    window_->resize(
        QSize(static_cast<int>(std::ceil(client.width())), static_cast<int>(std::ceil(client.height()))) +
        border);
    return true;
}

void Viewer::step_aside(int steps) {
    if (!window_) return;
    const int step = steps * window_->style()->pixelMetric(QStyle::PM_TitleBarHeight, nullptr, window_);
    window_->move(window_->pos() + QPoint{step, step});
}

void Viewer::Form_Activate() { DisplayStatusBar(windowTitle()); }

void Viewer::DisplayStatusBar(const QString&) {
    const program::ProgramState& state = frame_.state();
    program::StatusBar& bar = frame_.status_bar();
    lead1_.SetPaintDitherMethod(state.DitherMethod);
    lead1_.SetBitonalScaling(state.BitonalScalingMode);
    lead1_.SetBitonalDisplay(0);
    const engine::FileInfo& info = lead1_.Info();
    const std::string_view format = imaging::display_name(info.format);
    bar.StatFileName->setText(QString::fromUtf8(format.data(), static_cast<qsizetype>(format.size())));
    lead1_.SetScaleMode(engine::kPixels);
    bar.StatWidthHeight->setText(QStringLiteral("%1x%2").arg(info.width).arg(info.height));
    bar.StatBPP->setText(QStringLiteral("%1 BPP").arg(info.bits));
    show_zoom();
    bar.StatSize->setText(QStringLiteral("%1 bytes").arg(grouped(info.size_mem)));
    show_selection();
}

void Viewer::show_zoom() {
    const program::ProgramState& state = frame_.state();
    QLabel* field = frame_.status_bar().StatZoom;
    switch (state.DefaultViewMode) {
        case program::kViewStretch: field->setText(QStringLiteral("STRETCHED")); break;
        case program::kViewFit: field->setText(QStringLiteral("FITTED")); break;
        default: field->setText(QStringLiteral("%1%").arg(state.ZoomPercent));
    }
}

bool Viewer::Form_QueryUnload() const { return !frame_.state().OperationBusy; }

void Viewer::Form_Unload() {
    frame_.status_bar().clear();
    loaded_ = false;
    frame_.kids().RemoveKid(handle_);
    --frame_.kids().KidCount;
    frame_.kids().RedimKids();
    if (frame_.state().ImageChanged &&
        frame_.prompts().message(QStringLiteral("Save changes to current image?"),
                                 QCoreApplication::applicationName(), program::Icon::question,
                                 program::Buttons::yes_no) == program::Answer::yes) {
        frame_.C_FileSave();
    }
    frame_.update_status_panel();
}

void Viewer::closeEvent(QCloseEvent* event) {
    if (!loaded_) return event->accept();
    if (!Form_QueryUnload()) return event->ignore();
    Form_Unload();
    event->accept();
}

void Viewer::keyPressEvent(QKeyEvent* event) {
    if (event->key() == Qt::Key_Escape && abandon_drag()) return;
    if (event->key() == Qt::Key_Escape)
        Form_KeyPress(27);
    else if (event->key() == Qt::Key_F10 && event->modifiers() == Qt::ShiftModifier)
        frame_.tools().show_popup(u"ID_RightClick", view_->middle_seen());
    else
        QWidget::keyPressEvent(event);
}

void Viewer::Form_KeyPress(int key) {
    if (key == 27) StopRequested = true;
}

void Viewer::LEAD1_ProgressStatus(int percent) {
    if (percent == 0) StopRequested = false;
    frame_.status_bar().set_gauge(percent);
    // Pending events, Esc among them, come through the loop in which the engine waits.
    if (StopRequested) lead1_.Abort();
}

}  // namespace quillmark::viewer
