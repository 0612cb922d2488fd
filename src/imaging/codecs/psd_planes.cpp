#include "imaging/codecs/psd_planes.h"

#include <zlib.h>

#include <algorithm>
#include <cstring>

#include "imaging/codecs/packbits.h"

namespace quillmark::imaging::codecs {
namespace {

constexpr std::int64_t kMaxInflation = 1032;  // deflate cannot give more bytes out of one

// Inflates what there is of a zlib stream; returns the bytes delivered.
std::size_t inflate_into(ByteReader in, std::uint8_t* out, std::size_t size) {
    constexpr std::size_t kMost = std::size_t{1} << 30;  // zlib counts in 32 bits
    z_stream stream{};
    if (inflateInit(&stream) != Z_OK) return 0;
    std::size_t done = 0;
    for (int status = Z_OK; status == Z_OK && done < size;) {
        const auto window = in.window();
        if (window.empty()) break;
        stream.next_in = const_cast<Bytef*>(window.data());  // zlib does not write to it
        stream.avail_in = static_cast<uInt>(std::min(window.size(), kMost));
        stream.next_out = out + done;
        stream.avail_out = static_cast<uInt>(std::min(size - done, kMost));
        const uInt had_in = stream.avail_in, had_out = stream.avail_out;
        status = ::inflate(&stream, Z_NO_FLUSH);
        in.advance(had_in - stream.avail_in);
        done += had_out - stream.avail_out;
        if (had_in == stream.avail_in && had_out == stream.avail_out) break;
    }
    inflateEnd(&stream);
    return done;
}

// Samples are stored as differences to their left neighbour. Floats: the bytes of equal weight stand
// together, and each byte is a difference.
void add_up(std::uint8_t* row, std::size_t row_bytes, int depth, std::vector<std::uint8_t>& spare) {
    if (depth == 16) {
        for (std::size_t i = 2; i + 1 < row_bytes; i += 2) {
            const unsigned sum = (row[i - 2] << 8 | row[i - 1]) + (row[i] << 8 | row[i + 1]);
            row[i] = static_cast<std::uint8_t>(sum >> 8);
            row[i + 1] = static_cast<std::uint8_t>(sum);
        }
        return;
    }
    for (std::size_t i = 1; i < row_bytes; ++i) row[i] = static_cast<std::uint8_t>(row[i] + row[i - 1]);
    if (depth != 32) return;
    spare.assign(row, row + row_bytes);
    const std::size_t width = row_bytes / 4;
    for (std::size_t x = 0; x < width; ++x) {
        for (std::size_t k = 0; k < 4; ++k) row[x * 4 + k] = spare[k * width + x];
    }
}

}  // namespace

Result<PsdPlanes> PsdPlanes::open(const ByteReader& in, const PsdFile& file, const Limits& limits) {
    PsdPlanes planes;
    planes.data_ = in.sub(file.pixels_at);
    planes.source_ = in.source();
    planes.memory_ = planes.source_->memory();
    planes.at_ = planes.data_.base();
    planes.row_bytes_ = file.row_bytes();
    planes.height_ = file.height;
    if (file.packing == PsdPacking::runs) {
        planes.packed_ = true;
        if (const auto counts = planes.read_counts(file); !counts) return counts.error();
        return planes;
    }
    std::int64_t size = planes.data_.size();
    if (file.packing != PsdPacking::none) {
        if (const auto inflated = planes.inflate(file, limits); !inflated) return inflated.error();
        size = static_cast<std::int64_t>(planes.memory_.size());
    }
    // What lies before the last channel is there; it decides.
    const auto row = static_cast<std::int64_t>(file.row_bytes());
    const std::int64_t before = row * file.height * (file.planes() - 1);
    planes.rows_there_ = static_cast<int>(std::clamp<std::int64_t>((size - before) / row, 0, file.height));
    return planes;
}

// The table of byte counts, one for each row of each channel. Rows end where the data do, and where a row
// cannot hold its pixels because its packets are too few.
Result<void> PsdPlanes::read_counts(const PsdFile& file) {
    const std::int64_t width = file.version == 2 ? 4 : 2;
    const std::int64_t entries = std::int64_t{file.channels} * file.height;
    if (entries * width > data_.size()) return Error{Fault::truncated, "row counts"};
    const auto least = static_cast<std::int64_t>((row_bytes_ + 127) / 128 * 2);
    const auto used = static_cast<std::size_t>(file.planes()) * static_cast<std::size_t>(file.height);
    const std::int64_t end = at_ + data_.size();
    std::int64_t at = at_ + entries * width;
    int rows = file.height;
    ByteReader table = data_;
    offsets_.reserve(used + 1);
    for (std::size_t i = 0; i < used; ++i) {
        offsets_.push_back(at);
        const std::int64_t count = width == 4 ? table.u32be() : table.u16be();
        at = std::min(at + count, end);
        const int y = static_cast<int>(i % static_cast<std::size_t>(file.height));
        if (at - offsets_.back() < std::min(count, least) || count < least) rows = std::min(rows, y);
        if (at == end && at - offsets_.back() < count) rows = std::min(rows, y + 1);
    }
    offsets_.push_back(at);
    rows_there_ = rows;
    return {};
}

Result<void> PsdPlanes::inflate(const PsdFile& file, const Limits& limits) {
    const auto size = static_cast<std::int64_t>(row_bytes_) * file.height * file.planes();
    if (size > limits.max_bytes) return Error{Fault::too_large, "channels"};
    // A stream that cannot give as much is not worth the memory.
    if (size / kMaxInflation > data_.size()) return Error{Fault::truncated, "pixels"};
    inflated_ = Buffer::allocate(static_cast<std::size_t>(size));
    if (!inflated_) return Error{Fault::out_of_memory, "channels"};
    const std::size_t got = inflate_into(data_, inflated_.data(), static_cast<std::size_t>(size));
    if (file.packing == PsdPacking::deflated_differences) {
        std::vector<std::uint8_t> spare;
        for (std::size_t at = 0; at + row_bytes_ <= got; at += row_bytes_)
            add_up(inflated_.data() + at, row_bytes_, file.depth, spare);
    }
    memory_ = {inflated_.data(), got};
    at_ = 0;
    return {};
}

const std::uint8_t* PsdPlanes::rows(int channel, int first, int last, std::uint8_t* room) const {
    if (packed_) return unpack(channel, first, last, room) ? room : nullptr;
    const std::int64_t at =
        at_ + (std::int64_t{channel} * height_ + first) * static_cast<std::int64_t>(row_bytes_);
    if (!memory_.empty()) return memory_.data() + at;
    const std::size_t size = static_cast<std::size_t>(last - first) * row_bytes_;
    return source_->read_at(at, {room, size}) == size ? room : nullptr;
}

bool PsdPlanes::unpack(int channel, int first, int last, std::uint8_t* room) const {
    const std::size_t row = static_cast<std::size_t>(channel) * static_cast<std::size_t>(height_) +
                            static_cast<std::size_t>(first);
    const auto count = static_cast<std::size_t>(last - first);
    const std::int64_t begin = offsets_[row];
    const auto size = static_cast<std::size_t>(offsets_[row + count] - begin);
    std::vector<std::uint8_t> own(memory_.empty() ? size : 0);
    if (memory_.empty() && source_->read_at(begin, own) != size) return false;
    const std::uint8_t* const packed = memory_.empty() ? own.data() : memory_.data() + begin;
    for (std::size_t i = 0; i < count; ++i, room += row_bytes_) {
        const auto part = static_cast<std::size_t>(offsets_[row + i + 1] - offsets_[row + i]);
        const auto got = unpack_bits({packed + (offsets_[row + i] - begin), part}, {room, row_bytes_});
        if (got.produced == row_bytes_) continue;
        std::memset(room + got.produced, 0, row_bytes_ - got.produced);
        *damaged_ = true;
    }
    return true;
}

}  // namespace quillmark::imaging::codecs
