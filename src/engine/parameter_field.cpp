#include "engine/parameter_field.h"

#include <QCheckBox>
#include <QComboBox>
#include <QLabel>
#include <QListWidget>
#include <algorithm>

#include "engine/colour_button.h"
#include "engine/number_box.h"
#include "engine/value_slider.h"

namespace quillmark::engine {
namespace {

QString from_view(std::string_view text) {
    return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
}

// A code's name as an entry of a list.
QString entry(const imaging::Choice& choice) {
    QString name = from_view(choice.name);
    if (!name.isEmpty()) name[0] = name[0].toUpper();
    return name;
}

QString without_mnemonic(QString label) { return label.remove(u'&'); }

QLabel* caption(const QString& text, QWidget* buddy, QWidget& parent) {
    auto* label = new QLabel{text + u':', &parent};
    label->setBuddy(buddy);
    return label;
}

class NumberField final : public ParameterField {
  public:
    NumberField(const imaging::Parameter& parameter, const QString& label, const QString& name,
                QGridLayout& grid, QWidget& parent)
        : ParameterField{&parent} {
        const Notation notation = notation_of(parameter);
        slider_ = new ValueSlider{parameter.low, parameter.high, notation.step, &parent};
        box_ = new NumberBox{parameter.low, parameter.high, notation, &parent};
        hint_ = new QLabel{&parent};
        const QString full =
            notation.unit.isEmpty() ? label : QStringLiteral("%1 (%2)").arg(label, notation.unit);
        name_parts(without_mnemonic(full), name);
        const int row = grid.rowCount();
        grid.addWidget(caption(full, box_, parent), row, 0);
        grid.addWidget(slider_, row, 1);
        grid.addWidget(box_, row, 2);
        grid.addWidget(hint_, row + 1, 1, 1, 2);
        connect(box_, &NumberBox::edited, this, [this] {
            slider_->show_value(box_->value());
            conflict_.clear();
            show_hint();
            emit changed();
        });
        connect(slider_, &ValueSlider::moved, box_, &NumberBox::set_value);
        slider_->show_value(box_->value());
        show_hint();
    }

    int value() const override { return box_->value(); }
    void set_value(int value) override { box_->set_value(value); }
    bool takes(int value) const override { return value >= box_->low() && value <= box_->high(); }
    QString reason() const override { return box_->reason(); }
    void show_conflict(const QString& text) override {
        conflict_ = text;
        show_hint();
    }
    void focus() override {
        box_->setFocus();
        box_->selectAll();
    }

  private:
    void name_parts(const QString& spoken, const QString& name) {
        box_->setObjectName(name);
        box_->setAccessibleName(spoken);
        slider_->setObjectName(name + QStringLiteral("Slider"));
        slider_->setAccessibleName(spoken);
        hint_->setObjectName(name + QStringLiteral("Reason"));
        hint_->setTextFormat(Qt::PlainText);
        QFont small = hint_->font();
        small.setPointSizeF(small.pointSizeF() * 0.9);
        hint_->setFont(small);
        QPalette colours = hint_->palette();
        QColor quiet = colours.color(QPalette::WindowText);
        quiet.setAlphaF(0.7F);
        colours.setColor(QPalette::PlaceholderText, quiet);
        hint_->setPalette(colours);
    }

    // What is wrong, or else the range in a quieter voice: the line is never empty, so that nothing jumps.
    void show_hint() {
        const QString wrong = box_->reason().isEmpty() ? conflict_ : box_->reason();
        const QString text = wrong.isEmpty()
                                 ? tr("%1 to %2").arg(box_->text_of(box_->low()), box_->text_of(box_->high()))
                                 : wrong;
        hint_->setText(text);
        hint_->setForegroundRole(wrong.isEmpty() ? QPalette::PlaceholderText : QPalette::WindowText);
        box_->setAccessibleDescription(text);
    }

    NumberBox* box_;
    ValueSlider* slider_;
    QLabel* hint_;
    QString conflict_;
};

class ChoiceField final : public ParameterField {
  public:
    ChoiceField(std::span<const imaging::Choice> choices, const QString& label, const QString& name,
                QGridLayout& grid, QWidget& parent)
        : ParameterField{&parent}, box_{new QComboBox{&parent}} {
        for (const imaging::Choice& choice : choices) box_->addItem(entry(choice), choice.value);
        box_->setObjectName(name);
        box_->setAccessibleName(without_mnemonic(label));
        const int row = grid.rowCount();
        grid.addWidget(caption(label, box_, parent), row, 0);
        grid.addWidget(box_, row, 1, 1, 2);
        connect(box_, &QComboBox::currentIndexChanged, this, &ParameterField::changed);
    }

    int value() const override { return box_->currentData().toInt(); }
    void set_value(int value) override { box_->setCurrentIndex(box_->findData(value)); }
    bool takes(int value) const override { return box_->findData(value) >= 0; }
    void focus() override { box_->setFocus(); }

  private:
    QComboBox* box_;
};

class ListField final : public ParameterField {
  public:
    ListField(std::span<const imaging::Choice> choices, const QString& label, const QString& name,
              QGridLayout& grid, QWidget& parent)
        : ParameterField{&parent}, list_{new QListWidget{&parent}} {
        for (const imaging::Choice& choice : choices) {
            auto* item = new QListWidgetItem{entry(choice), list_};
            item->setData(Qt::UserRole, choice.value);
        }
        list_->setObjectName(name);
        list_->setAccessibleName(without_mnemonic(label));
        list_->setCurrentRow(0);
        const int rows = std::clamp(static_cast<int>(choices.size()), 3, 8);
        list_->setFixedHeight(rows * list_->sizeHintForRow(0) + 2 * list_->frameWidth() + 2);
        const int row = grid.rowCount();
        grid.addWidget(caption(label, list_, parent), row, 0, Qt::AlignTop);
        grid.addWidget(list_, row, 1, 1, 2);
        connect(list_, &QListWidget::currentRowChanged, this, &ParameterField::changed);
    }

    int value() const override {
        const QListWidgetItem* item = list_->currentItem();
        return item ? item->data(Qt::UserRole).toInt() : 0;
    }
    void set_value(int value) override { list_->setCurrentRow(row_of(value)); }
    bool takes(int value) const override { return row_of(value) >= 0; }
    void focus() override { list_->setFocus(); }

  private:
    int row_of(int value) const {
        for (int row = 0; row < list_->count(); ++row)
            if (list_->item(row)->data(Qt::UserRole).toInt() == value) return row;
        return -1;
    }

    QListWidget* list_;
};

class ToggleField final : public ParameterField {
  public:
    ToggleField(const QString& label, const QString& name, QGridLayout& grid, QWidget& parent)
        : ParameterField{&parent}, box_{new QCheckBox{label, &parent}} {
        box_->setObjectName(name);
        grid.addWidget(box_, grid.rowCount(), 1, 1, 2);
        connect(box_, &QCheckBox::toggled, this, &ParameterField::changed);
    }

    int value() const override { return box_->isChecked() ? 1 : 0; }
    void set_value(int value) override { box_->setChecked(value != 0); }
    bool takes(int) const override { return true; }
    void focus() override { box_->setFocus(); }

  private:
    QCheckBox* box_;
};

class ColourField final : public ParameterField {
  public:
    ColourField(const QString& label, const QString& name, QGridLayout& grid, QWidget& parent)
        : ParameterField{&parent}, button_{new ColourButton{label + u'…', Qt::white, &parent}} {
        button_->setObjectName(name);
        grid.addWidget(button_, grid.rowCount(), 1, 1, 2, Qt::AlignLeft);
        connect(button_, &ColourButton::colour_changed, this, &ParameterField::changed);
    }

    int value() const override { return static_cast<int>(button_->colour().rgb() & 0xFFFFFFU); }
    void set_value(int value) override { button_->set_colour(QColor::fromRgb(static_cast<QRgb>(value))); }
    bool takes(int value) const override { return value >= 0 && value <= 0xFFFFFF; }
    void focus() override { button_->setFocus(); }

  private:
    ColourButton* button_;
};

}  // namespace

ParameterField* ParameterField::create(Editor editor, const imaging::Parameter& parameter,
                                       std::span<const imaging::Choice> choices, const QString& label,
                                       const QString& name, QGridLayout& grid, QWidget& parent) {
    switch (editor) {
        case Editor::number: return new NumberField{parameter, label, name, grid, parent};
        case Editor::choice: return new ChoiceField{choices, label, name, grid, parent};
        case Editor::list: return new ListField{choices, label, name, grid, parent};
        case Editor::toggle: return new ToggleField{label, name, grid, parent};
        case Editor::colour: return new ColourField{label, name, grid, parent};
    }
    return nullptr;
}

}  // namespace quillmark::engine
