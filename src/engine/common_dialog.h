// The common-dialog control: what the program presets before it shows a parameter dialog, and what it reads
// afterwards. The dialog itself is ParameterDialog.
#pragma once

#include <QColor>
#include <cstdint>
#include <string_view>

#include "engine/engine.h"

namespace quillmark::engine {

enum class DialogKind {
    effect_value,       ///< one number: Value
    gamma,              ///< Gamma
    intensity_detect,   ///< Low and High
    colour_resolution,  ///< Bits, PaletteOption and DitherOption
    spatial_filter,     ///< Filter
    rotate,             ///< Angle, Option (resize the canvas) and FillColor
    shear,              ///< Angle, Option (horizontal) and FillColor
};

/// The result code of a dialog that the user cancelled: a silent end, not a failure.
inline constexpr Code kDialogCancelled = 20150;

struct CommonDialog {
    std::uint32_t Flags = 0;  ///< its lowest bit chooses the family of a spatial filter
    imaging::Bitmap Bitmap;   ///< the image to preview; empty: no preview
    /// The operation that will run with the results, by its engine name: gives caption, units, ranges and the
    /// preview. Its first parameters that the dialog does not ask for are in Fixed.
    std::string_view Operation;
    int Fixed = 0;                         ///< Halftone's type
    const imaging::Region* Rgn = nullptr;  ///< the selection, for the preview
    imaging::Rect Visible;                 ///< the part of the image that its window shows, bitmap pixels

    // Presets before, results after an accepted dialog. Value, Gamma and Angle begin at the operation's
    // initial value where the preset is out of range; Bits to Filter and Option always do.
    int Value = 0;
    int Gamma = 0;
    int Low = 0, High = 255;
    int Bits = 0, PaletteOption = 0, DitherOption = 0;
    int Filter = 0;
    int Angle = 0;  ///< hundredths of a degree
    bool Option = false;
    QColor FillColor = Qt::white;
};

}  // namespace quillmark::engine
