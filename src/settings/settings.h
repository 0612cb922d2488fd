// The two routines through which the program keeps its preferences, and the table of all it keeps.
#pragma once

#include <QString>
#include <functional>
#include <span>

namespace quillmark::platform {
class RegistryStore;
}

namespace quillmark::settings {

enum class Root { HKEY_LOCAL_MACHINE, HKEY_CLASSES_ROOT };

/// Longest value that reads back, in UTF-16 units; longer ones read as empty.
inline constexpr int kLongestValue = 254;

class Settings {
  public:
    /// report is called with the message "Error writing <name> in the system registry." for each failed
    /// write.
    Settings(platform::RegistryStore& store, std::function<void(const QString& message)> report);

    /// Writes one string value, creating the key. A failure is reported, then the caller goes on.
    void SetKeyValue(Root root, const QString& key, const QString& name, const QString& text);
    /// The value, or an empty text when key or value is missing, the read fails, or it is too long.
    QString QueryKeyValue(Root root, const QString& key, const QString& name) const;

  private:
    platform::RegistryStore& store_;
    std::function<void(const QString&)> report_;
};

namespace keys {
inline const QString kQuillmark = QStringLiteral("Software\\Quillmark");
inline const QString kImageProcessing = QStringLiteral("Software\\Quillmark\\Image Processing");
inline const QString kSettings = QStringLiteral("Software\\Quillmark\\Settings");
inline const QString kDirectories = QStringLiteral("Software\\Quillmark\\Directories");
inline const QString kFilesParameters = QStringLiteral("Software\\Quillmark\\Files Parameters");
inline const QString kEditor = QStringLiteral("Software\\Quillmark\\Editor");
inline const QString kHardCopy = QStringLiteral("Software\\Quillmark\\Hard Copy");
inline const QString kPrintFrm = QStringLiteral("Software\\Quillmark\\PrintFrm");
inline const QString kOptions = QStringLiteral("Software\\Quillmark\\Options");
inline const QString kFilesAssociation = QStringLiteral("Software\\Quillmark\\FilesAssociation");
}  // namespace keys

/// One remembered value: where it stands, who owns it, what a fresh user gets (nullptr: nothing is stored,
/// and the value reads as empty or 0).
struct Setting {
    QString key;        ///< path below HKEY_LOCAL_MACHINE
    const char* name;   ///< value name
    const char* owner;  ///< the room that reads and writes it
    const char* first_value = nullptr;
};

/// Every value the program keeps, one row each.
std::span<const Setting> all_settings();

/// Writes the first values when the store is brand new (it has no key "Software\Quillmark"); true when it
/// did. The frame's first placement depends on the screen: the frame stores it when this returns true.
bool seed_first_run(platform::RegistryStore& store);

}  // namespace quillmark::settings
