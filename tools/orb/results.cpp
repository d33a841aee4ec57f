// A verb's results, delivered in one piece.
#include "results.h"

#include <cerrno>
#include <cstring>

#include "exit_codes.h"
#include "format_choice.h"
#include "orbbase/support/err.h"
#include "reports.h"

namespace orb::tool {
namespace {

[[noreturn]] void fail_write(const std::string& name, int error_number) {
  throw Failure(kIoError, "Cannot write to " + name + "; " + std::strerror(error_number));
}

}  // namespace

void write_text(const std::string& text, std::FILE* stream, const std::string& name) {
  if (std::fwrite(text.data(), 1, text.size(), stream) == text.size() && std::fflush(stream) == 0) return;
  const int error_number = errno;
  // Who closes the pipe has seen enough.
  if (stream == stdout && error_number == EPIPE) throw Failure(kIoError);
  fail_write(stream == stdout ? "standard output" : name, error_number);
}

Results::Results(const CommonOptions& options) : is_dry_run_(options.is_dry_run) {
  const bool is_standard_output = options.output.empty() || output_name(options.output) == "/dev/stdout";
  if (!is_standard_output) target_.emplace(options.output, options.force);
}

void Results::deliver() {
  if (target_) {
    into_file();
  } else {
    show(text);
  }
}

void Results::into_file() {
  const std::string& name = target_->shown_name();
  if (is_dry_run_) {
    say(ERR_WARNING, "dry run: " + name + " is not written");
    return;
  }
  target_->create();
  OpenedFile file = target_->open();
  write_text(text, file.get(), name);
  if (std::fclose(file.release()) != 0) fail_write(name, errno);
  target_->commit();
}

}  // namespace orb::tool
