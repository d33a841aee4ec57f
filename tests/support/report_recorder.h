// Stands in for the user: takes every report that is delivered while it lives and remembers it.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace orb::testing {

class ReportRecorder {
 public:
  ReportRecorder();
  ~ReportRecorder();
  ReportRecorder(const ReportRecorder&) = delete;
  ReportRecorder& operator=(const ReportRecorder&) = delete;

  struct Report {
    int category;
    std::string text;
  };
  std::vector<Report> reports;

  // The texts of all reports, one a line: for one comparison in a test.
  [[nodiscard]] std::string texts() const;
  void clear() { reports.clear(); }
};

}  // namespace orb::testing
