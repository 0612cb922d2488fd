// Text: the prompts for it, its settings, and drawing it where the mouse was released.
#include <algorithm>

#include "operations/command.h"
#include "program/prompts.h"
#include "settings/settings.h"
#include "text/numbers.h"

namespace quillmark::operations {
namespace {

using settings::Root;
using settings::keys::kEditor;
using settings::keys::kImageProcessing;

constexpr int kFullTurn = 3600;  // tenths of a degree
constexpr int kLargestFont = 255;
const auto kDefaultFont = QStringLiteral("Arial");
constexpr int kDefaultSize = 7;

QString stored(FrameFace& frame, const char* name, const QString& key = kEditor) {
    return frame.settings().QueryKeyValue(Root::HKEY_LOCAL_MACHINE, key, QString::fromLatin1(name));
}

std::int16_t stored_number(FrameFace& frame, const char* name) {
    return text::int16_from_text(stored(frame, name).toStdString());
}

void store(FrameFace& frame, const char* name, const QString& value, const QString& key = kEditor) {
    frame.settings().SetKeyValue(Root::HKEY_LOCAL_MACHINE, key, QString::fromLatin1(name), value);
}

// The stored colour is a number with red in its lowest byte.
QColor colour_of(std::int64_t number) {
    return {static_cast<int>(number & 0xFF), static_cast<int>(number >> 8 & 0xFF),
            static_cast<int>(number >> 16 & 0xFF)};
}

int number_of(const QColor& colour) { return colour.red() | colour.green() << 8 | colour.blue() << 16; }

struct TextStyle {
    QFont font;
    int colour = 0;
};

TextStyle stored_style(FrameFace& frame) {
    const QString family = stored(frame, "FontName");
    const int size = std::clamp<int>(stored_number(frame, "FontSize"), 0, kLargestFont);
    TextStyle style;
    style.font.setFamily(family.isEmpty() ? kDefaultFont : family);
    style.font.setPointSize(size == 0 ? kDefaultSize : size);
    style.font.setBold(stored_number(frame, "FontBold") != 0);
    style.font.setItalic(stored_number(frame, "FontItalic") != 0);
    style.colour = static_cast<int>(text::round_half_even(std::clamp(
        text::leading_number(stored(frame, "FontColor").toStdString()), 0.0, static_cast<double>(0xFFFFFF))));
    return style;
}

QString flag_text(bool on) { return on ? QStringLiteral("-1") : QStringLiteral("0"); }

void store_style(FrameFace& frame, const TextStyle& style) {
    const int size = style.font.pointSize();
    store(frame, "FontName", style.font.family());
    store(frame, "FontSize", QString::number(std::clamp(size, 1, kLargestFont)));
    store(frame, "FontBold", flag_text(style.font.bold()));
    store(frame, "FontItalic", flag_text(style.font.italic()));
    store(frame, "FontColor", QString::number(style.colour));
}

void show_pointer(FrameFace& frame, bool on) {
    if (ImageWindow* window = frame.image_window(frame.state().PendingTextWindow))
        window->show_text_pointer(on);
}

void draw(FrameFace& frame, ImageWindow& window, const QString& text, int x, int y) {
    const TextStyle style = stored_style(frame);
    frame.state().TextColor = style.colour;
    engine::Engine& image = window.LEAD1();
    image.SetDrawPersistence(true);
    image.SetDrawFontColor(colour_of(style.colour));
    image.Font() = style.font;
    image.SetTextBox(x + stored_number(frame, "TextXOffset"), y + stored_number(frame, "TextYOffset"),
                     static_cast<int>(image.DstWidth()), static_cast<int>(image.DstHeight()));
    image.SetTextAngle(stored_number(frame, "TextAngle"));
    check(image.DrawText(text, 0), "DrawText");
    refresh_status(frame, window);
}

// Asks for one offset; false when the answer is empty.
bool prompt_offset(FrameFace& frame, const char* name, const QString& what) {
    const QString reply =
        frame.prompts().input(what + QStringLiteral("\r(use negative number for opposite direction)"),
                              QStringLiteral("TEXT OFFSET"), QString::number(stored_number(frame, name)));
    if (reply.isEmpty()) return false;
    store(frame, name, QString::number(text::int16_from_text(reply.toStdString())));
    return true;
}

}  // namespace

void prompt_text(FrameFace& frame, ImageWindow& window) {
    const QString reply =
        frame.prompts().input(QStringLiteral("Text to insert:"), QStringLiteral("INSERT TEXT"),
                              stored(frame, "Text", kImageProcessing));
    if (reply.isEmpty()) return;
    show_pointer(frame, false);  // text may still be pending over another window
    frame.state().PendingText = reply;
    frame.state().PendingTextWindow = window.handle();
    store(frame, "Text", reply, kImageProcessing);
    show_pointer(frame, true);
}

void choose_text_font(FrameFace& frame) {
    TextStyle style = stored_style(frame);
    QColor colour = colour_of(style.colour);
    if (!frame.prompts().choose_font(style.font, colour)) return;
    style.colour = number_of(colour);
    frame.state().TextColor = style.colour;
    store_style(frame, style);
}

void prompt_text_angle(FrameFace& frame) {
    const double degrees = stored_number(frame, "TextAngle") * 0.1;
    const QString reply =
        frame.prompts().input(QStringLiteral("Text angle (0-360 degrees):"), QStringLiteral("TEXT ANGLE"),
                              QString::fromStdString(text::single_text(static_cast<float>(degrees))));
    if (reply.isEmpty()) return;
    const int angle = text::to_int16(text::leading_number(reply.toStdString()) * 10);
    store(frame, "TextAngle", QString::number(std::min(angle, kFullTurn)));
}

void prompt_text_offset(FrameFace& frame) {
    if (!prompt_offset(frame, "TextXOffset", QStringLiteral("Text horizontal offset:"))) return;
    prompt_offset(frame, "TextYOffset", QStringLiteral("Text vertical offset:"));
}

void InsertText(FrameFace& frame, int x, int y) {
    ImageWindow* window = frame.active_window();
    program::ProgramState& state = frame.state();
    if (state.PendingText.isEmpty() || !window) return;
    const QString text = state.PendingText;
    state.PendingText.clear();
    if (!frame.image_window(state.PendingTextWindow)) return;  // closed, and the text pointer with it
    show_pointer(frame, false);
    with_report(frame, [&] { draw(frame, *window, text, x, y); });
}

}  // namespace quillmark::operations
