// What each kind of parameter dialog asks for: the one table behind all of them.
#pragma once

#include <span>
#include <string_view>

#include "engine/common_dialog.h"
#include "engine/parameter_field.h"

namespace quillmark::engine {

struct FormField {
    const char* name;   ///< of the result, and the object name of its editor
    const char* label;  ///< with a mnemonic; empty: the operation's own name of the parameter
    Editor editor;
    int (*preset)(const CommonDialog&);  ///< nullptr: the parameter's initial value
    void (*store)(CommonDialog&, int value);
    bool whole_image_only = false;  ///< not asked where there is no image to preview
};

struct ParameterForm {
    std::span<const FormField> fields;
    bool keeps_size = true;  ///< of the image, so that the same place can be shown before and after
    bool ascending = false;  ///< the values must not fall from field to field
};

const ParameterForm& parameter_form(DialogKind kind);
/// The title of the dialog; flags tell the family of a spatial filter.
QString form_caption(const CommonDialog& control, DialogKind kind);
/// The codes that a field offers: those of the parameter, or of the family that flags choose.
std::span<const imaging::Choice> form_choices(const CommonDialog& control, DialogKind kind,
                                              const imaging::Parameter& parameter);

}  // namespace quillmark::engine
