#include <gtest/gtest.h>

#include <cstring>

#include "orbbase/platform/platform.h"
#include "tests/support/load_module.h"

namespace orb::testing {
namespace {

class Symbols : public ::testing::Test {
 protected:
  void SetUp() override {
    std::string why;
    module = load_module(TEST_MODULE, &why);
    ASSERT_NE(module, nullptr) << TEST_MODULE << ": " << why;
  }
  void TearDown() override {
    if (module) unload_module(module);
  }
  int call(const char* name) {
    void* address = platform::module_symbol(module, name);
    return address ? reinterpret_cast<int (*)()>(address)() : -1;
  }
  void* module = nullptr;
};

TEST_F(Symbols, of_the_module_itself_are_found_functions_and_data_alike) {
  EXPECT_EQ(call("calls_the_dependency"), 3);
  auto* key = static_cast<const char**>(platform::module_symbol(module, "imageKey"));
  ASSERT_NE(key, nullptr);
  EXPECT_STREQ(*key, "sample");
}

TEST_F(Symbols, of_a_library_that_the_module_was_linked_with_are_not_found) {
  for (const char* name : {"version", "only_in_the_dependency", "malloc", "no_such_symbol", ""})
    EXPECT_EQ(platform::module_symbol(module, name), nullptr) << name;
}

TEST_F(Symbols, that_both_define_are_the_module_s) { EXPECT_EQ(call("defined_by_both"), 1); }

TEST_F(Symbols, of_a_null_module_or_name_do_not_exist) {
  EXPECT_EQ(platform::module_symbol(nullptr, "imageKey"), nullptr);
  EXPECT_EQ(platform::module_symbol(module, nullptr), nullptr);
}

}  // namespace
}  // namespace orb::testing
