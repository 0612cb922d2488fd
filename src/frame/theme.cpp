#include "frame/theme.h"

#include <QApplication>
#include <QColor>
#include <QPainter>
#include <QProxyStyle>
#include <QStyleFactory>
#include <QStyleOption>

#include "settings/settings.h"

namespace quillmark::frame {
namespace {

/// The colours that a theme is made of; the rest follow from them.
struct Colours {
    QColor window, base, raised, text, highlight, highlighted_text, link;
    QColor light, midlight, mid, dark, shadow;  ///< bevels, from the brightest to the darkest
};

const Colours& colours_of(Theme theme) {
    static const Colours light{0xefefef, 0xffffff, 0xf7f7f7, 0x1a1a1a, 0x2f74c0, 0xffffff,
                               0x1a5fb4, 0xffffff, 0xcacaca, 0xb8b8b8, 0x9f9f9f, 0x767676};
    static const Colours dark{0x37373a, 0x1f1f22, 0x454549, 0xe8e8e8, 0x3d7cc9, 0xffffff,
                              0x6cb0ff, 0x626267, 0x55555a, 0x4a4a4e, 0x232325, 0x0c0c0c};
    return theme == Theme::dark ? dark : light;
}

/// A colour half-way to another: what is disabled lies between its text and the window.
QColor halfway(const QColor& a, const QColor& b) {
    return {(a.red() + b.red()) / 2, (a.green() + b.green()) / 2, (a.blue() + b.blue()) / 2};
}

bool is_dark(const QPalette& palette) { return palette.color(QPalette::Window).lightness() < 128; }

/// No pictures on the buttons of message boxes and forms: none of the program's own buttons has one.
/// Marks to tick have an edge that can be seen on a dark ground, too.
class PlainButtons final : public QProxyStyle {
  public:
    using QProxyStyle::QProxyStyle;
    void drawPrimitive(PrimitiveElement element, const QStyleOption* option, QPainter* painter,
                       const QWidget* widget) const override {
        QProxyStyle::drawPrimitive(element, option, painter, widget);
        const bool round = element == PE_IndicatorRadioButton;
        if ((!round && element != PE_IndicatorCheckBox) || !is_dark(option->palette)) return;
        painter->save();
        painter->setRenderHint(QPainter::Antialiasing);
        painter->setBrush(Qt::NoBrush);
        painter->setPen(
            halfway(option->palette.color(QPalette::WindowText), option->palette.color(QPalette::Window)));
        const QRectF edge = QRectF{option->rect}.adjusted(0.5, 0.5, -0.5, -0.5);
        round ? painter->drawEllipse(edge) : painter->drawRect(edge);
        painter->restore();
    }
    int styleHint(StyleHint hint, const QStyleOption* option, const QWidget* widget,
                  QStyleHintReturn* result) const override {
        return hint == SH_DialogButtonBox_ButtonsHaveIcons
                   ? 0
                   : QProxyStyle::styleHint(hint, option, widget, result);
    }
};

}  // namespace

Theme theme_named(QStringView name) {
    const QStringView trimmed = name.trimmed();
    if (trimmed.compare(u"dark", Qt::CaseInsensitive) == 0) return Theme::dark;
    if (trimmed.compare(u"light", Qt::CaseInsensitive) == 0) return Theme::light;
    return Theme::system;
}

Theme chosen_theme(const settings::Settings& settings) {
    if (qEnvironmentVariableIsSet("QUILLMARK_THEME"))
        return theme_named(qEnvironmentVariable("QUILLMARK_THEME"));
    return theme_named(settings.QueryKeyValue(settings::Root::HKEY_LOCAL_MACHINE, settings::keys::kOptions,
                                              QStringLiteral("Theme")));
}

QPalette palette_of(Theme theme) {
    if (theme == Theme::system) return QApplication::palette();
    const Colours& c = colours_of(theme);
    QPalette palette{c.text, c.raised, c.light, c.dark, c.mid, c.text, c.highlighted_text, c.base, c.window};
    palette.setColor(QPalette::Midlight, c.midlight);
    palette.setColor(QPalette::Shadow, c.shadow);
    palette.setColor(QPalette::AlternateBase, halfway(c.base, c.window));
    palette.setColor(QPalette::Highlight, c.highlight);
    palette.setColor(QPalette::HighlightedText, c.highlighted_text);
    palette.setColor(QPalette::ToolTipBase, c.raised);
    palette.setColor(QPalette::ToolTipText, c.text);
    palette.setColor(QPalette::Link, c.link);
    palette.setColor(QPalette::LinkVisited, halfway(c.link, c.text));
    palette.setColor(QPalette::PlaceholderText, halfway(c.text, c.base));
    for (const auto role : {QPalette::WindowText, QPalette::Text, QPalette::ButtonText})
        palette.setColor(QPalette::Disabled, role, halfway(c.text, c.window));
    palette.setColor(QPalette::Disabled, QPalette::Highlight, c.mid);
    palette.setColor(QPalette::Disabled, QPalette::Base, c.window);
    return palette;
}

void apply_theme(Theme theme) {
    if (theme == Theme::system) {
        QApplication::setStyle(new PlainButtons);
        return;
    }
    // Other styles draw with colours of their own beside the palette's.
    QApplication::setStyle(new PlainButtons{QStyleFactory::create(QStringLiteral("Fusion"))});
    QApplication::setPalette(palette_of(theme));
}

}  // namespace quillmark::frame
