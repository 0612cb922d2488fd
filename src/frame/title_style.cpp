#include "frame/title_style.h"

#include <QStyleOptionTitleBar>
#include <QWidget>

namespace quillmark::frame {

QString fitting_title(const QString& title, const QFontMetrics& metrics, int width) {
    const auto fits = [&](const QString& text) { return metrics.horizontalAdvance(text) <= width; };
    QString shorter = title;
    for (qsizetype cut = 0; cut >= 0 && !fits(shorter); cut = title.indexOf(u'/', cut + 1))
        shorter = cut == 0 ? title : u'\u2026' + title.mid(cut);
    if (fits(shorter)) return shorter;
    return metrics.elidedText(title.mid(title.lastIndexOf(u'/') + 1), Qt::ElideRight, width);
}

void TitleStyle::drawComplexControl(ComplexControl control, const QStyleOptionComplex* option,
                                    QPainter* painter, const QWidget* widget) const {
    const auto* bar = qstyleoption_cast<const QStyleOptionTitleBar*>(option);
    if (control != CC_TitleBar || !bar || !widget)
        return QProxyStyle::drawComplexControl(control, option, painter, widget);
    // The option's own text has lost its end already.
    QString title = widget->windowTitle();
    title.replace(QStringLiteral("[*][*]"), QStringLiteral("[*]"));
    QStyleOptionTitleBar fitted = *bar;
    drawing_ = true;
    const int room = subControlRect(CC_TitleBar, bar, SC_TitleBarLabel, widget).width();
    fitted.text = fitting_title(title, bar->fontMetrics, room);
    QProxyStyle::drawComplexControl(control, &fitted, painter, widget);
    drawing_ = false;
}

QRect TitleStyle::subControlRect(ComplexControl control, const QStyleOptionComplex* option, SubControl part,
                                 const QWidget* widget) const {
    const QRect place = QProxyStyle::subControlRect(control, option, part, widget);
    if (!drawing_ || control != CC_TitleBar || part != SC_TitleBarLabel || !widget->parentWidget())
        return place;
    const QWidget& area = *widget->parentWidget();
    return place.intersected(QRect{widget->mapFrom(&area, QPoint{}), area.size()});
}

}  // namespace quillmark::frame
