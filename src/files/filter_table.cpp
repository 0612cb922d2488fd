#include "files/filter_table.h"

namespace quillmark::files {
namespace {

constexpr FilterEntry kTable[] = {
    {"All Files (*.*)", "*.*", ""},
    {"LEAD Compress (*.cmp)", "*.cmp", "cmp"},
    {"CALS Raster (*.cal)", "*.cal", "cal"},
    {"GEM Image (*.img)", "*.img", "img"},
    {"Graphic Interchange Format (*.gif)", "*.gif", "gif"},
    {"IBM IOCA (*.ica)", "*.ica", "ica"},
    {"JPEG (*.jpg)", "*.jpg;*.jff;*.jtf", "jpg"},
    {"Macintosh PICTURE (*.pct)", "*.pct", "pct"},
    {"Mac Paint (*.mac)", "*.mac", "mac"},
    {"Microsoft Paint (*.msp)", "*.msp", "msp"},
    {"kodak Photo CD (*.pcd)", "*.pcd", "pcd"},
    {"ZSoft PCX (*.pcx)", "*.pcx", "pcx"},
    {"PostScript Raster (*.eps)", "*.eps", "eps"},
    {"SUN Raster (*.ras)", "*.ras", "ras"},
    {"TrueVision Targa (*.tga)", "*.tga", "tga"},
    {"Tagged Image File Format (*.tif)", "*.tif", "tif"},
    {"Windows Metafile (*.wmf)", "*.wmf", "wmf"},
    {"Windows & OS/2 (*.bmp)", "*.bmp", "bmp"},
    // The pattern says fxs, the memory wfx: names ending in fxs are remembered as "All Files".
    {"Winfax (*.fxs)", "*.fxs", "wfx"},
    {"Kodak FlashPix (*.fpx)", "*.fpx", "fpx"},
    {"WordPerfect Raster (*.wpg)", "*.wpg", "wpg"},
    {"Microsoft Fax (*.awd)", "*.awd", "awd"},
    {"Windows Icon (*.ico)", "*.ico", "ico"},
    {"Windows Cursor (*.cur)", "*.cur", "cur"},
    {"Adobe Photoshop 3.0 (*.psd)", "*.psd", "psd"},
    {"Video for Windows (*.avi)", "*.avi", "avi"},
    {"Portable Network Graphics (*.png)", "*.png", "png"},
    {"", "", ""},
};

}  // namespace

std::span<const FilterEntry> OpenFilterTable() { return kTable; }

QString open_filter_text() {
    QString text;
    for (const FilterEntry& entry : kTable)
        text += QString::fromLatin1(entry.description) + u'|' + QString::fromLatin1(entry.pattern) + u'|';
    return text;
}

std::int16_t remembered_filter(const QString& name) {
    const QString end = name.right(3);
    for (std::int16_t i = 0; const FilterEntry& entry : kTable) {
        if (*entry.remembered && end == QLatin1String(entry.remembered)) return i;
        ++i;
    }
    return 0;
}

}  // namespace quillmark::files
