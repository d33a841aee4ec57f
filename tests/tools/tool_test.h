// What the tool's tests have in common: a line for a run, and what it leaves. Each test starts in an empty folder.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "pictures.h"
#include "run_orb.h"

namespace orb::testing {

using ::testing::_;
using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::MatchesRegex;
using ::testing::Not;
using ::testing::StartsWith;
using Json = nlohmann::json;
using Names = std::vector<std::string>;
using Text = ::testing::Matcher<std::string>;  // a text is the whole one

// A call of orb, and how it is to end.
struct Call {
  std::string command;
  int status = 0;
  Text out = _;
  Text err = _;
};
Outcome expect(const Call& call, const RunOptions& options = {});
Outcome expect(const std::string& command, int status, const Text& out = _, const Text& err = _);
void expect_all(const std::vector<Call>& calls, const RunOptions& options = {});

// What a run that ends with 0 prints as JSON.
Json json_of(const std::string& command);

}  // namespace orb::testing
