// The form shown before a file is loaded: depth, page, stamp, paint-while-load, Photo CD resolution.
#pragma once

#include <QDialog>
#include <cstdint>
#include <memory>

namespace quillmark::program {
class Prompts;
}

namespace quillmark::files {

class OpenOpts : public QDialog {
    Q_OBJECT

  public:
    struct Options {
        bool ok = false;
        bool paint_while_load = false;
        std::int16_t bits = 0;
        std::int16_t page = 1;
        bool load_stamp = false;
        std::int16_t pcd_resolution = 0;
    };

    explicit OpenOpts(program::Prompts& prompts, QWidget* parent = nullptr);
    ~OpenOpts() override;

    void InitTheForm(const QString& file_name, bool paint_while_load, int pcd_resolution);
    /// Overwrites options with the choice; pcd_resolution stays as passed in where the form has no choice for
    /// it. Throws program::RunTimeError (13, "Type mismatch") when the page box holds no number, (6,
    /// "Overflow") when it does not fit 16 bits.
    void GetOptions(Options& options) const;

    void accept() override;
    void reject() override;

  private:
    struct Private;
    std::unique_ptr<Private> d_;
};

}  // namespace quillmark::files
