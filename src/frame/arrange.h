// Arranging the image windows: cascade, tile both ways, icons in rows.
#pragma once

#include <QMdiArea>

namespace quillmark::frame {

enum class Arrangement { cascade = 0, tile_horizontally = 1, tile_vertically = 2, icons = 3 };

/// Horizontal tiles lie one above the other, vertical ones side by side; minimised windows keep out of both
/// and are lined up from the lower left by icons.
void arrange(QMdiArea& area, Arrangement how);

}  // namespace quillmark::frame
