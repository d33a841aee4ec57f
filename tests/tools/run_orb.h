// Runs the real tool as a child process and keeps what it said.
#pragma once

#include <sys/types.h>

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

namespace orb::testing {

// The names of everything in a folder, sorted.
std::vector<std::string> names(const std::string& folder = ".");

// A folder of its own for a test, the current one of the tools it starts. Gone with it.
class Folder {
 public:
  Folder();
  ~Folder();
  Folder(const Folder&) = delete;
  Folder& operator=(const Folder&) = delete;

  [[nodiscard]] std::string path(const std::string& name) const { return path_ + "/" + name; }
  [[nodiscard]] const std::string& path() const { return path_; }
  [[nodiscard]] std::vector<std::string> names() const { return testing::names(path_); }

 private:
  std::string path_;
};

struct Outcome {
  int status = -1;  // exit status; 128 and the number for a signal's death
  std::string out;
  std::string err;
};

struct RunOptions {
  std::string input = {};                     // what the child finds on standard input
  std::vector<std::string> environment = {};  // NAME=VALUE, beside the test's own
  bool terminal_for_errors = false;           // standard error is a terminal
  bool terminal_for_output = false;           // standard output is one, of 40 x 12 characters
};

// With the format of pair.c.
inline const RunOptions kWithPair = {.environment = {"QV_ORB_PLUGIN_PATH=" ORB_PAIR_FOLDER}};

// The arguments of a command line: what stands between single quotes is of one word, and a word in samples/ is one
// of the pictures there.
std::vector<std::string> words_of(const std::string& command);

// orb with these arguments, in the folder or the current one.
Outcome orb(const Folder& folder, const std::vector<std::string>& arguments, const RunOptions& options = {});
Outcome orb(const std::string& command, const RunOptions& options = {});

// A shell command, for which orb is the tool and $SAMPLES where the pictures are.
Outcome shell(const Folder& folder, const std::string& command);
Outcome shell(const std::string& command);

// A tool that goes on running in the current folder, with a pipe to its standard input.
class Running {
 public:
  explicit Running(const std::string& command, bool on_terminal = false);
  ~Running();
  Running(const Running&) = delete;
  Running& operator=(const Running&) = delete;

  void feed(const std::string& bytes) const;
  // What it puts on its terminal, up to a text or the end.
  std::string hear(const std::string& until) const;
  // Sends a signal and waits for the end: the exit status as in Outcome.
  int end_with(int signal_number);

 private:
  pid_t process_ = -1;
  int input_ = -1;
  int terminal_ = -1;
};

// Waits until something has come true, for 20 seconds at most. Whether it has.
bool comes_true(const std::function<bool()>& what);

std::string bytes_of(const std::string& path);
void put_bytes(const std::string& path, const std::string& bytes);
std::string sample(const std::string& name);

}  // namespace orb::testing
