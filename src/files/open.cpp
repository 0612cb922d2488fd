#include "files/open.h"

#include <QCoreApplication>
#include <QDir>
#include <QUrl>

#include "engine/file_dialog.h"
#include "files/filter_table.h"
#include "files/open_opts.h"
#include "files/picture_loader.h"
#include "files/recent_files.h"
#include "platform/program_folder.h"
#include "program/image_window.h"
#include "program/prompts.h"
#include "program/run_time_error.h"
#include "settings/settings.h"
#include "text/messages.h"
#include "text/numbers.h"

namespace quillmark::files {
namespace {

using program::FrameFace;
using settings::Root;

constexpr int kOpenFlags = 356;
const auto kImageOpenDir = QStringLiteral("ImageOpenDir");
const auto kImageOpenFormat = QStringLiteral("ImageOpenFormat");

struct Request {
    bool paint_while_load;
    std::int16_t bits;
    bool load_stamp;
};

// The options form, when the preference asks for it. False: cancelled.
bool ask_options(FrameFace& frame, const QString& name, std::int16_t& page, Request& request) {
    program::ProgramState& state = frame.state();
    OpenOpts form{frame.prompts()};
    form.InitTheForm(name, state.PaintWhileLoad, state.PCDResolution);
    frame.prompts().show_modal(form);
    OpenOpts::Options options;
    options.pcd_resolution = state.PCDResolution;
    form.GetOptions(options);
    page = options.page;
    state.PCDResolution = options.pcd_resolution;
    request = {options.paint_while_load, options.bits, options.load_stamp};
    return options.ok;
}

engine::Code load_into(FrameFace& frame, engine::Engine& image, const QString& name, std::int16_t page,
                       const Request& request) {
    engine::Code code = -1;
    if (request.load_stamp) code = image.LoadStamp(name);
    if (code == 0) return code;
    frame.StatusInit();
    if (name.right(3).toLower() == u"gif") {
        const Picture picture = load_picture(image, name, request.bits, page);
        code = picture.code != 0 ? picture.code : image.SetPicture(picture.bitmap);
        image.SetDamageNotice(picture.damage_notice);
    } else {
        code = image.Load(name, request.bits, page, 1);
    }
    frame.StatusTerm();
    return code;
}

void remember_folder(FrameFace& frame) {
    QString folder = QDir::currentPath();
    if (!folder.endsWith(u'/')) folder += u'/';
    platform::remember_spelling(folder);
    frame.settings().SetKeyValue(Root::HKEY_LOCAL_MACHINE, settings::keys::kDirectories, kImageOpenDir,
                                 folder.toLower());
}

// A window for the file, filled. A failure closes the half-made window and has been reported.
void open_window(FrameFace& frame, const QString& name, std::int16_t page, const Request& request) {
    program::ImageWindow* window = frame.new_image_window();
    const program::FileArguments file{name, page, request.paint_while_load, frame.state().PCDResolution};
    engine::Code code = window->InitTheForm(name, &file);
    if (code == 0) {
        engine::Engine& image = window->LEAD1();
        image.SetScaleMode(engine::kPixels);
        window->show_window();
        {
            const program::WaitPointer wait;
            code = load_into(frame, image, name, page, request);
        }
        if (code != 0) {
            frame.prompts().message_with_detail(QString::fromStdString(text::error_message(code)), name,
                                                QStringLiteral("ERROR"), program::Icon::stop);
        } else {
            if (request.load_stamp) window->ViewSnap();
            image.ForceRepaint();
            remember_folder(frame);
            if (!image.DamageNotice().isEmpty()) {
                frame.prompts().message_with_detail(image.DamageNotice(), name,
                                                    QCoreApplication::applicationName(),
                                                    program::Icon::information);
            }
        }
    }
    if (code != 0) window->unload();
}

void choose_and_open(FrameFace& frame) {
    program::ProgramState& state = frame.state();
    settings::Settings& store = frame.settings();
    engine::OpenRequest request;
    request.filter = open_filter_text();
    request.filter_index =
        1 +
        text::int16_from_text(
            store.QueryKeyValue(Root::HKEY_LOCAL_MACHINE, settings::keys::kFilesParameters, kImageOpenFormat)
                .toStdString());
    request.initial_dir = platform::resolve_without_case(
        store.QueryKeyValue(Root::HKEY_LOCAL_MACHINE, settings::keys::kDirectories, kImageOpenDir));
    request.title = QStringLiteral("Open File");
    request.flags = kOpenFlags;
    engine::OpenDialog dialog{request};
    if (frame.prompts().show_modal(dialog) != QDialog::Accepted) return;
    for (bool first = true; const QString& name : dialog.file_names()) {
        state.CurrentFileName = name;
        auto page = static_cast<std::int16_t>(first ? dialog.page() : 1);
        OpenFile(frame, name, page);
        first = false;
    }
    if (!state.CancelPrintFlag) {
        store.SetKeyValue(Root::HKEY_LOCAL_MACHINE, settings::keys::kFilesParameters, kImageOpenFormat,
                          QString::number(remembered_filter(state.CurrentFileName)));
    }
}

}  // namespace

void C_FileOpen(FrameFace& frame) {
    try {
        choose_and_open(frame);
    } catch (const program::RunTimeError& error) {
        frame.prompts().beep();
        frame.prompts().message(error.description(),
                                QStringLiteral("UNEXPECTED ERROR! (ImageProcess: C_FileOpen)"),
                                program::Icon::stop);
    }
}

void OpenFile(FrameFace& frame, const QString& name, std::int16_t& page) {
    // An unused recent-file entry still shows its designed caption.
    if (name.isEmpty() || name.startsWith(u"ge File")) return;
    program::ProgramState& state = frame.state();
    Request request{state.PaintWhileLoad, 0, false};
    const bool ok = !state.ShowOpenOptions || ask_options(frame, name, page, request);
    if (ok) open_window(frame, name, page, request);
    state.LastFileName = state.CurrentFileName;
    UpdateOpenFiles(frame);
    frame.update_status_panel();
}

void open_files(FrameFace& frame, const QStringList& names) {
    for (const QString& name : names) {
        frame.state().CurrentFileName = name;
        std::int16_t page = 0;
        try {
            OpenFile(frame, name, page);
        } catch (const program::RunTimeError& error) {
            frame.prompts().message(error.description(),
                                    QStringLiteral("UNEXPECTED ERROR! (ImageProcess: C_FileOpen)"),
                                    program::Icon::stop);
        }
    }
}

}  // namespace quillmark::files
