// The engine's save dialog: folder and name, a list of formats with depths, quality and pages.
#pragma once

#include <vector>

#include "engine/folder_dialog.h"
#include "imaging/bitmap.h"

class QComboBox;
class QLabel;
class QSlider;
class QSpinBox;

namespace quillmark::engine {

/// One line of the format list: a format code at a depth.
struct SaveEntry {
    int format = 0;
    int bits = 0;  ///< 0: whatever the format writes
    QString label;
};

struct SaveRequest {
    std::vector<SaveEntry> entries;
    int entry = 0;  ///< 1-based; 0: what suits the image
    QString initial_dir, title;
    imaging::Bitmap bitmap;  ///< for the hints of what a format would lose; may be empty
};

/// What was chosen.
struct SaveChoice {
    QString name;  ///< absolute
    int format = 0, bits = 0;
    int quality = 85;         ///< 1 to 100
    int multi_page_mode = 0;  ///< 0 this page becomes the whole file; others need a format that adds pages
    int page = 1;
};

/// Shown modally by program::Prompts; after Accepted read the choice. Entries that no codec writes are
/// greyed. The extension follows the format; a typed one of another format that is written chooses that
/// format, and one that cannot be written is refused with those that can.
class SaveDialog final : public FolderDialog {
    Q_OBJECT

  public:
    explicit SaveDialog(const SaveRequest& request, QWidget* parent = nullptr);

    const SaveChoice& choice() const { return choice_; }
    /// Whether an entry (0-based) can be chosen.
    bool writable(std::size_t entry) const;

    void accept() override;

  private:
    void add_formats(int preselected);
    void add_options();
    void format_changed();
    void name_edited();
    void use_extension();
    bool resolve_name(QString& name);
    std::size_t current() const;
    int depth_written() const;
    QString losses() const;
    void say(const QString& hint, bool refused);

    SaveRequest request_;
    SaveChoice choice_;
    QComboBox* formats_ = nullptr;
    QWidget* quality_row_ = nullptr;
    QSlider* quality_ = nullptr;
    QSpinBox* quality_box_ = nullptr;
    QLabel* hint_ = nullptr;
};

}  // namespace quillmark::engine
