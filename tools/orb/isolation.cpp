// --isolate: format code runs in child processes within limits.
#include "isolation.h"

#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <memory>
#include <new>
#include <optional>
#include <vector>

#include "interrupt.h"
#include "json.h"
#include "orbbase/core.h"
#include "orbbase/host.h"
#include "reports.h"
#include "target.h"
#include "workers.h"

namespace orb::tool {
namespace {

struct State {
  std::optional<IsolationLimits> limits;
  std::vector<std::string> left_out;  // modules that have ended a process as they were loaded
} state;

constexpr size_t kMostLeftOut = 100;

// ---- What was asked for ----

struct IsolationLimitName {
  const char* name;
  uint64_t IsolationLimits::*value;
};
constexpr IsolationLimitName kIsolationLimits[] = {{"memory", &IsolationLimits::memory_bytes},
                                                   {"time", &IsolationLimits::seconds},
                                                   {"file", &IsolationLimits::file_bytes}};

void set_limit(IsolationLimits& limits, const std::string& text) {
  const size_t equals = text.find('=');
  const std::string name = text.substr(0, equals);
  const std::string value = equals == std::string::npos ? "" : text.substr(equals + 1);
  for (const IsolationLimitName& limit : kIsolationLimits) {
    if (name != limit.name) continue;
    limits.*limit.value = value == "0" ? 0 : size_from_text(value);
    return;
  }
  throw Failure(kUsage, "--isolate=" + text +
                            ": expecting memory=SIZE, time=SECONDS or file=SIZE, with commas between");
}

// ---- Limits of a child ----

uint64_t address_space_bytes() {
  unsigned long long pages = 0;
  std::FILE* file = std::fopen("/proc/self/statm", "re");
  if (file == nullptr) return 0;
  if (std::fscanf(file, "%llu", &pages) != 1) pages = 0;
  std::fclose(file);
  return pages * static_cast<uint64_t>(sysconf(_SC_PAGESIZE));
}

// The hard limit is left alone: this process may start others, with limits of their own.
void limit_to(int resource, uint64_t most) {
  struct rlimit limit = {};
  const auto which = static_cast<__rlimit_resource>(resource);
  if (getrlimit(which, &limit) != 0) return;
  limit.rlim_cur = std::min<rlim_t>(most, limit.rlim_max);
  static_cast<void>(setrlimit(which, &limit));
}

// ---- How a child ended ----

struct SignalName {
  int number;
  const char* words;
};
constexpr SignalName kSignals[] = {{SIGSEGV, "segmentation fault"},
                                   {SIGBUS, "bus error"},
                                   {SIGABRT, "aborted"},
                                   {SIGFPE, "arithmetic error"},
                                   {SIGILL, "illegal instruction"},
                                   {SIGTRAP, "trap"},
                                   {SIGSYS, "forbidden system call"},
                                   {SIGXCPU, "out of processor time"},
                                   {SIGXFSZ, "file too large"}};

std::string how_it_ended(int status, bool was_overdue) {
  if (was_overdue) {
    return "took more than " + std::to_string(state.limits->seconds) +
           " seconds and was stopped (--isolate=time=0 lets it)";
  }
  if (!WIFSIGNALED(status))
    return "ended the process (exit status " + std::to_string(WEXITSTATUS(status)) + ")";
  const int number = WTERMSIG(status);
  for (const SignalName& signal : kSignals) {
    if (signal.number == number) return std::string("crashed (") + signal.words + ")";
  }
  return "was killed by signal " + std::to_string(number) + " (" + strsignal(number) + ")";
}

// ---- Passing on what work gives ----

std::string packed_failure(int code, const char* what) {
  return packed({{"failure", code}, {"what", what}, {"error", last_error_text()}, {"code", orb__err}});
}

std::string packed_result(const std::function<std::string()>& work) {
  std::string result;
  try {
    const std::string text = work();
    result = packed({{"text", text}});
  } catch (const Failure& failure) {
    result = packed_failure(failure.code(), failure.what());
  } catch (const std::bad_alloc&) {
    result = packed_failure(kRetry, "out of memory");
  }
  std::fflush(stdout);
  return result;
}

std::string result_from(const std::string& bytes) {
  const Json json = unpacked(bytes);
  if (json.is_object() && json.contains("text")) return json["text"];
  if (!json.is_object() || !json.contains("failure")) throw Death("the child process gave no answer");
  note_error(json["error"]);
  orb__err = json["code"];
  throw Failure(static_cast<ExitCode>(json["failure"].get<int>()), json["what"]);
}

// What a job's work returned. Throws what that threw, or Death.
std::string result_of(const JobEnd& end) {
  if (end.death.empty()) return result_from(end.text);
  if (end.is_worth_retry) throw Failure(kRetry, end.death);
  orb__err = ORB_E_HANDLE;
  throw Death(end.death);
}

void write_messages(std::string_view lines) { std::fwrite(lines.data(), 1, lines.size(), stderr); }

// ---- The outermost child ----

int32_t ask_about_module(const char* path) {
  if (path == nullptr) {
    note_call(Doing::starting);
    return 1;
  }
  if (std::find(state.left_out.begin(), state.left_out.end(), path) != state.left_out.end()) return 0;
  note_file(Doing::loading, path, "");
  return 1;
}

[[noreturn]] void live_as_child(WorkPage* page, const std::function<int()>& run) {
  prctl(PR_SET_PDEATHSIG, SIGTERM);
  note_work_in(page);
  enter_limits();
  HOST_ask(ask_about_module);
  const int status = run();
  std::fflush(nullptr);
  note_end();
  _exit(status);
}

bool has_ended(pid_t process) {
  siginfo_t end = {};
  return waitid(P_PID, static_cast<id_t>(process), &end, WEXITED | WNOWAIT | WNOHANG) == 0 && end.si_pid != 0;
}

// Until the end of a child, which is made to come when it is overdue. True when it was.
bool wait_for(pid_t process, const WorkPage& page) {
  constexpr auto kLongest = std::chrono::milliseconds(20);
  Watch watch(page);
  for (auto pause = std::chrono::milliseconds(1); !has_ended(process);
       pause = std::min(2 * pause, kLongest)) {
    if (watch.is_overdue()) {
      kill(process, SIGKILL);
      return true;
    }
    const timespec time = {0, std::chrono::nanoseconds(pause).count()};
    nanosleep(&time, nullptr);
  }
  return false;
}

// A terminal as it was before a child drew on it.
class TerminalKept {
 public:
  TerminalKept() : is_terminal_(isatty(STDOUT_FILENO) != 0 && tcgetattr(STDOUT_FILENO, &before_) == 0) {}
  void restore() const {
    constexpr char kVisible[] = "\033[0m\033[?25h";
    if (!is_terminal_) return;
    tcsetattr(STDOUT_FILENO, TCSADRAIN, &before_);
    static_cast<void>(!write(STDOUT_FILENO, kVisible, sizeof kVisible - 1));
  }

 private:
  termios before_ = {};
  bool is_terminal_;
};

// The status of one attempt; nothing when a module has to be left out of the next one.
std::optional<int> attempt(const std::function<int()>& run, WorkPage& page) {
  const TerminalKept terminal;
  std::fflush(nullptr);
  const pid_t process = fork_worker();
  if (process < 0) throw Failure(kRetry, std::string("no process can be started; ") + std::strerror(errno));
  if (process == 0) live_as_child(&page, run);
  const bool was_overdue = wait_for(process, page);
  const int status = reap_worker(process);
  if (page.has_ended && WIFEXITED(status)) return WEXITSTATUS(status);
  if (WIFEXITED(status) && WEXITSTATUS(status) == kInterrupted) return kInterrupted;
  terminal.restore();
  const std::string text = death_text(page, status, was_overdue);
  if (page.doing != Doing::loading || state.left_out.size() == kMostLeftOut) throw Failure(kIoError, text);
  say(ERR_WARNING, text + "; it is left out");
  state.left_out.emplace_back(page.names[0].file);
  return std::nullopt;
}

}  // namespace

void choose_isolation(const std::string& text) {
  if (text.empty()) return;
  IsolationLimits limits;
  for (size_t at = 0; text != "true" && at <= text.size();) {
    const size_t end = std::min(text.find(',', at), text.size());
    set_limit(limits, text.substr(at, end - at));
    at = end + 1;
  }
  state.limits = limits;
}

const IsolationLimits* isolation() { return state.limits ? &*state.limits : nullptr; }

void enter_limits() {
  const IsolationLimits& limits = *state.limits;
  if (limits.memory_bytes != 0) limit_to(RLIMIT_AS, address_space_bytes() + limits.memory_bytes);
  if (limits.file_bytes != 0) limit_to(RLIMIT_FSIZE, limits.file_bytes);
  limit_to(RLIMIT_CORE, 0);
  std::signal(SIGXFSZ, SIG_IGN);  // the write fails instead, and whoever writes can say so
}

bool Watch::is_overdue() {
  const auto now = std::chrono::steady_clock::now();
  const uint64_t beats = page_.beats.load(std::memory_order_relaxed);
  if (beats != beats_ || page_.is_waiting) {
    beats_ = beats;
    since_ = now;
  }
  const uint64_t seconds = state.limits->seconds;
  // More seconds may be allowed than a clock can count.
  const double passed = std::chrono::duration<double>(now - since_).count();
  return seconds != 0 && passed > static_cast<double>(seconds);
}

void Watch::restart() { since_ = std::chrono::steady_clock::now(); }

std::string death_text(const WorkPage& page, int status, bool was_overdue) {
  const Doing doing = page.doing;
  const auto& names = page.names[doing == Doing::writing ? 2 : doing == Doing::reading ? 1 : 0];
  const std::string end = how_it_ended(status, was_overdue);
  switch (doing) {
    case Doing::loading:
      return std::string(names.file) + ": the plug-in " + end + " when it was loaded";
    case Doing::starting:
      return "a plug-in " + end + " when the formats were registered";
    case Doing::reading:
    case Doing::writing:
      return std::string(names.file) + ": " +
             (*names.format == '\0' ? "a format that was asked about it"
                                    : std::string("the format ") + names.format) +
             " " + end;
    default:
      return "the child process " + end;
  }
}

std::string contain(const std::function<std::string()>& work, const std::string& output) {
  JobEnd ended = {};
  JobCalls calls;
  calls.work = [&](size_t, uint64_t) { return Answer{packed_result(work)}; };
  calls.note_end = [&](const JobEnd& end) {
    ended = end;
    return true;
  };
  calls.pass_on = write_messages;
  run_jobs(1, {}, calls);
  if (!ended.death.empty() && !output.empty() && ended.worker != 0) remove_leftovers(output, ended.worker);
  return result_of(ended);
}

void contain_each(size_t count, const std::function<std::string(size_t)>& work,
                  const std::function<void(size_t, const std::function<std::string()>&)>& take) {
  JobCalls calls;
  calls.work = [&](size_t piece, uint64_t) { return Answer{packed_result([&] { return work(piece); })}; };
  calls.note_end = [&](const JobEnd& end) {
    take(end.job, [&] { return result_of(end); });
    return true;
  };
  calls.pass_on = write_messages;
  run_jobs(count, {}, calls);
}

int guard(const std::function<int()>& run) {
  for (;;) {
    WorkPage* const page = make_work_page();
    if (page == nullptr) throw std::bad_alloc();
    const std::unique_ptr<WorkPage, decltype([](WorkPage* used) { release_work_page(used); })> owner(page);
    if (const std::optional<int> status = attempt(run, *page)) return *status;
  }
}

}  // namespace orb::tool
