// The tools' pictures: icons that read and draw their SVG only when they are first painted.
#pragma once

#include <QColor>
#include <QIcon>
#include <QString>

namespace quillmark::frame {

/// Icon of the picture `name` ("zoom-in"); a null icon for an empty name. Drawn in the palette's text colour,
/// so it follows a change between light and dark, sharp at any size and scale factor.
QIcon picture_icon(const QString& name);

/// The picture drawn with explicit colours, `pixels` device pixels wide and high; null when the name is
/// unknown.
QImage picture_image(const QString& name, int pixels, const QColor& ink, const QColor& accent);

}  // namespace quillmark::frame
