// What the tests of error reporting start from.
#pragma once

#include <gtest/gtest.h>

#include "orbbase/support/err/internal.h"

namespace orb::testing {

// The error module as in a fresh process, before each test and after it.
class FreshErrors : public ::testing::Test {
 protected:
  void SetUp() override { err::reset_for_test(); }
  void TearDown() override { err::reset_for_test(); }
};

// A record of the application.
inline ERR_RECORD record_of(uint8_t category, const char* name, const char* message_template) {
  ERR_RECORD record = {};
  record.category = category;
  record.identity = name;
  record.message_template = message_template;
  return record;
}

}  // namespace orb::testing
