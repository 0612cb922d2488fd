#include "imaging/load.h"

#include <algorithm>
#include <array>
#include <utility>

#include "imaging/convert_depth.h"
#include "imaging/ops/geometry.h"
#include "text/paths.h"

namespace quillmark::imaging {
namespace {

constexpr std::size_t kHead = 4096;

// Passes progress on, but no rows: what arrives is not what will be shown (it still has to be turned).
class ProgressOnly final : public RowSink {
  public:
    explicit ProgressOnly(RowSink& sink) : sink_{sink} {}
    bool rows(const Bitmap& bitmap, int, int, std::int64_t done, std::int64_t total) override {
        return sink_.rows(bitmap, 0, 0, done, total);
    }

  private:
    RowSink& sink_;
};

bool lists_extension(const Codec& codec, const std::string& extension) {
    return std::ranges::find(codec.extensions, extension) != codec.extensions.end();
}

const Codec* detect_by_name(std::span<const std::uint8_t> head, const std::string& extension) {
    const Codec* guess = nullptr;
    int guesses = 0;
    for (const Codec* codec : all_codecs()) {
        if (codec->has_signature || !codec->probe(head)) continue;
        if (lists_extension(*codec, extension)) return codec;
        guess = codec;
        ++guesses;
    }
    // A misnamed file without a signature is opened only when just one format can be meant.
    return guesses == 1 ? guess : nullptr;
}

// Brings a decoded page into the shape that was asked for: upright, and at the wanted depth.
Result<Outcome> finish(Outcome outcome, const LoadOptions& options) {
    if (options.apply_orientation && outcome.bitmap.metadata().orientation != Orientation::normal) {
        auto turned = apply_orientation(outcome.bitmap, options.limits);
        if (!turned) return turned.error();
        outcome.bitmap = std::move(*turned);
    }
    if (options.bits != 0 && options.bits != outcome.bitmap.bits()) {
        auto converted = convert_depth(outcome.bitmap, options.bits, options.limits);
        if (!converted) return converted.error();
        outcome.bitmap = std::move(*converted);
    }
    return outcome;
}

}  // namespace

Result<const Codec*> detect(const std::shared_ptr<const Source>& source, std::string_view file_name) {
    std::array<std::uint8_t, kHead> buffer{};
    const auto head = std::span<const std::uint8_t>{buffer}.first(source->read_at(0, buffer));
    if (head.empty()) return Error{Fault::truncated, "empty file"};
    for (const Codec* codec : all_codecs()) {
        if (codec->has_signature && codec->probe(head)) return codec;
    }
    if (const Codec* codec = detect_by_name(head, text::lower_ascii(text::extension_of(file_name))))
        return codec;
    return Error{Fault::unknown_format, "signature"};
}

Result<ImageInfo> read_info(const std::shared_ptr<const Source>& source, std::string_view file_name,
                            const ReadOptions& options) {
    const auto codec = detect(source, file_name);
    if (!codec) return codec.error();
    auto info = (*codec)->info(ByteReader{source}, options);
    if (!info) return info;
    const auto size = Bitmap::check_size(info->width, info->height, info->bits, options.limits);
    if (!size) return size.error();
    if (options.apply_orientation && swaps_sides(info->orientation)) std::swap(info->width, info->height);
    return info;
}

Result<ImageInfo> read_info(const std::string& path, const ReadOptions& options) {
    const auto source = open_file(path);
    if (!source) return source.error();
    return read_info(*source, path, options);
}

Result<Outcome> load(const std::shared_ptr<const Source>& source, std::string_view file_name,
                     const LoadOptions& options, RowSink& sink) {
    const auto codec = detect(source, file_name);
    if (!codec) return codec.error();
    ProgressOnly progress{sink};
    bool shown_as_decoded = true;
    if (options.apply_orientation) {
        const auto info = (*codec)->info(ByteReader{source}, options);
        shown_as_decoded = info && info->orientation == Orientation::normal;
    }
    auto outcome = (*codec)->decode(ByteReader{source}, options, shown_as_decoded ? sink : progress);
    if (!outcome) return outcome;
    return finish(std::move(*outcome), options);
}

Result<Outcome> load(const std::string& path, const LoadOptions& options, RowSink& sink) {
    const auto source = open_file(path);
    if (!source) return source.error();
    return load(*source, path, options, sink);
}

Result<Outcome> load_stamp(const std::shared_ptr<const Source>& source, std::string_view file_name,
                           const LoadOptions& options) {
    const auto codec = detect(source, file_name);
    if (!codec) return codec.error();
    if (!(*codec)->stamp) return Error{Fault::no_stamp, "format"};
    auto outcome = (*codec)->stamp(ByteReader{source}, options);
    if (!outcome) return outcome;
    return finish(std::move(*outcome), options);
}

Result<Outcome> load_stamp(const std::string& path, const LoadOptions& options) {
    const auto source = open_file(path);
    if (!source) return source.error();
    return load_stamp(*source, path, options);
}

}  // namespace quillmark::imaging
