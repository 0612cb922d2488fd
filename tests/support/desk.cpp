#include "support/desk.h"

#include "files/open.h"

namespace quillmark::test {

void Desk::open(const QString& file) {
    frame_->state().CurrentFileName = file;
    std::int16_t page = 0;
    files::OpenFile(*frame_, file, page);
}

}  // namespace quillmark::test
