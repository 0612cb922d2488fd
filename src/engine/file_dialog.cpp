#include "engine/file_dialog.h"

#include <QAbstractItemView>
#include <QComboBox>
#include <QCompleter>
#include <QDialogButtonBox>
#include <QFileInfo>
#include <QFileSystemModel>
#include <QHeaderView>
#include <QItemSelectionModel>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QScreen>
#include <QSplitter>
#include <QStandardPaths>
#include <QTimer>
#include <QToolButton>
#include <QTreeView>
#include <QUrl>
#include <algorithm>

#include "engine/preview_panel.h"
#include "platform/program_folder.h"

namespace quillmark::engine {
namespace {

constexpr int kPlacesWidth = 130, kListWidth = 560, kPreviewWidth = 270;
constexpr QSize kStartSize{1000, 600}, kMinimumSize{640, 460};

}  // namespace

QStringList filter_patterns(const QString& patterns) {
    QStringList list;
    for (const QString& part : patterns.split(';', Qt::SkipEmptyParts)) {
        const QString pattern = part.trimmed();
        if (!pattern.isEmpty()) list.append(pattern == "*.*" ? QStringLiteral("*") : pattern);
    }
    return list.isEmpty() ? QStringList{QStringLiteral("*")} : list;
}

std::vector<FilterEntry> filter_entries(const QString& filter) {
    std::vector<FilterEntry> entries;
    const QStringList parts = filter.split('|');
    for (qsizetype i = 0; i + 1 < parts.size(); i += 2) {
        const QString description = parts[i].trimmed();
        entries.push_back(
            {description.isEmpty() ? parts[i + 1].trimmed() : description, filter_patterns(parts[i + 1])});
    }
    while (!entries.empty() && entries.back().description.isEmpty()) entries.pop_back();
    return entries;
}

struct OpenDialog::Private {
    explicit Private(OpenDialog& the_dialog) : dialog{the_dialog} {}

    OpenDialog& dialog;
    std::vector<FilterEntry> filters;
    PreviewPanel* preview = nullptr;
    QTimer settle;  // one look at the choice after a burst of changes
    QStringList chosen;
    int page = 1;

    template <typename T>
    T* part(const char* name) const {
        return dialog.part<T>(name);
    }
    QLineEdit* name_edit() const { return dialog.name_edit(); }

    void set_filters(int index);
    void use_filter(int index);
    void add_preview();
    void widen_columns();
    void order_tabs();
    void watch_choice();
    QModelIndexList selected_rows() const;
    QStringList choice() const;
    void look_at_choice();
};

void OpenDialog::Private::set_filters(int index) {
    QStringList descriptions;
    for (const FilterEntry& entry : filters) descriptions.append(entry.description);
    if (descriptions.isEmpty()) return;
    dialog.setNameFilters(descriptions);
    auto* types = part<QComboBox>("fileTypeCombo");
    connect(types, &QComboBox::activated, &dialog, [this](int chosen_index) { use_filter(chosen_index); });
    const int row = index >= 1 && index <= types->count() ? index - 1 : 0;
    types->setCurrentIndex(row);
    types->setMaxVisibleItems(28);
    use_filter(row);
}

// The patterns stand in their own list, not in the description, so the file model gets them directly. It
// compares without regard to letter case.
void OpenDialog::Private::use_filter(int index) {
    if (index < 0 || index >= static_cast<int>(filters.size())) return;
    part<QFileSystemModel>("qt_filesystem_model")
        ->setNameFilters(filters[static_cast<std::size_t>(index)].patterns);
}

void OpenDialog::Private::add_preview() {
    auto* splitter = part<QSplitter>("splitter");
    preview = new PreviewPanel;
    splitter->addWidget(preview);
    splitter->setCollapsible(splitter->indexOf(preview), false);
    for (int i = 0; i < splitter->count(); ++i) splitter->setStretchFactor(i, i == 1 ? 1 : 0);
    splitter->setSizes({kPlacesWidth, kListWidth, kPreviewWidth});
}

// The base class starts with columns too narrow for what they hold; the name takes what the others leave.
void OpenDialog::Private::widen_columns() {
    auto* header = part<QTreeView>("treeView")->header();
    const QFontMetrics metrics = dialog.fontMetrics();
    const int wanted[] = {0, metrics.horizontalAdvance("0,000.00 KiB") + 8,
                          metrics.horizontalAdvance("JPEG image") + 24,
                          metrics.horizontalAdvance("22 Mmm 2022 22:22:22") + 12};
    int left = kListWidth;
    for (int column = 1; column < std::min<int>(header->count(), std::size(wanted)); ++column) {
        if (header->sectionSize(column) < wanted[column]) header->resizeSection(column, wanted[column]);
        left -= header->sectionSize(column);
    }
    header->resizeSection(0, std::max(left, 160));
}

void OpenDialog::Private::order_tabs() {
    auto* page_box = preview->findChild<QWidget*>("previewPage");
    auto* buttons = part<QDialogButtonBox>("buttonBox");
    const std::initializer_list<QWidget*> order{part<QWidget>("sidebar"),
                                                part<QWidget>("listView"),
                                                part<QWidget>("treeView"),
                                                page_box,
                                                name_edit(),
                                                part<QWidget>("fileTypeCombo"),
                                                buttons->button(QDialogButtonBox::Open),
                                                buttons->button(QDialogButtonBox::Cancel)};
    QWidget* previous = nullptr;
    for (QWidget* widget : order) {
        if (previous && widget) QWidget::setTabOrder(previous, widget);
        if (widget) previous = widget;
    }
}

void OpenDialog::Private::watch_choice() {
    settle.setSingleShot(true);
    settle.setInterval(0);
    connect(&settle, &QTimer::timeout, &dialog, [this] { look_at_choice(); });
    const auto changed = [this] { settle.start(); };
    connect(part<QAbstractItemView>("listView")->selectionModel(), &QItemSelectionModel::selectionChanged,
            &dialog, changed);
    connect(name_edit(), &QLineEdit::textChanged, &dialog, changed);
    connect(&dialog, &QFileDialog::directoryEntered, &dialog, changed);
}

QModelIndexList OpenDialog::Private::selected_rows() const {
    return part<QAbstractItemView>("listView")->selectionModel()->selectedRows();
}

// What is selected, unless another name was typed over it. The selection is asked for itself, because the
// name box cannot carry names with quotation marks.
QStringList OpenDialog::Private::choice() const {
    QModelIndexList rows = selected_rows();
    rows.removeIf([](const QModelIndex& row) {
        return QFileInfo{row.data(QFileSystemModel::FilePathRole).toString()}.isDir();
    });
    QStringList names;
    for (const QModelIndex& row : rows) names.append(row.data().toString());
    const QString selected =
        rows.size() == 1 ? names.first() : QStringLiteral("\"%1\"").arg(names.join("\" \""));
    const QString typed = name_edit()->text().trimmed();

    QStringList paths;
    if (typed.isEmpty() || typed == selected.trimmed()) {
        std::ranges::sort(rows, {}, &QModelIndex::row);
        for (const QModelIndex& row : rows) paths.append(row.data(QFileSystemModel::FilePathRole).toString());
    } else {
        for (const QString& path : dialog.selectedFiles()) paths.append(platform::resolve_without_case(path));
    }
    return paths;
}

void OpenDialog::Private::look_at_choice() {
    const QStringList paths = choice();
    const bool file = !paths.isEmpty() && QFileInfo{paths.first()}.isFile();
    preview->show_file(file ? paths.first() : QString{}, static_cast<int>(paths.size()));
    if (!paths.isEmpty())
        part<QDialogButtonBox>("buttonBox")->button(QDialogButtonBox::Open)->setEnabled(true);
}

OpenDialog::OpenDialog(const OpenRequest& request, QWidget* parent)
    : FolderDialog{request.title, request.initial_dir, parent}, d_{std::make_unique<Private>(*this)} {
    setAcceptMode(AcceptOpen);
    setFileMode(request.several ? ExistingFiles : ExistingFile);
    setLabelText(QFileDialog::FileType, tr("Files of &type:"));
    d_->filters = filter_entries(request.filter);
    d_->set_filters(request.filter_index);
    d_->add_preview();
    d_->widen_columns();
    name_controls();
    d_->order_tabs();
    d_->watch_choice();
    setMinimumSize(kMinimumSize);
    resize(kStartSize.boundedTo(screen()->availableSize()));
    name_edit()->setFocus();
}

OpenDialog::~OpenDialog() = default;

QStringList OpenDialog::file_names() const { return d_->chosen; }

int OpenDialog::page() const { return d_->page; }

void OpenDialog::accept() {
    QStringList paths = d_->choice();
    if (paths.isEmpty()) {
        for (const QModelIndex& row : d_->selected_rows())
            paths.append(row.data(QFileSystemModel::FilePathRole).toString());
    }
    if (paths.isEmpty()) return;
    if (QFileInfo{paths.first()}.isDir()) {
        setDirectory(paths.first());
        d_->name_edit()->clear();
        return;
    }
    if (!std::ranges::all_of(paths, [](const QString& path) { return QFileInfo{path}.isFile(); })) {
        d_->preview->show_remark(tr("File not found"));
        return;
    }
    d_->look_at_choice();
    d_->chosen = paths;
    d_->page = d_->preview->page();
    QDir::setCurrent(QFileInfo{paths.first()}.absolutePath());
    QDialog::accept();
}

}  // namespace quillmark::engine
