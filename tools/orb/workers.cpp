// Jobs done by worker processes.
#include "workers.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include "exit_codes.h"
#include "interrupt.h"
#include "isolation.h"

namespace orb::tool {
namespace {

constexpr size_t kNoJob = ~size_t{0};
constexpr int kWatchMilliseconds = 100;

// What goes through the pipes; an answer's text follows it.
struct Task {
  uint64_t job;
  uint64_t most_bytes;
};
struct AnswerHead {
  uint64_t grown_bytes;  // 0: not typical
  uint64_t text_bytes;
};
constexpr uint64_t kMostTextBytes = 1 << 28;

// One end of a pipe.
class End {
 public:
  End() = default;
  explicit End(int descriptor) : descriptor_(descriptor) {}
  End(End&& other) noexcept : descriptor_(std::exchange(other.descriptor_, -1)) {}
  End& operator=(End&& other) noexcept {
    std::swap(descriptor_, other.descriptor_);
    return *this;
  }
  ~End() { close(); }

  void close() {
    if (descriptor_ >= 0) ::close(std::exchange(descriptor_, -1));
  }
  [[nodiscard]] int get() const { return descriptor_; }

 private:
  int descriptor_ = -1;
};

struct Pipe {
  End out;  // to read from
  End in;   // to write to

  [[nodiscard]] bool open() {
    int ends[2] = {-1, -1};
    if (pipe2(ends, O_CLOEXEC) != 0) return false;
    out = End(ends[0]);
    in = End(ends[1]);
    return true;
  }
};

bool write_all(int descriptor, const void* bytes, size_t count) {
  const char* at = static_cast<const char*>(bytes);
  while (count > 0) {
    const ssize_t put = write(descriptor, at, count);
    if (put < 0 && errno == EINTR) continue;
    if (put <= 0) return false;
    at += put;
    count -= static_cast<size_t>(put);
  }
  return true;
}

bool read_all(int descriptor, void* bytes, size_t count) {
  char* at = static_cast<char*>(bytes);
  while (count > 0) {
    const ssize_t got = read(descriptor, at, count);
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) return false;
    at += got;
    count -= static_cast<size_t>(got);
  }
  return true;
}

// Adds what can be read now. False at the end.
bool read_some(int descriptor, std::string& text) {
  char block[16384];
  for (;;) {
    const ssize_t got = read(descriptor, block, sizeof block);
    if (got < 0 && errno == EINTR) continue;
    if (got < 0 && errno == EAGAIN) return true;
    if (got <= 0) return false;
    text.append(block, static_cast<size_t>(got));
  }
}

uint64_t peak_bytes() {
  constexpr uint64_t kUnit = 1024;
  struct rusage usage = {};
  getrusage(RUSAGE_SELF, &usage);
  return static_cast<uint64_t>(usage.ru_maxrss) * kUnit;
}

// A worker's life: until there are no more tasks, or nobody to answer. What a job throws ends the process here, before
// its pipes close: a worker without memory says so and asks for another try.
[[noreturn]] void serve(const JobCalls& calls, int tasks, int answers) noexcept {
  const uint64_t before = peak_bytes();
  Task task = {};
  while (read_all(tasks, &task, sizeof task)) {
    Answer answer = calls.work(task.job, task.most_bytes);
    answer.text.resize(std::min<size_t>(answer.text.size(), kMostTextBytes));
    const uint64_t grown = std::max<uint64_t>(peak_bytes() - before, 1);
    const AnswerHead head = {answer.is_typical ? grown : 0, answer.text.size()};
    if (!write_all(answers, &head, sizeof head) ||
        !write_all(answers, answer.text.data(), answer.text.size())) {
      break;
    }
  }
  _exit(0);  // what this process has in common with the other is finished there
}

std::string death_of_worker(int status) {
  if (WIFSIGNALED(status)) {
    const int number = WTERMSIG(status);
    return "the worker process was killed by signal " + std::to_string(number) + " (" + strsignal(number) +
           ")";
  }
  if (WEXITSTATUS(status) == kRetry) return "out of memory";
  return "the worker process ended with status " + std::to_string(WEXITSTATUS(status));
}

struct PageReleased {
  void operator()(WorkPage* page) const { release_work_page(page); }
};

struct Worker {
  pid_t process = -1;
  std::unique_ptr<WorkPage, PageReleased> page;  // null when it is not isolated
  std::optional<Watch> watch;
  bool is_overdue = false;
  End tasks;
  End answers;
  End errors;
  size_t job = kNoJob;
  uint64_t share = 0;
  std::string answer;   // as far as it has come
  std::string message;  // the line of standard error that is not yet whole
};

class Pool {
 public:
  Pool(size_t count, const WorkerLimits& limits, const JobCalls& calls)
      : count_(count), limits_(limits), calls_(calls) {}
  ~Pool();
  Pool(const Pool&) = delete;
  Pool& operator=(const Pool&) = delete;

  void run();

 private:
  using WorkerRef = std::unique_ptr<Worker>;

  [[nodiscard]] size_t most_in_flight() const;
  [[nodiscard]] bool may_begin(uint64_t share) const;
  void hand_out();
  [[nodiscard]] Worker* idle_worker();
  [[nodiscard]] Worker* start_worker();
  void hear();
  void stop_overdue();
  void pass_on_messages(Worker& worker) const;
  [[nodiscard]] bool take_answers(Worker& worker);
  void bury(Worker& worker);
  void end_job(const JobEnd& end);

  const size_t count_;
  const WorkerLimits limits_;
  const JobCalls& calls_;
  std::vector<WorkerRef> workers_;
  size_t next_ = 0;
  size_t in_flight_ = 0;
  uint64_t bytes_in_flight_ = 0;  // the shares, when memory is bounded
  uint64_t most_grown_ = 0;
};

Pool::~Pool() {
  for (const WorkerRef& worker : workers_) {
    worker->tasks.close();
    worker->answers.close();
    worker->errors.close();
  }
  for (const WorkerRef& worker : workers_) reap_worker(worker->process);
}

size_t Pool::most_in_flight() const {
  if (limits_.most_bytes == kAnyBytes) return limits_.jobs_at_once;
  if (most_grown_ == 0) return 1;
  return std::clamp<size_t>(limits_.most_bytes / most_grown_, 1, limits_.jobs_at_once);
}

// Shares that were given out before more jobs turned out to fit are still counted as they are.
bool Pool::may_begin(uint64_t share) const {
  if (in_flight_ >= most_in_flight()) return false;
  return limits_.most_bytes == kAnyBytes || share <= limits_.most_bytes - bytes_in_flight_;
}

void Pool::end_job(const JobEnd& end) {
  if (!calls_.note_end(end)) next_ = count_;
}

Worker* Pool::idle_worker() {
  for (const WorkerRef& worker : workers_) {
    if (worker->job == kNoJob) return worker.get();
  }
  return start_worker();
}

void Pool::hand_out() {
  while (next_ < count_) {
    const uint64_t share =
        limits_.most_bytes == kAnyBytes ? kAnyBytes : limits_.most_bytes / most_in_flight();
    if (!may_begin(share)) return;
    Worker* const worker = idle_worker();
    if (worker == nullptr && in_flight_ > 0) return;  // those that there are go on
    const size_t job = next_++;
    if (worker == nullptr) {
      end_job({job, "", std::string("no worker process can be started; ") + std::strerror(errno), 0, true});
      continue;
    }
    worker->job = job;
    worker->share = share == kAnyBytes ? 0 : share;
    ++in_flight_;
    bytes_in_flight_ += worker->share;
    if (worker->watch) worker->watch->restart();
    const Task task = {job, share};
    // One that has died shows at its other pipes; one that cannot be reached is made to.
    if (!write_all(worker->tasks.get(), &task, sizeof task)) kill(worker->process, SIGKILL);
  }
}

Worker* Pool::start_worker() {
  Pipe tasks;
  Pipe answers;
  Pipe errors;
  if (!tasks.open() || !answers.open() || !errors.open()) return nullptr;
  auto worker = std::make_unique<Worker>();
  workers_.reserve(workers_.size() + 1);
  if (isolation() != nullptr) {
    worker->page.reset(make_work_page());
    if (!worker->page) return nullptr;
    worker->watch.emplace(*worker->page);
  }
  std::fflush(nullptr);
  worker->process = fork_worker();
  if (worker->process < 0) return nullptr;
  if (worker->process == 0) {
    // An end of another's pipe held here would hide from that one that this side is closed.
    workers_.clear();
    if (worker->page) {
      prctl(PR_SET_PDEATHSIG, SIGTERM);
      note_work_in(worker->page.get());
      enter_limits();
    }
    dup2(errors.in.get(), STDERR_FILENO);
    for (End* end : {&tasks.in, &answers.out, &errors.out, &errors.in}) end->close();
    serve(calls_, tasks.out.get(), answers.in.get());
  }
  worker->tasks = std::move(tasks.in);
  worker->answers = std::move(answers.out);
  worker->errors = std::move(errors.out);
  for (const End* end : {&worker->answers, &worker->errors}) fcntl(end->get(), F_SETFL, O_NONBLOCK);
  workers_.push_back(std::move(worker));
  return workers_.back().get();
}

void Pool::pass_on_messages(Worker& worker) const {
  const bool is_open = read_some(worker.errors.get(), worker.message);
  size_t whole = worker.message.rfind('\n') + 1;  // 0 when there is none
  if (!is_open) {
    worker.errors.close();
    if (whole < worker.message.size()) worker.message += '\n';
    whole = worker.message.size();
  }
  if (whole > 0) calls_.pass_on(std::string_view(worker.message).substr(0, whole));
  worker.message.erase(0, whole);
}

// False when there will be no more answers.
bool Pool::take_answers(Worker& worker) {
  const bool is_open = read_some(worker.answers.get(), worker.answer);
  AnswerHead head = {};
  if (worker.answer.size() < sizeof head) return is_open;
  std::memcpy(&head, worker.answer.data(), sizeof head);
  if (worker.job == kNoJob || head.text_bytes > kMostTextBytes) return false;
  if (worker.answer.size() - sizeof head < head.text_bytes) return is_open;
  const JobEnd end = {worker.job, worker.answer.substr(sizeof head), "", 0};
  worker.answer.clear();
  worker.job = kNoJob;
  --in_flight_;
  bytes_in_flight_ -= worker.share;
  most_grown_ = std::max(most_grown_, head.grown_bytes);
  end_job(end);
  return is_open;
}

// Ends a worker whose answers have ended, and the job that it had.
void Pool::bury(Worker& worker) {
  kill(worker.process, SIGKILL);  // one that only seems dead must not be waited for
  const pid_t process = worker.process;
  const size_t job = worker.job;
  const uint64_t share = worker.share;
  const std::unique_ptr<WorkPage, PageReleased> page = std::move(worker.page);
  const bool was_overdue = worker.is_overdue;
  const int status = reap_worker(process);
  pass_on_messages(worker);
  std::erase_if(workers_, [&](const WorkerRef& other) { return other.get() == &worker; });
  if (job == kNoJob) return;
  --in_flight_;
  bytes_in_flight_ -= share;
  end_job({job, "", page ? death_text(*page, status, was_overdue) : death_of_worker(status), process,
           WIFEXITED(status) && WEXITSTATUS(status) == kRetry});
}

// A stopped one shows at its pipes.
void Pool::stop_overdue() {
  for (const WorkerRef& worker : workers_) {
    if (worker->job == kNoJob || !worker->watch || !worker->watch->is_overdue()) continue;
    worker->is_overdue = true;
    kill(worker->process, SIGKILL);
  }
}

// Waits until workers say something.
void Pool::hear() {
  std::vector<pollfd> ends;
  for (const WorkerRef& worker : workers_) {
    ends.push_back({worker->answers.get(), POLLIN, 0});
    ends.push_back({worker->errors.get(), POLLIN, 0});
  }
  const int most_milliseconds = isolation() != nullptr ? kWatchMilliseconds : -1;
  if (poll(ends.data(), ends.size(), most_milliseconds) < 0) return;  // interrupted: asked again
  note_call(Doing::nothing);                                          // for who watches this process in turn
  stop_overdue();
  std::vector<Worker*> dead;
  for (size_t i = 0; i < workers_.size(); ++i) {
    Worker& worker = *workers_[i];
    if (ends[2 * i].revents == 0 && ends[2 * i + 1].revents == 0) continue;
    pass_on_messages(worker);
    // Both ends of a worker close with it, whatever it has handed on.
    if (ends[2 * i].revents != 0 && !take_answers(worker)) dead.push_back(&worker);
  }
  for (Worker* worker : dead) bury(*worker);
}

void Pool::run() {
  for (hand_out(); in_flight_ > 0; hand_out()) hear();
}

}  // namespace

void run_jobs(size_t count, const WorkerLimits& limits, const JobCalls& calls) {
  Pool(count, limits, calls).run();
}

}  // namespace orb::tool
