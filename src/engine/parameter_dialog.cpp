#include "engine/parameter_dialog.h"

#include <QDialogButtonBox>
#include <QGridLayout>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>
#include <algorithm>

#include "engine/parameter_form.h"
#include "engine/preview_pair.h"

namespace quillmark::engine {
namespace {

// "change" as a label: its first letter large, the mnemonic on one that no button uses.
QString label_of(std::string_view name) {
    QString label = QString::fromUtf8(name.data(), static_cast<qsizetype>(name.size()));
    if (label.isEmpty()) return label;
    label[0] = label[0].toUpper();
    const auto free = std::ranges::find_if(
        label, [](QChar c) { return !QStringLiteral("ocrt1").contains(c, Qt::CaseInsensitive); });
    return free == label.end() ? label : label.insert(free - label.begin(), u'&');
}

}  // namespace

ParameterDialog::ParameterDialog(CommonDialog& control, DialogKind kind, const imaging::Operation& operation,
                                 QWidget* parent)
    : QDialog{parent}, control_{control}, operation_{operation}, form_{parameter_form(kind)} {
    setWindowTitle(form_caption(control, kind));
    build(kind);
    for (const Row& row : rows_) row.field->set_value(row.initial);
    for (const Row& row : rows_)
        connect(row.field, &ParameterField::changed, this, &ParameterDialog::refresh);
    refresh();
    if (!rows_.empty()) rows_.front().field->focus();
}

ParameterDialog::~ParameterDialog() {
    // Losing the focus writes a field's text anew: while everything that listens is still there.
    hide();
}

void ParameterDialog::build(DialogKind kind) {
    auto* layout = new QVBoxLayout{this};
    layout->setSpacing(10);
    if (!control_.Bitmap.empty()) {
        TrialSubject subject{&operation_, control_.Bitmap, {}, control_.Visible, form_.keeps_size};
        if (control_.Rgn && !control_.Rgn->empty()) subject.region = *control_.Rgn;
        preview_ = new PreviewPair{subject, this};
        layout->addWidget(preview_, 1);
    }
    auto* grid = new QGridLayout;
    grid->setColumnStretch(1, 1);
    grid->setHorizontalSpacing(10);
    add_fields(kind, *grid);
    layout->addLayout(grid);
    layout->addWidget(make_buttons());
}

void ParameterDialog::add_fields(DialogKind kind, QGridLayout& grid) {
    // A code in front of the value is the caller's: Halftone's type.
    fixed_ = kind == DialogKind::effect_value && !operation_.parameters.front().choices.empty() ? 1 : 0;
    for (std::size_t i = 0; i < form_.fields.size(); ++i) {
        const FormField& field = form_.fields[i];
        if (field.whole_image_only && !preview_) continue;
        const imaging::Parameter& parameter = operation_.parameters[fixed_ + i];
        const QString label = *field.label ? tr(field.label) : label_of(parameter.name);
        const auto choices = form_choices(control_, kind, parameter);
        auto* editor = ParameterField::create(field.editor, parameter, choices, label,
                                              QString::fromLatin1(field.name), grid, *this);
        rows_.push_back({&field, editor, first_value(field, parameter, *editor)});
    }
}

int ParameterDialog::first_value(const FormField& field, const imaging::Parameter& parameter,
                                 const ParameterField& editor) const {
    if (field.preset && editor.takes(field.preset(control_))) return field.preset(control_);
    return editor.takes(parameter.initial) ? parameter.initial : editor.value();
}

QWidget* ParameterDialog::make_buttons() {
    auto* box = new QDialogButtonBox{this};
    ok_ = box->addButton(tr("&OK"), QDialogButtonBox::AcceptRole);
    ok_->setObjectName("OK");
    ok_->setDefault(true);
    auto* cancel = box->addButton(tr("&Cancel"), QDialogButtonBox::RejectRole);
    cancel->setObjectName("Cancel");
    cancel->setAutoDefault(false);
    auto* back = box->addButton(tr("&Reset"), QDialogButtonBox::ResetRole);
    back->setObjectName("Reset");
    back->setAutoDefault(false);
    connect(box, &QDialogButtonBox::accepted, this, &ParameterDialog::accept);
    connect(box, &QDialogButtonBox::rejected, this, &ParameterDialog::reject);
    connect(back, &QPushButton::clicked, this, &ParameterDialog::reset);
    return box;
}

void ParameterDialog::reset() {
    for (const Row& row : rows_) row.field->set_value(row.initial);
}

bool ParameterDialog::all_taken() {
    bool taken = std::ranges::all_of(rows_, [](const Row& row) { return row.field->reason().isEmpty(); });
    if (!form_.ascending) return taken;
    for (std::size_t i = 1; i < rows_.size(); ++i) {
        const bool falls = rows_[i].field->value() < rows_[i - 1].field->value();
        rows_[i].field->show_conflict(
            falls ? tr("Too small: below \"%1\"").arg(tr(rows_[i - 1].form->label).remove(u'&')) : QString{});
        taken = taken && !falls;
    }
    return taken;
}

void ParameterDialog::refresh() {
    const bool taken = all_taken();
    ok_->setEnabled(taken);
    if (preview_ && taken) preview_->set_arguments(arguments());
}

std::vector<int> ParameterDialog::arguments() const {
    std::vector<int> values;
    if (fixed_ > 0) values.push_back(control_.Fixed);
    for (const Row& row : rows_) values.push_back(row.field->value());
    return values;
}

void ParameterDialog::accept() {
    if (!ok_->isEnabled()) return;
    for (const Row& row : rows_) row.form->store(control_, row.field->value());
    QDialog::accept();
}

}  // namespace quillmark::engine
