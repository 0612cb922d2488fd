// The common parameter dialog: fields by the operation's own parameters, and the image before and after while
// they change.
#pragma once

#include <QDialog>
#include <vector>

#include "engine/common_dialog.h"
#include "imaging/ops/operation.h"

class QGridLayout;
class QPushButton;

namespace quillmark::engine {

class ParameterField;
struct FormField;
struct ParameterForm;
class PreviewPair;

class ParameterDialog : public QDialog {
    Q_OBJECT

  public:
    /// Shows control's presets; one outside of what its field takes begins at the parameter's initial value.
    /// Accepting writes the results into control, in the engine's units; nothing else does. control and
    /// operation outlive the dialog. Without a bitmap in control there is no preview.
    ParameterDialog(CommonDialog& control, DialogKind kind, const imaging::Operation& operation,
                    QWidget* parent);
    ~ParameterDialog() override;

    /// Back to what the dialog began with.
    void reset();
    void accept() override;

  private:
    struct Row {
        const FormField* form;
        ParameterField* field;
        int initial;
    };
    void build(DialogKind kind);
    void add_fields(DialogKind kind, QGridLayout& grid);
    int first_value(const FormField& field, const imaging::Parameter& parameter,
                    const ParameterField& editor) const;
    QWidget* make_buttons();
    bool all_taken();
    void refresh();
    std::vector<int> arguments() const;

    CommonDialog& control_;
    const imaging::Operation& operation_;
    const ParameterForm& form_;
    std::size_t fixed_ = 0;  // how many leading parameters come from control_.Fixed
    std::vector<Row> rows_;
    PreviewPair* preview_ = nullptr;
    QPushButton* ok_ = nullptr;
};

}  // namespace quillmark::engine
