#include "files/picture_loader.h"

namespace quillmark::files {

Picture load_picture(engine::Engine& shown_by, const QString& name, std::int16_t bits, std::int16_t page) {
    Picture picture;
    picture.code = shown_by.Load(name, bits, page, 1);
    if (picture.code == 0) picture.bitmap = shown_by.Bitmap();
    picture.damage_notice = shown_by.DamageNotice();
    return picture;
}

}  // namespace quillmark::files
