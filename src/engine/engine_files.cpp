// Files: facts, loading, stamps, saving.
#include <QFile>
#include <QFileInfo>

#include "engine/engine.h"
#include "engine/loading.h"
#include "imaging/load.h"
#include "imaging/result_codes.h"
#include "imaging/save.h"
#include "text/numbers.h"

namespace quillmark::engine {
namespace {

std::string native(const QString& name) { return QFile::encodeName(name).toStdString(); }

imaging::LoadOptions options_for(int bits, int page) {
    imaging::LoadOptions options;
    options.page = std::max(page, 1);
    options.bits = bits;
    return options;
}

}  // namespace

std::int64_t bytes_in_memory(int width, int height, int bits) {
    return text::round_half_even(static_cast<double>(width) * height * bits / 8);
}

Code Engine::GetFileInfo(const QString& name, int page) {
    imaging::ReadOptions options;
    options.page = std::max(page, 1);
    const auto info = imaging::read_info(native(name), options);
    if (!info) return static_cast<Code>(imaging::result_code(info.error()));
    info_.format = info->format_code;
    info_.width = info->width;
    info_.height = info->height;
    info_.bits = info->bits;
    info_.page = info->page;
    info_.total_pages = info->pages;
    info_.size_mem = bytes_in_memory(info->width, info->height, info->bits);
    info_.size_disk = QFileInfo{name}.size();
    info_.has_stamp = info->has_stamp;
    info_.resolution = info->resolution;
    info_.compression =
        QString::fromUtf8(info->compression.data(), static_cast<qsizetype>(info->compression.size()));
    return 0;
}

Code Engine::Load(const QString& name, int bits, int page, int) {
    imaging::Result<imaging::Outcome> outcome = imaging::kOutOfMemory;
    // The view reads loading() while the work runs, so it exists before and outlives it.
    Report progress;
    loading_ = std::make_unique<Loading>(
        paint_while_load_,
        [&progress](std::int64_t done, std::int64_t total) { return progress(done, total); },
        [this] { QMetaObject::invokeMethod(this, &Engine::partly_loaded, Qt::QueuedConnection); });
    run([&](const Report& report) {
        progress = report;
        outcome = imaging::load(native(name), options_for(bits, page), *loading_);
    });
    loading_.reset();
    return take(std::move(outcome));
}

Code Engine::LoadStamp(const QString& name) {
    imaging::Result<imaging::Outcome> outcome = imaging::kOutOfMemory;
    run([&](const Report&) { outcome = imaging::load_stamp(native(name), options_for(0, 1)); });
    return take(std::move(outcome));
}

Code Engine::SetPicture(const imaging::Bitmap& picture) {
    if (picture.empty()) return 20002;
    damage_notice_.clear();
    SetBitmap(picture);
    return 0;
}

Code Engine::Save(const QString& name, int format, int bits, int quality, int multi_page_mode) {
    if (bitmap_.empty()) return 20002;
    // No writer adds pages to a file yet: rather nothing than a file that loses the pages it has.
    if (multi_page_mode != 0) return kNotAvailable;
    const imaging::Bitmap snapshot = bitmap_;
    imaging::Result<void> result = imaging::kOutOfMemory;
    run([&](const Report& report) {
        imaging::SaveOptions options;
        options.format_code = format;
        options.bits = bits;
        options.quality = quality;
        options.progress = report;
        result = imaging::save(snapshot, native(name), options);
    });
    return result ? Code{0}
                  : static_cast<Code>(imaging::result_code(result.error(), imaging::Transfer::writing));
}

bool Engine::HasPCDResolution(const QString&, int) const { return false; }

Code Engine::take(imaging::Result<imaging::Outcome> outcome) {
    if (!outcome) return static_cast<Code>(imaging::result_code(outcome.error()));
    note_damage(*outcome);
    SetBitmap(outcome->bitmap);
    return 0;
}

void Engine::note_damage(const imaging::Outcome& outcome) {
    damage_notice_.clear();
    if (outcome.rows_shown >= outcome.rows_declared) return;
    damage_notice_ = tr("The file is damaged or incomplete: %1 of %2 rows could be read.")
                         .arg(outcome.rows_shown)
                         .arg(outcome.rows_declared);
}

}  // namespace quillmark::engine
