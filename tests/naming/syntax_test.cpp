// What is a name syntax, and its tokens.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "orbbase/naming.h"
#include "tests/support/fail_allocation.h"
#include "tests/support/report_recorder.h"

namespace {

using orb::testing::FailAllocation;
using orb::testing::ReportRecorder;

// Kinds, lengths and texts of a syntax's tokens, such as "name4:name sep1:. end0:"; "" when it is refused.
std::string parsed(const char* syntax) {
  constexpr const char* kKinds[] = {"end", "ext", "count", "frame", "name", "sep"};
  ORB_NAME_TOKEN* tokens = nullptr;
  if (!ORB_parse_name_syntax(syntax, &tokens, 0)) return "";
  std::string text;
  for (const ORB_NAME_TOKEN* token = tokens;; ++token) {
    text += kKinds[token->kind] + std::to_string(token->length) + ":";
    text.append(token->text, static_cast<size_t>(token->length));
    if (token->field || token->match || token->match_length) text += "!";
    if (token->kind == ORB_TOKEN_END) break;
    text += " ";
  }
  ERR_free(tokens);
  return text;
}

TEST(NameSyntax, is_verified_and_parsed_by_the_same_rules) {
  const struct {
    const char* text;
    bool has_extension;
    const char* tokens;  // "": not valid
  } rows[] = {
      {"name.####.ext", true, "name4:name sep1:. frame4:#### sep1:. ext3:ext end0:"},
      {"NAME_#.EXT", true, "name4:name sep1:_ frame1:# sep1:. ext3:ext end0:"},
      {"#", false, "frame1:# end0:"},
      {"name", false, "name4:name end0:"},
      {"namenameext##", true, "name8:namename ext3:ext frame2:## end0:"},
      {"name~{#", false, "name4:name sep2:~{ frame1:# end0:"},
      {"%-._name", false, "sep4:%-._ name4:name end0:"},
      {"name.name", false, "name4:name sep1:. name4:name end0:"},
      {"ext", false, ""},
      {"name.####.####.ext", false, ""},
      {"#name#", false, ""},
      {"name./####", false, ""},
      {"img.####.ext", false, ""},
      {"name.#.extext", false, ""},
      {"name1", false, ""},
      {"nam", false, ""},
      {"name\x7f", false, ""},
      {"name\x80", false, ""},
      {"name\n", false, ""},
  };
  for (const auto& row : rows) {
    const bool is_valid = *row.tokens != '\0';
    const int32_t code = is_valid ? -3 : ORB_E_NAME_SYNTAX;  // -3: left alone
    orb__err = -3;
    EXPECT_EQ(ORB_name_syntax_verify(row.text), is_valid) << row.text;
    EXPECT_EQ(orb__err, code) << row.text;
    orb__err = -3;
    EXPECT_EQ(ORB_name_syntax_has_ext(row.text), row.has_extension) << row.text;
    EXPECT_EQ(orb__err, code) << row.text;
    orb__err = -3;
    EXPECT_EQ(parsed(row.text), row.tokens) << row.text;
    EXPECT_EQ(orb__err, code) << row.text;
  }
}

TEST(NameSyntax, that_is_missing_has_a_code_of_its_own) {
  const struct {
    int32_t (*ask)(const char*);
    const char* text;
    int32_t code;
  } rows[] = {{ORB_name_syntax_verify, nullptr, ORB_E_EMPTY_SYNTAX},
              {ORB_name_syntax_verify, "", ORB_E_EMPTY_SYNTAX},
              {ORB_name_syntax_has_ext, nullptr, -3},
              {ORB_name_syntax_has_ext, "", ORB_E_EMPTY_SYNTAX},
              {ORB_name_syntax_ends_ext, nullptr, -3},
              {ORB_name_syntax_ends_ext, "xt", -3},
              {ORB_name_syntax_ends_ext, ".txt", 0},
              {ORB_name_syntax_has_frame, nullptr, -3},
              {ORB_name_syntax_has_frame, "name", -3}};
  for (const auto& row : rows) {
    orb__err = -3;
    EXPECT_EQ(row.ask(row.text), 0);
    EXPECT_EQ(orb__err, row.code);
  }
  EXPECT_EQ(parsed(nullptr) + parsed(""), "");
  EXPECT_EQ(orb__err, ORB_E_NAME_SYNTAX);
  EXPECT_EQ(ORB_parse_name_syntax("name", nullptr, 0), 0);
  EXPECT_EQ(orb__err, ORB_E_NO_ARGUMENT);
  EXPECT_EQ(ORB_name_syntax_ends_ext("any.eXt"), 1);
  EXPECT_EQ(orb__err, 0);
  EXPECT_EQ(ORB_name_syntax_has_frame("a#"), 1);
  EXPECT_STREQ(ORB_name_syntax_name(), "name");
}

TEST(NameSyntax, of_any_length_is_parsed_and_released_with_one_call) {
  std::string syntax;
  while (syntax.size() < 1000000) syntax += "Name.-";
  ORB_NAME_TOKEN* tokens = nullptr;
  ASSERT_EQ(ORB_parse_name_syntax((syntax + "#").c_str(), &tokens, 0), 1);
  EXPECT_EQ(tokens[syntax.size() / 3].kind, static_cast<uint32_t>(ORB_TOKEN_FRAME));
  ERR_free(tokens);
  tokens = nullptr;
  EXPECT_EQ(ORB_parse_name_syntax((syntax + "1").c_str(), &tokens, 0), 0);
  EXPECT_EQ(tokens, nullptr);
}

TEST(NameSyntax, that_does_not_fit_memory_or_its_limit_is_refused) {
  ReportRecorder recorder;
  ORB_NAME_TOKEN* tokens = nullptr;
  {
    const FailAllocation fail(1);
    EXPECT_EQ(ORB_parse_name_syntax("name", &tokens, 0), 0);
    EXPECT_EQ(orb__err, ORB_E_MEMORY);
  }
  const uint64_t before = ORB_limit(ORB_LIMIT_BUFFER, 64);
  orb__err = 0;
  EXPECT_EQ(ORB_parse_name_syntax("name.#", &tokens, 0), 0);
  EXPECT_EQ(orb__err, ORB_E_MEMORY);
  ORB_limit(ORB_LIMIT_BUFFER, before);
  EXPECT_EQ(recorder.reports.size(), 2u);
}

}  // namespace
