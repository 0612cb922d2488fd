#include "program/font_dialog.h"

#include <QCheckBox>
#include <QDialogButtonBox>
#include <QFontComboBox>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QLineEdit>
#include <QPushButton>
#include <QSpinBox>
#include <QVBoxLayout>
#include <algorithm>

#include "engine/colour_button.h"

namespace quillmark::program {
namespace {

constexpr int kLargestSize = 255;  // sizes are stored in a byte
constexpr int kSampleHeight = 90;
constexpr int kLargestShown = 60;  // points, in the sample

}  // namespace

FontDialog::FontDialog(const QFont& font, const QColor& colour, QWidget* parent)
    : QDialog{parent},
      family_{new QFontComboBox{this}},
      size_{new QSpinBox{this}},
      bold_{new QCheckBox{tr("&Bold"), this}},
      italic_{new QCheckBox{tr("&Italic"), this}},
      colour_{new engine::ColourButton{tr("Co&lor…"), colour, this}},
      sample_{new QLineEdit{tr("AaBbYyZz 123"), this}} {
    setWindowTitle(tr("Text Font"));
    family_->setObjectName("FontName");
    family_->setCurrentFont(font);
    size_->setObjectName("FontSize");
    size_->setRange(1, kLargestSize);
    size_->setValue(std::max(font.pointSize(), 1));
    bold_->setObjectName("FontBold");
    bold_->setChecked(font.bold());
    italic_->setObjectName("FontItalic");
    italic_->setChecked(font.italic());
    colour_->setObjectName("FontColor");
    sample_->setObjectName("FontSample");
    build();
    connect(family_, &QFontComboBox::currentFontChanged, this, &FontDialog::show_sample);
    connect(size_, &QSpinBox::valueChanged, this, &FontDialog::show_sample);
    connect(bold_, &QCheckBox::toggled, this, &FontDialog::show_sample);
    connect(italic_, &QCheckBox::toggled, this, &FontDialog::show_sample);
    connect(colour_, &engine::ColourButton::colour_changed, this, &FontDialog::show_sample);
    show_sample();
}

void FontDialog::build() {
    auto* style = new QHBoxLayout;
    style->addWidget(bold_);
    style->addWidget(italic_);
    style->addStretch();
    style->addWidget(colour_);
    sample_->setAccessibleName(tr("Sample"));
    sample_->setAlignment(Qt::AlignCenter);
    sample_->setFixedHeight(kSampleHeight);
    family_->setMinimumWidth(280);
    auto* buttons = new QDialogButtonBox{this};
    auto* ok = buttons->addButton(tr("&OK"), QDialogButtonBox::AcceptRole);
    ok->setDefault(true);
    buttons->addButton(tr("&Cancel"), QDialogButtonBox::RejectRole)->setAutoDefault(false);
    connect(buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    auto* form = new QFormLayout;
    form->addRow(tr("&Font:"), family_);
    form->addRow(tr("&Size (points):"), size_);
    form->addRow(tr("Style:"), style);
    auto* layout = new QVBoxLayout{this};
    layout->addLayout(form);
    layout->addWidget(sample_);
    layout->addWidget(buttons);
}

QFont FontDialog::chosen_font() const {
    QFont font{family_->currentFont().family(), size_->value()};
    font.setBold(bold_->isChecked());
    font.setItalic(italic_->isChecked());
    return font;
}

QColor FontDialog::chosen_colour() const { return colour_->colour(); }

void FontDialog::show_sample() {
    QFont font = chosen_font();
    font.setPointSize(std::min(font.pointSize(), kLargestShown));
    sample_->setFont(font);
    // Text of any colour must be readable: on white, or on dark where it is light itself.
    const bool light = colour_->colour().lightness() > 160;
    QPalette colours = sample_->palette();
    colours.setColor(QPalette::Text, colour_->colour());
    colours.setColor(QPalette::Base, light ? QColor{0x30, 0x30, 0x30} : QColor{Qt::white});
    sample_->setPalette(colours);
}

}  // namespace quillmark::program
