#include "engine/save_dialog.h"

#include <QComboBox>
#include <QDialogButtonBox>
#include <QFileInfo>
#include <QFileSystemModel>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QScreen>
#include <QSlider>
#include <QSpinBox>
#include <QStandardItemModel>
#include <algorithm>

#include "imaging/save.h"

namespace quillmark::engine {
namespace {

constexpr QSize kStartSize{820, 560}, kMinimumSize{560, 420};
constexpr int kBestQuality = 100;

QString text_of(std::string_view text) {
    return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
}

const imaging::Codec* writer_of(int format) {
    const imaging::FormatCode* row = imaging::find_format(format);
    const imaging::Codec* codec = imaging::codec_for_format(format);
    return row && !row->write_depths.empty() && codec && codec->encode ? codec : nullptr;
}

bool writes(const SaveEntry& entry) {
    if (!writer_of(entry.format)) return false;
    const auto depths = imaging::find_format(entry.format)->write_depths;
    return entry.bits == 0 || std::ranges::find(depths, entry.bits) != depths.end();
}

// Whether a quality means anything to the format.
bool is_lossy(int format) {
    const imaging::FormatCode* row = imaging::find_format(format);
    return row && row->lossy;
}

QString extension_of(int format) {
    const imaging::Codec* codec = writer_of(format);
    return codec ? text_of(codec->extensions.front()) : QString{};
}

}  // namespace

SaveDialog::SaveDialog(const SaveRequest& request, QWidget* parent)
    : FolderDialog{request.title, request.initial_dir, parent}, request_{request} {
    setAcceptMode(AcceptSave);
    setFileMode(AnyFile);
    setLabelText(QFileDialog::FileType, tr("Save as &type:"));
    setLabelText(QFileDialog::Accept, tr("&Save"));
    add_options();
    add_formats(request.entry);
    name_controls();
    formats_->setAccessibleName(tr("Save as type"));
    connect(name_edit(), &QLineEdit::textChanged, this, [this] { say(losses(), false); });
    connect(name_edit(), &QLineEdit::editingFinished, this, &SaveDialog::name_edited);
    setMinimumSize(kMinimumSize);
    resize(kStartSize.boundedTo(screen()->availableSize()));
    name_edit()->setFocus();
}

std::size_t SaveDialog::current() const {
    return static_cast<std::size_t>(std::max(formats_->currentIndex(), 0));
}

bool SaveDialog::writable(std::size_t entry) const {
    return entry < request_.entries.size() && writes(request_.entries[entry]);
}

// The base class keeps its list of types in step with its name filters, which are the entries' labels.
void SaveDialog::add_formats(int preselected) {
    QStringList labels;
    for (const SaveEntry& entry : request_.entries) labels.append(entry.label);
    setNameFilters(labels);
    formats_ = part<QComboBox>("fileTypeCombo");
    formats_->setMaxVisibleItems(28);
    auto* model = qobject_cast<QStandardItemModel*>(formats_->model());
    for (std::size_t i = 0; model && i < request_.entries.size(); ++i)
        model->item(static_cast<int>(i))->setEnabled(writable(i));
    int row = preselected - 1;
    if (row < 0 || !writable(static_cast<std::size_t>(row))) {
        // What keeps the image as it is; else the first that can be written.
        row = -1;
        for (std::size_t i = 0; i < request_.entries.size(); ++i) {
            if (!writable(i)) continue;
            const SaveEntry& entry = request_.entries[i];
            if (row < 0) row = static_cast<int>(i);
            if (is_lossy(entry.format) || entry.bits == 0 || request_.bitmap.empty()) continue;
            if (imaging::save_depth(request_.bitmap, entry.format, 0) != entry.bits) continue;
            row = static_cast<int>(i);
            break;
        }
    }
    formats_->setCurrentIndex(std::max(row, 0));
    connect(formats_, &QComboBox::activated, this, &SaveDialog::format_changed);
    format_changed();
}

void SaveDialog::add_options() {
    quality_row_ = new QWidget;
    auto* row = new QHBoxLayout{quality_row_};
    row->setContentsMargins(0, 0, 0, 0);
    auto* label = new QLabel{tr("&Quality:")};
    quality_ = new QSlider{Qt::Horizontal};
    quality_box_ = new QSpinBox;
    quality_box_->setObjectName(QStringLiteral("SaveQuality"));
    quality_->setRange(1, kBestQuality);
    quality_box_->setRange(1, kBestQuality);
    quality_box_->setAccessibleName(tr("Quality, 1 to 100"));
    quality_->setAccessibleName(tr("Quality"));
    label->setBuddy(quality_box_);
    connect(quality_, &QSlider::valueChanged, quality_box_, &QSpinBox::setValue);
    connect(quality_box_, &QSpinBox::valueChanged, quality_, &QSlider::setValue);
    quality_->setValue(imaging::WriteOptions{}.quality);
    row->addWidget(label);
    row->addWidget(quality_);
    row->addWidget(quality_box_);
    hint_ = new QLabel;
    hint_->setObjectName(QStringLiteral("SaveHint"));
    hint_->setWordWrap(true);
    hint_->setMinimumHeight(2 * fontMetrics().lineSpacing());
    auto* grid = qobject_cast<QGridLayout*>(layout());
    const int below = grid->rowCount();
    grid->addWidget(quality_row_, below, 0, 1, 2);
    grid->addWidget(hint_, below + 1, 0, 1, 3);
}

int SaveDialog::depth_written() const {
    const SaveEntry& entry = request_.entries[current()];
    return request_.bitmap.empty() ? entry.bits
                                   : imaging::save_depth(request_.bitmap, entry.format, entry.bits);
}

// What the format would not keep of the image, said before it is lost.
QString SaveDialog::losses() const {
    if (request_.bitmap.empty() || !writable(current())) return {};
    const SaveEntry& entry = request_.entries[current()];
    QStringList lost;
    const int depth = depth_written();
    if (request_.bitmap.bits() > depth)
        lost.append(tr("%1 bits per pixel become %2").arg(request_.bitmap.bits()).arg(depth));
    if (request_.bitmap.has_alpha() && depth < 32) lost.append(tr("transparency is not kept"));
    if (is_lossy(entry.format)) lost.append(tr("compression changes the pixels slightly"));
    return lost.isEmpty() ? QString{} : tr("In this format: %1.").arg(lost.join(QStringLiteral("; ")));
}

void SaveDialog::say(const QString& hint, bool refused) {
    hint_->setText(hint);
    QFont font = hint_->font();
    font.setBold(refused);
    hint_->setFont(font);
}

void SaveDialog::format_changed() {
    quality_row_->setEnabled(is_lossy(request_.entries[current()].format));
    const QString extension = extension_of(request_.entries[current()].format);
    part<QFileSystemModel>("qt_filesystem_model")
        ->setNameFilters({extension.isEmpty() ? QStringLiteral("*") : QStringLiteral("*.") + extension});
    use_extension();
    say(losses(), false);
}

// The name's extension follows the format, where it has one of a known format.
void SaveDialog::use_extension() {
    const QString typed = name_edit()->text();
    const imaging::Codec* named = imaging::codec_for_extension(QFileInfo{typed}.suffix().toStdString());
    const imaging::Codec* chosen = writer_of(request_.entries[current()].format);
    if (!named || !chosen || named == chosen) return;
    name_edit()->setText(typed.chopped(QFileInfo{typed}.suffix().size()) +
                         text_of(chosen->extensions.front()));
}

// A typed extension of another format that is written chooses that format, at the depth that suits.
void SaveDialog::name_edited() {
    const imaging::Codec* named =
        imaging::codec_for_extension(QFileInfo{name_edit()->text()}.suffix().toStdString());
    if (!named || named == writer_of(request_.entries[current()].format)) return;
    // The codec's most common format, at the depth of the image, before others.
    int best = -1, best_score = -1;
    for (std::size_t i = 0; i < request_.entries.size(); ++i) {
        const SaveEntry& entry = request_.entries[i];
        if (!writable(i) || writer_of(entry.format) != named) continue;
        const bool suits = request_.bitmap.empty() || entry.bits == 0 ||
                           imaging::save_depth(request_.bitmap, entry.format, 0) == entry.bits;
        const int score = (entry.format == named->formats.front().code ? 2 : 0) + (suits ? 1 : 0);
        if (score > best_score) best = static_cast<int>(i), best_score = score;
    }
    if (best < 0) return;
    formats_->setCurrentIndex(best);
    format_changed();
}

// The absolute name with an extension that says what will be in the file; false when it is refused.
bool SaveDialog::resolve_name(QString& name) {
    const QStringList files = selectedFiles();
    if (name_edit()->text().trimmed().isEmpty() || files.isEmpty()) return false;
    name = files.first();
    const imaging::Codec* chosen = writer_of(request_.entries[current()].format);
    if (!chosen) {
        say(tr("This format cannot be written. Choose another type."), true);
        return false;
    }
    const imaging::Codec* named = imaging::codec_for_extension(QFileInfo{name}.suffix().toStdString());
    if (named && named != chosen) {
        QStringList known;
        for (std::size_t i = 0; i < request_.entries.size(); ++i) {
            const QString extension = extension_of(request_.entries[i].format);
            if (writable(i) && !known.contains(extension)) known.append(extension);
        }
        say(tr("Files named .%1 cannot be written; those that can: %2")
                .arg(QFileInfo{name}.suffix(), known.join(QStringLiteral(", "))),
            true);
        return false;
    }
    if (!named) name += u'.' + text_of(chosen->extensions.front());
    return true;
}

void SaveDialog::accept() {
    const QString typed = name_edit()->text().trimmed();
    if (const QFileInfo folder{directory().absoluteFilePath(typed)}; !typed.isEmpty() && folder.isDir()) {
        setDirectory(folder.absoluteFilePath());
        name_edit()->clear();
        return;
    }
    name_edited();
    QString name;
    if (!resolve_name(name)) return;
    const SaveEntry& entry = request_.entries[current()];
    choice_ = {name, entry.format, depth_written(), quality_->value(), 0, 1};
    // The base class asks before it lets a file be replaced; it must see the name as it will be.
    name_edit()->setText(name);
    FolderDialog::accept();
}

}  // namespace quillmark::engine
