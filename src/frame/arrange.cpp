#include "frame/arrange.h"

#include <QMdiSubWindow>
#include <QScrollBar>
#include <algorithm>
#include <cmath>

namespace quillmark::frame {
namespace {

QList<QMdiSubWindow*> windows(const QMdiArea& area, bool minimised) {
    QList<QMdiSubWindow*> found;
    for (QMdiSubWindow* window : area.subWindowList(QMdiArea::CreationOrder)) {
        if (window->isVisible() && window->isMinimized() == minimised) found += window;
    }
    return found;
}

// Room for tiles: the viewport without the row that icons take, and as if no scroll bars were shown.
QRect free_room(const QMdiArea& area) {
    QRect room{QPoint{}, area.maximumViewportSize()};
    const auto icons = windows(area, true);
    if (!icons.isEmpty())
        room.setHeight(std::max(room.height() / 2, room.height() - icons.first()->height()));
    return room;
}

// count cells: as few columns (or rows) as keep each tile at a workable size, the fuller ones last.
void tile(QMdiArea& area, bool side_by_side) {
    const auto tiles = windows(area, false);
    if (tiles.isEmpty()) return;
    const QRect room = free_room(area);
    const int count = static_cast<int>(tiles.size());
    const int lanes = count <= 3 ? 1 : static_cast<int>(std::floor(std::sqrt(count)));
    const int along = side_by_side ? room.height() : room.width();
    const int across = side_by_side ? room.width() : room.height();
    for (int lane = 0, next = 0; lane < lanes; ++lane) {
        const int in_lane = count / lanes + (lane >= lanes - count % lanes ? 1 : 0);
        const int lane_from = along * lane / lanes, lane_to = along * (lane + 1) / lanes;
        for (int i = 0; i < in_lane; ++i, ++next) {
            const int from = across * i / in_lane, to = across * (i + 1) / in_lane;
            const QRect cell = side_by_side ? QRect(from, lane_from, to - from, lane_to - lane_from)
                                            : QRect(lane_from, from, lane_to - lane_from, to - from);
            if (tiles[next]->isMaximized()) tiles[next]->showNormal();
            tiles[next]->setGeometry(cell);
        }
    }
}

void line_up_icons(QMdiArea& area) {
    const QSize room = area.viewport()->size();
    int x = 0, bottom = room.height();
    for (QMdiSubWindow* icon : windows(area, true)) {
        if (x > 0 && x + icon->width() > room.width()) {
            x = 0;
            bottom -= icon->height();
        }
        icon->move(x, bottom - icon->height());
        icon->raise();  // not hidden below a window that reaches this far down
        x += icon->width();
    }
}

}  // namespace

void arrange(QMdiArea& area, Arrangement how) {
    switch (how) {
        case Arrangement::cascade: area.cascadeSubWindows(); break;
        case Arrangement::tile_horizontally: tile(area, false); break;
        case Arrangement::tile_vertically: tile(area, true); break;
        case Arrangement::icons: line_up_icons(area); break;
    }
}

}  // namespace quillmark::frame
