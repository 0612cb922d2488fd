// One hive of the registry in memory, and its text.
#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>
#include <cstdint>
#include <map>
#include <optional>

namespace quillmark::platform {

/// Keys and value names are compared in Unicode simple case folding and shown as first written. A key path is
/// names with backslashes between them; the empty path is the hive itself, which always exists. Key names are
/// printable text; value names and values are any text.
///
/// The text is UTF-8, one section per key, in the order of creation:
///
///     Quillmark registry, version 1
///
///     [Software\Quillmark]
///     "Left" = "1200"
///
/// Lines that are empty or begin with ";" are skipped when reading.
class RegistryHive {
  public:
    /// Bytes of text a hive may grow to; what does not fit is neither stored nor read.
    static constexpr qsizetype kLargestText = 16 << 20;

    bool key_exists(const QString& key) const;
    /// True also when it exists; false for an impossible name or a full hive.
    bool create_key(const QString& key);
    /// Deletes the key with its values; false when it has subkeys, does not exist or is the hive itself.
    bool delete_key(const QString& key);
    QStringList subkeys(const QString& key) const;

    std::optional<QString> value(const QString& key, const QString& name) const;
    /// Creates the key if need be; false for an impossible name or a full hive.
    bool set_value(const QString& key, const QString& name, const QString& text);
    bool delete_value(const QString& key, const QString& name);

    QByteArray to_text() const;
    /// Nothing when the text is not a hive's: wrong first line, not UTF-8, a line that cannot be read, too
    /// large.
    static std::optional<RegistryHive> from_text(const QByteArray& text);

  private:
    struct Value {
        QString name;  ///< as first written
        QString text;
        std::uint64_t order = 0;
    };
    struct Key {
        QString path;  ///< as first written, without backslashes at its ends
        std::uint64_t order = 0;
        std::map<QString, Value> values;  ///< by folded name
    };

    bool read_line(QStringView line, QString& key);
    bool make_room(qsizetype growth);

    std::map<QString, Key> keys_;  ///< by folded path
    std::uint64_t next_order_ = 0;
    qsizetype size_ = 64;  ///< upper bound of to_text().size(); begins with the first line's share
};

}  // namespace quillmark::platform
