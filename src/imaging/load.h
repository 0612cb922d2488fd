// Opening a file: detection, decoding, turning upright, converting to the depth that was asked for.
#pragma once

#include <memory>
#include <string>

#include "imaging/codec.h"

namespace quillmark::imaging {

struct LoadOptions : ReadOptions {
    int bits = 0;  ///< 0 keeps the file's own depth; 1, 4, 8, 16, 24 or 32 converts
};

/// The codec that recognises the content; the name's extension only decides between formats without a
/// signature. Faults: unknown_format, truncated (an empty file).
Result<const Codec*> detect(const std::shared_ptr<const Source>& source, std::string_view file_name);

/// Header facts of a file.
Result<ImageInfo> read_info(const std::string& path, const ReadOptions& options);
Result<ImageInfo> read_info(const std::shared_ptr<const Source>& source, std::string_view file_name,
                            const ReadOptions& options);

/// Decodes one page.
Result<Outcome> load(const std::string& path, const LoadOptions& options, RowSink& sink);
Result<Outcome> load(const std::shared_ptr<const Source>& source, std::string_view file_name,
                     const LoadOptions& options, RowSink& sink);

/// Decodes the file's stamp. Faults: no_stamp, and those of load.
Result<Outcome> load_stamp(const std::string& path, const LoadOptions& options);
Result<Outcome> load_stamp(const std::shared_ptr<const Source>& source, std::string_view file_name,
                           const LoadOptions& options);

}  // namespace quillmark::imaging
