#include "run_orb.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iomanip>
#include <iterator>
#include <sstream>
#include <thread>
#include <utility>

namespace orb::testing {
namespace {

namespace fs = std::filesystem;

struct Pipe {
  int read_end = -1;
  int write_end = -1;
};

Pipe make_pipe() {
  int ends[2] = {-1, -1};
  if (pipe2(ends, O_CLOEXEC) != 0) std::abort();
  return {ends[0], ends[1]};
}

// A terminal: the child's side is the write end.
Pipe make_terminal() {
  Pipe ends;
  ends.read_end = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
  if (ends.read_end < 0 || grantpt(ends.read_end) != 0 || unlockpt(ends.read_end) != 0) std::abort();
  ends.write_end = open(ptsname(ends.read_end), O_RDWR | O_NOCTTY | O_CLOEXEC);
  const winsize size = {12, 40, 0, 0};
  if (ends.write_end < 0 || ioctl(ends.write_end, TIOCSWINSZ, &size) != 0) std::abort();
  return ends;
}

// Everything up to the end; a terminal whose other side is closed ends with an error.
std::string read_all(int descriptor) {
  std::string text;
  char block[4096];
  for (ssize_t got = 0; (got = read(descriptor, block, sizeof block)) > 0;) {
    text.append(block, static_cast<size_t>(got));
  }
  close(descriptor);
  return text;
}

void write_all(int descriptor, const std::string& bytes) {
  for (size_t done = 0; done < bytes.size();) {
    const ssize_t put = write(descriptor, bytes.data() + done, bytes.size() - done);
    if (put <= 0) break;  // the child may end without reading it all
    done += static_cast<size_t>(put);
  }
}

int status_of(pid_t process) {
  int status = 0;
  if (waitpid(process, &status, 0) != process) return -1;
  return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

pid_t start(const fs::path& folder, std::vector<std::string> arguments,
            const std::vector<std::string>& environment, int input, int output, int errors) {
  std::vector<char*> pointers;
  for (std::string& argument : arguments) pointers.push_back(argument.data());
  pointers.push_back(nullptr);
  const pid_t process = fork();
  if (process != 0) return process;
  if (chdir(folder.c_str()) != 0) _exit(126);
  unsetenv("NO_COLOR");
  setenv("TERM", "xterm", 1);
  setenv("HOME", folder.c_str(), 1);
  for (const std::string& entry : environment) {
    const size_t equals = entry.find('=');
    setenv(entry.substr(0, equals).c_str(), entry.substr(equals + 1).c_str(), 1);
  }
  dup2(input, STDIN_FILENO);
  dup2(output, STDOUT_FILENO);
  dup2(errors, STDERR_FILENO);
  closefrom(STDERR_FILENO + 1);  // whatever the test runner left open
  std::signal(SIGPIPE, SIG_DFL);
  execvp(pointers[0], pointers.data());
  _exit(127);
}

Outcome run(const fs::path& folder, const std::vector<std::string>& arguments, const RunOptions& options) {
  std::signal(SIGPIPE, SIG_IGN);
  const Pipe input = make_pipe();
  const Pipe output = options.terminal_for_output ? make_terminal() : make_pipe();
  const Pipe errors = options.terminal_for_errors ? make_terminal() : make_pipe();
  const pid_t process =
      start(folder, arguments, options.environment, input.read_end, output.write_end, errors.write_end);
  close(input.read_end);
  close(output.write_end);
  close(errors.write_end);
  Outcome result;
  std::thread feeder([&] {
    write_all(input.write_end, options.input);
    close(input.write_end);
  });
  std::thread listener([&] { result.err = read_all(errors.read_end); });
  result.out = read_all(output.read_end);
  feeder.join();
  listener.join();
  result.status = status_of(process);
  return result;
}

std::vector<std::string> with_program(const std::vector<std::string>& arguments) {
  std::vector<std::string> all = {ORB_PROGRAM};
  all.insert(all.end(), arguments.begin(), arguments.end());
  return all;
}

Outcome shell_in(const fs::path& folder, const std::string& command) {
  const std::string program_folder = fs::path(ORB_PROGRAM).parent_path();
  return run(folder, {"bash", "-c", command},
             {.environment = {"ORB=" ORB_PROGRAM, "SAMPLES=" ORB_SAMPLES,
                              "PATH=" + program_folder + ":" + std::getenv("PATH")}});
}

}  // namespace

std::vector<std::string> names(const std::string& folder) {
  std::vector<std::string> found;
  for (const auto& entry : fs::directory_iterator(folder)) found.push_back(entry.path().filename());
  std::sort(found.begin(), found.end());
  return found;
}

std::vector<std::string> words_of(const std::string& command) {
  std::istringstream stream(command);
  std::vector<std::string> words;
  for (std::string word; stream >> std::quoted(word, '\'');) words.push_back(word);
  for (std::string& word : words) {
    if (word.starts_with("samples/")) word.replace(0, std::strlen("samples"), ORB_SAMPLES);
  }
  return words;
}

Folder::Folder() {
  std::string pattern = (fs::temp_directory_path() / "orb-test-XXXXXX").string();
  if (mkdtemp(pattern.data()) == nullptr) std::abort();
  path_ = pattern;
}

Folder::~Folder() {
  std::error_code ignored;
  fs::remove_all(path_, ignored);
}

Outcome orb(const Folder& folder, const std::vector<std::string>& arguments, const RunOptions& options) {
  return run(folder.path(), with_program(arguments), options);
}

Outcome orb(const std::string& command, const RunOptions& options) {
  return run(fs::current_path(), with_program(words_of(command)), options);
}

Outcome shell(const Folder& folder, const std::string& command) { return shell_in(folder.path(), command); }

Outcome shell(const std::string& command) { return shell_in(fs::current_path(), command); }

Running::Running(const std::string& command, bool on_terminal) {
  std::signal(SIGPIPE, SIG_IGN);
  const Pipe input = make_pipe();
  const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
  const Pipe terminal = on_terminal ? make_terminal() : Pipe{-1, nowhere};
  process_ = start(fs::current_path(), with_program(words_of(command)), {}, input.read_end,
                   terminal.write_end, nowhere);
  if (on_terminal) close(terminal.write_end);
  terminal_ = terminal.read_end;
  close(input.read_end);
  close(nowhere);
  input_ = input.write_end;
}

Running::~Running() {
  if (process_ > 0) end_with(SIGKILL);
  close(input_);
  if (terminal_ >= 0) close(terminal_);
}

void Running::feed(const std::string& bytes) const { write_all(input_, bytes); }

std::string Running::hear(const std::string& until) const {
  std::string text;
  char byte = 0;
  while (text.find(until) == std::string::npos && read(terminal_, &byte, 1) == 1) text += byte;
  return text;
}

int Running::end_with(int signal_number) {
  kill(process_, signal_number);
  return status_of(std::exchange(process_, -1));
}

bool comes_true(const std::function<bool()>& what) {
  for (int i = 0; i < 1000 && !what(); ++i) std::this_thread::sleep_for(std::chrono::milliseconds(20));
  return what();
}

std::string bytes_of(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

void put_bytes(const std::string& path, const std::string& bytes) {
  std::ofstream(path, std::ios::binary).write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
}

std::string sample(const std::string& name) { return std::string(ORB_SAMPLES) + "/" + name; }

}  // namespace orb::testing
