#include "settings/settings.h"

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QFile>
#include <QStringList>
#include <QTemporaryDir>
#include <set>
#include <string_view>

#include "platform/registry_store.h"

namespace quillmark::settings {
namespace {

using platform::RegistryStore;

class SettingsTest : public testing::Test {
  protected:
    QTemporaryDir temporary_;
    QString folder_ = temporary_.filePath("settings");
    QStringList reports_;

    Settings over(RegistryStore& store) {
        return {store, [this](const QString& message) { reports_ += message; }};
    }
};

TEST_F(SettingsTest, ValuesAreWrittenAndReadPerRoot) {
    RegistryStore store{folder_};
    Settings settings = over(store);
    EXPECT_EQ(settings.QueryKeyValue(Root::HKEY_LOCAL_MACHINE, keys::kSettings, "ImageFile1"), "");
    settings.SetKeyValue(Root::HKEY_LOCAL_MACHINE, keys::kSettings, "ImageFile1", "&1 /pics/cat.bmp");
    settings.SetKeyValue(Root::HKEY_CLASSES_ROOT, ".bmp", "", "Quillmark");
    EXPECT_EQ(settings.QueryKeyValue(Root::HKEY_LOCAL_MACHINE, "SOFTWARE\\quillmark\\SETTINGS", "imagefile1"),
              "&1 /pics/cat.bmp");
    EXPECT_EQ(settings.QueryKeyValue(Root::HKEY_CLASSES_ROOT, ".bmp", ""), "Quillmark");
    EXPECT_EQ(settings.QueryKeyValue(Root::HKEY_LOCAL_MACHINE, ".bmp", ""), "");
    EXPECT_TRUE(reports_.isEmpty());
}

TEST_F(SettingsTest, OnlyValuesOfUpTo254CharactersReadBack) {
    const struct {
        int length;
        bool reads_back;
    } kCases[] = {{0, true}, {253, true}, {254, true}, {255, false}, {5000, false}};
    RegistryStore store{folder_};
    Settings settings = over(store);
    for (const auto& c : kCases) {
        const QString text{c.length, u'ä'};
        settings.SetKeyValue(Root::HKEY_LOCAL_MACHINE, keys::kImageProcessing, "Text", text);
        EXPECT_EQ(settings.QueryKeyValue(Root::HKEY_LOCAL_MACHINE, keys::kImageProcessing, "Text"),
                  c.reads_back ? text : QString{});
        EXPECT_EQ(store.value(RegistryStore::Hive::local_machine, keys::kImageProcessing, "Text"), text);
    }
    EXPECT_TRUE(reports_.isEmpty());
}

TEST_F(SettingsTest, AFailedWriteIsReportedByName) {
    QFile file{folder_};
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    RegistryStore store{folder_};
    Settings settings = over(store);
    settings.SetKeyValue(Root::HKEY_LOCAL_MACHINE, keys::kSettings, "ImageFile1", "&1 ");
    settings.SetKeyValue(Root::HKEY_LOCAL_MACHINE, keys::kSettings, "ImageFile2", "&2 ");
    EXPECT_EQ(reports_, (QStringList{"Error writing ImageFile1 in the system registry.",
                                     "Error writing ImageFile2 in the system registry."}));
    EXPECT_EQ(settings.QueryKeyValue(Root::HKEY_LOCAL_MACHINE, keys::kSettings, "ImageFile1"), "");
    Settings{store, nullptr}.SetKeyValue(Root::HKEY_LOCAL_MACHINE, keys::kSettings, "ImageFile1", "");
}

TEST(SettingsTable, EveryRowIsUniqueAndBelowTheProductKey) {
    const std::set<std::string_view> kOwners{"frame", "files", "operations", "printing"};
    std::set<QString> seen;
    for (const Setting& row : all_settings()) {
        EXPECT_TRUE(row.key.startsWith(keys::kQuillmark + "\\")) << row.name;
        EXPECT_TRUE(seen.insert((row.key + "|" + row.name).toCaseFolded()).second) << row.name;
        EXPECT_TRUE(kOwners.contains(row.owner)) << row.owner;
    }
    EXPECT_EQ(seen.size(), 38U);
}

TEST_F(SettingsTest, AFreshStoreIsSeededOnce) {
    RegistryStore store{folder_};
    ASSERT_TRUE(seed_first_run(store));
    Settings settings = over(store);
    int seeded = 0;
    for (const Setting& row : all_settings()) {
        const QString text = settings.QueryKeyValue(Root::HKEY_LOCAL_MACHINE, row.key, row.name);
        EXPECT_EQ(text, row.first_value) << row.name;
        seeded += row.first_value != nullptr;
    }
    EXPECT_EQ(seeded, 5);
    EXPECT_EQ(settings.QueryKeyValue(Root::HKEY_LOCAL_MACHINE, keys::kImageProcessing, "HueInc"), "5");
    EXPECT_EQ(settings.QueryKeyValue(Root::HKEY_LOCAL_MACHINE, keys::kHardCopy, "SpinIncrement"), "10");

    settings.SetKeyValue(Root::HKEY_LOCAL_MACHINE, keys::kImageProcessing, "HueInc", "7");
    ASSERT_TRUE(store.flush());
    RegistryStore next{folder_};
    EXPECT_FALSE(seed_first_run(next));
    EXPECT_EQ(over(next).QueryKeyValue(Root::HKEY_LOCAL_MACHINE, keys::kImageProcessing, "HueInc"), "7");
}

}  // namespace
}  // namespace quillmark::settings

int main(int argc, char** argv) {
    const QCoreApplication application{argc, argv};
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
