// Carrying the rows of one open image to another.
#include "rows.h"

#include <unistd.h>

#include <algorithm>

#include "exit_codes.h"
#include "reports.h"

namespace orb::tool {
namespace {

bool is_bottom_up(const ORB_IFD& ifd) { return (ifd.orientation & ORB_BOTTOM_UP) != 0; }

bool takes_any_order(const ORB_FORMAT& format) { return (format.access & ORB_ACCESS_MEMORY) != 0; }

bool gives_any_line(const Image& reader) {
  return reader->seek != nullptr ||
         (reader->format != nullptr && (reader->format->access & ORB_ACCESS_ANY_LINE) != 0);
}

uint64_t sample_bytes(const ORB_CHANNELS& group) {
  if (group.type == ORB_C_DOUBLE) return 8;
  if (group.type == ORB_C_FLOAT || group.width > 16) return 4;
  return group.width > 8 ? 2 : 1;
}

// Saturates instead of overflowing: the result is only compared with a limit.
uint64_t bytes_in_memory(const ORB_IFD& ifd) {
  constexpr uint64_t kBookkeepingPerLine = 64;
  constexpr uint64_t kTooMuch = ~uint64_t{0};
  uint64_t pixel = 0;
  for (const ORB_CHANNELS* group : {&ifd.color, &ifd.matte, &ifd.aux, &ifd.index}) {
    if (group->count > 0) pixel += sample_bytes(*group) * static_cast<uint64_t>(group->count);
  }
  uint64_t line = 0;
  uint64_t total = 0;
  if (__builtin_mul_overflow(pixel, static_cast<uint64_t>(width_of(ifd.window)), &line) ||
      __builtin_add_overflow(line, kBookkeepingPerLine, &line) ||
      __builtin_mul_overflow(line, static_cast<uint64_t>(height_of(ifd.window)), &total)) {
    return kTooMuch;
  }
  return total;
}

[[noreturn]] void fail_row(const std::string& file, const char* action, int64_t line) {
  // The driver has said more, unless it is one that never speaks.
  if (last_error_text().empty()) say(ERR_ERROR, file + ": cannot " + action + " row " + std::to_string(line));
  throw Failure(static_cast<ExitCode>(exit_code_of_last_error()));
}

// Which of the reader's row pointers go to the writer, when groups are left out.
class RowSelection {
 public:
  RowSelection(const ORB_IFD& source, const ORB_IFD& wanted) {
    size_t channel = 0;
    for (const auto group : {&ORB_IFD::color, &ORB_IFD::matte, &ORB_IFD::aux, &ORB_IFD::index}) {
      if (group == &ORB_IFD::index && source.color.count > 0) break;  // there is no index group then
      const auto count = static_cast<size_t>(std::max(0, (source.*group).count));
      for (size_t i = 0; i < count; ++i, ++channel) {
        if ((wanted.*group).count > 0) kept_.push_back(channel);
      }
    }
    is_all_ = kept_.size() == channel;
    rows_.resize(kept_.size() + 1);  // never without a first pointer
  }

  void** operator()(void** rows) {
    if (is_all_) return rows;
    for (size_t i = 0; i < kept_.size(); ++i) rows_[i] = rows[kept_[i]];
    return rows_.data();
  }

 private:
  std::vector<size_t> kept_;
  std::vector<void*> rows_;
  bool is_all_ = true;
};

enum class Visit { as_it_comes, seek_each };

struct Names {
  const std::string& input;
  const std::string& output;
};

// The rows of the reader's window, in one order, into the writer's window.
void pass_rows(Image& reader, Image& writer, bool bottom_up, Visit visit, RowSelection& selection,
               const Names& names, Progress& progress) {
  const ORB_WINDOW from = reader.first().window;
  const ORB_WINDOW to = writer.first().window;
  const int64_t height = height_of(from);
  for (int64_t i = 0; i < height; ++i) {
    const int64_t above_bottom = bottom_up ? i : height - 1 - i;
    const auto line = static_cast<int32_t>(from.bottom + above_bottom);
    forget_errors();
    if (visit == Visit::seek_each && (ORB_seek(reader.slot(), line) != 0 || !reader)) {
      fail_row(names.input, "find", line);
    }
    void** rows = nullptr;
    if (ORB_scan_read(reader.get(), line, &rows) != 0 || rows == nullptr) fail_row(names.input, "read", line);
    const auto target_line = static_cast<int32_t>(to.bottom + above_bottom);
    if (ORB_scan_write(writer.get(), target_line, selection(rows)) != 0) {
      fail_row(names.output, "write", target_line);
    }
    progress.step();
  }
}

// The private image in memory that rows are turned round in.
class Spool {
 public:
  explicit Spool(const Description& wanted) : wanted_(wanted) {}
  ~Spool() { ORB_mem_remove(name_.c_str()); }
  Spool(const Spool&) = delete;
  Spool& operator=(const Spool&) = delete;

  Image open_for_writing() {
    std::string key = "mem";
    ORB_INFO record = wanted_.record(key, name_, nullptr);
    return Image(ORB_open(&record, "w"));
  }
  Image open_again() {
    return open_for_reading(name_, *ORB_find("mem"), DriverSettings(*ORB_find("mem"), {}));
  }

 private:
  const Description& wanted_;
  std::string name_ = "orb spool " + std::to_string(getpid()) + ".mem";
};

void require_open(const Image& image, const std::string& input) {
  if (image) return;
  if (last_error_text().empty()) say(ERR_ERROR, input + ": cannot spool its rows");
  throw Failure(static_cast<ExitCode>(exit_code_of_last_error()));
}

void pass_through_memory(Image& reader, Image& writer, const RowPlan& plan, const Description& wanted,
                         RowSelection& selection, const Names& names, Progress& progress) {
  forget_errors();
  Spool spool(wanted);
  Image memory = spool.open_for_writing();
  require_open(memory, names.input);
  pass_rows(reader, memory, is_bottom_up(reader.first()), Visit::as_it_comes, selection, names, progress);
  if (!memory.close()) require_open(Image(), names.input);
  memory = spool.open_again();
  require_open(memory, names.input);
  RowSelection all(wanted.first(), wanted.first());
  pass_rows(memory, writer, plan.is_bottom_up, Visit::as_it_comes, all, names, progress);
}

}  // namespace

const char* name_of(RowWay way) {
  constexpr const char* kNames[] = {"direct", "forward", "spool", "reopen"};
  return kNames[static_cast<size_t>(way)];
}

RowPlan plan_rows(const Image& reader, const ORB_IFD& stored, const ORB_FORMAT& writer_format,
                  uint64_t most_spool_bytes, bool can_reopen) {
  const bool reader_is_bottom_up = is_bottom_up(reader.first());
  const bool writer_is_bottom_up = is_bottom_up(stored);
  const uint64_t need = bytes_in_memory(stored);
  if (reader_is_bottom_up == writer_is_bottom_up || gives_any_line(reader)) {
    return {RowWay::direct, writer_is_bottom_up, need};
  }
  if (takes_any_order(writer_format)) return {RowWay::forward, reader_is_bottom_up, need};
  if (need <= std::min(most_spool_bytes, ORB_limit(ORB_LIMIT_HANDLE, 0))) {
    return {RowWay::spool, writer_is_bottom_up, need};
  }
  if (can_reopen) return {RowWay::reopen, writer_is_bottom_up, need};
  throw Failure(
      kIoError,
      "the rows must be turned round, which needs " + std::to_string(need) + " bytes of memory, and " +
          std::to_string(std::min(most_spool_bytes, ORB_limit(ORB_LIMIT_HANDLE, 0))) +
          " are allowed (--mem, --limit handle=SIZE); the input cannot be opened a second time instead");
}

int64_t passes_of(const RowPlan& plan) { return plan.way == RowWay::spool ? 2 : 1; }

void transfer_rows(Image& reader, Image& writer, const RowPlan& plan, const Description& wanted,
                   const std::string& input, const std::string& output, Progress& progress) {
  const Names names = {input, output};
  RowSelection selection(reader.first(), wanted.first());
  if (plan.way == RowWay::spool) {
    pass_through_memory(reader, writer, plan, wanted, selection, names, progress);
    return;
  }
  const bool is_own_order = plan.is_bottom_up == is_bottom_up(reader.first());
  const bool must_seek = plan.way == RowWay::reopen || (reader->seek != nullptr && !is_own_order);
  pass_rows(reader, writer, plan.is_bottom_up, must_seek ? Visit::seek_each : Visit::as_it_comes, selection,
            names, progress);
}

}  // namespace orb::tool
