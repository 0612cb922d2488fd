// The open dialog with its filters, preview and page choice, over a format that does what each file says.
#include "engine/file_dialog.h"

#include <gtest/gtest.h>
#include <QAbstractItemView>
#include <QApplication>
#include <QComboBox>
#include <QDeadlineTimer>
#include <QFile>
#include <QLabel>
#include <QLineEdit>
#include <QSpinBox>
#include <QTemporaryDir>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <functional>

#include "engine/preview_query.h"
#include "imaging/load.h"
#include "imaging/output.h"

namespace quillmark {
namespace imaging {
namespace codecs {
extern const Codec bmp, dcx, pcx;
}
namespace {

// What decoding was asked to do since the test began.
std::atomic<int> decodes = 0, stamps = 0, last_reduce = 0, last_page = 0;
std::atomic<bool> endless_started = false, endless_stopped = false;

// "PIC <width> <height> <pages> <stamp side> <rows shown> <endless>"; "JIC ..." is the same by the codec that
// decodes at reduced size.
struct Script {
    int width = 0, height = 0, pages = 1, stamp = 0, rows = 0, endless = 0;
};

Result<Script> read_script(ByteReader in) {
    std::string text;
    while (in.remaining() > 0) text.push_back(static_cast<char>(in.u8()));
    Script s;
    if (std::sscanf(text.c_str() + 3, "%d %d %d %d %d %d", &s.width, &s.height, &s.pages, &s.stamp, &s.rows,
                    &s.endless) != 6) {
        return Error{Fault::malformed, "script"};
    }
    return s;
}

template <char First>
bool probe(std::span<const std::uint8_t> head) {
    return head.size() > 3 && head[0] == First && head[1] == 'I' && head[2] == 'C';
}

template <int Code>
Result<ImageInfo> info(ByteReader in, const ReadOptions& options) {
    const auto script = read_script(in);
    if (!script) return script.error();
    ImageInfo facts;
    facts.format_code = Code;
    facts.width = script->width;
    facts.height = script->height;
    facts.bits = 24;
    facts.pages = script->pages;
    facts.page = std::min(options.page, script->pages);
    facts.has_stamp = script->stamp > 0;
    facts.resolution = {300, 150};
    facts.compression = "Runs";
    return facts;
}

Result<Outcome> picture(int width, int height, int shown, const Limits& limits) {
    auto bitmap = Bitmap::create(width, height, 24, limits);
    if (!bitmap) return bitmap.error();
    Outcome outcome;
    outcome.bitmap = *bitmap;
    outcome.rows_shown = shown;
    outcome.rows_declared = height;
    return outcome;
}

Result<Outcome> decode(ByteReader in, const ReadOptions& options, RowSink& sink) {
    const auto script = read_script(in);
    if (!script) return script.error();
    ++decodes;
    last_reduce = options.reduce;
    last_page = options.page;
    auto outcome = picture(script->width / options.reduce, script->height / options.reduce, script->rows,
                           options.limits);
    endless_started = script->endless != 0;
    QDeadlineTimer patience{30'000};
    while (script->endless != 0 && !patience.hasExpired()) {
        if (!sink.rows(outcome->bitmap, 0, 1, 0, 1)) {
            endless_stopped = true;
            return Error{Fault::cancelled, "rows"};
        }
    }
    return outcome;
}

Result<Outcome> stamp(ByteReader in, const ReadOptions& options) {
    const auto script = read_script(in);
    ++stamps;
    return picture(script->stamp, script->stamp, script->stamp, options.limits);
}

constexpr FormatCode kPlain[] = {{1, "", {}}}, kReduced[] = {{10, "", {}}};
const Codec pic{"PIC", kPlain, {}, Pages::many, true, true, probe<'P'>, info<1>, decode, stamp, nullptr};
const Codec jic{"JPEG", kReduced, {}, Pages::one, true, true, probe<'J'>, info<10>, decode, stamp, nullptr};
constexpr const Codec* kCodecs[] = {&pic, &jic, &codecs::bmp, &codecs::dcx, &codecs::pcx};

}  // namespace

// Takes the place of the library's table.
std::span<const Codec* const> all_codecs() { return kCodecs; }

}  // namespace imaging

namespace engine {
namespace {

constexpr QSize kBox{200, 200};

bool wait_for(const std::function<bool()>& condition) {
    for (QDeadlineTimer patience{20'000}; !condition();) {
        if (patience.hasExpired()) return false;
        QCoreApplication::processEvents(QEventLoop::AllEvents | QEventLoop::WaitForMoreEvents, 20);
    }
    return true;
}

class FolderTest : public ::testing::Test {
  protected:
    void SetUp() override {
        ASSERT_TRUE(folder.isValid());
        imaging::decodes = imaging::stamps = imaging::last_reduce = imaging::last_page = 0;
        imaging::endless_started = imaging::endless_stopped = false;
    }
    QString path(const QString& name) const { return folder.filePath(name); }
    QString write(const QString& name, const QByteArray& content) const {
        QFile file{path(name)};
        EXPECT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(content);
        return file.fileName();
    }

    QTemporaryDir folder;
};

// --- Filters ---

TEST(FilterText, PatternsOfOneEntry) {
    const std::pair<const char*, QStringList> cases[] = {{"*.jpg;*.jff;*.jtf", {"*.jpg", "*.jff", "*.jtf"}},
                                                         {"*.*", {"*"}},
                                                         {"", {"*"}},
                                                         {" *.a ; ;*.b", {"*.a", "*.b"}}};
    for (const auto& [text, patterns] : cases) EXPECT_EQ(filter_patterns(text), patterns) << text;
}

TEST(FilterText, EntriesKeepTheirNumbers) {
    const auto entries = filter_entries("All (*.*)|*.*|||JPEG (*.jpg)|*.jpg;*.jff|||");
    ASSERT_EQ(entries.size(), 3u);
    EXPECT_EQ(entries[0].description, "All (*.*)");
    EXPECT_EQ(entries[2].description, "JPEG (*.jpg)");
    EXPECT_EQ(entries[2].patterns, (QStringList{"*.jpg", "*.jff"}));
    EXPECT_TRUE(filter_entries("").empty());
}

// --- The small picture ---

TEST(PreviewPicture, AveragesAndWeighsByAlpha) {
    auto bitmap = *imaging::Bitmap::create(4, 2, 32, {});
    for (int y = 0; y < 2; ++y) {
        auto row = bitmap.writable_row(y);
        for (int x = 0; x < 4; ++x) {
            const bool left = x % 2 == 0;
            row[static_cast<std::size_t>(x) * 4] = left ? 200 : 100;
            row[static_cast<std::size_t>(x) * 4 + 3] = x < 2 ? 255 : (left ? 255 : 0);
        }
    }
    const QImage small = preview_picture(bitmap, {2, 1});
    ASSERT_EQ(small.size(), QSize(2, 1));
    EXPECT_EQ(small.pixelColor(0, 0), QColor(150, 0, 0, 255));
    EXPECT_EQ(small.pixelColor(1, 0).alpha(), 128);
    EXPECT_NEAR(small.pixelColor(1, 0).red(), 200, 1);  // the transparent half adds no colour
}

TEST(PreviewPicture, KeepsProportionsAndNeverEnlarges) {
    struct Case {
        int width, height, bits;
        QSize size;
    };
    const Case cases[] = {
        {1000, 500, 1, {200, 100}}, {3, 5, 8, {3, 5}}, {5000, 1, 24, {200, 1}}, {1, 5000, 32, {1, 200}}};
    for (const Case& c : cases) {
        const auto bitmap = *imaging::Bitmap::create(c.width, c.height, c.bits, {});
        EXPECT_EQ(preview_picture(bitmap, kBox).size(), c.size);
    }
    EXPECT_TRUE(preview_picture({}, kBox).isNull());
}

// --- Questions and answers ---

class PreviewQueryTest : public FolderTest {
  protected:
    PreviewQueryTest() {
        QObject::connect(&query, &PreviewQuery::answered,
                         [this](const PreviewAnswer& answer) { answers.push_back(answer); });
    }
    const PreviewAnswer& ask(const QString& file, int page = 1) {
        answers.clear();
        query.ask(file, page, kBox);
        EXPECT_TRUE(wait_for([this] { return !answers.empty() && answers.back().complete; }));
        return answers.back();
    }

    std::vector<PreviewAnswer> answers;
    PreviewQuery query;
};

TEST_F(PreviewQueryTest, FactsComeFirstThenThePicture) {
    const auto& answer = ask(write("a.pic", "PIC 400 300 5 0 300 0"), 3);
    ASSERT_EQ(answers.size(), 2u);
    EXPECT_TRUE(answers[0].readable);
    EXPECT_TRUE(answers[0].picture.isNull());
    EXPECT_EQ(answer.info.width, 400);
    EXPECT_EQ(answer.info.pages, 5);
    EXPECT_EQ(answer.file_size, 21);
    EXPECT_EQ(answer.picture.size(), QSize(200, 150));
    EXPECT_TRUE(answer.remark.isEmpty());
    EXPECT_EQ(imaging::last_page, 3);
}

TEST_F(PreviewQueryTest, StampsSaveTheDecodeWhenLargeEnough) {
    struct Case {
        const char* script;
        int page, stamps, decodes;
    };
    const Case cases[] = {{"PIC 4000 4000 2 160 4000 0", 1, 1, 0},   // good enough
                          {"PIC 4000 4000 2 40 4000 0", 1, 1, 1},    // shown first, then replaced
                          {"PIC 4000 4000 2 160 4000 0", 2, 0, 1}};  // of another page
    for (const Case& c : cases) {
        imaging::decodes = imaging::stamps = 0;
        const auto& answer = ask(write("a.pic", c.script), c.page);
        EXPECT_FALSE(answer.picture.isNull());
        EXPECT_EQ(imaging::stamps, c.stamps) << c.script;
        EXPECT_EQ(imaging::decodes, c.decodes) << c.script;
    }
}

TEST_F(PreviewQueryTest, LargeImagesAreReducedOrLeftAlone) {
    struct Case {
        const char* script;
        int reduce;  // 0: not decoded
    };
    const Case cases[] = {{"JIC 4000 3000 1 0 3000 0", 8},   {"JIC 500 500 1 0 500 0", 2},
                          {"JIC 300 300 1 0 300 0", 1},      {"PIC 4000 3000 1 0 3000 0", 1},
                          {"PIC 9000 9000 1 0 9000 0", 0},   {"JIC 9000 9000 1 0 9000 0", 8},
                          {"JIC 20000 20000 1 0 20000 0", 0}};
    for (const Case& c : cases) {
        imaging::last_reduce = 0;
        const auto& answer = ask(write("a.pic", c.script));
        EXPECT_TRUE(answer.readable);
        EXPECT_EQ(imaging::last_reduce, c.reduce) << c.script;
        EXPECT_EQ(answer.remark, c.reduce == 0 ? "Too large for a preview" : "") << c.script;
        EXPECT_EQ(answer.picture.isNull(), c.reduce == 0);
    }
}

TEST_F(PreviewQueryTest, SaysWhatIsWrong) {
    struct Case {
        QString file, remark;
    };
    const Case unreadable[] = {{path("none.pic"), "File not found"},
                               {folder.path(), "Not able to open file"},
                               {write("empty.pic", ""), "Error reading file"},
                               {write("notes.txt", "hello"), "Invalid file format"},
                               {write("broken.pic", "PIC 3"), "Invalid file format"}};
    for (const Case& c : unreadable) {
        const auto& answer = ask(c.file);
        EXPECT_FALSE(answer.readable);
        EXPECT_EQ(answer.remark, c.remark) << c.file.toStdString();
    }
    const auto& damaged = ask(write("damaged.pic", "PIC 40 30 1 0 12 0"));
    EXPECT_EQ(damaged.remark, "Damaged: 12 of 30 rows can be read");
    EXPECT_FALSE(damaged.picture.isNull());
}

TEST_F(PreviewQueryTest, ANewQuestionStopsTheOldOne) {
    query.ask(write("endless.pic", "PIC 40 30 1 0 30 1"), 1, kBox);
    ASSERT_TRUE(wait_for([] { return imaging::endless_started.load(); }));
    // Its facts may be on their way already; from here on they are stale.
    const auto& answer = ask(write("next.pic", "PIC 50 30 1 0 30 0"));
    EXPECT_TRUE(wait_for([] { return imaging::endless_stopped.load(); }));
    EXPECT_EQ(answer.info.width, 50);
    for (const PreviewAnswer& each : answers) EXPECT_EQ(each.file, path("next.pic"));
}

// A picture of one colour as a file of a real format.
QByteArray encoded(const imaging::Codec& codec, int format_code, int width, int height,
                   imaging::Rgba colour) {
    auto bitmap = *imaging::Bitmap::create(width, height, 24, {});
    for (int y = 0; y < height; ++y) {
        auto row = bitmap.writable_row(y);
        for (std::size_t x = 0; x + 2 < row.size(); x += 3)
            row[x] = colour.r, row[x + 1] = colour.g, row[x + 2] = colour.b;
    }
    imaging::MemoryWriter out;
    imaging::WriteOptions options;
    options.format_code = format_code;
    EXPECT_TRUE(codec.encode(bitmap, out, options));
    const auto& bytes = out.bytes();
    return {reinterpret_cast<const char*>(bytes.data()), static_cast<qsizetype>(bytes.size())};
}

// Pages bound into one file: a signature, the offsets ended by 0, the pages.
QByteArray bound(const std::vector<QByteArray>& pages) {
    QByteArray head = QByteArray::fromHex("b168de3a"), body;
    const auto start = static_cast<std::uint32_t>(4 * (pages.size() + 2));
    const auto put = [&head](std::uint32_t value) {
        for (int shift = 0; shift < 32; shift += 8) head.append(static_cast<char>(value >> shift));
    };
    for (const QByteArray& page : pages) {
        put(start + static_cast<std::uint32_t>(body.size()));
        body += page;
    }
    put(0);
    return head + body;
}

TEST_F(PreviewQueryTest, RealFilesThroughTheirCodecs) {
    const auto& bitmap = ask(write("flat.bmp", encoded(imaging::codecs::bmp, 6, 16, 9, {10, 20, 30})));
    EXPECT_EQ(bitmap.info.format_code, 6);
    EXPECT_EQ(bitmap.info.bits, 24);
    ASSERT_EQ(bitmap.picture.size(), QSize(16, 9));
    EXPECT_EQ(bitmap.picture.pixelColor(15, 8), QColor(10, 20, 30));

    const QString pages =
        write("pages.dcx", bound({encoded(imaging::codecs::pcx, 1, 16, 9, {1, 2, 3}),
                                  encoded(imaging::codecs::pcx, 1, 24, 18, {200, 100, 50})}));
    const auto& second = ask(pages, 2);
    EXPECT_EQ(second.info.pages, 2);
    EXPECT_EQ(second.info.page, 2);
    ASSERT_EQ(second.picture.size(), QSize(24, 18));
    EXPECT_EQ(second.picture.pixelColor(0, 0), QColor(200, 100, 50));
}

// --- The dialog ---

class OpenDialogTest : public FolderTest {
  protected:
    void SetUp() override {
        FolderTest::SetUp();
        start_folder = QDir::currentPath();
        write("one.PIC", "PIC 400 300 3 0 300 0");
        write("two.pic", "PIC 80 60 1 0 60 0");
        write("three.jff", "JIC 90 60 1 0 60 0");
        write("README", "text");
        request.filter = "All Files (*.*)|*.*|Pictures (*.pic)|*.pic|JPEG (*.jpg)|*.jpg;*.jff;*.jtf|||";
        request.initial_dir = folder.path();
        request.title = "Open File";
    }
    void TearDown() override {
        dialog.reset();
        QDir::setCurrent(start_folder);
    }

    void open(int rows) {
        dialog = std::make_unique<OpenDialog>(request);
        dialog->show();
        wait_for_rows(rows);
    }
    void wait_for_rows(int rows) {
        EXPECT_TRUE(wait_for([&] { return shown_names().size() == rows; }))
            << shown_names().join(' ').toStdString();
    }
    QAbstractItemView& list() { return *dialog->findChild<QAbstractItemView*>("listView"); }
    QStringList shown_names() {
        QStringList names;
        const QModelIndex root = list().rootIndex();
        for (int row = 0; row < list().model()->rowCount(root); ++row) {
            names.append(list().model()->index(row, 0, root).data().toString());
        }
        return names;
    }
    void select(const QStringList& names) {
        list().setFocus();
        list().clearSelection();
        const QModelIndex root = list().rootIndex();
        for (const QString& name : names) {
            const QModelIndexList found =
                list().model()->match(list().model()->index(0, 0, root), Qt::DisplayRole, name, 1,
                                      Qt::MatchFixedString | Qt::MatchCaseSensitive);
            ASSERT_EQ(found.size(), 1) << name.toStdString();
            list().selectionModel()->select(found.first(),
                                            QItemSelectionModel::Select | QItemSelectionModel::Rows);
        }
    }
    QString fact(const char* name) { return dialog->findChild<QLabel*>(name)->text(); }
    QSpinBox& page_box() { return *dialog->findChild<QSpinBox*>("previewPage"); }
    QString remark() { return dialog->findChild<QWidget*>("previewPicture")->accessibleDescription(); }

    QString start_folder;
    OpenRequest request;
    std::unique_ptr<OpenDialog> dialog;
};

TEST_F(OpenDialogTest, FiltersWithoutRegardToCase) {
    request.filter_index = 2;
    open(2);
    EXPECT_EQ(dialog->windowTitle(), "Open File");
    EXPECT_EQ(shown_names(), (QStringList{"one.PIC", "two.pic"}));
    auto* types = dialog->findChild<QComboBox*>("fileTypeCombo");
    ASSERT_EQ(types->count(), 3);
    EXPECT_EQ(types->currentText(), "Pictures (*.pic)");
    types->setCurrentIndex(2);
    emit types->activated(2);
    wait_for_rows(1);
    EXPECT_EQ(shown_names(), QStringList{"three.jff"});
    types->setCurrentIndex(0);
    emit types->activated(0);
    wait_for_rows(4);
    EXPECT_TRUE(shown_names().contains("README"));
}

TEST_F(OpenDialogTest, AnImpossibleFilterIndexShowsTheFirstEntry) {
    for (const int index : {0, 28, -1}) {
        request.filter_index = index;
        open(4);
        EXPECT_EQ(dialog->findChild<QComboBox*>("fileTypeCombo")->currentIndex(), 0);
    }
}

TEST_F(OpenDialogTest, ShowsFactsAndTakesThePage) {
    open(4);
    EXPECT_FALSE(page_box().isEnabled());
    select({"one.PIC"});
    ASSERT_TRUE(wait_for([this] { return page_box().isEnabled(); }));
    EXPECT_EQ(fact("factFormat"), "ZSoft PCX");
    EXPECT_EQ(fact("factSize"), QString::fromUtf8("400 × 300 pixels"));
    EXPECT_EQ(fact("factDepth"), "24 bits per pixel");
    EXPECT_EQ(fact("factPages"), "3");
    EXPECT_EQ(fact("factFileSize"), "21 bytes");
    EXPECT_EQ(fact("factCompression"), "Runs");
    EXPECT_EQ(fact("factResolution"), QString::fromUtf8("300 × 150 dpi"));
    EXPECT_EQ(fact("previewPageCount"), "of 3");
    EXPECT_EQ(page_box().maximum(), 3);
    page_box().setValue(2);
    EXPECT_TRUE(wait_for([] { return imaging::last_page == 2; }));
    dialog->accept();
    EXPECT_EQ(dialog->result(), QDialog::Accepted);
    EXPECT_EQ(dialog->file_names(), QStringList{path("one.PIC")});
    EXPECT_EQ(dialog->page(), 2);
    EXPECT_EQ(QDir::current().canonicalPath(), QDir{folder.path()}.canonicalPath());
}

TEST_F(OpenDialogTest, AnotherFileStartsAtItsFirstPage) {
    open(4);
    select({"one.PIC"});
    ASSERT_TRUE(wait_for([this] { return page_box().isEnabled(); }));
    page_box().setValue(3);
    select({"two.pic"});
    ASSERT_TRUE(wait_for([this] { return fact("factSize").startsWith("80"); }));
    EXPECT_FALSE(page_box().isEnabled());
    dialog->accept();
    EXPECT_EQ(dialog->page(), 1);
}

TEST_F(OpenDialogTest, TakesSeveralFiles) {
    open(4);
    select({"two.pic", "three.jff"});
    EXPECT_TRUE(wait_for([this] { return fact("previewTitle").startsWith("First of 2: "); }));
    dialog->accept();
    EXPECT_EQ(dialog->file_names(), (QStringList{path("three.jff"), path("two.pic")}));
}

TEST_F(OpenDialogTest, UnknownFilesSayWhyAndCanStillBeChosen) {
    open(4);
    select({"README"});
    EXPECT_TRUE(wait_for([this] { return remark() == "Invalid file format"; }));
    EXPECT_TRUE(fact("factSize").isEmpty());
    dialog->accept();
    EXPECT_EQ(dialog->file_names(), QStringList{path("README")});
}

TEST_F(OpenDialogTest, TypedNamesGoBeforeTheSelection) {
    ASSERT_TRUE(QDir{folder.path()}.mkdir("deeper"));
    open(5);
    select({"one.PIC"});
    auto* edit = dialog->findChild<QLineEdit*>("fileNameEdit");
    edit->setText("missing.pic");
    dialog->accept();
    EXPECT_TRUE(dialog->isVisible());
    EXPECT_EQ(remark(), "File not found");
    EXPECT_EQ(QDir::currentPath(), start_folder);

    edit->setText("deeper");
    dialog->accept();
    EXPECT_TRUE(dialog->isVisible());
    EXPECT_EQ(dialog->directory().dirName(), "deeper");

    edit->setText(path("two.pic"));
    dialog->accept();
    EXPECT_FALSE(dialog->isVisible());
    EXPECT_EQ(dialog->file_names(), QStringList{path("two.pic")});
}

TEST_F(OpenDialogTest, NamesMayHoldQuotationMarks) {
    const QString name = "a \"quoted\" name.pic";
    write(name, "PIC 70 60 1 0 60 0");
    open(5);
    select({name});
    EXPECT_TRUE(wait_for([this] { return fact("factSize").startsWith("70"); }));
    dialog->accept();
    EXPECT_EQ(dialog->file_names(), QStringList{path(name)});
}

TEST_F(OpenDialogTest, OpeningAFolderEntersIt) {
    ASSERT_TRUE(QDir{folder.path()}.mkdir("deeper"));
    open(5);
    select({"deeper"});
    dialog->accept();
    EXPECT_TRUE(dialog->isVisible());
    EXPECT_EQ(dialog->directory().dirName(), "deeper");
    EXPECT_TRUE(dialog->file_names().isEmpty());
}

TEST_F(OpenDialogTest, CancelChangesNothing) {
    open(4);
    select({"two.pic"});
    dialog->reject();
    EXPECT_EQ(dialog->result(), QDialog::Rejected);
    EXPECT_TRUE(dialog->file_names().isEmpty());
    EXPECT_EQ(QDir::currentPath(), start_folder);
}

}  // namespace
}  // namespace engine
}  // namespace quillmark

int main(int argc, char** argv) {
    ::testing::InitGoogleTest(&argc, argv);
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) qputenv("QT_QPA_PLATFORM", "offscreen");
    // The dialog remembers its columns and history; not in the tester's own settings.
    QTemporaryDir settings;
    qputenv("XDG_CONFIG_HOME", settings.path().toLocal8Bit());
    QApplication application{argc, argv};
    QLocale::setDefault(QLocale::c());
    return RUN_ALL_TESTS();
}
