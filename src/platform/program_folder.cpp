#include "platform/program_folder.h"

#include <QCoreApplication>
#include <QDir>
#include <QDirIterator>
#include <QFileInfo>
#include <QStandardPaths>
#include <QStringList>
#include <algorithm>
#include <optional>

#include "platform/quoted_text.h"
#include "platform/shared_file.h"

namespace quillmark::platform {

namespace {

constexpr qsizetype kMostSpellings = 200;
constexpr qint64 kLargestSpellings = 4 << 20;  // bytes: 200 times the longest path, escaped, is less
constexpr int kSpellingPatience = 200;         // milliseconds

QString folder_name(const QString& folder) {
    const QString clean = QDir::cleanPath(folder);
    return clean.endsWith(u'/') ? clean : clean + u'/';
}

bool is_system_folder(const QString& folder) {
    static constexpr const char* kSystemFolders[] = {"/usr/", "/bin/", "/sbin/", "/lib",   "/opt/",
                                                     "/etc/", "/nix/", "/gnu/",  "/snap/", "/app/"};
    return std::any_of(std::begin(kSystemFolders), std::end(kSystemFolders),
                       [&](const char* start) { return folder.startsWith(QLatin1String{start}); });
}

/// Two spellings of one name have the same folded form. Lower-casing comes first, because stored paths went
/// through it and it maps a few letters ("İ") to what folding alone would not.
QString folded(const QString& path) { return path.toLower().toCaseFolded(); }

QString spellings_path() { return settings_folder() + QStringLiteral("spellings.txt"); }

/// Most recent first. A file that cannot be read is an empty memory.
QStringList read_spellings() {
    const QString text = QString::fromUtf8(read_whole(spellings_path(), kLargestSpellings).content);
    QStringList spellings;
    for (const QStringView line : QStringView{text}.tokenize(u'\n')) {
        qsizetype at = 0;
        if (const auto spelling = unquoted(line, at)) spellings += *spelling;
    }
    return spellings;
}

std::optional<QString> remembered(const QString& path) {
    const QString wanted = folded(path);
    for (const QString& spelling : read_spellings()) {
        if (folded(spelling) == wanted && QFileInfo::exists(spelling)) return spelling;
    }
    return {};
}

/// The only entry of the folder that is the name in another case.
std::optional<QString> only_match(const QString& folder, const QString& name) {
    const QString wanted = folded(name);
    std::optional<QString> match;
    QDirIterator entries{folder, QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot};
    while (entries.hasNext()) {
        entries.next();
        if (folded(entries.fileName()) != wanted) continue;
        if (match) return {};
        match = entries.fileName();
    }
    return match;
}

}  // namespace

QString choose_program_folder(const QString& own, const QString& user) {
    const QFileInfo info{own};
    const bool is_ours =
        !own.isEmpty() && info.isDir() && info.isWritable() && !is_system_folder(folder_name(own));
    return folder_name(is_ours ? own : user);
}

QString program_folder() {
    QString folder = qEnvironmentVariable("QUILLMARK_PROGRAM_DIR");
    if (folder.isEmpty()) {
        const QString data = QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation);
        folder = choose_program_folder(
            QCoreApplication::instance() ? QCoreApplication::applicationDirPath() : QString{},
            data + QStringLiteral("/quillmark"));
    }
    QDir{}.mkpath(folder);
    return folder_name(folder);
}

QString settings_folder() {
    const QString folder = qEnvironmentVariable("QUILLMARK_SETTINGS_DIR");
    if (!folder.isEmpty()) return folder_name(folder);
    const QString configuration = QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation);
    return folder_name(configuration + QStringLiteral("/quillmark"));
}

QString resolve_without_case(const QString& path) {
    if (path.isEmpty() || QFileInfo::exists(path)) return path;
    if (const auto spelling = remembered(path)) return *spelling;

    QString resolved = path.startsWith(u'/') ? QStringLiteral("/") : QString{};
    for (const QString& name : path.split(u'/', Qt::SkipEmptyParts)) {
        const auto match = QFileInfo::exists(resolved + name)
                               ? std::optional{name}
                               : only_match(resolved.isEmpty() ? QStringLiteral(".") : resolved, name);
        if (!match) return path;
        resolved += *match + u'/';
    }
    if (!path.endsWith(u'/')) resolved.chop(1);
    return resolved;
}

void remember_spelling(const QString& path) {
    if (path.isEmpty() || path == path.toLower() || !is_writable_folder(settings_folder())) return;
    if (const QStringList known = read_spellings(); !known.isEmpty() && known.first() == path) return;
    QLockFile lock{spellings_path() + QStringLiteral(".lock")};
    if (!take_lock(lock, kSpellingPatience)) return;

    QStringList spellings = read_spellings();
    const QString same = folded(path);
    spellings.removeIf([&](const QString& spelling) { return folded(spelling) == same; });
    spellings.prepend(path);
    QString text;
    for (const QString& spelling : spellings.first(std::min(spellings.size(), kMostSpellings))) {
        text += quoted(spelling) + u'\n';
    }
    replace_whole(spellings_path(), text.toUtf8());
}

}  // namespace quillmark::platform
