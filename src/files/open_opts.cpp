// The open-options form: its controls, the rules between them, and the Info view over the file's facts.
#include "files/open_opts.h"

#include <QButtonGroup>
#include <QCheckBox>
#include <QComboBox>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QLocale>
#include <QPainter>
#include <QPushButton>
#include <QRadioButton>
#include <QScreen>
#include <QSignalBlocker>
#include <QStyle>
#include <cmath>
#include <optional>

#include "engine/elided_label.h"
#include "engine/engine.h"
#include "platform/screen.h"
#include "program/prompts.h"
#include "program/run_time_error.h"
#include "text/numbers.h"

namespace quillmark::files {
namespace {

constexpr int kPhotoCdFormat = 57;
constexpr int kBeyondLastPage = 32000;  // the engine answers with the last page
constexpr int kInfoWidthTwips = 3930, kInfoHeightTwips = 3105;

constexpr std::array<const char*, 6> kPhotoCdResolutions{"64 x 96",   "128 x 192",   "256 x 384",
                                                         "512 x 768", "1024 x 1536", "2048 x 3072"};

struct BitChoice {
    int bits;
    const char* caption;
};
constexpr std::array<BitChoice, 7> kBitChoices{{{0, "&Default"},
                                                {32, "&32 Bit"},
                                                {24, "&24 Bit"},
                                                {16, "1&6 Bit"},
                                                {8, "&8 Bit"},
                                                {4, "&4 Bit"},
                                                {1, "&1 Bit"}}};

// A text as a 16-bit integer, strictly: the whole text has to be a number.
std::int16_t strict_int16(const QString& text) {
    bool is_number = false;
    const double value = QLocale::c().toDouble(text.trimmed(), &is_number);
    if (!is_number || !std::isfinite(value)) throw program::RunTimeError{13, QStringLiteral("Type mismatch")};
    if (std::abs(value) > 40'000) throw program::RunTimeError{6, QStringLiteral("Overflow")};
    const std::int64_t rounded = text::round_half_even(value);
    if (rounded < INT16_MIN || rounded > INT16_MAX)
        throw program::RunTimeError{6, QStringLiteral("Overflow")};
    return static_cast<std::int16_t>(rounded);
}

// A value of the Info view; its whole text is also its tip.
class FactLabel final : public engine::ElidedLabel {
  public:
    FactLabel(const QString& name, QWidget* parent) : ElidedLabel{parent} {
        setObjectName(name);
        setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Preferred);
    }
    QSize sizeHint() const override {
        return {fontMetrics().averageCharWidth() * 18, QLabel::sizeHint().height()};
    }
    QSize minimumSizeHint() const override { return sizeHint(); }
};

QString bytes_text(std::int64_t count) { return QString::number(count) + QStringLiteral(", Bytes"); }

}  // namespace

struct OpenOpts::Private {
    Private(OpenOpts& the_form, program::Prompts& the_prompts) : form{the_form}, prompts{the_prompts} {}

    OpenOpts& form;
    program::Prompts& prompts;
    engine::Engine* lead1 = nullptr;
    QString file_name;
    std::int16_t chosen_bits = 0;
    std::int16_t saved_bits = 0;
    bool accepted = false;

    QWidget* choices = nullptr;
    QButtonGroup* bits = nullptr;
    QLineEdit* page_number = nullptr;
    QCheckBox* paint_while_load = nullptr;
    QCheckBox* load_stamp = nullptr;
    QLabel* pcd_label = nullptr;
    QComboBox* pcd_resolution = nullptr;
    QPushButton* info = nullptr;
    QPushButton* ok = nullptr;

    QWidget* info_view = nullptr;
    QLabel *name = nullptr, *format = nullptr, *width = nullptr, *height = nullptr, *bits_per_pixel = nullptr,
           *size_in_memory = nullptr, *size_on_disk = nullptr;
    QComboBox* page_list = nullptr;
    QPushButton* info_ok = nullptr;

    void build();
    QWidget* build_load_as();
    QWidget* build_choices();
    QWidget* build_info_view();
    QLabel* add_fact(const char* label_name, const char* caption, const char* name);
    void connect_controls();
    void centre_on_screen();

    engine::Code query(int page);
    bool is_photo_cd() const { return lead1->Info().format == kPhotoCdFormat; }
    std::optional<int> held_resolution(int position) const;
    void fill_photo_cd_list();
    void show_facts();
    void report(engine::Code code, const QString& title);

    void LoadStampCheck_Click();
    void PCDResBox_Click();
    void Info_Click();
    void PageDropBox_Click();
    void InfoOK_Click();
};

// --- Building ---

void OpenOpts::Private::build() {
    lead1 = new engine::Engine{&form};
    lead1->setObjectName("LEAD1");
    form.setObjectName("OpenOpts");
    form.setWindowTitle(tr("File Open Options"));
    auto* layout = new QVBoxLayout{&form};
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSizeConstraint(QLayout::SetFixedSize);  // the form follows the view that is shown
    layout->addWidget(choices = build_choices());
    layout->addWidget(info_view = build_info_view());
    info_view->hide();
    connect_controls();
    centre_on_screen();
}

QWidget* OpenOpts::Private::build_load_as() {
    auto* frame = new QGroupBox{tr("Load As")};
    frame->setObjectName("Frame1");
    auto* layout = new QVBoxLayout{frame};
    bits = new QButtonGroup{&form};
    bits->setObjectName("Bit");
    for (const BitChoice& choice : kBitChoices) {
        auto* button = new QRadioButton{tr(choice.caption)};
        button->setObjectName(QStringLiteral("Bit%1").arg(choice.bits));
        bits->addButton(button, choice.bits);
        layout->addWidget(button);
    }
    layout->addStretch();
    return frame;
}

QWidget* OpenOpts::Private::build_choices() {
    auto* view = new QWidget{&form};
    page_number = new QLineEdit;
    page_number->setObjectName("PageNumberBox");
    page_number->setMaximumWidth(page_number->fontMetrics().averageCharWidth() * 12);
    auto* page_label = new QLabel{tr("&Page:")};
    page_label->setObjectName("Label1");
    page_label->setBuddy(page_number);
    paint_while_load = new QCheckBox{tr("Paint &While Load")};
    paint_while_load->setObjectName("PaintWhileLoad");
    load_stamp = new QCheckBox{tr("&Load Stamp (If Available)")};
    load_stamp->setObjectName("LoadStampCheck");
    pcd_resolution = new QComboBox;
    pcd_resolution->setObjectName("PCDResBox");
    pcd_resolution->setMinimumContentsLength(11);
    pcd_label = new QLabel{tr("P&CD Resolution:")};
    pcd_label->setObjectName("PCDLabel");
    pcd_label->setBuddy(pcd_resolution);
    info = new QPushButton{tr("&Info")};
    info->setObjectName("Info");
    ok = new QPushButton{tr("OK")};
    ok->setObjectName("OK");
    ok->setDefault(true);
    auto* cancel = new QPushButton{tr("Cancel")};
    cancel->setObjectName("Cancel");
    connect(cancel, &QPushButton::clicked, &form, &QDialog::reject);

    auto* fields = new QGridLayout;
    fields->addWidget(page_label, 0, 0);
    fields->addWidget(page_number, 0, 1);
    fields->addWidget(paint_while_load, 1, 0, 1, 2);
    fields->addWidget(load_stamp, 2, 0, 1, 2);
    fields->addWidget(pcd_label, 3, 0);
    fields->addWidget(pcd_resolution, 3, 1);
    fields->setRowStretch(4, 1);
    fields->setVerticalSpacing(10);
    fields->setHorizontalSpacing(8);

    auto* buttons = new QHBoxLayout;
    buttons->setSpacing(8);
    buttons->addWidget(info);
    buttons->addStretch();
    buttons->addWidget(ok);
    buttons->addWidget(cancel);

    auto* layout = new QGridLayout{view};
    layout->setHorizontalSpacing(16);
    layout->setVerticalSpacing(12);
    layout->addWidget(build_load_as(), 0, 0);
    layout->addLayout(fields, 0, 1);
    layout->addLayout(buttons, 1, 0, 1, 2);
    return view;
}

QLabel* OpenOpts::Private::add_fact(const char* label_name, const char* caption, const char* value_name) {
    auto* layout = static_cast<QGridLayout*>(info_view->layout());
    const int row = layout->rowCount();
    auto* label = new QLabel{tr(caption), info_view};
    label->setObjectName(label_name);
    auto* value = new FactLabel{value_name, info_view};
    layout->addWidget(label, row, 0);
    layout->addWidget(value, row, 1);
    return value;
}

QWidget* OpenOpts::Private::build_info_view() {
    info_view = new QWidget{&form};
    info_view->setObjectName("FileInfoPic");
    auto* layout = new QGridLayout{info_view};
    layout->setColumnStretch(1, 1);
    layout->setHorizontalSpacing(12);
    layout->setVerticalSpacing(4);
    name = add_fact("Label4", "Filename:", "InfoName");
    format = add_fact("Label7", "Format:", "InfoFormat");
    width = add_fact("Label9", "Width:", "InfoWidth");
    height = add_fact("Label10", "Height:", "InfoHeight");
    bits_per_pixel = add_fact("Label8", "Bits Per Pixel:", "InfoBPP");
    size_in_memory = add_fact("Label5", "Size In Memory:", "InfoSizeMem");
    size_on_disk = add_fact("Label2", "Size On Disk:", "InfoSizeDisk");

    auto* page_label = new QLabel{tr("Page:"), info_view};
    page_label->setObjectName("Label11");
    page_list = new QComboBox{info_view};
    page_list->setObjectName("PageDropBox");
    page_list->setMinimumContentsLength(5);
    page_list->setMaxVisibleItems(20);
    page_label->setBuddy(page_list);
    info_ok = new QPushButton{tr("OK"), info_view};
    info_ok->setObjectName("InfoOK");
    auto* last_row = new QHBoxLayout;
    last_row->setSpacing(8);
    last_row->addWidget(page_list);
    last_row->addStretch();
    last_row->addWidget(info_ok);
    const int row = layout->rowCount();
    layout->setRowMinimumHeight(row, 4);
    layout->setRowStretch(row, 1);
    layout->addWidget(page_label, row + 1, 0);
    layout->addLayout(last_row, row + 1, 1);
    return info_view;
}

void OpenOpts::Private::connect_controls() {
    QWidget* previous = nullptr;
    const auto follow = [&](QWidget* next) {
        if (previous) QWidget::setTabOrder(previous, next);
        previous = next;
    };
    for (QAbstractButton* button : bits->buttons()) follow(button);
    for (QWidget* widget :
         {static_cast<QWidget*>(page_number), static_cast<QWidget*>(paint_while_load),
          static_cast<QWidget*>(load_stamp), static_cast<QWidget*>(pcd_resolution),
          static_cast<QWidget*>(info), static_cast<QWidget*>(ok), form.findChild<QWidget*>("Cancel"),
          static_cast<QWidget*>(page_list), static_cast<QWidget*>(info_ok)}) {
        follow(widget);
    }

    connect(bits, &QButtonGroup::idToggled, &form, [this](int id, bool on) {
        if (on) chosen_bits = static_cast<std::int16_t>(id);
    });
    connect(load_stamp, &QCheckBox::toggled, &form, [this] { LoadStampCheck_Click(); });
    connect(pcd_resolution, &QComboBox::currentIndexChanged, &form, [this] { PCDResBox_Click(); });
    connect(info, &QPushButton::clicked, &form, [this] { Info_Click(); });
    connect(page_list, &QComboBox::currentIndexChanged, &form, [this] { PageDropBox_Click(); });
    connect(info_ok, &QPushButton::clicked, &form, [this] { InfoOK_Click(); });
    connect(ok, &QPushButton::clicked, &form, &QDialog::accept);
}

void OpenOpts::Private::centre_on_screen() {
    form.layout()->activate();
    const QRect screen = form.screen()->geometry();
    const QSize size = form.sizeHint();
    form.move(screen.x() + (screen.width() - size.width()) / 2,
              screen.y() + (screen.height() - size.height()) / 2);
}

// --- Rules ---

engine::Code OpenOpts::Private::query(int page) {
    lead1->SetEnableProgressEvent(false);
    return lead1->GetFileInfo(file_name, page);
}

// The resolution index that stands at a position of the list, which names only those the file holds.
std::optional<int> OpenOpts::Private::held_resolution(int position) const {
    int held = 0;
    for (int index = 0; index < static_cast<int>(kPhotoCdResolutions.size()); ++index) {
        if (lead1->HasPCDResolution(file_name, index) && held++ == position) return index;
    }
    return std::nullopt;
}

void OpenOpts::Private::fill_photo_cd_list() {
    const QSignalBlocker quiet{pcd_resolution};
    for (std::size_t index = 0; index < kPhotoCdResolutions.size(); ++index) {
        if (lead1->HasPCDResolution(file_name, static_cast<int>(index)))
            pcd_resolution->addItem(kPhotoCdResolutions[index]);
    }
    pcd_resolution->setCurrentIndex(pcd_resolution->count() > 0 ? 0 : -1);
}

void OpenOpts::Private::LoadStampCheck_Click() {
    // A stamp comes at its own depth.
    const bool stamp = load_stamp->isChecked();
    if (stamp) saved_bits = chosen_bits;
    for (QAbstractButton* button : bits->buttons()) {
        if (bits->id(button) != 0) button->setEnabled(!stamp);
    }
    bits->button(stamp ? 0 : saved_bits)->setChecked(true);
}

void OpenOpts::Private::PCDResBox_Click() {
    if (const auto index = held_resolution(pcd_resolution->currentIndex())) lead1->SetPCDResolution(*index);
}

void OpenOpts::Private::report(engine::Code code, const QString& title) {
    prompts.message(QStringLiteral("Error Code = %1").arg(code), title, program::Icon::stop);
}

void OpenOpts::Private::show_facts() {
    const engine::FileInfo& facts = lead1->Info();
    name->setText(file_name);
    name->setToolTip(QStringLiteral("<span>%1</span>").arg(file_name.toHtmlEscaped()));
    format->setText(QString::number(facts.format));
    width->setText(QString::number(facts.width));
    height->setText(QString::number(facts.height));
    bits_per_pixel->setText(QString::number(facts.bits));
    size_in_memory->setText(bytes_text(facts.size_mem));
    size_on_disk->setText(bytes_text(facts.size_disk));
}

void OpenOpts::Private::Info_Click() {
    const QSignalBlocker quiet{page_list};
    int last_page = 0;
    engine::Code code = query(kBeyondLastPage);
    if (code == 0) {
        last_page = lead1->Info().page;
        page_list->clear();
        for (int page = 1; page <= last_page; ++page) page_list->addItem(QString::number(page));
    }
    const int wanted = text::int16_from_text(page_number->text().toStdString());
    if (wanted < last_page) code = query(wanted);
    if (code != 0) {
        report(code, QStringLiteral("UNEXPECTED ERROR! (OPENOPTS: Info_Click)"));
        return;
    }
    show_facts();
    page_list->setCurrentIndex(lead1->Info().page - 1);
    info_view->setMinimumSize(qRound(kInfoWidthTwips / platform::twips_per_pixel_x(form.screen())),
                              qRound(kInfoHeightTwips / platform::twips_per_pixel_y(form.screen())));
    choices->hide();
    info_view->show();
    form.layout()->activate();
    info_ok->setDefault(true);
    page_list->setFocus();
}

void OpenOpts::Private::PageDropBox_Click() {
    if (page_list->currentIndex() < 0) return;
    if (const engine::Code code = query(page_list->currentIndex() + 1); code != 0) {
        report(code, QStringLiteral("UNEXPECTED ERROR! (OPENOPTS: PageDropBox_Click)"));
        InfoOK_Click();
        return;
    }
    show_facts();
}

void OpenOpts::Private::InfoOK_Click() {
    page_number->setText(QString::number(page_list->currentIndex() + 1));
    info_view->hide();
    choices->show();
    form.layout()->activate();
    ok->setDefault(true);
    info->setFocus();
}

// --- The form ---

OpenOpts::OpenOpts(program::Prompts& prompts, QWidget* parent)
    : QDialog{parent}, d_{std::make_unique<Private>(*this, prompts)} {
    d_->build();
}

OpenOpts::~OpenOpts() = default;

void OpenOpts::InitTheForm(const QString& file_name, bool paint_while_load, int /*pcd_resolution*/) {
    d_->file_name = file_name;
    const engine::Code code = d_->query(1);
    d_->accepted = false;
    d_->pcd_label->setEnabled(false);
    d_->pcd_resolution->setEnabled(false);
    d_->pcd_resolution->clear();
    d_->paint_while_load->setChecked(paint_while_load);
    d_->page_number->setText(QStringLiteral("1"));
    d_->load_stamp->setChecked(false);
    d_->bits->button(0)->setChecked(true);
    if (code != 0 || !d_->is_photo_cd()) return;
    d_->pcd_label->setEnabled(true);
    d_->pcd_resolution->setEnabled(true);
    d_->fill_photo_cd_list();
    d_->PCDResBox_Click();
}

void OpenOpts::GetOptions(Options& options) const {
    options.ok = d_->accepted;
    options.paint_while_load = d_->paint_while_load->isChecked();
    options.bits = d_->chosen_bits;
    options.page = strict_int16(d_->page_number->text());
    options.load_stamp = d_->load_stamp->isChecked();
    if (!d_->is_photo_cd()) {
        options.pcd_resolution = 1;
    } else if (const auto index = d_->held_resolution(d_->pcd_resolution->currentIndex())) {
        options.pcd_resolution = static_cast<std::int16_t>(*index);
    }
}

void OpenOpts::accept() {
    d_->accepted = true;
    QDialog::accept();
}

// Esc and the window's close button leave the Info view first.
void OpenOpts::reject() {
    if (d_->info_view->isVisibleTo(this)) {
        d_->InfoOK_Click();
    } else {
        QDialog::reject();
    }
}

}  // namespace quillmark::files
