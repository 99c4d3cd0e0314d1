#include "support/run_program.hpp"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <stdexcept>

#include "support/test_support.hpp"

namespace tbrelax::testing {

std::filesystem::path built_program(const std::string& name) {
  return std::filesystem::path(TBRELAX_BINARY_DIR) / name;
}

run_result run_program(const std::filesystem::path& program, const std::vector<std::string>& args,
                       const std::filesystem::path& dir, const std::string& input) {
  temp_dir io;
  write_text(io / "stdin", input);
  const std::string in = (io / "stdin").string(), out = (io / "stdout").string(), err = (io / "stderr").string();
  const pid_t pid = fork();
  if (pid < 0) throw std::runtime_error("fork failed");
  if (pid == 0) {
    if (chdir(dir.c_str()) != 0) _exit(127);
    const int fd_in = open(in.c_str(), O_RDONLY);
    const int fd_out = open(out.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    const int fd_err = open(err.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    if (fd_in < 0 || fd_out < 0 || fd_err < 0) _exit(127);
    dup2(fd_in, 0);
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
  int wstatus = 0;
  waitpid(pid, &wstatus, 0);
  run_result r;
  r.status = WIFEXITED(wstatus) ? WEXITSTATUS(wstatus) : 128 + WTERMSIG(wstatus);
  r.out = read_text(io / "stdout");
  r.err = read_text(io / "stderr");
  return r;
}

}  // namespace tbrelax::testing
