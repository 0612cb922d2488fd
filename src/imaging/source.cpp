#include "imaging/source.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "imaging/file_io.h"

namespace quillmark::imaging {
namespace {

class FileSource final : public Source {
  public:
    FileSource(int fd, std::int64_t size) : fd_{fd}, size_{size} {}
    ~FileSource() override { close(fd_); }
    FileSource(const FileSource&) = delete;
    FileSource& operator=(const FileSource&) = delete;

    std::int64_t size() const override { return size_; }

    std::size_t read_at(std::int64_t offset, std::span<std::uint8_t> out) const override {
        return read_fully(fd_, offset, out);
    }

  private:
    int fd_;
    std::int64_t size_;
};

class MemorySource final : public Source {
  public:
    explicit MemorySource(std::span<const std::uint8_t> bytes) : bytes_{bytes} {}
    explicit MemorySource(std::vector<std::uint8_t> bytes) : owned_{std::move(bytes)}, bytes_{owned_} {}

    std::int64_t size() const override { return static_cast<std::int64_t>(bytes_.size()); }
    std::span<const std::uint8_t> memory() const override { return bytes_; }

    std::size_t read_at(std::int64_t offset, std::span<std::uint8_t> out) const override {
        if (offset < 0 || offset >= size()) return 0;
        const auto count = std::min(out.size(), bytes_.size() - static_cast<std::size_t>(offset));
        std::memcpy(out.data(), bytes_.data() + offset, count);
        return count;
    }

  private:
    std::vector<std::uint8_t> owned_;
    std::span<const std::uint8_t> bytes_;
};

}  // namespace

Result<std::shared_ptr<const Source>> open_file(const std::string& path) {
    // O_NONBLOCK: opening a pipe that nobody writes to must not hang.
    const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
    if (fd < 0) {
        const bool missing = errno == ENOENT || errno == ENOTDIR;
        return Error{missing ? Fault::not_found : Fault::cannot_open, "file"};
    }
    struct stat facts {};
    if (fstat(fd, &facts) != 0 || !S_ISREG(facts.st_mode)) {
        close(fd);
        return Error{Fault::cannot_open, "not a regular file"};
    }
    return std::shared_ptr<const Source>{std::make_shared<FileSource>(fd, facts.st_size)};
}

std::shared_ptr<const Source> memory_source(std::span<const std::uint8_t> bytes) {
    return std::make_shared<MemorySource>(bytes);
}

std::shared_ptr<const Source> memory_source(std::vector<std::uint8_t> bytes) {
    return std::make_shared<MemorySource>(std::move(bytes));
}

ByteReader::ByteReader(std::shared_ptr<const Source> source)
    : source_{std::move(source)}, end_{source_->size()} {
    use_memory(0);
}

ByteReader::ByteReader(const ByteReader& other) { *this = other; }

ByteReader& ByteReader::operator=(const ByteReader& other) {
    if (this == &other) return *this;
    source_ = other.source_;
    begin_ = other.begin_;
    end_ = other.end_;
    const std::int64_t at = other.begin_ + other.position();
    own_window_.clear();
    window_begin_ = window_end_ = cursor_ = nullptr;
    window_at_ = at;
    if (source_) use_memory(at);
    failed_ = other.failed_;
    return *this;
}

// Memory sources need no window of their own: the whole range is one. Files start with an empty window at the
// position and refill on the first read.
void ByteReader::use_memory(std::int64_t at) {
    const auto memory = source_->memory();
    if (memory.empty()) {
        window_at_ = at;
        window_begin_ = window_end_ = cursor_ = own_window_.data();
        return;
    }
    window_at_ = begin_;
    window_begin_ = memory.data() + begin_;
    window_end_ = memory.data() + end_;
    cursor_ = memory.data() + at;
}

ByteReader ByteReader::sub(std::int64_t offset) const { return sub(offset, size()); }

ByteReader ByteReader::sub(std::int64_t offset, std::int64_t count) const {
    ByteReader part;
    part.source_ = source_;
    const std::int64_t total = size();
    offset = std::clamp<std::int64_t>(offset, 0, total);
    part.begin_ = begin_ + offset;
    part.end_ = part.begin_ + std::clamp<std::int64_t>(count, 0, total - offset);
    if (source_) part.use_memory(part.begin_);
    return part;
}

void ByteReader::seek(std::int64_t to) {
    failed_ = to < 0 || to > size();
    const std::int64_t at = begin_ + std::clamp<std::int64_t>(to, 0, size());
    if (at >= window_at_ && at <= window_at_ + (window_end_ - window_begin_)) {
        cursor_ = window_begin_ + (at - window_at_);
    } else if (source_) {
        use_memory(at);
    }
}

void ByteReader::skip(std::int64_t count) {
    const bool failed_before = failed_;
    seek(count > size() ? size() + 1 : position() + count);
    failed_ = failed_ || failed_before;
}

bool ByteReader::refill_quietly() {
    const std::int64_t at = window_at_ + (window_end_ - window_begin_);
    if (!source_ || at >= end_ || !source_->memory().empty()) return false;
    own_window_.resize(static_cast<std::size_t>(std::min<std::int64_t>(kWindow, end_ - begin_)));
    const auto want = static_cast<std::size_t>(std::min<std::int64_t>(kWindow, end_ - at));
    const std::size_t got = source_->read_at(at, std::span{own_window_}.first(want));
    window_at_ = at;
    window_begin_ = cursor_ = own_window_.data();
    window_end_ = window_begin_ + got;
    if (got == 0) end_ = at;  // the file has shrunk meanwhile: loops over remaining() must end
    return got > 0;
}

bool ByteReader::refill() {
    if (refill_quietly()) return true;
    failed_ = true;
    return false;
}

std::uint16_t ByteReader::u16le() {
    const unsigned low = u8();
    return static_cast<std::uint16_t>(low | static_cast<unsigned>(u8()) << 8);
}

std::uint16_t ByteReader::u16be() {
    const unsigned high = u8();
    return static_cast<std::uint16_t>(high << 8 | u8());
}

std::uint32_t ByteReader::u32le() {
    const std::uint32_t low = u16le();
    return low | static_cast<std::uint32_t>(u16le()) << 16;
}

std::uint32_t ByteReader::u32be() {
    const std::uint32_t high = u16be();
    return high << 16 | u16be();
}

std::uint64_t ByteReader::u64le() {
    const std::uint64_t low = u32le();
    return low | static_cast<std::uint64_t>(u32le()) << 32;
}

std::uint64_t ByteReader::u64be() {
    const std::uint64_t high = u32be();
    return high << 32 | u32be();
}

std::size_t ByteReader::read(std::span<std::uint8_t> out) {
    std::size_t done = std::min(out.size(), static_cast<std::size_t>(window_end_ - cursor_));
    if (done > 0) std::memcpy(out.data(), cursor_, done);
    cursor_ += done;
    while (done < out.size()) {
        const std::size_t rest = out.size() - done;
        if (rest >= kWindow && source_ && source_->memory().empty()) {
            const std::int64_t at = begin_ + position();
            const auto want =
                static_cast<std::size_t>(std::min<std::int64_t>(static_cast<std::int64_t>(rest), end_ - at));
            const std::size_t got = want > 0 ? source_->read_at(at, out.subspan(done, want)) : 0;
            if (got == 0) {
                end_ = std::min(end_, at);
                break;
            }
            done += got;
            use_memory(at + static_cast<std::int64_t>(got));
            continue;
        }
        if (!refill_quietly()) break;
        const std::size_t part = std::min(rest, static_cast<std::size_t>(window_end_ - cursor_));
        std::memcpy(out.data() + done, cursor_, part);
        cursor_ += part;
        done += part;
    }
    if (done < out.size()) {
        failed_ = true;
        std::memset(out.data() + done, 0, out.size() - done);
    }
    return done;
}

std::vector<std::uint8_t> ByteReader::bytes(std::size_t count) {
    const auto available = static_cast<std::size_t>(std::max<std::int64_t>(remaining(), 0));
    if (count > available) failed_ = true;
    std::vector<std::uint8_t> result(std::min(count, available));
    result.resize(read(result));
    return result;
}

}  // namespace quillmark::imaging
