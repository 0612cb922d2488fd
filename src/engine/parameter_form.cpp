#include "engine/parameter_form.h"

#include <QCoreApplication>
#include <algorithm>
#include <array>
#include <bit>

#include "imaging/ops/relief.h"

namespace quillmark::engine {
namespace {

template <int CommonDialog::*Member>
constexpr FormField field(const char* name, const char* label, Editor editor) {
    return {name, label, editor, [](const CommonDialog& from) { return from.*Member; },
            [](CommonDialog& to, int value) { to.*Member = value; }};
}

// Without a preset.
template <int CommonDialog::*Member>
constexpr FormField code(const char* name, const char* label, Editor editor) {
    FormField without = field<Member>(name, label, editor);
    without.preset = nullptr;
    return without;
}

constexpr FormField option_field(const char* label, bool whole_image_only) {
    return {"Option",
            label,
            Editor::toggle,
            nullptr,
            [](CommonDialog& to, int value) { to.Option = value != 0; },
            whole_image_only};
}

constexpr FormField kFillColour{
    "FillColor",
    QT_TRANSLATE_NOOP("ParameterDialog", "&Fill color"),
    Editor::colour,
    [](const CommonDialog& from) { return static_cast<int>(from.FillColor.rgb() & 0xFFFFFFU); },
    [](CommonDialog& to, int value) { to.FillColor = QColor::fromRgb(static_cast<QRgb>(value)); },
    true};

constexpr auto kAngle =
    field<&CommonDialog::Angle>("Angle", QT_TRANSLATE_NOOP("ParameterDialog", "&Angle"), Editor::number);

constexpr FormField kEffectValue[] = {field<&CommonDialog::Value>("Value", "", Editor::number)};
constexpr FormField kGamma[] = {
    field<&CommonDialog::Gamma>("Gamma", QT_TRANSLATE_NOOP("ParameterDialog", "&Gamma"), Editor::number)};
constexpr FormField kIntensityDetect[] = {
    field<&CommonDialog::Low>("Low", QT_TRANSLATE_NOOP("ParameterDialog", "&Low"), Editor::number),
    field<&CommonDialog::High>("High", QT_TRANSLATE_NOOP("ParameterDialog", "&High"), Editor::number)};
constexpr FormField kColourResolution[] = {
    code<&CommonDialog::Bits>("Bits", QT_TRANSLATE_NOOP("ParameterDialog", "&Bits per pixel"),
                              Editor::choice),
    code<&CommonDialog::PaletteOption>("PaletteOption", QT_TRANSLATE_NOOP("ParameterDialog", "&Palette"),
                                       Editor::choice),
    code<&CommonDialog::DitherOption>("DitherOption", QT_TRANSLATE_NOOP("ParameterDialog", "&Dithering"),
                                      Editor::choice)};
constexpr FormField kSpatialFilter[] = {
    code<&CommonDialog::Filter>("Filter", QT_TRANSLATE_NOOP("ParameterDialog", "&Filter"), Editor::list)};
constexpr FormField kRotate[] = {
    kAngle, option_field(QT_TRANSLATE_NOOP("ParameterDialog", "Re&size the image to hold all of it"), true),
    kFillColour};
constexpr FormField kShear[] = {
    kAngle, option_field(QT_TRANSLATE_NOOP("ParameterDialog", "&Horizontal"), false), kFillColour};

constexpr std::array<ParameterForm, 7> kForms{{{kEffectValue},
                                               {kGamma},
                                               {kIntensityDetect, true, true},
                                               {kColourResolution},
                                               {kSpatialFilter},
                                               {kRotate, false},
                                               {kShear, false}}};

struct Caption {
    std::string_view operation;
    const char* text;
};
constexpr Caption kCaptions[] = {
    {"AddNoise", QT_TRANSLATE_NOOP("ParameterDialog", "Add Noise")},
    {"HistoContrast", QT_TRANSLATE_NOOP("ParameterDialog", "Histogram Contrast")},
    {"GammaCorrect", QT_TRANSLATE_NOOP("ParameterDialog", "Gamma Correction")},
    {"IntensityDetect", QT_TRANSLATE_NOOP("ParameterDialog", "Intensity Detect")},
    {"ColorRes", QT_TRANSLATE_NOOP("ParameterDialog", "Color Resolution")},
    {"Rotate", QT_TRANSLATE_NOOP("ParameterDialog", "Free Rotate")},
};

// Spatial filters: the lowest flag that is set chooses one family, in the order of the library's table.
const imaging::FilterFamily* family_of(const CommonDialog& control, DialogKind kind) {
    const auto families = imaging::filter_families();
    const auto at = static_cast<std::size_t>(std::countr_zero(control.Flags));
    return kind == DialogKind::spatial_filter && at < families.size() ? &families[at] : nullptr;
}

QString from_view(std::string_view text) {
    return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
}

}  // namespace

const ParameterForm& parameter_form(DialogKind kind) { return kForms.at(static_cast<std::size_t>(kind)); }

QString form_caption(const CommonDialog& control, DialogKind kind) {
    if (const auto* family = family_of(control, kind)) return from_view(family->name);
    const auto caption = std::ranges::find(kCaptions, control.Operation, &Caption::operation);
    return caption != std::end(kCaptions) ? QCoreApplication::translate("ParameterDialog", caption->text)
                                          : from_view(control.Operation);
}

std::span<const imaging::Choice> form_choices(const CommonDialog& control, DialogKind kind,
                                              const imaging::Parameter& parameter) {
    const auto* family = family_of(control, kind);
    return family ? family->choices : parameter.choices;
}

}  // namespace quillmark::engine
