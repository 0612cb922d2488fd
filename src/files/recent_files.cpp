#include "files/recent_files.h"

#include <QFileInfo>
#include <array>

#include "files/open.h"
#include "platform/program_folder.h"
#include "program/prompts.h"
#include "program/tool_face.h"
#include "settings/settings.h"

namespace quillmark::files {
namespace {

constexpr int kEntries = 4;
constexpr int kPrefix = 3;  // "&1 "

using Entries = std::array<QString, kEntries>;

QString setting_name(int i) { return QStringLiteral("ImageFile%1").arg(i + 1); }
QString tool_id(int i) { return QStringLiteral("ID_ImageFile%1").arg(i + 1); }
QString path_of(const QString& entry) { return entry.mid(kPrefix); }
QString entry_for(int i, const QString& path) {
    return QStringLiteral("&%1 %2").arg(i + 1).arg(path).toLower();
}

Entries read(program::FrameFace& frame) {
    Entries entries;
    for (int i = kEntries - 1; i >= 0; --i) {
        entries[static_cast<std::size_t>(i)] = frame.settings().QueryKeyValue(
            settings::Root::HKEY_LOCAL_MACHINE, settings::keys::kSettings, setting_name(i));
    }
    return entries;
}

void write(program::FrameFace& frame, const Entries& entries) {
    for (int i = kEntries - 1; i >= 0; --i) {
        frame.settings().SetKeyValue(settings::Root::HKEY_LOCAL_MACHINE, settings::keys::kSettings,
                                     setting_name(i), entries[static_cast<std::size_t>(i)]);
    }
}

void show(program::FrameFace& frame, const Entries& entries) {
    for (int i = kEntries - 1; i >= 0; --i)
        frame.tools().set_caption(tool_id(i), entries[static_cast<std::size_t>(i)]);
}

}  // namespace

void UpdateOpenFiles(program::FrameFace& frame) {
    static bool running =
        false;  // one interface thread; a write error's message box may let a second call in
    if (running) return;
    running = true;
    platform::remember_spelling(frame.state().LastFileName);
    Entries e = read(frame);
    const QString file = frame.state().LastFileName.toLower();
    const auto holds = [&](std::size_t i) { return path_of(e[i]).toLower() == file; };
    const auto shift_down_to = [&](int last) {
        for (int i = last; i > 0; --i)
            e[static_cast<std::size_t>(i)] = entry_for(i, path_of(e[static_cast<std::size_t>(i - 1)]));
    };
    if (!holds(0)) {
        shift_down_to(holds(2) ? 2 : holds(1) ? 1 : kEntries - 1);
        e[0] = entry_for(0, file);
        for (QString& entry : e) entry = entry.toLower();
        write(frame, e);
        show(frame, e);
    }
    running = false;
}

void show_recent_files(program::FrameFace& frame) {
    Entries entries = read(frame);
    for (int i = 0; i < kEntries; ++i) {
        QString& entry = entries[static_cast<std::size_t>(i)];
        if (entry.isEmpty()) entry = frame.tools().caption(tool_id(i));
    }
    show(frame, entries);
}

void empty_recent_files(program::FrameFace& frame) {
    Entries entries;
    for (int i = 0; i < kEntries; ++i)
        entries[static_cast<std::size_t>(i)] = QStringLiteral("&%1").arg(i + 1);
    write(frame, entries);
}

void open_recent_file(program::FrameFace& frame, const QString& id) {
    frame.state().CurrentFileName = platform::resolve_without_case(path_of(frame.tools().caption(id)));
    std::int16_t page = 0;
    OpenFile(frame, frame.state().CurrentFileName, page);
}

}  // namespace quillmark::files
