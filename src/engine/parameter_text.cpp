#include "engine/parameter_text.h"

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

// The first one that a parameter's unit begins with; what follows it ("clockwise") is kept.
constexpr KnownUnit kKnownUnits[] = {
    {"tenths of a percent", 1, "%", 10},         {"percent", 0, "%", 1},
    {"hundredths of a degree", 2, "°", 100},     {"hundredths", 2, "", 5},
    {"tenths of a degree", 1, "°", 10},          {"degrees", 0, "°", 1},
    {"levels per channel", 0, "per channel", 1}, {"levels of 255", 0, "", 1},
};

QString from_view(std::string_view text) {
    return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
}

int power_of_ten(int decimals) { return static_cast<int>(std::lround(std::pow(10.0, decimals))); }

}  // namespace

Notation notation_of(const imaging::Parameter& parameter) {
    for (const KnownUnit& known : kKnownUnits) {
        if (!parameter.unit.starts_with(known.unit)) continue;
        const QString unit =
            QString::fromUtf8(known.shown) + from_view(parameter.unit.substr(known.unit.size()));
        return {known.decimals, unit, known.step};
    }
    return {0, from_view(parameter.unit), 1};
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
