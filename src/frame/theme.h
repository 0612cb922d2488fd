// The program's colours: those of the desktop, or a light or dark palette of its own where a user wants
// another or the desktop hands none over.
#pragma once

#include <QPalette>
#include <QStringView>

namespace quillmark::settings {
class Settings;
}

namespace quillmark::frame {

enum class Theme { system, light, dark };

/// "dark", "light" or "system" in any letter case; anything else means the desktop's own colours.
Theme theme_named(QStringView name);
/// What the environment variable QUILLMARK_THEME says, else the stored value "Theme" of the options.
Theme chosen_theme(const settings::Settings& settings);
/// The colours of the light or the dark theme. For `system`: the palette in force.
QPalette palette_of(Theme theme);
/// Gives the application that theme (`system` keeps the desktop's colours) and buttons without pictures.
void apply_theme(Theme theme);

}  // namespace quillmark::frame
