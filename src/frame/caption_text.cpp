#include "frame/caption_text.h"

namespace quillmark::frame {

QString menu_text(const QString& caption, int longest) {
    QString text = caption;
    if (text.size() > longest) {
        const int kept = (longest - 1) / 2;
        text = text.left(kept) + u'\u2026' + text.right(kept);
    }
    const auto mark = text.indexOf(u'&');
    if (mark < 0) return text;
    QString tail = text.mid(mark + 1);
    return text.left(mark + 1) + tail.replace(u'&', QStringLiteral("&&"));
}

QString plain_text(const QString& caption) {
    QString text = caption;
    const auto mark = text.indexOf(u'&');
    return mark < 0 ? text : text.remove(mark, 1);
}

}  // namespace quillmark::frame
