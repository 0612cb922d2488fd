#include "platform/program_folder.h"

#include <gtest/gtest.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QGuiApplication>
#include <QTemporaryDir>

#include "platform/screen.h"
#include "platform/shell.h"

namespace quillmark::platform {
namespace {

class FolderTest : public testing::Test {
  protected:
    void SetUp() override { qputenv("QUILLMARK_SETTINGS_DIR", temporary_.filePath("settings").toUtf8()); }
    void TearDown() override {
        qunsetenv("QUILLMARK_SETTINGS_DIR");
        qunsetenv("QUILLMARK_PROGRAM_DIR");
    }
    /// Creates the file with the folders above it; returns its whole path.
    QString make(const QString& name) {
        const QString path = temporary_.filePath(name);
        EXPECT_TRUE(QDir{}.mkpath(QFileInfo{path}.path()));
        QFile file{path};
        EXPECT_TRUE(file.open(QIODevice::WriteOnly));
        return path;
    }
    QString at(const QString& name) const { return temporary_.filePath(name); }

    QTemporaryDir temporary_{QDir::tempPath() + "/quillmark-XXXXXX"};
};

TEST_F(FolderTest, TheProgramFolderIsWritable) {
    const QString user = at("user");
    EXPECT_EQ(choose_program_folder(temporary_.path(), user), temporary_.path() + "/");
    EXPECT_EQ(choose_program_folder("/usr/bin", user), user + "/");
    EXPECT_EQ(choose_program_folder("/opt/quillmark/", user), user + "/");
    EXPECT_EQ(choose_program_folder(make("file"), user), user + "/");
    EXPECT_EQ(choose_program_folder("", user), user + "/");

    qputenv("QUILLMARK_PROGRAM_DIR", at("chosen").toUtf8());
    EXPECT_EQ(program_folder(), at("chosen") + "/");
    EXPECT_TRUE(QFileInfo{at("chosen")}.isDir());
    EXPECT_EQ(settings_folder(), at("settings") + "/");
}

TEST_F(FolderTest, NamesResolveWithoutCase) {
    make("Pics/Cat.BMP");
    make("Pics/twin.bmp");
    make("Pics/Twin.bmp");
    make("Pics/ÄÖ Größe.png");
    make("Pics/exact.png");
    make("Pics/İstanbul.gif");
    const struct {
        const char *asked, *found;
    } kCases[] = {{"pics/cat.bmp", "Pics/Cat.BMP"},
                  {"PICS/CAT.bmp", "Pics/Cat.BMP"},
                  {"Pics/exact.png", "Pics/exact.png"},
                  {"pics/äö größe.png", "Pics/ÄÖ Größe.png"},
                  {"pics/äö groesse.png", "pics/äö groesse.png"},
                  {"pics/i̇stanbul.gif", "Pics/İstanbul.gif"},
                  {"pics/TWIN.bmp", "pics/TWIN.bmp"},  // two match
                  {"pics/twin.bmp", "Pics/twin.bmp"},  // below the match, this spelling is exact
                  {"pics/none.bmp", "pics/none.bmp"},
                  {"pics/cat.bmp/x", "pics/cat.bmp/x"},
                  {"pics/", "Pics/"},
                  {"pics/../pics/cat.bmp", "Pics/../Pics/Cat.BMP"}};
    for (const auto& c : kCases) EXPECT_EQ(resolve_without_case(at(c.asked)), at(c.found)) << c.asked;
    EXPECT_EQ(resolve_without_case(""), "");

    const QString here = QDir::currentPath();
    ASSERT_TRUE(QDir::setCurrent(temporary_.path()));
    EXPECT_EQ(resolve_without_case("pics/cat.bmp"), "Pics/Cat.BMP");
    QDir::setCurrent(here);
}

TEST_F(FolderTest, TheSpellingLastRememberedDecides) {
    const QString upper = make("Twin.bmp"), shouted = make("TWIN.bmp"), odd = make("Quote\"\nİ.bmp");
    const QString asked = at("twin.bmp");
    EXPECT_EQ(resolve_without_case(asked), asked);
    remember_spelling(upper);
    remember_spelling(odd);
    EXPECT_EQ(resolve_without_case(asked), upper);
    remember_spelling(shouted);
    EXPECT_EQ(resolve_without_case(asked), shouted);
    EXPECT_EQ(resolve_without_case(odd.toLower()), odd);

    ASSERT_TRUE(QFile::remove(shouted));
    EXPECT_EQ(resolve_without_case(asked), upper) << "a spelling that is gone gives way to the only match";
}

TEST_F(FolderTest, TheMemoryOfSpellingsIsBounded) {
    make("settings/spellings.txt");
    QFile file{settings_folder() + "spellings.txt"};
    ASSERT_TRUE(file.open(QIODevice::ReadWrite));
    for (int i = 199; i >= 0; --i) file.write(QStringLiteral("\"/Pics/%1.bmp\"\n").arg(i).toUtf8());
    file.close();
    remember_spelling("/PICS/7.bmp");
    remember_spelling("/Pics/200.bmp");
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    const QByteArrayList lines = file.readAll().trimmed().split('\n');
    EXPECT_EQ(lines.size(), 200);
    EXPECT_EQ(lines.first(2), (QByteArrayList{"\"/Pics/200.bmp\"", "\"/PICS/7.bmp\""}));
    EXPECT_FALSE(lines.contains("\"/Pics/7.bmp\""));
    EXPECT_EQ(lines.last(), "\"/Pics/1.bmp\"");
}

TEST_F(FolderTest, WithoutASettingsFolderNothingIsRemembered) {
    qputenv("QUILLMARK_SETTINGS_DIR", make("file").toUtf8());
    const QString path = make("Cat.bmp");
    remember_spelling(path);
    EXPECT_EQ(resolve_without_case(at("cat.bmp")), path);
}

TEST(Screen, MeasuresAreUsable) {
    EXPECT_EQ(twips_per_pixel_x(nullptr), 15);
    EXPECT_EQ(screen_bits_per_pixel(nullptr), 24);
    const QScreen* screen = QGuiApplication::primaryScreen();
    ASSERT_NE(screen, nullptr);
    EXPECT_DOUBLE_EQ(twips_per_pixel_x(screen) * screen->logicalDotsPerInchX(), 1440);
    EXPECT_DOUBLE_EQ(twips_per_pixel_y(screen) * screen->logicalDotsPerInchY(), 1440);
    EXPECT_GE(screen_bits_per_pixel(screen), 1);
}

TEST_F(FolderTest, AMissingDocumentDoesNotOpen) { EXPECT_FALSE(open_document(at("none.txt"))); }

}  // namespace
}  // namespace quillmark::platform

int main(int argc, char** argv) {
    if (!qEnvironmentVariableIsSet("QT_QPA_PLATFORM")) qputenv("QT_QPA_PLATFORM", "offscreen");
    const QGuiApplication application{argc, argv};
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
