// What the checks of a plug-in share.
#include "kit.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <utility>

#include "../at_work.h"
#include "orbbase/host.h"
#include "orbbase/support/err.h"

namespace orb::tool::plugin_check {
namespace {

namespace fs = std::filesystem;

fs::path module_under_test;  // the host's question has no argument of its own

int32_t is_under_test(const char* path) {
  std::error_code error;
  if (path == nullptr) return note_call(Doing::starting), 1;
  if (!fs::equivalent(path, module_under_test, error) || error) return 0;
  note_file(Doing::loading, path, "");
  return 1;
}

// The verdict of the host on the module.
HOST_CANDIDATE verdict() {
  for (int32_t i = 0; const HOST_CANDIDATE* candidate = HOST_candidate(i); ++i) {
    if (candidate->state != HOST_LEFT_OUT) return *candidate;
  }
  return {"", "", HOST_CANNOT_LOAD, "the host does not find it; a module's name ends in .so"};
}

}  // namespace

Kit::Kit(std::string check, std::string module, std::string folder)
    : check_(std::move(check)), module_(std::move(module)), folder_(std::move(folder)) {
  module_under_test = fs::absolute(module_);
  setenv("QV_ORB_PLUGIN_PATH", module_under_test.parent_path().c_str(), 1);
  HOST_ask(is_under_test);
  if (HOST_start(nullptr) != 0) {
    fail("the library cannot start");
    return;
  }
  ORB_multiframe_set(0, 0);  // what is closed is to be closed, or nothing could be said about it
  const HOST_CANDIDATE candidate = verdict();
  if (candidate.state == HOST_TAKEN) {
    format_ = ORB_find(candidate.key);
  } else {
    fail(candidate.reason);
  }
  note_file(Doing::reading, module_, candidate.key);
  ERR_dcl_handler(nullptr, take_report, this);
}

Kit::~Kit() {
  ERR_can_handler(nullptr);
  HOST_stop();
}

int32_t Kit::take_report(const void*, uint8_t category, const char* message, ERR_RECORD*, void* kit) {
  if (category >= ERR_ERROR) static_cast<Kit*>(kit)->errors_.emplace_back(message);
  return 0;
}

std::string Kit::file(const std::string& stem) const {
  return folder_ + "/" + stem + (format_->extension == nullptr ? "" : format_->extension);
}

void Kit::add(Level level, const std::string& text) {
  const auto is_known = [&](const Finding& known) { return known.text == text; };
  if (std::none_of(findings_.begin(), findings_.end(), is_known)) findings_.push_back({level, check_, text});
}

bool Kit::has_failed() const {
  return std::any_of(findings_.begin(), findings_.end(),
                     [](const Finding& finding) { return finding.level == Level::failure; });
}

void Kit::forget() {
  errors_.clear();
  orb__err = 0;
}

size_t open_descriptors() {
  std::error_code error;
  size_t count = 0;
  for (fs::directory_iterator entry("/proc/self/fd", error), end; !error && entry != end;
       entry.increment(error))
    ++count;
  return count;
}

}  // namespace orb::tool::plugin_check
