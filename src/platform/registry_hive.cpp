#include "platform/registry_hive.h"

#include <QStringDecoder>
#include <QStringView>
#include <algorithm>
#include <vector>

#include "platform/quoted_text.h"

namespace quillmark::platform {

namespace {

constexpr QStringView kFirstLine = u"Quillmark registry, version 1";
/// Bounds what one path can cost: each key above it is stored as well.
constexpr qsizetype kLongestPath = 1000;

/// Upper bounds of the UTF-8 bytes of a section line and of a value line, line ends included.
qsizetype section_size(const QString& path) { return 3 * path.size() + 4; }
qsizetype value_size(const QString& name, const QString& text) { return 6 * (name.size() + text.size()) + 8; }

/// Without empty names: "a\\b\" is "a\b".
QString normal_path(const QString& key) { return key.split(u'\\', Qt::SkipEmptyParts).join(u'\\'); }

/// Empty for a key directly below the hive.
QString parent_of(const QString& path) { return path.first(std::max<qsizetype>(path.lastIndexOf(u'\\'), 0)); }

bool is_possible_path(const QString& path) {
    return path.size() <= kLongestPath && path.isValidUtf16() &&
           std::none_of(path.begin(), path.end(),
                        [](QChar c) { return c.category() == QChar::Other_Control; });
}

template <typename Map>
auto in_order(const Map& map) {
    std::vector<const typename Map::mapped_type*> items;
    items.reserve(map.size());
    for (const auto& [folded, item] : map) items.push_back(&item);
    std::sort(items.begin(), items.end(), [](const auto* a, const auto* b) { return a->order < b->order; });
    return items;
}

}  // namespace

bool RegistryHive::key_exists(const QString& key) const {
    const QString path = normal_path(key);
    return path.isEmpty() || keys_.contains(path.toCaseFolded());
}

bool RegistryHive::make_room(qsizetype growth) {
    if (size_ + growth > kLargestText) return false;
    size_ += growth;
    return true;
}

bool RegistryHive::create_key(const QString& key) {
    if (key.size() > 2 * kLongestPath) return false;
    const QString path = normal_path(key);
    if (!is_possible_path(path)) return false;
    std::vector<QString> missing;  // the key itself first, then those above it
    qsizetype growth = 0;
    for (QString at = path; !at.isEmpty() && !keys_.contains(at.toCaseFolded()); at = parent_of(at)) {
        growth += section_size(at);
        missing.push_back(at);
    }
    if (!make_room(growth)) return false;
    for (auto at = missing.rbegin(); at != missing.rend(); ++at) {
        // A new key stands below its parent as that was first spelled.
        const auto parent = keys_.find(parent_of(*at).toCaseFolded());
        const QString above = parent == keys_.end() ? QString{} : parent->second.path;
        keys_.emplace(at->toCaseFolded(), Key{above + at->sliced(above.size()), next_order_++, {}});
    }
    return true;
}

bool RegistryHive::delete_key(const QString& key) {
    const QString folded = normal_path(key).toCaseFolded();
    const auto found = keys_.find(folded);
    if (found == keys_.end()) return false;
    const auto first_below = keys_.lower_bound(folded + u'\\');
    if (first_below != keys_.end() && first_below->first.startsWith(folded + u'\\')) return false;
    for (const auto& [name, value] : found->second.values) size_ -= value_size(value.name, value.text);
    size_ -= section_size(found->second.path);
    keys_.erase(found);
    return true;
}

QStringList RegistryHive::subkeys(const QString& key) const {
    const QString path = normal_path(key).toCaseFolded();
    const QString prefix = path.isEmpty() ? path : path + u'\\';
    std::vector<const Key*> below;
    for (auto at = keys_.lower_bound(prefix); at != keys_.end() && at->first.startsWith(prefix); ++at) {
        if (at->first.indexOf(u'\\', prefix.size()) < 0) below.push_back(&at->second);
    }
    std::sort(below.begin(), below.end(), [](const Key* a, const Key* b) { return a->order < b->order; });
    QStringList names;
    for (const Key* item : below) names += item->path.sliced(prefix.size());
    return names;
}

std::optional<QString> RegistryHive::value(const QString& key, const QString& name) const {
    const auto found = keys_.find(normal_path(key).toCaseFolded());
    if (found == keys_.end()) return {};
    const auto value = found->second.values.find(name.toCaseFolded());
    if (value == found->second.values.end()) return {};
    return value->second.text;
}

bool RegistryHive::set_value(const QString& key, const QString& name, const QString& text) {
    const QString folded_key = normal_path(key).toCaseFolded();
    const auto old = value(key, name);
    const qsizetype growth = value_size(name, text) - (old ? value_size(name, *old) : 0);
    if (folded_key.isEmpty() || !make_room(growth)) return false;
    if (!create_key(key)) {
        size_ -= growth;
        return false;
    }
    const auto [at, is_new] =
        keys_.at(folded_key).values.try_emplace(name.toCaseFolded(), Value{name, {}, next_order_});
    if (is_new) ++next_order_;
    at->second.text = text;
    return true;
}

bool RegistryHive::delete_value(const QString& key, const QString& name) {
    const auto found = keys_.find(normal_path(key).toCaseFolded());
    if (found == keys_.end()) return false;
    const auto value = found->second.values.find(name.toCaseFolded());
    if (value == found->second.values.end()) return false;
    size_ -= value_size(value->second.name, value->second.text);
    found->second.values.erase(value);
    return true;
}

QByteArray RegistryHive::to_text() const {
    QString text = kFirstLine.toString() + u'\n';
    for (const Key* key : in_order(keys_)) {
        text += QStringLiteral("\n[") + key->path + QStringLiteral("]\n");
        for (const Value* value : in_order(key->values)) {
            text += quoted(value->name) + QStringLiteral(" = ") + quoted(value->text) + u'\n';
        }
    }
    return text.toUtf8();
}

bool RegistryHive::read_line(QStringView line, QString& key) {
    if (line.isEmpty() || line.startsWith(u';')) return true;
    if (line.startsWith(u'[') && line.endsWith(u']')) {
        key = line.sliced(1, line.size() - 2).toString();
        return create_key(key) && !normal_path(key).isEmpty();
    }
    qsizetype at = 0;
    const auto name = unquoted(line, at);
    constexpr QStringView kEquals = u" = ";
    if (key.isEmpty() || !name || !line.sliced(at).startsWith(kEquals)) return false;
    at += kEquals.size();
    const auto text = unquoted(line, at);
    return text && at == line.size() && set_value(key, *name, *text);
}

std::optional<RegistryHive> RegistryHive::from_text(const QByteArray& text) {
    QStringDecoder decoder{QStringDecoder::Utf8, QStringDecoder::Flag::Stateless};
    const QString decoded = decoder.decode(text);
    if (decoder.hasError()) return {};
    RegistryHive hive;
    QString key;
    bool first = true;
    for (QStringView line : QStringView{decoded}.tokenize(u'\n')) {
        if (line.endsWith(u'\r')) line.chop(1);
        const bool good = first ? line == kFirstLine : hive.read_line(line, key);
        if (!good) return {};
        first = false;
    }
    return hive;
}

}  // namespace quillmark::platform
