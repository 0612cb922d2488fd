#include "frame/layout_file.h"

#include <QFile>
#include <QFileInfo>
#include <QHash>
#include <QKeySequence>
#include <QSaveFile>
#include <QSet>
#include <QStringDecoder>
#include <algorithm>
#include <array>

namespace quillmark::frame {
namespace {

constexpr char16_t kHeader[] = u"quillmark-layout 1";
constexpr std::array kKinds{u"button", u"state", u"edit", u"menu"};
constexpr std::array kDocks{u"top", u"left", u"right", u"bottom", u"floating"};

using Attributes = QHash<QString, QString>;

template <typename Names>
int index_of(const Names& names, QStringView wanted) {
    const auto* found = std::ranges::find_if(names, [&](const char16_t* name) { return wanted == name; });
    return found == names.end() ? -1 : int(found - names.begin());
}

// ---- writing

QString quoted(QString text) {
    text.replace(u'\\', QStringLiteral("\\\\"));
    text.replace(u'"', QStringLiteral("\\\""));
    text.replace(u'\n', QStringLiteral("\\n"));
    return u'"' + text + u'"';
}

QString tool_line(const ToolState& tool) {
    QString line = QStringLiteral("tool %1").arg(tool.id);
    const auto put = [&line](const char* key, const QString& value) {
        if (!value.isEmpty()) line += QStringLiteral(" %1=").arg(QLatin1String(key)) + quoted(value);
    };
    if (tool.own) line += QStringLiteral(" kind=%1").arg(QStringView(kKinds[std::size_t(tool.kind)]));
    line += QStringLiteral(" caption=") + quoted(tool.caption.left(kMaxText));
    if (tool.kind == Kind::state || tool.checked) line += tool.checked ? u" checked=1" : u" checked=0";
    if (tool.kind == Kind::edit) line += QStringLiteral(" text=") + quoted(tool.text.left(kMaxText));
    if (tool.own) {
        put("category", tool.category);
        put("group", tool.group);
        put("tip", tool.tip);
        put("shortcut", tool.shortcut);
    }
    return line;
}

void put_tools(QString& out, const QStringList& tools) {
    for (const QString& id : tools)
        out += QStringLiteral("  %1\n").arg(id.isEmpty() ? QStringLiteral("-") : id);
}

QString bar_line(const BarLayout& bar) {
    QString line = QStringLiteral("bar %1 dock=%2 line=%3 visible=%4")
                       .arg(quoted(bar.name), QStringView(kDocks[std::size_t(bar.dock)]),
                            bar.new_line ? QStringLiteral("new") : QStringLiteral("same"))
                       .arg(bar.visible ? 1 : 0);
    if (bar.dock == Dock::floating)
        line += QStringLiteral(" x=%1 y=%2").arg(bar.position.x()).arg(bar.position.y());
    return line;
}

// ---- reading

/// One line cut into words and key=value pairs; values may be quoted.
class LineCutter {
  public:
    explicit LineCutter(QStringView line) : line_(line.trimmed()) {}

    bool at_end() {
        while (at_ < line_.size() && line_[at_].isSpace()) ++at_;
        return at_ >= line_.size();
    }

    /// A plain or quoted word.
    std::optional<QString> word() {
        if (at_end()) return std::nullopt;
        if (line_[at_] == u'"') return quoted_word();
        const qsizetype start = at_;
        while (at_ < line_.size() && !line_[at_].isSpace() && line_[at_] != u'=' && line_[at_] != u'"') ++at_;
        return at_ == start ? std::nullopt : std::optional(line_.mid(start, at_ - start).toString());
    }

    /// The rest of the line as key=value pairs, each key once and among `known`.
    std::optional<Attributes> attributes(std::initializer_list<const char*> known) {
        Attributes found;
        while (!at_end()) {
            const auto key = word();
            const bool good_key = key && std::ranges::any_of(known, [&](const char* name) {
                                      return *key == QLatin1String(name);
                                  });
            if (!good_key || found.contains(*key) || at_ >= line_.size() || line_[at_] != u'=')
                return std::nullopt;
            ++at_;
            if (at_ >= line_.size() || line_[at_].isSpace()) return std::nullopt;
            const auto value = word();
            if (!value) return std::nullopt;
            found.insert(*key, *value);
        }
        return found;
    }

  private:
    std::optional<QString> quoted_word() {
        QString text;
        for (++at_; at_ < line_.size(); ++at_) {
            QChar c = line_[at_];
            if (c == u'"') {
                ++at_;
                return text.size() <= kMaxText ? std::optional(text) : std::nullopt;
            }
            if (c == u'\\') {
                if (++at_ >= line_.size()) return std::nullopt;
                c = line_[at_];
                if (c != u'n' && c != u'\\' && c != u'"') return std::nullopt;
                if (c == u'n') c = u'\n';
            }
            text += c;
        }
        return std::nullopt;
    }

    QStringView line_;
    qsizetype at_ = 0;
};

bool good_id(QStringView id) {
    return id.startsWith(u"ID_") && id.size() <= kMaxName && std::ranges::all_of(id, [](QChar c) {
               return c == u'_' || (c.unicode() < 128 && c.isLetterOrNumber());
           });
}

std::optional<bool> flag(const Attributes& attributes, const char* key, bool otherwise) {
    const auto found = attributes.constFind(QLatin1String(key));
    if (found == attributes.constEnd()) return otherwise;
    if (*found == u"0") return false;
    if (*found == u"1") return true;
    return std::nullopt;
}

class LayoutParser {
  public:
    LayoutParser() : layout_(designed_layout()) { layout_.bars.clear(); }

    ParsedLayout parse(QStringView text) {
        bool first = true;
        for (QStringView line : text.split(u'\n')) {
            ++line_;
            if (line.endsWith(u'\r')) line.chop(1);
            if (first && line != kHeader) return failed(QStringLiteral("not a layout file"));
            const bool skipped = first || line.trimmed().isEmpty() || line.trimmed().startsWith(u'#');
            first = false;
            if (skipped) continue;
            if (ended_) return failed(QStringLiteral("text after the end"));
            if (const QString error = read_line(line); !error.isEmpty()) return failed(error);
        }
        if (!ended_) return failed(QStringLiteral("the file is cut off"));
        line_ = 0;
        if (const QString error = check_whole(); !error.isEmpty()) return failed(error);
        return {layout_, 0, {}};
    }

  private:
    ParsedLayout failed(const QString& reason) const { return {std::nullopt, line_, reason}; }

    QString read_line(QStringView line) {
        LineCutter cutter(line);
        const QString word = cutter.word().value_or(QString());
        if (word == u"tool") return read_tool(cutter);
        if (word == u"menu") return read_menu(cutter);
        if (word == u"bar") return read_bar(cutter);
        if (!cutter.at_end()) return QStringLiteral("not understood");
        if (word == u"end") {
            ended_ = true;
            return {};
        }
        return read_entry(word);
    }

    QString read_tool(LineCutter& cutter) {
        const QString id = cutter.word().value_or(QString());
        const auto attributes =
            cutter.attributes({"kind", "caption", "checked", "text", "category", "group", "tip", "shortcut"});
        if (!good_id(id) || !attributes) return QStringLiteral("bad tool line");
        if (named_tools_.contains(id)) return QStringLiteral("the tool stands twice");
        named_tools_.insert(id);
        ToolState* tool = find(id);
        if (!tool) {
            if (const QString error = define(id, *attributes); !error.isEmpty()) return error;
            tool = &layout_.tools.last();
        } else if (attributes->contains(QStringLiteral("kind"))) {
            return QStringLiteral("a designed tool cannot be defined anew");
        }
        const auto checked = flag(*attributes, "checked", tool->checked);
        if (!checked) return QStringLiteral("checked must be 0 or 1");
        tool->checked = *checked;
        tool->caption = attributes->value(QStringLiteral("caption"), tool->caption);
        if (tool->kind == Kind::edit) tool->text = attributes->value(QStringLiteral("text"), tool->text);
        return {};
    }

    QString define(const QString& id, const Attributes& attributes) {
        const int kind = index_of(kKinds, attributes.value(QStringLiteral("kind")));
        if (kind < 0) return QStringLiteral("an unknown tool needs its kind");
        if (Kind(kind) == Kind::menu) return QStringLiteral("a file cannot define menu tools");
        if (attributes.value(QStringLiteral("caption")).isEmpty())
            return QStringLiteral("an unknown tool needs its caption");
        if (++own_tools_ > kMaxOwnTools) return QStringLiteral("too many tools");
        ToolState tool;
        tool.id = id;
        tool.own = true;
        tool.kind = Kind(kind);
        tool.category = attributes.value(QStringLiteral("category"), QStringLiteral("General"));
        tool.group = attributes.value(QStringLiteral("group"));
        tool.tip = attributes.value(QStringLiteral("tip"));
        tool.shortcut = attributes.value(QStringLiteral("shortcut"));
        layout_.tools << tool;
        return {};
    }

    QString read_menu(LineCutter& cutter) {
        const QString id = cutter.word().value_or(QString());
        if (!cutter.at_end()) return QStringLiteral("bad menu line");
        const auto menu = std::ranges::find(layout_.menus, id, &MenuLayout::id);
        if (menu == layout_.menus.end() || named_menus_.contains(id))
            return QStringLiteral("the menu is unknown or stands twice");
        named_menus_.insert(id);
        menu->tools.clear();
        current_ = StripRef{false, id};
        return {};
    }

    QString read_bar(LineCutter& cutter) {
        BarLayout bar;
        bar.name = cutter.word().value_or(QString());
        const auto attributes = cutter.attributes({"dock", "line", "visible", "x", "y"});
        if (bar.name.trimmed().isEmpty() || bar.name.size() > kMaxName || !attributes)
            return QStringLiteral("bad bar line");
        if (strip(layout_, {true, bar.name})) return QStringLiteral("the bar stands twice");
        if (layout_.bars.size() >= kMaxBars) return QStringLiteral("too many bars");
        const int dock = index_of(kDocks, attributes->value(QStringLiteral("dock"), QStringLiteral("top")));
        const QString row = attributes->value(QStringLiteral("line"), QStringLiteral("same"));
        const auto visible = flag(*attributes, "visible", true);
        bool good_x = false;
        bool good_y = false;
        bar.position.setX(attributes->value(QStringLiteral("x"), QStringLiteral("0")).toShort(&good_x));
        bar.position.setY(attributes->value(QStringLiteral("y"), QStringLiteral("0")).toShort(&good_y));
        if (dock < 0 || (row != u"new" && row != u"same") || !visible || !good_x || !good_y)
            return QStringLiteral("bad place of a bar");
        bar.dock = Dock(dock);
        bar.new_line = row == u"new";
        bar.visible = *visible;
        layout_.bars << bar;
        current_ = StripRef{true, bar.name};
        return {};
    }

    QString read_entry(const QString& word) {
        QStringList* tools = current_ ? strip(layout_, *current_) : nullptr;
        if (!tools) return QStringLiteral("not understood");
        if (tools->size() >= kMaxStripTools) return QStringLiteral("too many tools in a menu or bar");
        const QString id = word == u"-" ? QString() : word;
        if (!id.isEmpty() && (!good_id(id) || tools->contains(id)))
            return QStringLiteral("the entry is unknown or stands twice");
        *tools << id;
        return {};
    }

    /// What only the whole text can tell: entries may name tools that a later line defines.
    QString check_whole() {
        const auto menu_bar = std::ranges::find(layout_.bars, QStringView(kMenuBar), &BarLayout::name);
        if (menu_bar == layout_.bars.end()) return QStringLiteral("no menu bar");
        if (menu_bar->tools.isEmpty()) return QStringLiteral("an empty menu bar");
        std::rotate(layout_.bars.begin(), menu_bar, menu_bar + 1);
        if (const QString error = check_states(); !error.isEmpty()) return error;
        for (const BarLayout& bar : std::as_const(layout_.bars))
            if (const QString error = check_strip({true, bar.name}, bar.tools); !error.isEmpty())
                return error;
        for (const MenuLayout& menu : std::as_const(layout_.menus))
            if (const QString error = check_strip({false, menu.id}, menu.tools); !error.isEmpty())
                return error;
        return {};
    }

    QString check_strip(const StripRef& ref, const QStringList& tools) const {
        for (const QString& id : tools) {
            if (const QString reason = misfit(layout_, ref, id); !reason.isEmpty())
                return QStringLiteral("%1 in %2: %3").arg(id, ref.name, reason);
        }
        return {};
    }

    QString check_states() const {
        QSet<QString> checked_groups;
        QSet<QKeySequence> shortcuts;
        for (const ToolState& tool : layout_.tools) {
            const Tool* designed = find_tool(tool.id);
            const QString group = designed ? QString::fromUtf16(designed->group) : tool.group;
            if (tool.kind == Kind::state && tool.checked && !group.isEmpty()) {
                if (checked_groups.contains(group))
                    return QStringLiteral("two tools of group %1 are checked").arg(group);
                checked_groups.insert(group);
            }
            const QKeySequence keys(designed ? QString::fromUtf16(designed->shortcut) : tool.shortcut);
            if (keys.isEmpty()) continue;
            if (shortcuts.contains(keys)) return QStringLiteral("the shortcut of %1 is taken").arg(tool.id);
            shortcuts.insert(keys);
        }
        return {};
    }

    ToolState* find(const QString& id) {
        const auto found = std::ranges::find(layout_.tools, id, &ToolState::id);
        return found == layout_.tools.end() ? nullptr : &*found;
    }

    Layout layout_;
    std::optional<StripRef> current_;
    QSet<QString> named_tools_, named_menus_;
    qsizetype own_tools_ = 0;
    int line_ = 0;
    bool ended_ = false;
};

}  // namespace

QByteArray format_layout(const Layout& layout) {
    QString out = QString::fromUtf16(kHeader) + u'\n';
    for (const ToolState& tool : layout.tools) out += tool_line(tool) + u'\n';
    for (const MenuLayout& menu : layout.menus) {
        out += QStringLiteral("menu %1\n").arg(menu.id);
        put_tools(out, menu.tools);
    }
    for (const BarLayout& bar : layout.bars) {
        out += bar_line(bar) + u'\n';
        put_tools(out, bar.tools);
    }
    return (out + QStringLiteral("end\n")).toUtf8();
}

ParsedLayout parse_layout(const QByteArray& text) {
    if (text.size() > kMaxLayoutBytes) return {std::nullopt, 0, QStringLiteral("the file is too large")};
    QStringDecoder decode(QStringDecoder::Utf8);
    const QString decoded = decode(text);
    if (decode.hasError()) return {std::nullopt, 0, QStringLiteral("not UTF-8 text")};
    return LayoutParser().parse(decoded);
}

ParsedLayout load_layout(const QString& path) {
    QFile file(path);
    if (QFileInfo::exists(path) && !QFileInfo(path).isFile())  // a pipe would block
        return {std::nullopt, 0, QStringLiteral("not a file")};
    if (!file.open(QIODevice::ReadOnly)) return {std::nullopt, 0, file.errorString()};
    // One byte more than allowed tells a file that is too large without reading all of it.
    ParsedLayout parsed = parse_layout(file.read(kMaxLayoutBytes + 1));
    if (!parsed.layout) {
        const QString aside = path + QStringLiteral(".broken");
        QFile::remove(aside);
        if (file.size() > kMaxLayoutBytes)
            file.rename(aside);
        else
            QFile::copy(path, aside);
    }
    return parsed;
}

QString save_layout(const QString& path, const Layout& layout) {
    QSaveFile file(path);
    const QByteArray text = format_layout(layout);
    if (!file.open(QIODevice::WriteOnly) || file.write(text) != text.size() || !file.commit())
        return file.errorString();
    return {};
}

}  // namespace quillmark::frame
