// The frame: the main window that owns the command surface, the image windows, the status bar and all
// program-wide state.
#pragma once

#include <QMainWindow>
#include <memory>

#include "engine/engine.h"
#include "platform/registry_store.h"
#include "program/document_list.h"
#include "program/frame_face.h"
#include "program/prompts.h"
#include "program/status_bar.h"
#include "settings/settings.h"

class QMdiArea;
class QMdiSubWindow;

namespace quillmark::viewer {
class Viewer;
}

namespace quillmark::frame {

class CaptionBar;
class CommandSurface;

class ImageProcess final : public QMainWindow, public program::FrameFace {
    Q_OBJECT

  public:
    struct Start {
        QString program_dir;  ///< with the separator at its end
        QString settings_dir;
        QStringList arguments;                ///< without the program's own name
        program::Prompts* prompts = nullptr;  ///< nullptr: the desktop's
    };
    explicit ImageProcess(const Start& start);
    ~ImageProcess() override;

    /// Builds the frame's state: layout, preferences, placement. Call once, before showing.
    void MDIForm_Load();
    /// What start-up opens: the exchange file, then the command line. Call once the frame is shown.
    void open_at_start();
    /// A click on the frame's empty background.
    void MDIForm_Click();

    void SSActiveToolBars1_ToolClick(const QString& id);
    void SSActiveToolBars1_ToolDropDown(const QString& id, int x, int y);

    // The narrow face.
    program::ProgramState& state() override { return state_; }
    program::ToolFace& tools() override;
    program::Prompts& prompts() override { return *prompts_; }
    settings::Settings& settings() override { return settings_; }
    program::StatusBar& status_bar() override { return *status_; }
    program::DocumentList& kids() override { return kids_; }
    program::ImageWindow* new_image_window() override;
    program::ImageWindow* active_window() override;
    program::ImageWindow* image_window(std::int32_t handle) override;
    void send_active_to_back() override;
    void set_caption(const QString& caption) override;
    void StatusInit() override;
    void StatusTerm() override;
    void C_FileSave() override;
    void InsertText(int x, int y) override;
    void update_status_panel() override;
    void MainView_Click() override;

    QMdiArea& area() { return *area_; }
    CommandSurface& surface() { return *surface_; }
    CaptionBar& caption_bar() { return *caption_; }
    engine::Engine& LEAD1() override { return lead1_; }
    engine::CommonDialog& LEADDlg1() override { return lead_dlg1_; }

    void close_all_windows();
    void customize_toolbars();
    void default_toolbars();
    void ShowHelpFile();
    /// Whether the desktop draws the title bar; kept as a preference.
    bool system_title_bar() const { return system_title_bar_; }
    void set_system_title_bar(bool on);

    QMenu* createPopupMenu() override;

  signals:
    void ended();  ///< the frame has been closed: the program ends

  protected:
    void closeEvent(QCloseEvent* event) override;
    void changeEvent(QEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dropEvent(QDropEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;

  private:
    void build();
    void open_command_line();
    void add_window_shortcuts();
    void load_layout();
    void read_preferences();
    void restore_placement();
    void first_placement();
    void MDIForm_QueryUnload();
    void apply_title_bar();
    void place_caption();
    Qt::Edges edges_at(QPoint position) const;
    void refresh_tools();
    void refresh_window_list();
    void on_window_activated(QMdiSubWindow* window);
    void on_edit_committed(const QString& id, const QString& text);
    QString layout_path() const;
    QString setting(const char* name) const;

    program::ProgramState state_;
    platform::RegistryStore store_;
    std::unique_ptr<program::Prompts> own_prompts_;
    program::Prompts* prompts_;
    settings::Settings settings_;
    program::DocumentList kids_;
    engine::Engine lead1_;
    engine::CommonDialog lead_dlg1_;
    QStringList arguments_;
    QMdiArea* area_ = nullptr;
    program::StatusBar* status_ = nullptr;
    CaptionBar* caption_ = nullptr;
    std::unique_ptr<CommandSurface> surface_;
    bool first_run_ = false;
    bool system_title_bar_ = false;
    bool ended_ = false;
};

}  // namespace quillmark::frame
