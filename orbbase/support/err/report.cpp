// The ways in: reports of the library itself, free-form reports, and reports through an application's record.
#include <algorithm>
#include <cstdarg>
#include <cstring>

#include "orbbase/platform/platform.h"
#include "orbbase/support/err/internal.h"
#include "orbbase/support/err/state.h"
#include "orbbase/support/err/template.h"

namespace orb {
namespace err {
namespace {

// Copies as much of the text into the shared buffer as fits. Returns its whole length.
size_t copy_cut(const char* text) {
  const size_t length = std::strlen(text);
  const size_t fits = std::min(length, kTextBytes - 1);
  std::memcpy(buffers.formatted, text, fits);
  buffers.formatted[fits] = '\0';
  return length;
}

// Formats into the shared buffer, bounded. No handler runs meanwhile, so the buffer is free.
size_t format_text(const char* format, va_list args) {
  const int wanted = platform::format_text({buffers.formatted, kTextBytes}, format, args);
  // An argument that cannot be converted: the format says at least what the report was about.
  const size_t bytes = wanted < 0 ? copy_cut(format) : static_cast<size_t>(wanted);
  if (bytes >= kTextBytes) mark_cut(buffers.formatted, kTextBytes);
  return std::strlen(buffers.formatted);
}

void fill_record(EntryPoint& entry, int32_t category, const char* format, const char* text) {
  entry.record.identity = format;
  entry.record.category = is_category(category) ? static_cast<uint8_t>(category) : kUnknownCategory;
  entry.record.message_template = text;
}

void deliver_through(EntryPoint& entry, const char* text) {
  ++entry.deliveries;
  deliver(&entry.record, text);
  --entry.deliveries;
}

// A handler of a report through this entry point reports through it again: the text of the report under way
// stays, this one lives here, and the record is put back for the outer report's next handlers.
void deliver_inside(EntryPoint& entry, int32_t category, const char* format, size_t length) {
  char text[kTextBytes];
  std::memcpy(text, buffers.formatted, length + 1);
  const ERR_RECORD outer = entry.record;
  fill_record(entry, category, format, text);
  deliver_through(entry, text);
  entry.record.identity = outer.identity;
  entry.record.category = outer.category;
  entry.record.message_template = outer.message_template;
}

void report_through(EntryPoint& entry, int32_t category, const char* format, va_list args) {
  const Guard guard(state.lock);
  if (is_masked(category)) return;
  const size_t length = format_text(format ? format : "", args);
  count_report(category);
  if (entry.deliveries > 0) return deliver_inside(entry, category, format, length);
  std::memcpy(entry.text, buffers.formatted, length + 1);
  fill_record(entry, category, format, entry.text);
  deliver_through(entry, entry.text);
}

}  // namespace

void mark_cut(char* buffer, size_t buffer_bytes) {
  static constexpr char kMark[] = "...";
  std::memcpy(buffer + buffer_bytes - sizeof(kMark), kMark, sizeof(kMark));
}

}  // namespace err

// Catalogue, set and number are carried only, so that a catalogue can be attached.
void report_cat_valist(void*, int32_t, int32_t, int32_t category, const char* format, va_list args) {
  err::report_through(err::state.catalogue, category, format, args);
}

void report_template(const void* identity, uint8_t category, const char* message_template, va_list args) {
  char text[err::kTemplateTextBytes];
  err::expand_template(message_template, text, sizeof(text), args);
  err::deliver_without_record(identity, category, text);
}

}  // namespace orb

int32_t ERR_report_cat(void* catalogue, int32_t set, int32_t number, int32_t category,
                       const char* default_format, ...) {
  va_list args;
  va_start(args, default_format);
  orb::report_cat_valist(catalogue, set, number, category, default_format, args);
  va_end(args);
  return 0;
}

int32_t ERR_printf(int32_t category, const char* format, ...) {
  va_list args;
  va_start(args, format);
  orb::err::report_through(orb::err::state.free_form, category, format, args);
  va_end(args);
  return 0;
}

int32_t ERR_report_errno(int32_t error_number, const char* prefix) {
  const bool has_prefix = prefix && *prefix;
  if (error_number > 0 && has_prefix) {
    ERR_printf(ERR_ERROR, "%s: %s", prefix, std::strerror(error_number));
  } else if (error_number > 0) {
    ERR_printf(ERR_ERROR, "%s", std::strerror(error_number));
  } else if (error_number < 0 && has_prefix) {
    ERR_printf(ERR_ERROR, "%s: error %d", prefix, error_number);
  } else if (error_number < 0) {
    ERR_printf(ERR_ERROR, "error %d", error_number);
  }
  return 0;
}

int32_t ERR_report(ERR_RECORD* record, ...) {
  using namespace orb::err;
  const Guard guard(state.lock);
  count_report(record->category);  // before the masks, on purpose: what is suppressed still counts here
  ++record->count;
  if (is_masked(*record)) return 0;
  char text[kTemplateTextBytes];
  va_list args;
  va_start(args, record);
  expand_template(record->message_template, text, sizeof(text), args);
  va_end(args);
  deliver(record, text);
  return 0;
}
