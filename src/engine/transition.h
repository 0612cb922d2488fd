// Paint effects: the order in which the pixels of a sheet turn to a new picture, told from the effect's name.
#pragma once

#include <QSize>
#include <QStringList>
#include <optional>
#include <vector>

namespace quillmark::engine {

/// Codes count up from here in the order of paint_effect_names.
inline constexpr int kFirstPaintEffect = 2000;

/// The 555 names of the paint effects.
QStringList paint_effect_names();

}  // namespace quillmark::engine
