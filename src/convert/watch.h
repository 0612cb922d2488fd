// Following a long run: progress on a terminal, and stopping on Ctrl+C.
#pragma once

#include <cstdint>
#include <string>

#include "imaging/codec.h"

namespace quillmark::convert {

/// From now on SIGINT and SIGTERM ask to stop instead of ending the process, so that no half-written file
/// stays.
void watch_for_stop();
/// Whether one of them has come.
bool stop_requested();

/// Shows "reading 42 %" on standard error while rows arrive; silent unless that is a terminal.
class Progress final : public imaging::RowSink {
  public:
    Progress();
    ~Progress() override;
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    /// Begins a stage, e.g. "reading".
    void stage(std::string name);
    /// done of total; false when the user asked to stop.
    bool step(std::int64_t done, std::int64_t total);
    bool rows(const imaging::Bitmap&, int, int, std::int64_t done, std::int64_t total) override {
        return step(done, total);
    }

  private:
    bool shown_on_terminal_;
    bool line_open_ = false;
    std::int64_t percent_ = -1;
    std::string stage_;
};

}  // namespace quillmark::convert
