// Prompts that answer from a script and remember what was asked.
#pragma once

#include <QStringList>
#include <deque>
#include <functional>
#include <vector>

#include "program/prompts.h"

namespace quillmark::test {

class FakePrompts final : public program::Prompts {
  public:
    struct Message {
        QString text, title;
        program::Icon icon;
        program::Buttons buttons;
    };

    program::Answer message(const QString& text, const QString& title, program::Icon icon,
                            program::Buttons buttons) override {
        messages.push_back({text, title, icon, buttons});
        return buttons == program::Buttons::yes_no ? yes_no : program::Answer::ok;
    }
    QString input(const QString& prompt, const QString& title, const QString& initial) override {
        inputs.push_back(prompt + u'|' + title + u'|' + initial);
        if (answers.empty()) return {};
        const QString answer = answers.front();
        answers.pop_front();
        return answer;
    }
    int show_modal(QDialog& dialog) override {
        ++dialogs;
        return on_dialog ? on_dialog(dialog) : QDialog::Rejected;
    }
    engine::Code show_common(engine::CommonDialog& dialog, engine::DialogKind kind) override {
        ++common_dialogs;
        return on_common ? on_common(dialog, kind) : engine::kDialogCancelled;
    }
    bool choose_font(QFont& font, QColor& colour) override { return on_font && on_font(font, colour); }
    void beep() override { ++beeps; }

    std::vector<Message> messages;
    QStringList inputs;
    std::deque<QString> answers;  ///< for input(); empty means cancelled
    program::Answer yes_no = program::Answer::no;
    std::function<int(QDialog&)> on_dialog;
    std::function<engine::Code(engine::CommonDialog&, engine::DialogKind)> on_common;  ///< empty: cancelled
    std::function<bool(QFont&, QColor&)> on_font;                                      ///< empty: cancelled
    int dialogs = 0;
    int common_dialogs = 0;
    int beeps = 0;
};

}  // namespace quillmark::test
