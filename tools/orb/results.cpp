// A verb's results, delivered in one piece.
#include "results.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "exit_codes.h"
#include "orbbase/support/err.h"
#include "reports.h"
#include "target.h"

namespace orb::tool {
namespace {

bool write_all(const std::string& text, std::FILE* stream) {
  return std::fwrite(text.data(), 1, text.size(), stream) == text.size() && std::fflush(stream) == 0;
}

[[noreturn]] void fail_write(const std::string& name, int error_number) {
  throw Failure(kIoError, "Cannot write to " + name + "; " + std::strerror(error_number));
}

}  // namespace

void Results::deliver() const {
  if (options_.output.empty() || options_.output == "-") {
    if (write_all(text, stdout)) return;
    if (errno == EPIPE) throw Failure(kIoError);  // who closes the pipe has seen enough
    fail_write("standard output", errno);
  }
  into_file();
}

void Results::into_file() const {
  Target target(options_.output, options_.force);
  if (options_.is_dry_run) {
    say(ERR_WARNING, "dry run: " + options_.output + " is not written");
    return;
  }
  target.create();
  std::FILE* stream = std::fopen(target.write_name().c_str(), "wb");
  if (stream == nullptr) fail_write(target.shown_name(), errno);
  const bool is_written = write_all(text, stream);
  const int error_number = errno;
  if (std::fclose(stream) != 0 || !is_written)
    fail_write(target.shown_name(), is_written ? errno : error_number);
  target.commit();
}

}  // namespace orb::tool
