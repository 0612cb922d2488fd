#include "settings/settings.h"

#include <utility>

#include "platform/registry_store.h"

namespace quillmark::settings {

namespace {

using platform::RegistryStore;

RegistryStore::Hive hive_of(Root root) {
    return root == Root::HKEY_LOCAL_MACHINE ? RegistryStore::Hive::local_machine
                                            : RegistryStore::Hive::classes_root;
}

}  // namespace

Settings::Settings(RegistryStore& store, std::function<void(const QString& message)> report)
    : store_{store}, report_{std::move(report)} {}

void Settings::SetKeyValue(Root root, const QString& key, const QString& name, const QString& text) {
    if (store_.set_value(hive_of(root), key, name, text)) return;
    if (report_)
        report_(QStringLiteral("Error writing ") + name + QStringLiteral(" in the system registry."));
}

QString Settings::QueryKeyValue(Root root, const QString& key, const QString& name) const {
    QString text = store_.value(hive_of(root), key, name).value_or(QString{});
    return text.size() <= kLongestValue ? text : QString{};
}

std::span<const Setting> all_settings() {
    static const Setting kRows[] = {
        {keys::kImageProcessing, "Left", "frame"},
        {keys::kImageProcessing, "Top", "frame"},
        {keys::kImageProcessing, "Width", "frame"},
        {keys::kImageProcessing, "Height", "frame"},
        {keys::kImageProcessing, "BrightnessInc", "frame", "5"},
        {keys::kImageProcessing, "ContrastInc", "frame", "5"},
        {keys::kImageProcessing, "HueInc", "frame", "5"},
        {keys::kImageProcessing, "GammaInc", "frame", "5"},
        {keys::kImageProcessing, "Text", "operations"},
        {keys::kSettings, "ImageFile1", "frame"},
        {keys::kSettings, "ImageFile2", "frame"},
        {keys::kSettings, "ImageFile3", "frame"},
        {keys::kSettings, "ImageFile4", "frame"},
        {keys::kDirectories, "ImageOpenDir", "files"},
        {keys::kDirectories, "ImageSaveDir", "files"},
        {keys::kFilesParameters, "ImageOpenFormat", "files"},
        {keys::kFilesParameters, "ImageSaveFormat", "files"},
        {keys::kFilesParameters, "ImageSaveBits", "files"},
        {keys::kEditor, "FontName", "operations"},
        {keys::kEditor, "FontSize", "operations"},
        {keys::kEditor, "FontBold", "operations"},
        {keys::kEditor, "FontItalic", "operations"},
        {keys::kEditor, "FontColor", "operations"},
        {keys::kEditor, "TextXOffset", "operations"},
        {keys::kEditor, "TextYOffset", "operations"},
        {keys::kEditor, "TextAngle", "operations"},
        {keys::kHardCopy, "PrintLeft", "printing"},
        {keys::kHardCopy, "PrintTop", "printing"},
        {keys::kHardCopy, "PreserveRatio", "printing"},
        {keys::kHardCopy, "SpinIncrement", "printing", "10"},
        {keys::kPrintFrm, "Left", "printing"},
        {keys::kPrintFrm, "Top", "printing"},
        {keys::kOptions, "DitherPaint", "printing"},
        {keys::kOptions, "SystemTitleBar", "frame"},
        {keys::kOptions, "Theme", "frame"},
        {keys::kFilesAssociation, "UseVellumIcon", "files"},
        {keys::kFilesAssociation, "Left", "files"},
        {keys::kFilesAssociation, "Top", "files"},
    };
    return kRows;
}

bool seed_first_run(RegistryStore& store) {
    constexpr auto kHive = RegistryStore::Hive::local_machine;
    if (store.key_exists(kHive, keys::kQuillmark)) return false;
    bool all_written = true;
    for (const Setting& row : all_settings()) {
        if (!row.first_value) continue;
        all_written &= store.set_value(kHive, row.key, QString::fromLatin1(row.name),
                                       QString::fromLatin1(row.first_value));
    }
    return all_written;
}

}  // namespace quillmark::settings
