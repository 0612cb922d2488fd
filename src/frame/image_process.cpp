// Start-up, shut-down and the frame's window; the commands' way through it is in image_process_commands.cpp.
#include "frame/image_process.h"

#include <QApplication>
#include <QCloseEvent>
#include <QDragEnterEvent>
#include <QFileInfo>
#include <QGuiApplication>
#include <QMdiArea>
#include <QMdiSubWindow>
#include <QMenu>
#include <QMimeData>
#include <QPainter>
#include <QScreen>
#include <QScrollBar>
#include <QStatusBar>
#include <QTimer>
#include <QWindow>

#include "files/open.h"
#include "files/recent_files.h"
#include "frame/caption_bar.h"
#include "frame/command_surface.h"
#include "frame/layout_file.h"
#include "frame/preferences.h"
#include "platform/screen.h"
#include "text/numbers.h"
#include "viewer/viewer.h"

namespace quillmark::frame {
namespace {

using settings::Root;

const auto kLayoutName = QStringLiteral("Image Processing.atb");
const auto kMarker = QStringLiteral("dbimfile.txt");
const auto kExchangeFile = QStringLiteral("image.pic");
const auto kSystemTitleBar = QStringLiteral("SystemTitleBar");
constexpr int kGrip = 5;  // width of the border that resizes a frame without a system title bar

viewer::Viewer* viewer_of(QMdiSubWindow* window) {
    return window ? qobject_cast<viewer::Viewer*>(window->widget()) : nullptr;
}

viewer::Viewer* viewer_with(QMdiArea& area, std::int32_t handle) {
    for (QMdiSubWindow* window : area.subWindowList()) {
        if (viewer::Viewer* viewer = viewer_of(window); viewer && viewer->handle() == handle) return viewer;
    }
    return nullptr;
}

QStringList local_files(const QMimeData* data) {
    QStringList files;
    for (const QUrl& url : data->urls()) {
        if (url.isLocalFile()) files += url.toLocalFile();
    }
    return files;
}

}  // namespace

ImageProcess::ImageProcess(const Start& start)
    : store_{start.settings_dir},
      own_prompts_{start.prompts ? nullptr : new program::DesktopPrompts{this}},
      prompts_{start.prompts ? start.prompts : own_prompts_.get()},
      settings_{store_,
                [this](const QString& message) {
                    prompts_->message(message, QStringLiteral("ERROR"), program::Icon::stop);
                }},
      kids_{{[this](std::int32_t handle) {
                 const viewer::Viewer* viewer = viewer_with(*area_, handle);
                 return viewer ? viewer->windowTitle() : QString{};
             },
             [this] {
                 program::ImageWindow* window = active_window();
                 return window ? window->handle() : 0;
             },
             [this] { send_active_to_back(); }}},
      arguments_{start.arguments} {
    state_.ProgramDir = start.program_dir;
    state_.CommandLine = start.arguments.join(u' ');
    setObjectName(QStringLiteral("ImageProcess"));
    build();
}

ImageProcess::~ImageProcess() {
    // The image windows unregister from lists that are members of this class: they go first.
    delete area_;
    area_ = nullptr;
}

program::ImageWindow* ImageProcess::image_window(std::int32_t handle) { return viewer_with(*area_, handle); }

void ImageProcess::build() {
    area_ = new QMdiArea{this};
    area_->setObjectName(QStringLiteral("DocumentArea"));
    area_->setHorizontalScrollBarPolicy(Qt::ScrollBarAsNeeded);
    area_->setVerticalScrollBarPolicy(Qt::ScrollBarAsNeeded);
    area_->setAccessibleName(tr("Image windows"));
    area_->viewport()->installEventFilter(this);
    setCentralWidget(area_);
    connect(area_, &QMdiArea::subWindowActivated, this, &ImageProcess::on_window_activated);

    // Titles stand in the part of a window that can be seen, and follow it.
    for (QScrollBar* bar : {area_->horizontalScrollBar(), area_->verticalScrollBar()})
        connect(bar, &QScrollBar::valueChanged, this, [this] {
            for (QMdiSubWindow* window : area_->subWindowList()) window->update();
        });

    status_ = new program::StatusBar{this};
    auto* bottom = new QStatusBar{this};
    bottom->setContentsMargins(0, 0, 0, 0);
    bottom->addWidget(status_, 1);
    setStatusBar(bottom);

    caption_ = new CaptionBar{this};
    connect(caption_, &CaptionBar::menu_requested, this, [this](QPoint global) {
        const std::unique_ptr<QMenu> menu{createPopupMenu()};
        menu->exec(global);
    });

    surface_ = std::make_unique<CommandSurface>(*this);
    connect(surface_.get(), &CommandSurface::tool_clicked, this, &ImageProcess::SSActiveToolBars1_ToolClick);
    connect(surface_.get(), &CommandSurface::drop_down, this, &ImageProcess::SSActiveToolBars1_ToolDropDown);
    connect(surface_.get(), &CommandSurface::edit_committed, this, &ImageProcess::on_edit_committed);
    connect(surface_.get(), &CommandSurface::window_chosen, this, [this](int index) {
        if (index >= 0 && index < kids_.KidCount) kids_.MakeKidActive(static_cast<std::int16_t>(index));
    });
    connect(surface_.get(), &CommandSurface::window_command, this, [this](const QString& command) {
        if (command == u"next")
            area_->activateNextSubWindow();
        else if (command == u"previous")
            area_->activatePreviousSubWindow();
        else if (program::ImageWindow* window = active_window())
            window->unload();
    });
    add_window_shortcuts();
    setAcceptDrops(true);
    setMouseTracking(true);
    setMinimumSize(360, 240);
}

void ImageProcess::add_window_shortcuts() {
    // Next, previous and close carry their keys as commands of the Window menu.
    auto* window_menu = new QAction{this};
    window_menu->setShortcut(QKeySequence{Qt::ALT | Qt::Key_Minus});
    connect(window_menu, &QAction::triggered, this, [this] {
        if (QMdiSubWindow* window = area_->currentSubWindow()) window->showSystemMenu();
    });
    addAction(window_menu);
}

QString ImageProcess::layout_path() const { return state_.ProgramDir + kLayoutName; }

QString ImageProcess::setting(const char* name) const {
    return settings_.QueryKeyValue(Root::HKEY_LOCAL_MACHINE, settings::keys::kImageProcessing,
                                   QString::fromLatin1(name));
}

void ImageProcess::MDIForm_Load() {
    const program::WaitPointer wait;
    first_run_ = settings::seed_first_run(store_);
    load_layout();
    read_preferences();
    read_increments(*this);
    if (first_run_) first_placement();
    restore_placement();
    status_->show_gauge(false);
    state_.ProgressEnabled = state_.ShowProgress;
    state_.LowColorDisplay = platform::screen_bits_per_pixel(screen()) <= 8;
    update_status_panel();
    system_title_bar_ =
        settings_.QueryKeyValue(Root::HKEY_LOCAL_MACHINE, settings::keys::kOptions, kSystemTitleBar) == u"-1";
    apply_title_bar();
    set_caption(QStringLiteral("Image Processing "));
    caption_->OnCaptionMessage(kNonClientActivate, 1);
    files::show_recent_files(*this);
    refresh_tools();
    refresh_window_list();
    if (const QStringList broken = store_.broken_files(); !broken.isEmpty()) {
        prompts_->message(
            tr("The settings could not be read and start afresh. The old ones were kept as:\n%1")
                .arg(broken.join(u'\n')),
            QCoreApplication::applicationName(), program::Icon::exclamation);
    }
}

// A missing file is the first start; a broken one has been kept aside by the loader.
void ImageProcess::load_layout() {
    if (!QFileInfo::exists(layout_path())) return;
    const ParsedLayout parsed = frame::load_layout(layout_path());
    if (parsed.layout) {
        surface_->apply(*parsed.layout);
        return;
    }
    prompts_->message(tr("The saved layout could not be read; the designed one is used. The old file was "
                         "kept as:\n%1.broken")
                          .arg(layout_path()),
                      QCoreApplication::applicationName(), program::Icon::exclamation);
}

void ImageProcess::read_preferences() {
    struct ViewTool {
        const char16_t* id;
        program::ViewMode mode;
    };
    static constexpr ViewTool kViewTools[] = {{u"ID_ViewNormal", program::kViewNormal},
                                              {u"ID_ViewFit", program::kViewFit},
                                              {u"ID_ViewStretch", program::kViewStretch},
                                              {u"ID_ViewSnap", program::kViewSnap}};
    for (const ViewTool& tool : kViewTools) {
        if (!surface_->checked(tool.id)) continue;
        state_.DefaultViewMode = tool.mode;
        break;
    }
    const auto number = [this](const char16_t* id) {
        return text::int16_from_text(surface_->edit_text(id).toStdString());
    };
    state_.ZoomIncrement = number(u"ID_ZoomIncrement");
    state_.ZoomPercent = number(u"ID_ZoomPercentage");
    state_.ShowOpenOptions = surface_->checked(u"ID_ShowOpenOptions");
    state_.ShowProgress = surface_->checked(u"ID_ShowProgess");
    state_.PaintWhileLoad = surface_->checked(u"ID_PaintWhileLoad");
    state_.DitherMethod = surface_->checked(u"ID_DitheringErrorDiffusion") ? 1 : 0;
    state_.BitonalScalingMode = surface_->checked(u"ID_BSScaleToGray")    ? 2
                                : surface_->checked(u"ID_BSFavoredBlack") ? 1
                                                                          : 0;
}

// A new user's frame stands in the middle of the screen, at four fifths of its size.
void ImageProcess::first_placement() {
    const QRect room = screen()->availableGeometry();
    QRect place{QPoint{}, room.size() * 4 / 5};
    place.moveCenter(room.center());
    setGeometry(place);
    const double tx = platform::twips_per_pixel_x(screen()), ty = platform::twips_per_pixel_y(screen());
    const auto write = [this](const char* name, double value) {
        settings_.SetKeyValue(Root::HKEY_LOCAL_MACHINE, settings::keys::kImageProcessing,
                              QString::fromLatin1(name),
                              QString::fromStdString(text::single_text(static_cast<float>(value))));
    };
    write("Left", place.x() * tx);
    write("Top", place.y() * ty);
    write("Width", place.width() * tx);
    write("Height", place.height() * ty);
}

void ImageProcess::restore_placement() {
    const auto number = [this](const char* name) {
        return text::leading_number(setting(name).toStdString());
    };
    const double tx = platform::twips_per_pixel_x(screen()), ty = platform::twips_per_pixel_y(screen());
    const auto pixels = [](double twips, double per_pixel) {
        return static_cast<int>(std::clamp(twips / per_pixel, -32768.0, 32767.0));
    };
    QRect place{pixels(number("Left"), tx), pixels(number("Top"), ty), pixels(number("Width"), tx),
                pixels(number("Height"), ty)};
    place.setSize(place.size().expandedTo(minimumSize()));
    // A screen that is gone must not take the frame with it.
    const QRect caption{place.topLeft(), QSize(place.width(), 24)};
    const auto screens = QGuiApplication::screens();
    const bool reachable = std::any_of(screens.begin(), screens.end(), [&](const QScreen* s) {
        return s->availableGeometry().intersects(caption);
    });
    if (!reachable) place.moveTopLeft(screen()->availableGeometry().topLeft());
    setGeometry(place);
}

void ImageProcess::open_at_start() {
    if (QFileInfo::exists(state_.ProgramDir + kMarker)) {
        state_.CurrentFileName = state_.ProgramDir + kExchangeFile;
        std::int16_t page = 0;
        files::OpenFile(*this, state_.CurrentFileName, page);
    }
    if (state_.CommandLine.isEmpty()) return;
    state_.CurrentFileName = state_.CommandLine;
    const QString request = state_.CommandLine.right(10);
    if (request == u"0000000000" || request == u"0000000001") {
        SSActiveToolBars1_ToolClick(request.endsWith(u'0') ? QStringLiteral("ID_ScreenCapture")
                                                           : QStringLiteral("ID_Scan"));
        return;
    }
    open_command_line();
}

// The whole command line names one file, unless its arguments name several that exist.
void ImageProcess::open_command_line() {
    const bool several = arguments_.size() > 1 && !QFileInfo::exists(state_.CommandLine) &&
                         std::any_of(arguments_.begin(), arguments_.end(),
                                     [](const QString& a) { return QFileInfo::exists(a); });
    files::open_files(*this, several ? arguments_ : QStringList{state_.CommandLine});
    files::UpdateOpenFiles(*this);
}

void ImageProcess::MDIForm_Click() {
    if (state_.CommandLine.isEmpty() || state_.OperationBusy) return;
    open_command_line();
}

void ImageProcess::MDIForm_QueryUnload() {
    const double tx = platform::twips_per_pixel_x(screen()), ty = platform::twips_per_pixel_y(screen());
    const QRect place = isMinimized() ? normalGeometry() : geometry();
    const std::pair<const char*, double> values[] = {{"Left", place.x() * tx},
                                                     {"Top", place.y() * ty},
                                                     {"Width", place.width() * tx},
                                                     {"Height", place.height() * ty}};
    for (const auto& [name, value] : values) {
        settings_.SetKeyValue(Root::HKEY_LOCAL_MACHINE, settings::keys::kImageProcessing,
                              QString::fromLatin1(name),
                              QString::fromStdString(text::single_text(static_cast<float>(value))));
    }
    if (const QString reason = save_layout(layout_path(), surface_->layout()); !reason.isEmpty()) {
        prompts_->message(tr("The layout could not be saved: %1").arg(reason),
                          QCoreApplication::applicationName(), program::Icon::exclamation);
    }
    store_.flush();
}

void ImageProcess::closeEvent(QCloseEvent* event) {
    if (!ended_) MDIForm_QueryUnload();
    ended_ = true;
    event->accept();
    emit ended();
}

void ImageProcess::set_caption(const QString& caption) {
    state_.CaptionText = caption;
    setWindowTitle(caption);  // also the taskbar's text
    caption_->set_text(caption);
}

void ImageProcess::set_system_title_bar(bool on) {
    if (system_title_bar_ == on) return;
    system_title_bar_ = on;
    settings_.SetKeyValue(Root::HKEY_LOCAL_MACHINE, settings::keys::kOptions, kSystemTitleBar,
                          on ? QStringLiteral("-1") : QStringLiteral("0"));
    apply_title_bar();
}

void ImageProcess::apply_title_bar() {
    const bool visible = isVisible();
    const QRect place = geometry();
    setWindowFlag(Qt::FramelessWindowHint, !system_title_bar_);
    caption_->setVisible(!system_title_bar_);
    place_caption();
    if (visible) {
        setGeometry(place);
        show();
    }
}

// The caption lies above the menu bar, in the margin that the main window's layout leaves free; the sides
// keep a grip for resizing by hand.
void ImageProcess::place_caption() {
    if (system_title_bar_) return setContentsMargins(0, 0, 0, 0);
    const int grip = isMaximized() || isFullScreen() ? 0 : kGrip;
    const int height = caption_->sizeHint().height();
    setContentsMargins(grip, grip + height, grip, grip);
    caption_->setGeometry(grip, grip, width() - 2 * grip, height);
    caption_->raise();
}

void ImageProcess::resizeEvent(QResizeEvent* event) {
    QMainWindow::resizeEvent(event);
    place_caption();
}

void ImageProcess::paintEvent(QPaintEvent* event) {
    QMainWindow::paintEvent(event);
    if (system_title_bar_ || isMaximized()) return;
    QPainter painter{this};
    painter.setPen(palette().color(QPalette::Mid));
    painter.drawRect(rect().adjusted(0, 0, -1, -1));
}

void ImageProcess::changeEvent(QEvent* event) {
    QMainWindow::changeEvent(event);
    if (!caption_) return;
    if (event->type() == QEvent::WindowStateChange) {
        const bool was_minimized =
            static_cast<QWindowStateChangeEvent*>(event)->oldState() & Qt::WindowMinimized;
        if (isMinimized()) caption_->OnCaptionMessage(kSystemCommand, kMinimize);
        state_.FrameMinimized = isMinimized();
        caption_->set_minimized(isMinimized());
        if (was_minimized && !isMinimized()) caption_->OnCaptionMessage(kSystemCommand, kRestore);
        caption_->OnCaptionMessage(kNonClientPaint, 0);
        place_caption();
    } else if (event->type() == QEvent::ActivationChange) {
        caption_->OnCaptionMessage(kNonClientActivate, isActiveWindow() ? 1 : 0);
    } else if (event->type() == QEvent::PaletteChange) {
        area_->setBackground(palette().brush(QPalette::Dark));  // the area keeps that of its first palette
    } else if (event->type() == QEvent::WindowTitleChange && windowTitle() != state_.CaptionText) {
        setWindowTitle(state_.CaptionText);  // a maximised image window has put its own title behind it
    }
}

Qt::Edges ImageProcess::edges_at(QPoint position) const {
    if (system_title_bar_ || isMaximized() || isFullScreen()) return {};
    Qt::Edges edges;
    edges.setFlag(Qt::LeftEdge, position.x() < kGrip);
    edges.setFlag(Qt::RightEdge, position.x() >= width() - kGrip);
    edges.setFlag(Qt::TopEdge, position.y() < kGrip);
    edges.setFlag(Qt::BottomEdge, position.y() >= height() - kGrip);
    return edges;
}

void ImageProcess::mousePressEvent(QMouseEvent* event) {
    const Qt::Edges edges = edges_at(event->position().toPoint());
    if (event->button() == Qt::LeftButton && edges && windowHandle() &&
        windowHandle()->startSystemResize(edges))
        return;
    QMainWindow::mousePressEvent(event);
}

void ImageProcess::mouseMoveEvent(QMouseEvent* event) {
    const Qt::Edges edges = edges_at(event->position().toPoint());
    const bool falling = edges == (Qt::LeftEdge | Qt::TopEdge) || edges == (Qt::RightEdge | Qt::BottomEdge);
    const bool rising = edges == (Qt::RightEdge | Qt::TopEdge) || edges == (Qt::LeftEdge | Qt::BottomEdge);
    if (falling)
        setCursor(Qt::SizeFDiagCursor);
    else if (rising)
        setCursor(Qt::SizeBDiagCursor);
    else if (edges & (Qt::LeftEdge | Qt::RightEdge))
        setCursor(Qt::SizeHorCursor);
    else if (edges & (Qt::TopEdge | Qt::BottomEdge))
        setCursor(Qt::SizeVerCursor);
    else
        unsetCursor();
    QMainWindow::mouseMoveEvent(event);
}

void ImageProcess::dragEnterEvent(QDragEnterEvent* event) {
    if (!local_files(event->mimeData()).isEmpty()) event->acceptProposedAction();
}

void ImageProcess::dropEvent(QDropEvent* event) {
    const QStringList names = local_files(event->mimeData());
    if (names.isEmpty() || state_.OperationBusy || state_.CommandBusy) return;
    event->acceptProposedAction();
    // The drop ends first: dialogs inside it would block the program that the files come from.
    QTimer::singleShot(0, this, [this, names] { files::open_files(*this, names); });
}

bool ImageProcess::eventFilter(QObject* watched, QEvent* event) {
    if (area_ && watched == area_->viewport() && event->type() == QEvent::MouseButtonRelease &&
        static_cast<QMouseEvent*>(event)->button() == Qt::LeftButton) {
        MDIForm_Click();
    }
    return QMainWindow::eventFilter(watched, event);
}

}  // namespace quillmark::frame
