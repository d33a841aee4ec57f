// Where an output goes: beside the target and renamed, or straight into what cannot be replaced.
#include "target.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstring>

#include "exit_codes.h"
#include "format_choice.h"
#include "interrupt.h"
#include "reports.h"

namespace orb::tool {
namespace {

constexpr int kMostLinks = 40;   // as many as the system follows
constexpr int kMostNames = 100;  // temporaries of crashed runs that may lie in the way

[[noreturn]] void fail_existing(const std::string& name) {
  throw Failure(kIoError, name + " exists and is kept; -f replaces it");
}

[[noreturn]] void fail_open(const std::string& name, int error_number) {
  throw Failure(is_worth_retry(error_number) ? kRetry : kIoError,
                "Cannot open file " + name + "; " + std::strerror(error_number));
}

std::string folder_of(const std::string& path) { return path.substr(0, path.rfind('/') + 1); }

// The name behind symbolic links, whether or not there is a file. Unlike realpath it keeps the folder as it
// was typed, which the messages show.
std::string behind_links(const std::string& file) {
  std::string name = file;
  for (int i = 0; i < kMostLinks; ++i) {
    char link[PATH_MAX];
    const ssize_t length = readlink(name.c_str(), link, sizeof link);
    if (length < 0) return name;
    const std::string next(link, static_cast<size_t>(length));
    name = next.empty() || next.front() != '/' ? folder_of(name) + next : next;
  }
  fail_open(file, ELOOP);
}

// Under the target's name. Without force a file that came meanwhile is kept, too.
int put_in_place(const char* from, const char* to, bool force) {
  if (force) return std::rename(from, to);
  if (renameat2(AT_FDCWD, from, AT_FDCWD, to, RENAME_NOREPLACE) == 0) return 0;
  if (errno != EINVAL && errno != ENOSYS) return -1;
  // A file system that cannot refuse so; without links either, only the look beforehand protects the file.
  if (link(from, to) == 0) return unlink(from);
  return errno == EEXIST ? -1 : std::rename(from, to);
}

// In the target's folder, hidden, with the target's extension kept, and short enough for a file system.
std::string temporary_name(const std::string& final_name, pid_t process, int attempt) {
  constexpr size_t kLongestStem = 120;
  constexpr size_t kLongestExtension = 60;
  const std::string folder = folder_of(final_name);
  const std::string base = final_name.substr(folder.size());
  const size_t dot = base.rfind('.');
  std::string extension = dot == std::string::npos ? "" : base.substr(dot);
  if (extension.size() > kLongestExtension) extension.clear();
  const std::string stem =
      base.substr(0, dot == std::string::npos ? base.size() : dot).substr(0, kLongestStem);
  const std::string number = attempt == 0 ? "" : "-" + std::to_string(attempt);
  return folder + "." + stem + ".orb-" + std::to_string(process) + number + extension;
}

}  // namespace

Target::Target(const std::string& file, bool force, Way way)
    : shown_name_(file), final_name_(output_name(file)), write_name_(final_name_), force_(force) {
  if (is_standard_output()) {
    is_direct_ = true;
    return;
  }
  struct stat status = {};
  const bool is_there = stat(final_name_.c_str(), &status) == 0;
  if (!is_there && errno != ENOENT) fail_open(file, errno);
  if (is_there && S_ISDIR(status.st_mode)) fail_open(file, EISDIR);
  is_direct_ = is_there && !S_ISREG(status.st_mode);
  replaces_ = is_there && !is_direct_;
  if (replaces_ && !force) fail_existing(file);
  if (is_there && access(final_name_.c_str(), W_OK) != 0) fail_open(file, errno);
  if (is_direct_) return;
  write_name_ = final_name_ = behind_links(final_name_);
  if (is_there && way == Way::in_place) return;
  const std::string folder = folder_of(final_name_);
  if (access(folder.empty() ? "." : folder.c_str(), W_OK | X_OK) != 0) fail_open(file, errno);
}

Target::~Target() { remove_temporary(); }

bool Target::is_standard_output() const { return final_name_ == "/dev/stdout"; }

void Target::create() {
  if (is_direct_) return;
  struct stat status = {};
  const bool has_target = stat(final_name_.c_str(), &status) == 0;
  int descriptor = -1;
  for (int attempt = 0; descriptor < 0 && attempt < kMostNames; ++attempt) {
    write_name_ = temporary_name(final_name_, getpid(), attempt);
    const InterruptsHeld held;
    descriptor = ::open(write_name_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    if (descriptor < 0 && errno != EEXIST) fail_open(shown_name_, errno);
    if (descriptor >= 0) {
      remove_on_interrupt(write_name_);
      is_temporary_there_ = true;
    }
  }
  if (descriptor < 0) fail_open(shown_name_, EEXIST);
  if (has_target) {
    // Owner first: changing it takes away the set-id bits. Only root may; for others the file becomes theirs.
    if (fchown(descriptor, status.st_uid, status.st_gid) != 0) status.st_mode &= 0777;
    if (fchmod(descriptor, status.st_mode & 07777) != 0) {
      const int error_number = errno;
      ::close(descriptor);
      fail_open(shown_name_, error_number);
    }
  }
  ::close(descriptor);
}

OpenedFile Target::open() const {
  if (is_standard_output()) return OpenedFile(stdout);
  const bool must_be_new = !is_direct_ && !is_temporary_there_ && !force_;
  OpenedFile file(std::fopen(write_name_.c_str(), is_direct_ ? "abe" : must_be_new ? "wbxe" : "wbe"));
  if (file) return file;
  if (errno == EEXIST) fail_existing(shown_name_);
  fail_open(shown_name_, errno);
}

void Target::commit() {
  if (is_direct_) return;
  const InterruptsHeld held;
  if (put_in_place(write_name_.c_str(), final_name_.c_str(), force_) != 0) {
    const int error_number = errno;
    if (error_number == EEXIST) fail_existing(shown_name_);
    throw Failure(is_worth_retry(error_number) ? kRetry : kIoError,
                  "Cannot write to " + shown_name_ + "; " + std::strerror(error_number));
  }
  is_temporary_there_ = false;
  remove_on_interrupt("");
}

void Target::remove_temporary() {
  if (!is_temporary_there_) return;
  const InterruptsHeld held;
  unlink(write_name_.c_str());
  is_temporary_there_ = false;
  remove_on_interrupt("");
}

void remove_leftovers(const std::string& file, pid_t process) {
  try {
    const std::string final_name = behind_links(file);
    for (int attempt = 0; attempt < kMostNames; ++attempt) {
      if (unlink(temporary_name(final_name, process, attempt).c_str()) != 0) return;
    }
  } catch (const Failure&) {
    return;  // links in a circle: nothing was written
  }
}

}  // namespace orb::tool
