#include "imaging/output.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "imaging/file_io.h"

namespace quillmark::imaging {
namespace {

constexpr std::size_t kPending = 262'144;

bool write_all(int fd, std::int64_t offset, std::span<const std::uint8_t> bytes) {
    while (!bytes.empty()) {
        const ssize_t done = pwrite(fd, bytes.data(), bytes.size(), offset);
        if (done < 0 && errno == EINTR) continue;
        if (done <= 0) return false;
        bytes = bytes.subspan(static_cast<std::size_t>(done));
        offset += done;
    }
    return true;
}

std::string folder_of(const std::string& path) {
    const std::size_t slash = path.rfind('/');
    return slash == std::string::npos ? std::string{} : path.substr(0, slash + 1);
}

// The file behind a chain of links, so that saving changes the file and not the link. It need not exist yet.
std::string real_target(std::string path) {
    constexpr int kMostLinks = 40;
    std::array<char, PATH_MAX> text{};
    if (realpath(path.c_str(), text.data())) return text.data();
    for (int i = 0; i < kMostLinks; ++i) {
        const ssize_t length = readlink(path.c_str(), text.data(), text.size());
        if (length <= 0) break;
        const std::string next{text.data(), static_cast<std::size_t>(length)};
        path = next.front() == '/' ? next : folder_of(path).append(next);
    }
    return path;
}

// Creates a hidden file of fixed name length (the target's own name may already be as long as the file system
// allows). The kernel applies the umask: reading it would change it for every other thread meanwhile.
int create_temporary(const std::string& folder, mode_t mode, std::string& path) {
    static std::atomic<unsigned> counter{0};
    for (int attempt = 0; attempt < 100; ++attempt) {
        std::array<char, 32> name{};
        std::snprintf(name.data(), name.size(), ".quillmark-%08x%04x", static_cast<unsigned>(getpid()),
                      counter++ & 0xFFFFU);
        path = folder + name.data();
        const int fd = open(path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, mode);
        if (fd >= 0 || errno != EEXIST) return fd;
    }
    return -1;
}

}  // namespace

void ByteWriter::u8(int value) {
    const auto byte = static_cast<std::uint8_t>(value);
    write({&byte, 1});
}

void ByteWriter::u16le(std::uint32_t value) {
    const std::array<std::uint8_t, 2> bytes{static_cast<std::uint8_t>(value),
                                            static_cast<std::uint8_t>(value >> 8)};
    write(bytes);
}

void ByteWriter::u16be(std::uint32_t value) {
    const std::array<std::uint8_t, 2> bytes{static_cast<std::uint8_t>(value >> 8),
                                            static_cast<std::uint8_t>(value)};
    write(bytes);
}

void ByteWriter::u32le(std::uint32_t value) {
    u16le(value & 0xFFFF);
    u16le(value >> 16);
}

void ByteWriter::u32be(std::uint32_t value) {
    u16be(value >> 16);
    u16be(value & 0xFFFF);
}

void ByteWriter::write(std::span<const std::uint8_t> bytes) {
    if (failed_) return;
    if (pending_.size() + bytes.size() > kPending) flush();
    if (bytes.size() >= kPending) {
        failed_ = failed_ || !store(flushed_to_, bytes);
        flushed_to_ += static_cast<std::int64_t>(bytes.size());
    } else {
        pending_.insert(pending_.end(), bytes.begin(), bytes.end());
    }
    size_ = std::max(size_, position());
}

void ByteWriter::zeros(std::size_t count) {
    static constexpr std::array<std::uint8_t, 256> kZeros{};
    for (; count > 0; count -= std::min(count, kZeros.size()))
        write(std::span{kZeros}.first(std::min(count, kZeros.size())));
}

void ByteWriter::flush() {
    if (!failed_ && !pending_.empty()) failed_ = !store(flushed_to_, pending_);
    flushed_to_ += static_cast<std::int64_t>(pending_.size());
    pending_.clear();
}

void ByteWriter::seek(std::int64_t position) {
    flush();
    if (position < 0)
        failed_ = true;
    else
        flushed_to_ = position;
}

std::int64_t ByteWriter::size() const { return size_; }

std::size_t ByteWriter::read_at(std::int64_t offset, std::span<std::uint8_t> out) {
    flush();
    return failed_ ? 0 : fetch(offset, out);
}

const std::vector<std::uint8_t>& MemoryWriter::bytes() {
    flush();
    return bytes_;
}

bool MemoryWriter::store(std::int64_t offset, std::span<const std::uint8_t> bytes) {
    const auto end = static_cast<std::size_t>(offset) + bytes.size();
    if (static_cast<std::size_t>(offset) ==
        bytes_.size()) {  // the usual case, without filling with zeros first
        bytes_.insert(bytes_.end(), bytes.begin(), bytes.end());
        return true;
    }
    if (end > bytes_.size()) bytes_.resize(end);
    std::memcpy(bytes_.data() + offset, bytes.data(), bytes.size());
    return true;
}

std::size_t MemoryWriter::fetch(std::int64_t offset, std::span<std::uint8_t> out) {
    if (offset < 0 || static_cast<std::size_t>(offset) >= bytes_.size()) return 0;
    const std::size_t count = std::min(out.size(), bytes_.size() - static_cast<std::size_t>(offset));
    std::memcpy(out.data(), bytes_.data() + offset, count);
    return count;
}

Result<std::unique_ptr<AtomicFileWriter>> AtomicFileWriter::create(const std::string& path) {
    const std::string target = real_target(path);
    struct stat facts {};
    const bool exists = stat(target.c_str(), &facts) == 0;
    if (exists && !S_ISREG(facts.st_mode)) return Error{Fault::cannot_open, "target is not a regular file"};
    if (exists && access(target.c_str(), W_OK) != 0) return Error{Fault::cannot_open, "target is read-only"};
    std::string temporary;
    const int fd = create_temporary(folder_of(target), exists ? 0600 : 0666, temporary);
    if (fd < 0) {
        const bool missing = errno == ENOENT || errno == ENOTDIR;
        return Error{missing ? Fault::not_found : Fault::cannot_open, "folder of the target"};
    }
    if (exists) fchmod(fd, facts.st_mode & 07777);
    return std::unique_ptr<AtomicFileWriter>{new AtomicFileWriter{fd, std::move(temporary), target}};
}

AtomicFileWriter::AtomicFileWriter(int fd, std::string temporary, std::string target)
    : fd_{fd}, temporary_{std::move(temporary)}, target_{std::move(target)} {}

AtomicFileWriter::~AtomicFileWriter() {
    if (fd_ >= 0) close(fd_);
    if (!temporary_.empty()) unlink(temporary_.c_str());
}

Result<void> AtomicFileWriter::commit() {
    flush();
    const bool synced = !failed() && fsync(fd_) == 0;
    const bool closed = close(fd_) == 0;
    fd_ = -1;
    if (!synced || !closed) return Error{Fault::io, "writing the file"};
    if (rename(temporary_.c_str(), target_.c_str()) != 0) return Error{Fault::io, "replacing the file"};
    temporary_.clear();
    return {};
}

bool AtomicFileWriter::store(std::int64_t offset, std::span<const std::uint8_t> bytes) {
    return write_all(fd_, offset, bytes);
}

std::size_t AtomicFileWriter::fetch(std::int64_t offset, std::span<std::uint8_t> out) {
    return read_fully(fd_, offset, out);
}

}  // namespace quillmark::imaging
