#include "platform/screen.h"

namespace quillmark::platform {

namespace {

constexpr double kTwipsPerInch = 1440;
constexpr double kUsualDotsPerInch = 96;  // where there is no screen, or one that does not tell

double twips_per_pixel(double dots_per_inch) {
    return kTwipsPerInch / (dots_per_inch > 0 ? dots_per_inch : kUsualDotsPerInch);
}

}  // namespace

double twips_per_pixel_x(const QScreen* screen) {
    return twips_per_pixel(screen ? screen->logicalDotsPerInchX() : 0);
}

double twips_per_pixel_y(const QScreen* screen) {
    return twips_per_pixel(screen ? screen->logicalDotsPerInchY() : 0);
}

int screen_bits_per_pixel(const QScreen* screen) {
    constexpr int kTrueColor = 24;
    return screen ? screen->depth() : kTrueColor;
}

}  // namespace quillmark::platform
