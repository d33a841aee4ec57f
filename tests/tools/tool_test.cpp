#include "tool_test.h"

namespace orb::testing {

Outcome expect(const Call& call, const RunOptions& options) {
  const ::testing::ScopedTrace trace(__FILE__, __LINE__, "orb " + call.command);
  Outcome end = orb(call.command, options);
  EXPECT_EQ(end.status, call.status) << end.out << end.err;
  EXPECT_THAT(end.out, call.out);
  EXPECT_THAT(end.err, call.err);
  return end;
}

Outcome expect(const std::string& command, int status, const Text& out, const Text& err) {
  return expect(Call{command, status, out, err});
}

void expect_all(const std::vector<Call>& calls, const RunOptions& options) {
  for (const Call& call : calls) expect(call, options);
}

Json json_of(const std::string& command) { return Json::parse(expect(command, 0).out); }

}  // namespace orb::testing
