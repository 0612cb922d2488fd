// The frame at work: clicks and their dispatch, the image windows, the busy bracket, the tools' states.
#include <QCoreApplication>
#include <QFileInfo>
#include <QMdiArea>
#include <QMdiSubWindow>
#include <QMenu>
#include <QTimer>

#include "files/recent_files.h"
#include "files/save.h"
#include "frame/command_surface.h"
#include "frame/customize_dialog.h"
#include "frame/dispatch.h"
#include "frame/image_process.h"
#include "frame/layout_file.h"
#include "frame/title_style.h"
#include "frame/tool_table.h"
#include "operations/operations.h"
#include "platform/screen.h"
#include "platform/shell.h"
#include "program/run_time_error.h"
#include "text/numbers.h"
#include "viewer/viewer.h"

namespace quillmark::frame {
namespace {

const auto kDefaultLayoutName = QStringLiteral("Image Processing (default).atb");
const auto kHelpFile = QStringLiteral("quillmark.hlp");

}  // namespace

void ImageProcess::SSActiveToolBars1_ToolClick(const QString& id) {
    if ((kids_.KidCount < 1 && !allowed_without_image(id)) || state_.CommandBusy || state_.OperationBusy) {
        surface_->restore_checked(id);
        return;
    }
    state_.CommandBusy = true;
    const Command* command = find_command(id);
    if (command && command->run) {
        program::ImageWindow* window = active_window();
        if (command->undo_copy == UndoCopy::dispatcher && window)
            window->LEAD3().SetBitmap(window->LEAD1().Bitmap());
        try {
            command->run(*this, command->argument);
            if (command->changed) state_.ImageChanged = true;
        } catch (const program::RunTimeError& error) {
            if (!error.stopped()) {
                prompts_->message(error.description(),
                                  QStringLiteral("UNEXPECTED ERROR! (ImageProcess: %1)").arg(id),
                                  program::Icon::stop);
            }
        }
    } else if (command) {
        surface_->restore_checked(id);
    }
    state_.LastTool = id;
    state_.CommandBusy = false;
}

void ImageProcess::SSActiveToolBars1_ToolDropDown(const QString& id, int x, int y) {
    // Sub-menus open where their entry stands; as a button on a bar these menus pop up at the pointer, which
    // the surface does by itself with the same list.
    Q_UNUSED(x);
    Q_UNUSED(y);
    if (id == u"ID_mnuWindow") refresh_window_list();
}

program::ToolFace& ImageProcess::tools() { return *surface_; }

program::ImageWindow* ImageProcess::new_image_window() {
    auto* window = new viewer::Viewer{*this};
    QMdiSubWindow* framed = area_->addSubWindow(window);
    framed->setAttribute(Qt::WA_DeleteOnClose);
    auto* style = new TitleStyle;
    style->setParent(framed);  // a widget does not own its style
    framed->setStyle(style);
    window->set_frame_window(framed);
    update_status_panel();  // before its image loads: the gauge is to be seen
    return window;
}

program::ImageWindow* ImageProcess::active_window() {
    QMdiSubWindow* window = area_ ? area_->currentSubWindow() : nullptr;
    return window ? qobject_cast<program::ImageWindow*>(window->widget()) : nullptr;
}

void ImageProcess::send_active_to_back() {
    // The next window in stacking order becomes active, the former one goes to the end of that order.
    QMdiSubWindow* active = area_->currentSubWindow();
    auto order = area_->subWindowList(QMdiArea::CreationOrder);
    // Windows that wait to be shown cannot become active.
    erase_if(order, [](const QMdiSubWindow* window) { return window->isHidden(); });
    if (!active || order.size() < 2) return;
    const qsizetype next = (order.indexOf(active) + 1) % order.size();
    active->lower();
    area_->setActiveSubWindow(order[next]);
}

void ImageProcess::on_window_activated(QMdiSubWindow* window) {
    auto* viewer = window ? qobject_cast<viewer::Viewer*>(window->widget()) : nullptr;
    if (viewer) viewer->Form_Activate();
    MainView_Click();
    refresh_window_list();
}

void ImageProcess::StatusInit() {
    QGuiApplication::setOverrideCursor(Qt::WaitCursor);
    if (program::ImageWindow* window = active_window())
        window->LEAD1().SetEnableProgressEvent(state_.ProgressEnabled);
    state_.OperationBusy = true;
    if (!state_.ProgressEnabled) return;
    status_->show_gauge(true);
    status_->StatWidthHeight->setText(QStringLiteral("Press 'Esc' To Stop"));
    status_->StatWidthHeight->repaint();
}

void ImageProcess::StatusTerm() {
    QGuiApplication::restoreOverrideCursor();
    state_.OperationBusy = false;
    status_->show_gauge(false);
    program::ImageWindow* window = active_window();
    if (!window) return;
    engine::Engine& image = window->LEAD1();
    image.SetScaleMode(engine::kPixels);
    status_->StatWidthHeight->setText(
        QStringLiteral("%1x%2").arg(image.BitmapWidth()).arg(image.BitmapHeight()));
    status_->StatWidthHeight->repaint();
    window->setFocus();
    image.SetAutoRepaint(true);
}

void ImageProcess::C_FileSave() { files::C_FileSave(*this); }

void ImageProcess::InsertText(int x, int y) { operations::InsertText(*this, x, y); }

void ImageProcess::update_status_panel() {
    statusBar()->setVisible(kids_.KidCount != 0);
    refresh_tools();
    refresh_window_list();
    if (kids_.KidCount == 0) imaging::release_pooled_buffers();
}

void ImageProcess::MainView_Click() {
    const QMdiSubWindow* window = area_ ? area_->currentSubWindow() : nullptr;
    const bool minimized = window && window->isMinimized();
    const bool normal = window && !minimized && !window->isMaximized();
    surface_->set_enabled(u"ID_ViewSnap", normal && tool_available(u"ID_ViewSnap", kids_.KidCount > 0));
    surface_->set_enabled(u"ID_mnuEffects", !minimized);
}

void ImageProcess::refresh_tools() {
    if (!surface_) return;
    for (const Tool& tool : all_tools()) {
        if (tool.kind == Kind::menu || tool.kind == Kind::edit) continue;
        surface_->set_enabled(tool.id, tool_available(tool.id, kids_.KidCount > 0));
    }
    MainView_Click();
}

void ImageProcess::refresh_window_list() {
    if (!area_ || !surface_) return;
    QStringList titles;
    for (std::int16_t i = 0; i < kids_.KidCount; ++i) {
        const std::int32_t handle = kids_.KidList()[static_cast<std::size_t>(i)];
        for (const QMdiSubWindow* window : area_->subWindowList()) {
            const auto* viewer = qobject_cast<viewer::Viewer*>(window->widget());
            if (viewer && viewer->handle() == handle) titles += viewer->windowTitle();
        }
    }
    program::ImageWindow* active = active_window();
    surface_->set_window_list(titles, active ? kids_.FindKid(active->handle()) : -1);
}

void ImageProcess::on_edit_committed(const QString& id, const QString& text) {
    if (id == u"ID_ZoomIncrement") {
        state_.ZoomIncrement = text::int16_from_text(text.toStdString());
    } else if (id == u"ID_ZoomPercentage" && kids_.KidCount > 0 && !state_.CommandBusy &&
               !state_.OperationBusy) {
        if (auto* viewer = qobject_cast<viewer::Viewer*>(active_window())) viewer->apply_zoom_box();
    }
}

void ImageProcess::close_all_windows() {
    while (kids_.KidCount > 0) {
        program::ImageWindow* window = active_window();
        if (!window) {
            const auto rest = area_->subWindowList();
            window = rest.isEmpty() ? nullptr : qobject_cast<program::ImageWindow*>(rest.first()->widget());
        }
        const int before = kids_.KidCount;
        if (window) window->unload();
        if (kids_.KidCount == before) break;  // refused
    }
}

void ImageProcess::customize_toolbars() { open_customize_dialog(*surface_, this); }

void ImageProcess::default_toolbars() {
    const QString path = state_.ProgramDir + kDefaultLayoutName;
    const ParsedLayout factory = QFileInfo::exists(path) ? frame::load_layout(path) : ParsedLayout{};
    Layout layout = factory.layout ? *factory.layout : designed_layout();
    surface_->apply(layout);
    files::empty_recent_files(*this);
    refresh_tools();
}

void ImageProcess::ShowHelpFile() {
    const QString file = state_.ProgramDir + kHelpFile;
    if (platform::open_document(file)) return;
    prompts_->message(tr("The help file could not be opened:\n%1").arg(file),
                      QCoreApplication::applicationName(), program::Icon::information);
}

QMenu* ImageProcess::createPopupMenu() {
    QMenu* menu = QMainWindow::createPopupMenu();
    if (!menu) menu = new QMenu{this};
    menu->addSeparator();
    QAction* system = menu->addAction(tr("System &Title Bar"));
    system->setCheckable(true);
    system->setChecked(system_title_bar_);
    connect(system, &QAction::toggled, this, [this](bool on) {
        // Changing the window's kind inside one of its menus would pull the ground from under it.
        QTimer::singleShot(0, this, [this, on] { set_system_title_bar(on); });
    });
    return menu;
}

}  // namespace quillmark::frame
