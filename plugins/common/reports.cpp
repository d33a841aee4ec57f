#include "reports.h"

#include <cstdio>

namespace orb::plugin {

bool refuse_beginning(const char* path, const char* format, const char* beginning, size_t got,
                      size_t needed) {
  char reason[96] = "it begins with other bytes";
  if (got == 0) {
    std::snprintf(reason, sizeof reason, "the file is empty");
  } else if (got < needed) {
    std::snprintf(reason, sizeof reason, "the file is shorter than a %s", beginning);
  }
  orb__report(ORB_MSG_NOT_OF_FORMAT, path, format, reason);
  return fail(ORB_E_FORMAT) == 0;
}

void report_transfer(const char* path, Transfer transfer, int64_t line, const char* reason) {
  char text[384];
  if (line == kNoLine) {
    std::snprintf(text, sizeof text, "%s", reason);
  } else {
    std::snprintf(text, sizeof text, "scanline %lld: %s", static_cast<long long>(line), reason);
  }
  orb__report(transfer == Transfer::writing ? ORB_MSG_CANNOT_WRITE : ORB_MSG_READ_PROBLEM, path, text);
}

int32_t refuse_line(int32_t line) {
  orb__report(ORB_MSG_BAD_SCANLINE, line);
  return fail(ORB_E_SCANLINE);
}

int32_t refuse_row(int32_t line, const char* reason) {
  orb__report(ORB_MSG_CANNOT_WRITE_LINE, line, reason);
  return fail(ORB_E_HANDLE);
}

void mask_controls(char* text) {
  for (; *text; ++text) {
    const auto byte = static_cast<unsigned char>(*text);
    if (byte < 0x20 || byte == 0x7F) *text = '?';
  }
}

void place_remark(const char* kind, int32_t number, const char* text, char (&out)[320]) {
  if (number > 0) {
    std::snprintf(out, sizeof out, "%s %d: %s", kind, number, text);
  } else {
    std::snprintf(out, sizeof out, "%s", text);
  }
}

}  // namespace orb::plugin
