// Jobs done by worker processes, so that one that crashes takes its own job with it and no other. This process
// hands the jobs out one by one and collects the answers. It should hold nothing open that workers must not share.
// With --isolate each worker has its limits and shows signs of life, or is stopped.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

namespace orb::tool {

inline constexpr uint64_t kAnyBytes = ~uint64_t{0};

struct WorkerLimits {
  size_t jobs_at_once = 1;          // 1 to kMostWorkers
  uint64_t most_bytes = kAnyBytes;  // that all jobs in flight may take together
};

// What a worker says of a job.
struct Answer {
  std::string text;
  bool is_typical = true;  // what the worker's memory grew to tells of the other jobs
};

// The end of a job.
struct JobEnd {
  size_t job;
  std::string text;   // the worker's
  std::string death;  // why there is none; else "". A sentence that names the file when it is isolated
  pid_t worker;       // the one that died; 0: none could be started
  bool is_worth_retry = false;  // there was no memory, or no process, for it
};

struct JobCalls {
  // In a worker: does a job within its share of the memory. What it throws, and writes to standard error, is the
  // worker's own.
  std::function<Answer(size_t job, uint64_t most_bytes)> work;
  // In this process, as jobs end. False: no more are begun.
  std::function<bool(const JobEnd& end)> note_end;
  // In this process: whole lines from a worker's standard error.
  std::function<void(std::string_view lines)> pass_on;
};

// Does the jobs 0 to count - 1, begun in this order. With bounded memory the first runs alone, and as many at once
// after it as fit, by the most that any job has taken so far. No worker is left when this returns or throws.
void run_jobs(size_t count, const WorkerLimits& limits, const JobCalls& calls);

}  // namespace orb::tool
