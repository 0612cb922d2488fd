// libtiff over our own bytes: handles without global state, each with its own error notes and memory limit.
#pragma once

#include <tiffio.h>

#include <cstdint>
#include <memory>

#include "imaging/output.h"
#include "imaging/source.h"

namespace quillmark::imaging::tiff {

/// One open TIFF file. Not movable: libtiff keeps the address.
class Handle {
  public:
    /// Opens for reading; get() is nullptr when there is no first directory that can be used.
    explicit Handle(const ByteReader& in);
    /// Opens for writing, classic or (big) with 64-bit offsets.
    Handle(ByteWriter& out, bool big);
    ~Handle();
    Handle(const Handle&) = delete;
    Handle& operator=(const Handle&) = delete;

    TIFF* get() const { return tiff_; }
    /// Writes what is pending and closes; false when anything failed.
    bool close();

    /// Errors that libtiff reported since it was opened.
    int errors() const { return errors_; }
    /// Bytes of the file that is read.
    std::int64_t size() const { return size_; }
    /// Reads file bytes past libtiff; returns how many there were.
    std::size_t read_at(std::int64_t offset, std::span<std::uint8_t> out) const;

  private:
    void open(const char* mode, std::int64_t max_block);
    static tmsize_t read(thandle_t self, void* data, tmsize_t size);
    static tmsize_t write(thandle_t self, void* data, tmsize_t size);
    static toff_t seek(thandle_t self, toff_t offset, int whence);
    static int finish(thandle_t) { return 0; }
    static toff_t total(thandle_t self);
    static int map(thandle_t self, void** data, toff_t* size);
    static void unmap(thandle_t, void*, toff_t) {}
    static int note_error(TIFF*, void* self, const char*, const char*, va_list);
    static int ignore_warning(TIFF*, void*, const char*, const char*, va_list) { return 1; }

    TIFF* tiff_ = nullptr;
    std::shared_ptr<const Source> source_;
    std::int64_t base_ = 0, size_ = 0;
    ByteWriter* out_ = nullptr;
    std::int64_t position_ = 0;
    int errors_ = 0;
};

}  // namespace quillmark::imaging::tiff
