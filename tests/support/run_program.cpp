#include "support/run_program.hpp"

#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>
#include <stdexcept>
#include <string>

namespace tbrelax::testing {
namespace {

// Starts the program with `stdin_fd` as its standard input and its other two streams in the
// files stdout and stderr of `io`.
pid_t spawn(const std::filesystem::path& program, const std::vector<std::string>& args,
            const std::filesystem::path& dir, int stdin_fd, int close_in_child, const std::filesystem::path& io) {
  const std::string out = (io / "stdout").string(), err = (io / "stderr").string();
  const pid_t pid = fork();
  if (pid < 0) throw std::runtime_error("fork failed");
  if (pid == 0) {
    if (close_in_child >= 0) close(close_in_child);
    if (chdir(dir.c_str()) != 0) _exit(127);
    const int fd_out = open(out.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    const int fd_err = open(err.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    if (stdin_fd < 0 || fd_out < 0 || fd_err < 0) _exit(127);
    dup2(stdin_fd, 0);
    dup2(fd_out, 1);
    dup2(fd_err, 2);
    std::vector<std::string> words{program.string()};
    words.insert(words.end(), args.begin(), args.end());
    std::vector<char*> argv;
    for (auto& w : words) argv.push_back(w.data());
    argv.push_back(nullptr);
    execv(program.c_str(), argv.data());
    _exit(127);
  }
  return pid;
}

run_result reap(pid_t pid, const std::filesystem::path& io) {
  int wstatus = 0;
  waitpid(pid, &wstatus, 0);
  run_result r;
  r.status = WIFEXITED(wstatus) ? WEXITSTATUS(wstatus) : 128 + WTERMSIG(wstatus);
  r.out = read_text(io / "stdout");
  r.err = read_text(io / "stderr");
  return r;
}

}  // namespace

std::filesystem::path built_program(const std::string& name) {
  return std::filesystem::path(TBRELAX_BINARY_DIR) / name;
}

run_result run_program(const std::filesystem::path& program, const std::vector<std::string>& args,
                       const std::filesystem::path& dir, const std::string& input) {
  temp_dir io;
  write_text(io / "stdin", input);
  const int fd_in = open((io / "stdin").c_str(), O_RDONLY);
  const pid_t pid = spawn(program, args, dir, fd_in, -1, io.path());
  if (fd_in >= 0) close(fd_in);
  return reap(pid, io.path());
}

running_program::running_program(const std::filesystem::path& program, const std::vector<std::string>& args,
                                 const std::filesystem::path& dir) {
  int pipe_fds[2];
  if (pipe(pipe_fds) != 0) throw std::runtime_error("pipe failed");
  write_text(io_ / "stdout", "");
  pid_ = spawn(program, args, dir, pipe_fds[0], pipe_fds[1], io_.path());
  close(pipe_fds[0]);
  input_ = pipe_fds[1];
}

running_program::~running_program() {
  if (input_ >= 0) close(input_);
  if (pid_ > 0) {
    kill(pid_, SIGKILL);
    waitpid(pid_, nullptr, 0);
  }
}

std::string running_program::out_so_far() const { return read_text(io_ / "stdout"); }

void running_program::send(int signal) const { kill(pid_, signal); }

bool running_program::catches(int signal) const {
  std::ifstream status("/proc/" + std::to_string(pid_) + "/status");
  if (!status) return true;  // no way to tell: assume so
  for (std::string line; std::getline(status, line);)
    if (line.starts_with("SigCgt:")) return (std::stoull(line.substr(7), nullptr, 16) >> (signal - 1)) & 1;
  return true;
}

run_result running_program::wait() {
  close(input_);
  input_ = -1;
  const run_result r = reap(pid_, io_.path());
  pid_ = -1;
  return r;
}

}  // namespace tbrelax::testing
