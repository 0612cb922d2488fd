#include "engine/parameter_text.h"

#include <QCoreApplication>
#include <QLocale>
#include <algorithm>
#include <cmath>

#include "text/numbers.h"

namespace quillmark::engine {
namespace {

struct KnownUnit {
    std::string_view unit;
    int decimals;
    const char* shown;
    int step;
};

constexpr KnownUnit kKnownUnits[] = {
    {"tenths of a percent", 1, "%", 10},
    {"percent", 0, "%", 1},
    {"hundredths", 2, "", 5},
    {"hundredths of a degree", 2, "°", 100},
    {"tenths of a degree", 1, "°", 10},
    {"degrees", 0, "°", 1},
    {"pixels", 0, QT_TRANSLATE_NOOP("ParameterDialog", "pixels"), 1},
    {"levels per channel", 0, QT_TRANSLATE_NOOP("ParameterDialog", "per channel"), 1},
    {"levels of 255", 0, "", 1},
};

int power_of_ten(int decimals) { return static_cast<int>(std::lround(std::pow(10.0, decimals))); }

}  // namespace

Notation notation_of(const imaging::Parameter& parameter) {
    const auto known = std::ranges::find(kKnownUnits, parameter.unit, &KnownUnit::unit);
    if (known != std::end(kKnownUnits))
        return {known->decimals, QCoreApplication::translate("ParameterDialog", known->shown), known->step};
    return {0, QString::fromUtf8(parameter.unit.data(), static_cast<qsizetype>(parameter.unit.size())), 1};
}

QString value_text(int value, int decimals) {
    return QLocale::c()
        .toString(static_cast<double>(value) / power_of_ten(decimals), 'f', decimals)
        .remove(u',');
}

std::optional<int> value_in(const QString& text, int decimals) {
    bool is_number = false;
    const double number = QLocale::c().toDouble(text.trimmed().replace(u',', u'.'), &is_number);
    if (!is_number || !std::isfinite(number)) return std::nullopt;
    return static_cast<int>(
        std::clamp<std::int64_t>(text::round_half_even(number * power_of_ten(decimals)), INT_MIN, INT_MAX));
}

}  // namespace quillmark::engine
