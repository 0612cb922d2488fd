// Running a built program as a user would.
#pragma once

#include <sys/types.h>

#include <filesystem>
#include <string>
#include <vector>

namespace quillmark::tests {

struct ProgramRun {
    int status = -1;  ///< exit status; -1 when a signal ended it
    std::string out, err;
};

/// A folder that goes away with everything in it.
class ScratchFolder {
  public:
    ScratchFolder();
    ~ScratchFolder();
    ScratchFolder(const ScratchFolder&) = delete;
    ScratchFolder& operator=(const ScratchFolder&) = delete;

    std::string path(const std::string& name) const { return folder_ / name; }
    /// The names in it, sorted.
    std::vector<std::string> names() const;

  private:
    std::filesystem::path folder_;
};

/// A program that was started; its output is kept in a folder of its own.
class Program {
  public:
    Program(const std::string& program, const std::vector<std::string>& arguments);
    void send(int signal) const;
    bool running();
    /// Waits for the end.
    ProgramRun finish();

  private:
    ScratchFolder output_;
    pid_t child_ = -1;
    int status_ = 0;
    bool ended_ = false;
};

/// Runs it to its end.
ProgramRun run_program(const std::string& program, const std::vector<std::string>& arguments);

std::string read_file(const std::string& path);
void write_file(const std::string& path, std::string_view content);

}  // namespace quillmark::tests
