// Which format code this process is in, noted where a process that watches it can see: in memory that both share.
// Without a watcher the notes go nowhere.
#pragma once

#include <atomic>
#include <cstdint>
#include <string>

namespace orb::tool {

enum class Doing : uint8_t { nothing, loading, starting, reading, writing };

struct WorkPage {
  std::atomic<uint64_t> beats;  // grows with each sign of life
  std::atomic<Doing> doing;
  std::atomic<bool> is_waiting;  // for others: that may take as long as it likes
  std::atomic<bool> has_ended;   // what it was started for
  // Of what is loaded, of what is read, of what is written.
  struct {
    char file[512];
    char format[64];
  } names[3];
};

// Cleared, shared with the processes forked from now on. Null when there is no memory.
[[nodiscard]] WorkPage* make_work_page();
void release_work_page(WorkPage* page);

// Notes go there from now on.
void note_work_in(WorkPage* page);

// A file that format code is about to be called for, or a module that is about to run. doing: loading, reading or
// writing.
void note_file(Doing doing, const std::string& file, const std::string& format);

// Format code is about to be called, for the latest file of its kind. Cheap enough for every row.
void note_call(Doing doing);

void note_end();

// While it lives, no signs of life are expected.
class Waiting {
 public:
  Waiting();
  ~Waiting();
  Waiting(const Waiting&) = delete;
  Waiting& operator=(const Waiting&) = delete;
};

}  // namespace orb::tool
