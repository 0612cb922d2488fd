#include "support/run_program.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <iterator>

namespace quillmark::tests {

namespace fs = std::filesystem;

ScratchFolder::ScratchFolder() {
    std::string pattern = fs::temp_directory_path() / "quillmark-test-XXXXXX";
    folder_ = mkdtemp(pattern.data());
}

ScratchFolder::~ScratchFolder() {
    std::error_code ignored;
    fs::remove_all(folder_, ignored);
}

std::vector<std::string> ScratchFolder::names() const {
    std::vector<std::string> found;
    for (const auto& entry : fs::directory_iterator{folder_}) found.push_back(entry.path().filename());
    std::ranges::sort(found);
    return found;
}

Program::Program(const std::string& program, const std::vector<std::string>& arguments) {
    std::vector<char*> words{const_cast<char*>(program.c_str())};
    for (const std::string& argument : arguments) words.push_back(const_cast<char*>(argument.c_str()));
    words.push_back(nullptr);
    const std::string out = output_.path("out"), err = output_.path("err");
    child_ = fork();
    if (child_ != 0) return;
    dup2(open(out.c_str(), O_CREAT | O_WRONLY, 0600), STDOUT_FILENO);
    dup2(open(err.c_str(), O_CREAT | O_WRONLY, 0600), STDERR_FILENO);
    execv(program.c_str(), words.data());
    _exit(127);
}

void Program::send(int signal) const { kill(child_, signal); }

bool Program::running() {
    ended_ = ended_ || waitpid(child_, &status_, WNOHANG) == child_;
    return !ended_;
}

ProgramRun Program::finish() {
    if (!ended_) waitpid(child_, &status_, 0);
    ended_ = true;
    return {WIFEXITED(status_) ? WEXITSTATUS(status_) : -1, read_file(output_.path("out")),
            read_file(output_.path("err"))};
}

ProgramRun run_program(const std::string& program, const std::vector<std::string>& arguments) {
    return Program{program, arguments}.finish();
}

std::string read_file(const std::string& path) {
    std::ifstream file{path, std::ios::binary};
    return {std::istreambuf_iterator<char>{file}, {}};
}

void write_file(const std::string& path, std::string_view content) {
    std::ofstream{path, std::ios::binary}.write(content.data(), static_cast<std::streamsize>(content.size()));
}

}  // namespace quillmark::tests
