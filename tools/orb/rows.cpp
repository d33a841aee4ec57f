// Getting the rows of open images in an order, and carrying them to another image.
#include "rows.h"

#include <unistd.h>

#include <algorithm>
#include <utility>

#include "at_work.h"
#include "exit_codes.h"
#include "reports.h"
#include "samples.h"

namespace orb::tool {
namespace {

[[noreturn]] void fail_row(const std::string& file, const char* action, int64_t line) {
  // The driver has said more, unless it is one that never speaks.
  fail_as_reported(file + ": cannot " + action + " row " + std::to_string(line));
}

int32_t line_at(const ORB_WINDOW& window, int64_t above_bottom) {
  return static_cast<int32_t>(window.bottom + above_bottom);
}

// The wanted groups of all rows, in one order, into the writer's window.
void pass_rows(RowSource& source, bool bottom_up, const Description& wanted, Image& writer,
               const std::string& output, Progress& progress) {
  RowSelection selection(source.form(), wanted.first());
  const int64_t height = height_of(source.form().window);
  for (int64_t i = 0; i < height; ++i) {
    const int64_t above_bottom = bottom_up ? i : height - 1 - i;
    write_row(writer, output, above_bottom, selection(source.read(above_bottom)));
    progress.step();
  }
}

void require_open(const Image& image, const std::string& input) {
  if (!image) fail_as_reported(input + ": cannot spool its rows");
}

// The name of a private image in memory, which is forgotten there with this: who has opened it keeps it.
class SpoolName {
 public:
  SpoolName() {
    static int count = 0;
    text = "orb spool " + std::to_string(getpid()) + "-" + std::to_string(++count) + ".mem";
  }
  ~SpoolName() { ORB_mem_remove(text.c_str()); }
  SpoolName(const SpoolName&) = delete;
  SpoolName& operator=(const SpoolName&) = delete;

  std::string text;
};

}  // namespace

const char* name_of(RowWay way) {
  constexpr const char* kNames[] = {"direct", "forward", "spool", "reopen"};
  return kNames[static_cast<size_t>(way)];
}

bool is_bottom_up(const ORB_IFD& ifd) { return (ifd.orientation & ORB_BOTTOM_UP) != 0; }

bool takes_any_order(const ORB_FORMAT& format) { return (format.access & ORB_ACCESS_MEMORY) != 0; }

bool gives_any_line(const Image& reader) {
  return reader->seek != nullptr ||
         (reader->format != nullptr && (reader->format->access & ORB_ACCESS_ANY_LINE) != 0);
}

uint64_t bytes_in_memory(const ORB_IFD& ifd) {
  constexpr uint64_t kBookkeepingPerLine = 64;
  constexpr uint64_t kTooMuch = ~uint64_t{0};
  uint64_t line = 0;
  uint64_t total = 0;
  if (__builtin_mul_overflow(pixel_bytes(ifd), static_cast<uint64_t>(width_of(ifd.window)), &line) ||
      __builtin_add_overflow(line, kBookkeepingPerLine, &line) ||
      __builtin_mul_overflow(line, static_cast<uint64_t>(height_of(ifd.window)), &total)) {
    return kTooMuch;
  }
  return total;
}

RowWay way_into_order(const Image& reader, const ORB_IFD& image, bool bottom_up, uint64_t need_bytes,
                      uint64_t most_spool_bytes, bool can_reopen) {
  if (is_bottom_up(image) == bottom_up || gives_any_line(reader)) return RowWay::direct;
  const uint64_t most = std::min(most_spool_bytes, ORB_limit(ORB_LIMIT_HANDLE, 0));
  if (need_bytes <= most) return RowWay::spool;
  if (can_reopen) return RowWay::reopen;
  throw Failure(kIoError, "the rows must be turned round, which needs " + std::to_string(need_bytes) +
                              " bytes of memory, and " + std::to_string(most) +
                              " are allowed (--mem, --limit handle=SIZE); the input cannot be opened a "
                              "second time instead");
}

RowPlan plan_rows(const Image& reader, const ORB_IFD& stored, const ORB_FORMAT& writer_format,
                  uint64_t most_spool_bytes, bool can_reopen) {
  const bool reader_is_bottom_up = is_bottom_up(reader.first());
  const bool writer_is_bottom_up = is_bottom_up(stored);
  const bool is_turned = reader_is_bottom_up != writer_is_bottom_up && !gives_any_line(reader);
  if (is_turned && takes_any_order(writer_format)) return {RowWay::forward, reader_is_bottom_up};
  return {way_into_order(reader, reader.first(), writer_is_bottom_up, bytes_in_memory(stored),
                         most_spool_bytes, can_reopen),
          writer_is_bottom_up};
}

int64_t passes_of(RowWay way) { return way == RowWay::spool ? 2 : 1; }

RowSelection::RowSelection(const ORB_IFD& source, const ORB_IFD& wanted) {
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

void** RowSelection::operator()(void** rows) {
  if (is_all_) return rows;
  for (size_t i = 0; i < kept_.size(); ++i) rows_[i] = rows[kept_[i]];
  return rows_.data();
}

bool has_rows(void* const* rows, const ORB_IFD& ifd) {
  const int32_t others = ifd.color.count > 0 ? ifd.color.count : ifd.index.count;
  const int64_t count = int64_t{others} + ifd.matte.count + ifd.aux.count;
  return rows != nullptr && std::find(rows, rows + count, nullptr) == rows + count;
}

RowReader::RowReader(Image& reader, std::string name, bool bottom_up, RowWay way)
    : reader_(reader), name_(std::move(name)) {
  const bool is_own_order = bottom_up == is_bottom_up(reader.first());
  must_seek_ = way == RowWay::reopen || (reader->seek != nullptr && !is_own_order);
}

void** RowReader::read(int64_t above_bottom) {
  const int32_t line = line_at(reader_.first().window, above_bottom);
  forget_errors();
  note_call(Doing::reading);
  if (must_seek_ && (ORB_seek(reader_.slot(), line) != 0 || !reader_)) fail_row(name_, "find", line);
  void** rows = nullptr;
  if (ORB_scan_read(reader_.get(), line, &rows) != 0 || !has_rows(rows, reader_.first()))
    fail_row(name_, "read", line);
  return rows;
}

void** SubImageRows::read(int64_t above_bottom) {
  const int32_t line = line_at(form().window, above_bottom);
  void** rows = nullptr;
  forget_errors();
  note_call(Doing::reading);
  if (must_seek_) reader_->seek(reader_->driver[index_].data, line);
  if (reader_->scan(reader_->driver[index_].data, line, &rows) != 0 || !has_rows(rows, form())) {
    fail_row(name_ + ": image " + std::to_string(index_ + 1), "read", line);
  }
  return rows;
}

void write_row(Image& writer, const std::string& name, int64_t above_bottom, void** rows) {
  const int32_t line = line_at(writer.first().window, above_bottom);
  note_call(Doing::writing);
  if (ORB_scan_write(writer.get(), line, rows) != 0) fail_row(name, "write", line);
}

RowBuffers::RowBuffers(ORB_IFD form)
    : rows_(ORB_chan_alloc(&form, static_cast<int32_t>(width_of(form.window)), "orb", nullptr)) {
  if (!rows_) fail_as_reported("out of memory");
}

void write_black(Image& writer, const RowPlan& plan, const Description& wanted, const std::string& name,
                 Progress& progress) {
  const RowBuffers rows(wanted.first());
  const int64_t height = height_of(wanted.first().window);
  for (int64_t i = 0; i < height; ++i) {
    write_row(writer, name, plan.is_bottom_up ? i : height - 1 - i, rows.get());
    progress.step();
  }
}

Image held_in_memory(RowSource& rows, const Description& wanted, const std::string& name,
                     Progress& progress) {
  forget_errors();
  SpoolName spool;
  std::string key = "mem";
  ORB_INFO record = wanted.record(key, spool.text, nullptr);
  Image memory(ORB_open(&record, "w"));
  require_open(memory, name);
  pass_rows(rows, is_bottom_up(rows.form()), wanted, memory, name, progress);
  if (!memory.close()) require_open(Image(), name);
  memory = open_for_reading(spool.text, *ORB_find(key.c_str()), DriverSettings(*ORB_find(key.c_str()), {}));
  require_open(memory, name);
  return memory;
}

void transfer_rows(const RowsInOrder& rows, Image& writer, const RowPlan& plan, const Description& wanted,
                   const std::string& input, const std::string& output, Progress& progress) {
  if (plan.way != RowWay::spool) {
    pass_rows(*rows(plan.is_bottom_up, plan.way), plan.is_bottom_up, wanted, writer, output, progress);
    return;
  }
  Image memory = held_in_memory(*rows(!plan.is_bottom_up, RowWay::direct), wanted, input, progress);
  RowReader turned(memory, input, plan.is_bottom_up, plan.way);
  pass_rows(turned, plan.is_bottom_up, wanted, writer, output, progress);
}

}  // namespace orb::tool
