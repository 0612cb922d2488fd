// Reading from a file descriptor, for sources and writers alike.
#pragma once

#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <span>

namespace quillmark::imaging {

/// Fills out from offset on, through short reads and interrupts; returns how many bytes there were before the
/// end or an error.
inline std::size_t read_fully(int fd, std::int64_t offset, std::span<std::uint8_t> out) {
    std::size_t done = 0;
    while (done < out.size()) {
        const ssize_t got =
            pread(fd, out.data() + done, out.size() - done, offset + static_cast<std::int64_t>(done));
        if (got < 0 && errno == EINTR) continue;
        if (got <= 0) break;
        done += static_cast<std::size_t>(got);
    }
    return done;
}

}  // namespace quillmark::imaging
