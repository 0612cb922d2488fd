// Runs a piece of a test in a child process, so that a crash, a hang or an appetite for memory is a finding.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace quillmark::tests {

/// The child's side: what it tries and what it finds.
class ChildLog {
  public:
    explicit ChildLog(struct ChildPage& page) : page_{page} {}
    /// Names the next attempt and gives it one second of processor time.
    void trying(const std::string& what);
    /// Notes a failure of the current attempt.
    void fail(const std::string& why);
    /// Kilobytes of memory touched at most since the child began.
    std::int64_t grown_kilobytes() const;

  private:
    struct ChildPage& page_;
};

struct ChildReport {
    int attempts = 0;
    std::vector<std::string> failures;  ///< "attempt: why"; a crash or a hang is one of them
};

/// Calls body in a child and reports what became of it.
ChildReport run_in_child(const std::function<void(ChildLog&)>& body);

/// Sanitizers keep books of their own, so that memory figures mean nothing.
bool memory_can_be_measured();

}  // namespace quillmark::tests
