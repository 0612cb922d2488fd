// The picture loader that GIF files go through on their way to SetPicture.
#pragma once

#include <QString>
#include <cstdint>

#include "engine/engine.h"

namespace quillmark::files {

struct Picture {
    engine::Code code = 0;  ///< 0, or why there is no picture
    imaging::Bitmap bitmap;
    QString damage_notice;
};

/// Decodes the page of a picture file at bits per pixel (0: its own) with the progress and the
/// paint-while-load setting of the window that will show it.
Picture load_picture(engine::Engine& shown_by, const QString& name, std::int16_t bits, std::int16_t page);

}  // namespace quillmark::files
