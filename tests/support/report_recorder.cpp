#include "tests/support/report_recorder.h"

#include "orbbase/support/err.h"

namespace orb::testing {
namespace {

int32_t remember(const void*, uint8_t category, const char* message, ERR_RECORD*, void* user_data) {
  static_cast<ReportRecorder*>(user_data)->reports.push_back({category, message});
  return 0;
}

}  // namespace

ReportRecorder::ReportRecorder() { ERR_dcl_handler(nullptr, remember, this); }
ReportRecorder::~ReportRecorder() { ERR_can_handler(nullptr); }

std::string ReportRecorder::texts() const {
  std::string all;
  for (const Report& report : reports) all += (all.empty() ? "" : "\n") + report.text;
  return all;
}

}  // namespace orb::testing
