// A tool on its way between the customise dialog's lists and the bars.
#pragma once

#include <QMimeData>
#include <optional>

#include "frame/layout.h"

namespace quillmark::frame {

struct DraggedTool {
    QString id;                    ///< empty: a separator
    std::optional<StripRef> from;  ///< not set: from the list of all tools
    int index = -1;                ///< in `from`
};

QMimeData* to_mime(const DraggedTool& dragged);
/// Nothing when the data are not a tool of this very process.
std::optional<DraggedTool> from_mime(const QMimeData* data);

}  // namespace quillmark::frame
