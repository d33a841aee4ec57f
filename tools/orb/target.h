// Where an output goes: beside the target under another name, and renamed when it is whole; or straight into
// what cannot be replaced, such as a named pipe, a device or standard output.
#pragma once

#include <sys/types.h>

#include <cstdio>
#include <memory>
#include <string>

namespace orb::tool {

struct FileClosed {
  void operator()(std::FILE* file) const {
    if (file != stdout) std::fclose(file);
  }
};
using OpenedFile = std::unique_ptr<std::FILE, FileClosed>;

class Target {
 public:
  // Looks at the target without touching it. Throws Failure: it exists and force is not given, it is a
  // folder, it or its folder must not be written.
  // In place: a file that is there is not replaced but written anew, which asks nothing of its folder.
  enum class Way { replace, in_place };
  Target(const std::string& file, bool force, Way way = Way::replace);
  ~Target();  // removes what was not committed
  Target(const Target&) = delete;
  Target& operator=(const Target&) = delete;

  // Makes the temporary, empty and nobody else's, with the permissions that the target has or a new file
  // would get. Throws Failure. Does nothing for a direct target.
  void create();
  // Opens write_name for a text; without create before it, the target is written in place. What can be added to only,
  // such as standard output, keeps what it holds. Throws Failure.
  [[nodiscard]] OpenedFile open() const;
  // The whole file takes the target's place. Throws Failure, also when there is a file by now and force is not given.
  void commit();

  // The name to write to: the temporary's after create, or the direct target's own.
  [[nodiscard]] const std::string& write_name() const { return write_name_; }
  // The name for messages, as it was typed.
  [[nodiscard]] const std::string& shown_name() const { return shown_name_; }
  [[nodiscard]] bool is_direct() const { return is_direct_; }
  [[nodiscard]] bool is_standard_output() const;
  [[nodiscard]] bool replaces() const { return replaces_; }

 private:
  void remove_temporary();

  std::string shown_name_;
  std::string final_name_;  // behind all symbolic links
  std::string write_name_;
  bool force_;
  bool is_direct_ = false;
  bool replaces_ = false;
  bool is_temporary_there_ = false;
};

// Removes the temporaries beside a target that a process which is no more has left there.
void remove_leftovers(const std::string& file, pid_t process);

}  // namespace orb::tool
