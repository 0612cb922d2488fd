#include "files/save.h"

#include <QCoreApplication>
#include <QFileInfo>
#include <optional>

#include "engine/save_dialog.h"
#include "files/recent_files.h"
#include "files/save_table.h"
#include "program/image_window.h"
#include "program/prompts.h"
#include "settings/settings.h"
#include "text/messages.h"
#include "text/numbers.h"
#include "text/paths.h"

namespace quillmark::files {
namespace {

using program::FrameFace;
using settings::Root;

const auto kImageSaveDir = QStringLiteral("ImageSaveDir");
const auto kImageSaveFormat = QStringLiteral("ImageSaveFormat");
const auto kImageSaveBits = QStringLiteral("ImageSaveBits");
const auto kExchangeMarker = QStringLiteral("dbimfile.txt");
const auto kExchangeImage = QStringLiteral("image.pic");
constexpr int kNoObject = 91;  // the run-time error of a command without its window

QString stored(FrameFace& frame, const QString& key, const QString& name) {
    return frame.settings().QueryKeyValue(Root::HKEY_LOCAL_MACHINE, key, name);
}

// A remembered number, taken as an unsigned byte.
std::uint8_t stored_byte(FrameFace& frame, const QString& name) {
    const QString text = stored(frame, settings::keys::kFilesParameters, name);
    return static_cast<std::uint8_t>(text::int16_from_text(text.toStdString()));
}

std::vector<engine::SaveEntry> dialog_entries() {
    std::vector<engine::SaveEntry> entries;
    for (const SaveFormat& row : SaveFormatTable()) {
        const QString name = save_format_name(row.code);
        if (row.bits.empty()) entries.push_back({row.code, 0, name});
        for (const std::uint8_t bits : row.bits)
            entries.push_back(
                {row.code, bits, QCoreApplication::translate("Save", "%1, %2 bits").arg(name).arg(bits)});
    }
    return entries;
}

std::optional<engine::SaveChoice> choose(FrameFace& frame) {
    engine::SaveRequest request;
    request.initial_dir = stored(frame, settings::keys::kDirectories, kImageSaveDir);
    request.title = QStringLiteral("Save File");
    request.entries = dialog_entries();
    request.entry = SaveFormatIndex(stored_byte(frame, kImageSaveFormat), stored_byte(frame, kImageSaveBits));
    if (program::ImageWindow* window = frame.active_window()) request.bitmap = window->LEAD1().Bitmap();
    engine::SaveDialog dialog{request};
    if (frame.prompts().show_modal(dialog) != QDialog::Accepted) return {};
    return dialog.choice();
}

void remember(FrameFace& frame, const engine::SaveChoice& choice) {
    settings::Settings& store = frame.settings();
    const auto put = [&](const QString& key, const QString& name, const QString& text) {
        store.SetKeyValue(Root::HKEY_LOCAL_MACHINE, key, name, text);
    };
    put(settings::keys::kDirectories, kImageSaveDir,
        QString::fromStdString(text::directory_of(choice.name.toStdString())));
    put(settings::keys::kFilesParameters, kImageSaveFormat, QString::number(choice.format));
    put(settings::keys::kFilesParameters, kImageSaveBits, QString::number(choice.bits));
}

void set_save_page(engine::Engine& image, const engine::SaveChoice& choice) {
    switch (choice.multi_page_mode) {
        case 0: image.SetSavePage(1); break;
        case 1: image.SetSavePage(2); break;
        case 2:
        case 3: image.SetSavePage(choice.page); break;
        default: break;
    }
}

engine::Code save(FrameFace& frame, program::ImageWindow& window, const engine::SaveChoice& choice) {
    engine::Engine& image = window.LEAD1();
    set_save_page(image, choice);
    const auto to = [&](const QString& name) {
        return image.Save(name, choice.format, choice.bits, choice.quality, choice.multi_page_mode);
    };
    frame.StatusInit();
    engine::Code result = to(choice.name);
    const QString& folder = frame.state().ProgramDir;
    if (QFileInfo::exists(folder + kExchangeMarker)) result = to(folder + kExchangeImage);
    frame.StatusTerm();
    return result;
}

}  // namespace

void C_FileSave(FrameFace& frame) {
    const auto choice = choose(frame);
    if (!choice) return;
    program::ProgramState& state = frame.state();
    state.CurrentFileName = choice->name;
    remember(frame, *choice);
    if (program::ImageWindow* window = frame.active_window()) {
        const engine::Code result = save(frame, *window, *choice);
        if (result != 0) {
            frame.prompts().message_with_detail(QString::fromStdString(text::error_message(result)),
                                                choice->name, QStringLiteral("ERROR"), program::Icon::stop);
        }
    } else {
        frame.prompts().message(QStringLiteral("Object variable or With block variable not set"),
                                QStringLiteral("ERROR CODE = %1 (Viewer1: C_FileSave)").arg(kNoObject),
                                program::Icon::stop);
    }
    state.LastFileName = state.CurrentFileName;
    UpdateOpenFiles(frame);
}

}  // namespace quillmark::files
