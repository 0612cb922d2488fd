#include "platform/quoted_text.h"

#include <algorithm>
#include <iterator>

namespace quillmark::platform {

namespace {

struct Escape {
    char16_t plain, letter;
};
constexpr Escape kEscapes[] = {{u'"', u'"'}, {u'\\', u'\\'}, {u'\n', u'n'}, {u'\r', u'r'}, {u'\t', u't'}};

/// UTF-8 cannot carry half of a surrogate pair; control characters would spoil the line.
bool needs_number(QStringView text, qsizetype at) {
    const QChar c = text[at];
    if (c.isHighSurrogate()) return at + 1 == text.size() || !text[at + 1].isLowSurrogate();
    if (c.isLowSurrogate()) return at == 0 || !text[at - 1].isHighSurrogate();
    return c.category() == QChar::Other_Control;
}

/// What the escape at `at` (behind the backslash) stands for; moves `at` behind it.
std::optional<QChar> read_escape(QStringView line, qsizetype& at) {
    if (at >= line.size()) return {};
    const QChar letter = line[at++];
    for (const Escape& escape : kEscapes) {
        if (letter == escape.letter) return QChar{escape.plain};
    }
    if (letter != u'u' || line.size() - at < 4) return {};
    bool is_number = false;
    const ushort code = line.sliced(at, 4).toUShort(&is_number, 16);
    at += 4;
    return is_number ? std::optional{QChar{code}} : std::nullopt;
}

}  // namespace

QString quoted(QStringView text) {
    QString line;
    line.reserve(text.size() + 2);
    line += u'"';
    for (qsizetype at = 0; at < text.size(); ++at) {
        const QChar c = text[at];
        const auto* escape = std::find_if(std::begin(kEscapes), std::end(kEscapes),
                                          [c](const Escape& candidate) { return c == candidate.plain; });
        if (escape != std::end(kEscapes)) {
            line += u'\\';
            line += QChar{escape->letter};
        } else if (needs_number(text, at)) {
            line += QStringLiteral("\\u%1").arg(c.unicode(), 4, 16, QLatin1Char{'0'});
        } else {
            line += c;
        }
    }
    line += u'"';
    return line;
}

std::optional<QString> unquoted(QStringView line, qsizetype& at) {
    if (at >= line.size() || line[at] != u'"') return {};
    QString text;
    for (++at; at < line.size();) {
        const QChar c = line[at++];
        if (c == u'"') return text;
        if (c != u'\\') {
            text += c;
            continue;
        }
        const auto plain = read_escape(line, at);
        if (!plain) return {};
        text += *plain;
    }
    return {};  // no closing quote
}

}  // namespace quillmark::platform
