#include "engine/elided_label.h"

#include <QPainter>
#include <QStyle>

namespace quillmark::engine {

void ElidedLabel::paintEvent(QPaintEvent*) {
    QPainter painter{this};
    const QString shown = fontMetrics().elidedText(text(), Qt::ElideMiddle, contentsRect().width());
    style()->drawItemText(&painter, contentsRect(), Qt::AlignLeft | Qt::AlignVCenter, palette(), isEnabled(),
                          shown, foregroundRole());
}

}  // namespace quillmark::engine
