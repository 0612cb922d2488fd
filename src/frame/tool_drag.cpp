#include "frame/tool_drag.h"

#include <QCoreApplication>
#include <QDataStream>
#include <QIODevice>

namespace quillmark::frame {
namespace {
const QString kType = QStringLiteral("application/x-quillmark-tool");
}

QMimeData* to_mime(const DraggedTool& dragged) {
    QByteArray bytes;
    QDataStream out(&bytes, QIODevice::WriteOnly);
    out << QCoreApplication::applicationPid() << dragged.id << dragged.from.has_value()
        << (dragged.from && dragged.from->is_bar) << (dragged.from ? dragged.from->name : QString())
        << qint32(dragged.index);
    auto* data = new QMimeData;
    data->setData(kType, bytes);
    return data;
}

std::optional<DraggedTool> from_mime(const QMimeData* data) {
    if (!data || !data->hasFormat(kType)) return std::nullopt;
    QDataStream in(data->data(kType));
    qint64 process = 0;
    bool has_source = false;
    qint32 index = -1;
    DraggedTool dragged;
    StripRef from;
    in >> process >> dragged.id >> has_source >> from.is_bar >> from.name >> index;
    if (in.status() != QDataStream::Ok || process != QCoreApplication::applicationPid()) return std::nullopt;
    if (has_source) dragged.from = from;
    dragged.index = index;
    return dragged;
}

}  // namespace quillmark::frame
