// The captions of image windows: where one is too narrow for its text, the folders give way before the file's
// name does.
#pragma once

#include <QFontMetrics>
#include <QProxyStyle>
#include <QString>

namespace quillmark::frame {

/// The title made to fit into `width` pixels: whole; else with its first folders replaced by an ellipsis;
/// else the name without folders, cut at its end.
QString fitting_title(const QString& title, const QFontMetrics& metrics, int width);

/// Draws the title bar of a sub-window with its title fitted into the part that can be seen (the window may
/// be far larger than the area that shows it); all else as the application's style does.
class TitleStyle final : public QProxyStyle {
  public:
    void drawComplexControl(ComplexControl control, const QStyleOptionComplex* option, QPainter* painter,
                            const QWidget* widget) const override;
    QRect subControlRect(ComplexControl control, const QStyleOptionComplex* option, SubControl part,
                         const QWidget* widget) const override;

  private:
    mutable bool drawing_ = false;  // the label's place for hits stays the whole bar
};

}  // namespace quillmark::frame
