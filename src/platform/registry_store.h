// A registry for a platform that has none: two hives of keys with string values, kept in one readable text file
// per hive, atomic, shared by several running instances.
#pragma once

#include <QHash>
#include <QString>
#include <QStringList>
#include <QTimer>
#include <map>
#include <optional>

namespace quillmark::platform {

/// Hives, keys and value names are compared without regard to letter case and shown as first written. Key paths
/// are names with backslashes. The empty value name is a key's default value.
class RegistryStore {
  public:
    enum class Hive { local_machine, classes_root };

    /// folder: where the hive files live; created when first written.
    explicit RegistryStore(QString folder);
    ~RegistryStore();
    RegistryStore(const RegistryStore&) = delete;
    RegistryStore& operator=(const RegistryStore&) = delete;

    bool key_exists(Hive hive, const QString& key) const;
    /// Creates the key (and the keys above it); true also when it exists. False: the store cannot be written.
    bool create_key(Hive hive, const QString& key);
    std::optional<QString> value(Hive hive, const QString& key, const QString& name) const;
    /// False when the store is known not to be writable; nothing has changed then.
    bool set_value(Hive hive, const QString& key, const QString& name, const QString& text);
    bool delete_value(Hive hive, const QString& key, const QString& name);
    /// Deletes the key with its values; false when it has subkeys or does not exist.
    bool delete_key(Hive hive, const QString& key);
    /// Names of the direct subkeys, in the order they were written.
    QStringList subkeys(Hive hive, const QString& key) const;

    /// Writes what is pending now (it otherwise happens 300 ms after the last change and at the end): lock, reload,
    /// replay our own changes, replace the file. False when that failed; the changes stay pending.
    bool flush();
    /// Reads again what other instances may have written.
    void reload();

    /// The hive files that could not be read at start and were kept aside as *.broken; empty when all was well.
    QStringList broken_files() const;

  private:
    struct Private;
    Private* d_;
};

}  // namespace quillmark::platform
