#include "platform/registry_store.h"

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QProcess>
#include <QRandomGenerator>
#include <QTemporaryDir>
#include <QThread>
#include <memory>
#include <vector>

#include "platform/registry_hive.h"

namespace quillmark::platform {
namespace {

constexpr auto kLocal = RegistryStore::Hive::local_machine;
constexpr auto kClasses = RegistryStore::Hive::classes_root;
const QString kKey = QStringLiteral("Software\\Quillmark\\Image Processing");

void write_file(const QString& path, const QByteArray& content) {
    QFile file{path};
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    ASSERT_EQ(file.write(content), content.size());
}

QByteArray read_file(const QString& path) {
    QFile file{path};
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray{};
}

class RegistryStoreTest : public testing::Test {
  protected:
    QTemporaryDir temporary_;
    QString folder_ = temporary_.filePath("settings");
    QString hive_path_ = folder_ + "/local_machine.registry";
};

TEST_F(RegistryStoreTest, AnyTextRoundTripsThroughTheFile) {
    const QStringList texts{"",
                            "1200",
                            "  blanks  ",
                            "two\nlines\r\n\ttab",
                            "\"quoted\" and back\\slash\\",
                            "[not a key]",
                            "; no comment",
                            "a\" = \"b",
                            "Größe 写真 \U0001F5BC",
                            QString{QChar{0xD800}} + "half" + QChar{0xDC00},
                            QString{QChar{0}} + QChar{0x1B} + QChar{0x85} + QChar{0x2028},
                            QString{20000, u'x'}};
    {
        RegistryStore store{folder_};
        for (int i = 0; i < texts.size(); ++i) {
            ASSERT_TRUE(store.set_value(kLocal, kKey, texts[i], texts[i]));
            ASSERT_TRUE(store.set_value(kClasses, QStringLiteral("Key %1]\\.写真 [").arg(i), "", texts[i]));
        }
    }
    const RegistryStore store{folder_};
    EXPECT_TRUE(store.broken_files().isEmpty());
    for (int i = 0; i < texts.size(); ++i) {
        EXPECT_EQ(store.value(kLocal, kKey, texts[i]), texts[i]);
        EXPECT_EQ(store.value(kClasses, QStringLiteral("Key %1]\\.写真 [").arg(i), ""), texts[i]);
    }
}

TEST_F(RegistryStoreTest, NamesIgnoreCaseAndKeepTheirFirstSpelling) {
    const struct {
        const char *first, *other;
        bool same;
    } kCases[] = {{"Left", "LEFT", true}, {"Größe", "GRÖßE", true},     {"Ωmega", "ωMEGA", true},
                  {"Жук", "жУК", true},   {"straße", "strasse", false}, {"a b", "ab", false}};
    RegistryStore store{folder_};
    for (const auto& c : kCases) {
        const auto first = QString::fromUtf8(c.first), other = QString::fromUtf8(c.other);
        ASSERT_TRUE(store.set_value(kLocal, first, first, "1"));
        ASSERT_TRUE(store.set_value(kLocal, other + "\\", other, "2"));
        EXPECT_EQ(store.value(kLocal, first, first), c.same ? "2" : "1") << c.first;
        EXPECT_EQ(store.subkeys(kLocal, "").contains(other), !c.same) << c.first;
    }
    ASSERT_TRUE(store.flush());
    EXPECT_TRUE(read_file(hive_path_).contains("[Left]\n\"Left\" = \"2\"\n"));
}

TEST_F(RegistryStoreTest, KeysHaveParentsSubkeysAndDeletion) {
    RegistryStore store{folder_};
    ASSERT_TRUE(store.set_value(kClasses, "Quillmark\\shell\\open\\command", "", "run %1"));
    ASSERT_TRUE(store.create_key(kClasses, "Quillmark\\DefaultIcon"));
    ASSERT_TRUE(store.create_key(kClasses, ".bmp"));
    ASSERT_TRUE(store.create_key(kClasses, "QUILLMARK\\Shell"));
    ASSERT_TRUE(store.create_key(kClasses, "Quillmark2"));
    ASSERT_TRUE(store.flush());
    store.reload();

    EXPECT_EQ(store.subkeys(kClasses, ""), (QStringList{"Quillmark", ".bmp", "Quillmark2"}));
    EXPECT_EQ(store.subkeys(kClasses, "quillmark"), (QStringList{"shell", "DefaultIcon"}));
    EXPECT_TRUE(store.key_exists(kClasses, "quillmark\\SHELL\\Open"));
    EXPECT_FALSE(store.key_exists(kLocal, "Quillmark"));

    EXPECT_FALSE(store.delete_key(kClasses, "Quillmark\\shell"));
    EXPECT_FALSE(store.delete_key(kClasses, "Quillmark\\nothing"));
    EXPECT_FALSE(store.delete_key(kClasses, ""));
    EXPECT_FALSE(store.delete_value(kClasses, ".bmp", ""));
    EXPECT_TRUE(store.delete_value(kClasses, "Quillmark\\shell\\open\\command", ""));
    for (const char* key :
         {"Quillmark\\shell\\open\\command", "Quillmark\\shell\\open", "Quillmark\\SHELL"}) {
        EXPECT_TRUE(store.delete_key(kClasses, key)) << key;
    }
    ASSERT_TRUE(store.flush());
    const RegistryStore other{folder_};
    EXPECT_EQ(other.subkeys(kClasses, "Quillmark"), QStringList{"DefaultIcon"});
    EXPECT_EQ(other.value(kClasses, "Quillmark\\shell\\open\\command", ""), std::nullopt);
}

TEST_F(RegistryStoreTest, ChangesOfTwoInstancesMerge) {
    RegistryStore one{folder_}, two{folder_};
    ASSERT_TRUE(one.set_value(kLocal, kKey, "Kept", "1"));
    ASSERT_TRUE(one.set_value(kLocal, kKey, "Deleted", "1"));
    ASSERT_TRUE(one.flush());
    EXPECT_EQ(two.value(kLocal, kKey, "Kept"), std::nullopt);
    ASSERT_TRUE(two.set_value(kLocal, kKey, "Two", "2"));
    two.reload();
    EXPECT_EQ(two.value(kLocal, kKey, "Kept"), "1");
    EXPECT_EQ(two.value(kLocal, kKey, "Two"), "2");
    ASSERT_TRUE(one.delete_value(kLocal, kKey, "Deleted"));
    ASSERT_TRUE(one.flush());
    ASSERT_TRUE(two.flush());

    const RegistryStore three{folder_};
    EXPECT_EQ(three.value(kLocal, kKey, "Kept"), "1");
    EXPECT_EQ(three.value(kLocal, kKey, "Two"), "2");
    EXPECT_EQ(three.value(kLocal, kKey, "Deleted"), std::nullopt);
}

TEST_F(RegistryStoreTest, TheTimerWrites) {
    RegistryStore store{folder_};
    ASSERT_TRUE(store.set_value(kLocal, kKey, "Left", "1"));
    EXPECT_FALSE(QFile::exists(hive_path_));
    for (const QDeadlineTimer patience{10000}; !QFile::exists(hive_path_) && !patience.hasExpired();) {
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents, 50);
    }
    EXPECT_TRUE(read_file(hive_path_).contains("\"Left\" = \"1\""));
}

TEST_F(RegistryStoreTest, AStoreThatCannotBeWrittenSaysSoAtOnce) {
    write_file(folder_, "a file where the folder should be");
    RegistryStore store{folder_};
    EXPECT_FALSE(store.set_value(kLocal, kKey, "Left", "1"));
    EXPECT_FALSE(store.create_key(kLocal, kKey));
    EXPECT_FALSE(store.key_exists(kLocal, "Software"));
    EXPECT_TRUE(store.flush()) << "nothing is pending";

    ASSERT_TRUE(QFile::remove(folder_));
    EXPECT_TRUE(store.set_value(kLocal, kKey, "Left", "2"));
    ASSERT_TRUE(QDir{}.rmdir(folder_));
    write_file(folder_, "");
    EXPECT_FALSE(store.flush());
    EXPECT_FALSE(store.set_value(kLocal, kKey, "Left", "3"));
    EXPECT_EQ(store.value(kLocal, kKey, "Left"), "2");

    ASSERT_TRUE(QFile::remove(folder_));
    EXPECT_TRUE(store.set_value(kLocal, kKey, "Top", "4"));
    EXPECT_TRUE(store.flush());
    EXPECT_EQ(RegistryStore{folder_}.value(kLocal, kKey, "Left"), "2");
}

TEST_F(RegistryStoreTest, ALockWhoseOwnerDiedUnnamedIsTakenOver) {
    ASSERT_TRUE(QDir{}.mkpath(folder_));
    write_file(folder_ + "/registry.lock", "");
    RegistryStore store{folder_};
    ASSERT_TRUE(store.set_value(kLocal, kKey, "Left", "1"));
    EXPECT_TRUE(store.flush());
}

TEST_F(RegistryStoreTest, WhatIsNoFileIsLeftAlone) {
    ASSERT_TRUE(QDir{}.mkpath(hive_path_));
    RegistryStore store{folder_};
    EXPECT_EQ(store.broken_files(), QStringList{hive_path_});
    EXPECT_FALSE(store.set_value(kLocal, kKey, "Left", "1"));
    EXPECT_TRUE(store.set_value(kClasses, kKey, "Left", "1")) << "the other hive is well";
    EXPECT_TRUE(QDir{hive_path_}.exists());
}

TEST_F(RegistryStoreTest, BrokenFilesAreKeptAside) {
    const QByteArray head = "Quillmark registry, version 1\n";
    const QByteArrayList kBroken{"",
                                 "rubbish",
                                 "Quillmark registry, version 10\n",
                                 head + "\"Left\" = \"no key yet\"\n",
                                 head + "[]\n\"Left\" = \"1\"\n",
                                 head + "[Software\n",
                                 head + "[Software]\n\"Left\" = \"1",
                                 head + "[Software]\n\"Left\" = \"1\" 2\n",
                                 head + "[Software]\n\"Left\" = \"\\q\"\n",
                                 head + "[Software]\n\"Left\" = \"\\u12\"\n",
                                 head + "[Software]\n\"Left\" = \"\xFF\"\n",
                                 head + "[" + QByteArray(2000, 'k') + "]\n",
                                 head + "[Software]\n" + QByteArray(17 << 20, '\n')};
    ASSERT_TRUE(QDir{}.mkpath(folder_));
    int kept = 0;
    for (const QByteArray& content : kBroken) {
        write_file(hive_path_, content);
        RegistryStore store{folder_};
        EXPECT_EQ(store.broken_files(), QStringList{hive_path_}) << content.left(100).constData();
        EXPECT_FALSE(store.key_exists(kLocal, "Software"));
        EXPECT_FALSE(QFile::exists(hive_path_));
        kept = std::min(kept + 1, 10);
        EXPECT_EQ(QDir{folder_}.entryList({"*.broken"}).size(), kept);
        EXPECT_TRUE(store.set_value(kLocal, kKey, "Left", "1"));
        EXPECT_TRUE(store.flush());
    }
    EXPECT_EQ(read_file(hive_path_ + ".broken"), kBroken.first()) << "the oldest keeps its name";
    EXPECT_TRUE(RegistryStore{folder_}.broken_files().isEmpty());
}

TEST(RegistryHive, AHandEditedTextIsRead) {
    const auto hive = RegistryHive::from_text(
        "Quillmark registry, version 1\r\n; note\r\n\r\n[A\\B]\r\n\"x\" = \"1\"\r\n[a\\b]\r\n\"X\" = \"2\"");
    ASSERT_TRUE(hive);
    EXPECT_EQ(hive->value("A\\B", "x"), "2");
}

TEST(RegistryHive, AFullHiveTakesNothingMoreAndStillReadsBack) {
    const QString large{1 << 20, QChar{1}};  // six bytes a character
    RegistryHive hive;
    EXPECT_TRUE(hive.set_value("a", "1", large));
    EXPECT_TRUE(hive.set_value("a", "2", large));
    EXPECT_FALSE(hive.set_value("b\\c", "3", large));
    EXPECT_FALSE(hive.key_exists("b"));
    EXPECT_FALSE(hive.create_key(QString{2000, u'k'}));
    EXPECT_FALSE(hive.create_key("line\nend"));
    EXPECT_FALSE(hive.set_value("", "1", "1")) << "the hive itself holds no values";
    const QByteArray text = hive.to_text();
    EXPECT_LE(text.size(), RegistryHive::kLargestText);
    const auto again = RegistryHive::from_text(text);
    ASSERT_TRUE(again);
    EXPECT_EQ(again->value("a", "2"), large);
    EXPECT_TRUE(hive.set_value("a", "1", "")) << "a smaller value frees room";
    EXPECT_TRUE(hive.set_value("b\\c", "3", large));
}

TEST(RegistryHive, DamagedTextsAreReadOrRefusedNeverHalfUnderstood) {
    RegistryHive hive;
    hive.set_value("Software\\Größe", "Left\n", "\"1\\");
    hive.set_value("Software\\Größe", "", "\U0001F5BC");
    const QByteArray text = hive.to_text();
    ASSERT_TRUE(RegistryHive::from_text(text));
    QRandomGenerator random{7};
    int read = 0, refused = 0;
    for (int at = 0; at < text.size(); ++at) {
        QByteArray changed = text;
        changed[at] = static_cast<char>(random.bounded(256));
        for (const QByteArray& damaged : {text.first(at), changed}) {
            const auto result = RegistryHive::from_text(damaged);
            ++(result ? read : refused);
            if (result) {
                EXPECT_TRUE(RegistryHive::from_text(result->to_text())) << damaged.constData();
            }
        }
    }
    EXPECT_GT(read, 0);
    EXPECT_GT(refused, text.size());
}

// This program starts itself again in these two roles; see main.

int write_hundred(const QString& folder, const QString& tag) {
    RegistryStore store{folder};
    for (int i = 0; i < 100; ++i) {
        if (!store.set_value(kLocal, kKey, tag + QString::number(i), tag)) return 1;
        if (i % 10 == 9 && !store.flush()) return 1;
    }
    return 0;
}

int write_for_ever(const QString& folder) {
    RegistryStore store{folder};
    for (int i = 0;; ++i) {
        if (!store.set_value(kLocal, kKey, "Counter", QString::number(i)) || !store.flush()) return 1;
    }
}

std::unique_ptr<QProcess> start_role(const QStringList& arguments) {
    auto process = std::make_unique<QProcess>();
    process->setProcessChannelMode(QProcess::ForwardedChannels);
    process->start(QCoreApplication::applicationFilePath(), arguments);
    return process;
}

TEST_F(RegistryStoreTest, NothingIsLostBetweenThreeProcesses) {
    const QStringList tags{"a", "b", "c"};
    std::vector<std::unique_ptr<QProcess>> writers;
    for (const QString& tag : tags) writers.push_back(start_role({"--write-hundred", folder_, tag}));
    for (const auto& writer : writers) {
        ASSERT_TRUE(writer->waitForFinished(30000));
        ASSERT_EQ(writer->exitStatus(), QProcess::NormalExit);
        ASSERT_EQ(writer->exitCode(), 0);
    }
    const RegistryStore store{folder_};
    for (const QString& tag : tags) {
        for (int i = 0; i < 100; ++i) EXPECT_EQ(store.value(kLocal, kKey, tag + QString::number(i)), tag);
    }
}

TEST_F(RegistryStoreTest, AKilledWriterLeavesAWholeFileAndNoLock) {
    {
        RegistryStore store{folder_};
        for (int i = 0; i < 500; ++i) store.set_value(kLocal, kKey, QString::number(i), "kept");
    }
    QRandomGenerator random{1};
    for (int round = 0; round < 6; ++round) {
        const QByteArray before = read_file(hive_path_);
        const auto writer = start_role({"--write-for-ever", folder_});
        ASSERT_TRUE(writer->waitForStarted());
        for (const QDeadlineTimer patience{10000};
             read_file(hive_path_) == before && !patience.hasExpired();) {
            QThread::msleep(1);
        }
        ASSERT_NE(read_file(hive_path_), before) << "the writer never wrote";
        QThread::usleep(random.bounded(40000));
        writer->kill();
        ASSERT_TRUE(writer->waitForFinished());
        ASSERT_EQ(writer->exitStatus(), QProcess::CrashExit);

        RegistryStore store{folder_};
        EXPECT_TRUE(store.broken_files().isEmpty());
        EXPECT_EQ(store.value(kLocal, kKey, "499"), "kept");
        EXPECT_TRUE(store.set_value(kLocal, kKey, "Counter", "before " + QString::number(round)));
        EXPECT_TRUE(store.flush()) << "the lock of the dead writer is taken over";
    }
}

}  // namespace
}  // namespace quillmark::platform

int main(int argc, char** argv) {
    const QCoreApplication application{argc, argv};
    const QStringList arguments = QCoreApplication::arguments();
    if (arguments.value(1) == "--write-hundred") {
        return quillmark::platform::write_hundred(arguments.value(2), arguments.value(3));
    }
    if (arguments.value(1) == "--write-for-ever")
        return quillmark::platform::write_for_ever(arguments.value(2));
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
