#include "frame/preferences.h"

#include <QCoreApplication>
#include <QEventLoop>

#include "program/document_list.h"
#include "program/image_window.h"
#include "program/prompts.h"
#include "program/tool_face.h"
#include "settings/settings.h"
#include "text/numbers.h"

namespace quillmark::frame {
namespace {

using program::FrameFace;
using program::ProgramState;

struct IncrementRow {
    std::int16_t ProgramState::*value;
    const char* setting;
    const char* prompt;
    const char* title;
};

// In the order of Increment.
constexpr IncrementRow kIncrements[] = {
    {&ProgramState::BrightnessInc, "BrightnessInc", "Enter brightness increment (1-100)",
     "BRIGHTNESS INCREMENT"},
    {&ProgramState::ContrastInc, "ContrastInc", "Enter contrast increment (1-100)", "CONTRAST INCREMENT"},
    {&ProgramState::HueInc, "HueInc", "Enter hue increment (1-100)", "HUE INCREMENT"},
    {&ProgramState::GammaInc, "GammaInc", "Enter gamma correction increment (1-100)",
     "GAMMA CORRECTION INCREMENT"},
};

std::int16_t stored(FrameFace& frame, const IncrementRow& row) {
    return text::int16_from_text(frame.settings()
                                     .QueryKeyValue(settings::Root::HKEY_LOCAL_MACHINE,
                                                    settings::keys::kImageProcessing,
                                                    QString::fromLatin1(row.setting))
                                     .toStdString());
}

// Activates every window once, by sending the active one to the back as often as there are windows.
template <typename Visit>
void visit_windows(FrameFace& frame, Visit visit) {
    const int count = frame.kids().KidCount;
    for (int i = 0; i < count; ++i) {
        if (program::ImageWindow* window = frame.active_window()) visit(*window);
        frame.send_active_to_back();
    }
}

void repaint_windows(FrameFace& frame) {
    if (frame.kids().KidCount >= 2) {
        visit_windows(frame, [](program::ImageWindow& window) {
            window.PaintChange();
            QCoreApplication::processEvents(QEventLoop::ExcludeUserInputEvents);
        });
    } else if (program::ImageWindow* only = frame.active_window()) {
        only->PaintChange();
    }
}

void toggle(FrameFace& frame, bool ProgramState::*flag, const char16_t* tool) {
    frame.state().*flag = !(frame.state().*flag);
    frame.tools().set_checked(tool, frame.state().*flag);
}

}  // namespace

void prompt_increment(FrameFace& frame, Increment which) {
    const IncrementRow& row = kIncrements[static_cast<std::size_t>(which)];
    const QString answer = frame.prompts().input(
        QString::fromLatin1(row.prompt), QString::fromLatin1(row.title), QString::number(stored(frame, row)));
    if (answer.isEmpty()) return;
    const std::int16_t value = text::int16_from_text(answer.toStdString());
    frame.state().*row.value = value;
    frame.settings().SetKeyValue(settings::Root::HKEY_LOCAL_MACHINE, settings::keys::kImageProcessing,
                                 QString::fromLatin1(row.setting), QString::number(value));
}

void read_increments(FrameFace& frame) {
    for (const IncrementRow& row : kIncrements) frame.state().*row.value = stored(frame, row);
}

void toggle_paint_while_load(FrameFace& frame) {
    toggle(frame, &ProgramState::PaintWhileLoad, u"ID_PaintWhileLoad");
}

void toggle_show_open_options(FrameFace& frame) {
    toggle(frame, &ProgramState::ShowOpenOptions, u"ID_ShowOpenOptions");
}

void toggle_show_progress(FrameFace& frame) {
    ProgramState& state = frame.state();
    state.ShowProgress = !state.ShowProgress;
    state.ProgressEnabled = state.ShowProgress;
    visit_windows(frame, [&](program::ImageWindow& window) {
        window.LEAD1().SetEnableProgressEvent(state.ProgressEnabled);
    });
    frame.tools().set_checked(u"ID_ShowProgess", state.ShowProgress);
}

void set_dithering(FrameFace& frame, std::int16_t method) {
    frame.state().DitherMethod = method;
    repaint_windows(frame);
}

void set_bitonal_scaling(FrameFace& frame, std::int16_t mode) {
    frame.state().BitonalScalingMode = mode;
    repaint_windows(frame);
    frame.state().ImageChanged = true;
}

}  // namespace quillmark::frame
