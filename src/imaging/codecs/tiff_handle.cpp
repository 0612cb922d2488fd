#include "imaging/codecs/tiff_handle.h"

#include <algorithm>
#include <cstdio>

namespace quillmark::imaging::tiff {
namespace {

constexpr std::int64_t kMaxBlock = 256 << 20;  // what one allocation of libtiff may take, at least

Handle* self_of(thandle_t handle) { return static_cast<Handle*>(handle); }

}  // namespace

Handle::Handle(const ByteReader& in) : source_{in.source()}, base_{in.base()}, size_{in.size()} {
    // "c": no chopping of one-strip images; their rows are read directly. Strips longer than the usual limit
    // are fine as far as the file really holds them.
    open("rc", std::max(kMaxBlock, size_ + (1 << 20)));
}

Handle::Handle(ByteWriter& out, bool big) : out_{&out} { open(big ? "wl8" : "wl", kMaxBlock); }

Handle::~Handle() { close(); }

void Handle::open(const char* mode, std::int64_t max_block) {
    TIFFOpenOptions* options = TIFFOpenOptionsAlloc();
    if (!options) return;
    TIFFOpenOptionsSetMaxSingleMemAlloc(options, max_block);
    TIFFOpenOptionsSetErrorHandlerExtR(options, note_error, this);
    TIFFOpenOptionsSetWarningHandlerExtR(options, ignore_warning, this);
    tiff_ = TIFFClientOpenExt("image", mode, this, read, write, seek, finish, total, map, unmap, options);
    TIFFOpenOptionsFree(options);
}

bool Handle::close() {
    if (!tiff_) return errors_ == 0;
    TIFFClose(tiff_);
    tiff_ = nullptr;
    return errors_ == 0;
}

std::size_t Handle::read_at(std::int64_t offset, std::span<std::uint8_t> out) const {
    if (offset < 0 || offset >= size_) return 0;
    const auto count = static_cast<std::size_t>(std::min<std::int64_t>(std::ssize(out), size_ - offset));
    return source_->read_at(base_ + offset, out.first(count));
}

tmsize_t Handle::read(thandle_t handle, void* data, tmsize_t size) {
    Handle& self = *self_of(handle);
    if (size <= 0) return 0;
    const std::span<std::uint8_t> out{static_cast<std::uint8_t*>(data), static_cast<std::size_t>(size)};
    const std::size_t count =
        self.out_ ? self.out_->read_at(self.position_, out) : self.read_at(self.position_, out);
    self.position_ += static_cast<std::int64_t>(count);
    return static_cast<tmsize_t>(count);
}

tmsize_t Handle::write(thandle_t handle, void* data, tmsize_t size) {
    Handle& self = *self_of(handle);
    if (!self.out_ || size < 0) return 0;
    ByteWriter& out = *self.out_;
    // libtiff aligns directories by seeking past the end.
    if (self.position_ > out.size()) {
        out.seek(out.size());
        out.zeros(static_cast<std::size_t>(self.position_ - out.size()));
    }
    if (out.position() != self.position_) out.seek(self.position_);
    out.write({static_cast<const std::uint8_t*>(data), static_cast<std::size_t>(size)});
    self.position_ += size;
    return out.failed() ? 0 : size;
}

toff_t Handle::seek(thandle_t handle, toff_t offset, int whence) {
    Handle& self = *self_of(handle);
    const std::int64_t size = self.out_ ? self.out_->size() : self.size_;
    const std::int64_t from = whence == SEEK_CUR ? self.position_ : whence == SEEK_END ? size : 0;
    std::int64_t target = 0;
    if (__builtin_add_overflow(from, static_cast<std::int64_t>(offset), &target) || target < 0)
        return static_cast<toff_t>(-1);
    self.position_ = target;
    return static_cast<toff_t>(target);
}

toff_t Handle::total(thandle_t handle) {
    const Handle& self = *self_of(handle);
    return static_cast<toff_t>(self.out_ ? self.out_->size() : self.size_);
}

int Handle::map(thandle_t handle, void** data, toff_t* size) {
    const Handle& self = *self_of(handle);
    if (self.out_ || !self.source_ || self.source_->memory().empty()) return 0;
    *data = const_cast<std::uint8_t*>(self.source_->memory().data() + self.base_);
    *size = static_cast<toff_t>(self.size_);
    return 1;
}

int Handle::note_error(TIFF*, void* self, const char*, const char*, va_list) {
    ++static_cast<Handle*>(self)->errors_;
    return 1;
}

}  // namespace quillmark::imaging::tiff
