// How the values of a parameter are written for people: the unit they know, with decimals where steps are
// fine.
#pragma once

#include <QString>
#include <optional>

#include "imaging/ops/operation.h"

namespace quillmark::engine {

/// The engine counts in whole steps; people read value / 10^decimals, followed by unit.
struct Notation {
    int decimals = 0;
    QString unit;  ///< "%", "°", "pixels"; empty for plain numbers
    int step = 1;  ///< one turn of a spin box, engine units
};

Notation notation_of(const imaging::Parameter& parameter);
/// 1234 with 2 decimals: "12.34".
QString value_text(int value, int decimals);
/// The engine value of what was typed, rounded to its steps; a comma counts as a point. Nothing when it is no
/// number. Numbers beyond the engine's reach come out as its ends.
std::optional<int> value_in(const QString& text, int decimals);

}  // namespace quillmark::engine
