// Saving: conversion to a depth that the format writes, encoding, and the atomic replacement of the target.
#pragma once

#include <string>

#include "imaging/codec.h"

namespace quillmark::imaging {

struct SaveOptions : WriteOptions {
    int bits = 0;  ///< 0: the writable depth nearest to the bitmap's own; else one of the format's depths
};

/// The depth that save would write for this bitmap; 0 when the format cannot be written or not at that depth.
int save_depth(const Bitmap& bitmap, int format_code, int bits);

/// Encodes to a writer. Faults: unsupported (format or depth not written), those of the encoder.
Result<void> save(const Bitmap& bitmap, ByteWriter& out, const SaveOptions& options);
/// Encodes to a file; on any failure an existing file stays as it was.
Result<void> save(const Bitmap& bitmap, const std::string& path, const SaveOptions& options);

}  // namespace quillmark::imaging
