#include "imaging/codec.h"

namespace quillmark::imaging::codecs {
namespace {
bool probe(std::span<const std::uint8_t>) { return false; }
Result<ImageInfo> info(ByteReader, const ReadOptions&) { return Error{Fault::unsupported, "x"}; }
Result<Outcome> decode(ByteReader, const ReadOptions&, RowSink&) { return Error{Fault::unsupported, "x"}; }
}
extern const Codec gif;
const Codec gif{"GIF", {}, {}, Pages::one, false, true, probe, info, decode, nullptr, nullptr};
}
