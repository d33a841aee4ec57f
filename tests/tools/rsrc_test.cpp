// What rsrc lists, and what it leaves of a file that it changes or fails to change.
#include <sys/stat.h>

#include "tool_test.h"

namespace orb::testing {
namespace {

// One item "a" with the data "12" of type TEXT, one deleted, and one whose type and name steer terminals.
const std::string kFile(
    "\0\0\0\7\0\0\0\2\0\0\0\x37"
    "12"
    "\0\1a\0\0\0\x0c\0\0\0\2"
    "\0\4gone\0\0\0\x0c\1\0\0\2"
    "\0\6\x1b[2J\t\n\0\0\0\0\0\0\0\0"
    "TEXT\0\0\0\2\0\0\0\x0e\x1b[0m\0\0\0\1\0\0\0\x27",
    79);

TEST(Rsrc, adds_lists_shows_replaces_and_removes_items) {
  const std::string data("\0\xff", 2);
  put_bytes("data", data);
  expect({"rsrc add r TEXT b"}, {.input = "bytes\n"});
  expect_all({{"rsrc add r ERRO [a] data"},
              {"rsrc add r TEXT ''"},
              {"rsrc ls r", 0, "TEXT        0  \nTEXT        6  b\nERRO        2  [a]\n"},
              {"rsrc cat r ERRO [a]", 0, data},
              {"rsrc add r 0x54455854 b data", 4, _, HasSubstr("which is kept; -f replaces it")},
              {"rsrc add -f r TEXT b data"},
              {"rsrc cat -o out r TEXT b"},
              {"rsrc rm -o copy r TEXT b"},
              {"rsrc ls copy", 0, "TEXT        0  \nERRO        2  [a]\n"},
              {"rsrc cat r TEXT b", 0, data}});  // the file itself is as it was
  EXPECT_EQ(bytes_of("out"), data);
  EXPECT_THAT(names(), ElementsAre("copy", "data", "out", "r"));
}

TEST(Rsrc, removes_all_items_of_a_name) {
  const std::string item("\0\1a\0\0\0\x0c\0\0\0\2", 11);
  const std::string type("TEXT\0\0\0\2\0\0\0\x0e", 12);
  put_bytes("r", std::string("\0\0\0\7\0\0\0\1\0\0\0\x24", 12) + "12" + item + item + type);
  expect_all(
      {{"rsrc ls r", 0, "TEXT        2  a\nTEXT        2  a\n"}, {"rsrc rm r TEXT a"}, {"rsrc ls r", 0, ""}});
}

TEST(Rsrc, makes_what_strangers_wrote_safe_to_show) {
  put_bytes("r", kFile);
  expect("rsrc ls r", 0,
         "TEXT        2  a\nTEXT        2  gone  (deleted)\n0x1b5b306d        0  \\x1b[2J\\t\\n\n");
  const Outcome dump = expect("rsrc dump -v r", 0);
  for (const char* line :
       {"Resource file\n\tFile spec      : r\n", "\tversion        : 7\toffset         : 55\n",
        "\tnTypes(queue)  : 0\n", "\t\t\tname           : (DELETED)\n", "\t\tcode           : \\x1b[0m\n",
        "\t\t\tname           : \\x1b[2J\t\\n\n"}) {
    EXPECT_THAT(dump.out, HasSubstr(line));
  }
  const Json items = json_of("rsrc ls --json r")["items"];
  EXPECT_EQ(items[0],
            (Json{{"type", "TEXT"}, {"name", "a"}, {"bytes", 2}, {"offset", 12}, {"deleted", false}}));
  EXPECT_EQ(items[1]["deleted"], true);
  EXPECT_EQ(items[2]["type"], "0x1b5b306d");
}

TEST(Rsrc, that_fails_or_runs_dry_says_why_and_changes_nothing) {
  put_bytes("r", kFile);
  put_bytes("cut", kFile.substr(0, kFile.size() - 1));
  put_bytes("lost", std::string(kFile).replace(20, 1, "\xff"));  // the place of item "a"
  std::filesystem::create_directory("folder");
  ASSERT_EQ(mkfifo("fifo", 0600), 0);
  const Names before = names();
  const struct {
    std::string arguments;
    int status;
    std::string reason;
  } rows[] = {
      {"", 2, "subcommand"},
      {"lst r", 2, "subcommand is required, not \"lst\""},
      {"cat --json r TEXT a", 2, "--json: cat puts out the data as it is"},
      {"dump --json r", 2, "--json: dump prints text"},
      {"cat r TEX a", 2, "type \"TEX\": expecting four characters"},
      {"add r 0x00000000 a", 2, "expecting four characters"},
      {"add - TEXT a cut", 2, "- cannot be one"},
      {"ls none", 3, "Cannot open file none; No such file"},
      {"rm none TEXT a", 3, "Cannot open file none; No such file"},
      {"add r TEXT z none", 3, "Cannot open file none; No such file"},
      {"cat r TEXT z", 3, "r: has no item \"TEXT\" \"z\""},
      {"rm r TEXT gone", 3, "r: has no item"},
      {"ls folder", 4, "Cannot open resource file folder; Is a directory"},
      {"ls fifo", 4, "Cannot open resource file fifo"},
      {"rm fifo TEXT a", 4, "fifo cannot hold a resource file"},
      {"ls cut", 4, "cut: This is not a whole resource file; "},
      {"cat lost TEXT a", 4, "lost: This is not a whole resource file; "},
      {"add lost TEXT b cut", 4, "lost: This is not a whole resource file; "},
      {"add r TEXT z /dev/zero", 4, "/dev/zero: an item has at most 16777215 bytes"},
      {"add r TEXT " + std::string(65536, 'n') + " cut", 4, "Resource file r stays as it is; a name has"},
      {"add -n r TEXT a cut", 4, "which is kept; -f replaces it"},
      {"rm r TEXT a -o cut", 4, "cut exists and is kept; -f replaces it"},
      {"add -n new TEXT a cut", 0, ""},
      {"rm -n r TEXT a", 0, ""}};
  for (const auto& row : rows) {
    expect("rsrc " + row.arguments, row.status, row.status == 0 ? Text(_) : Text(""),
           AllOf(HasSubstr(row.reason), Not(HasSubstr(".orb-"))));
    EXPECT_EQ(names(), before) << row.arguments;
    EXPECT_EQ(bytes_of("r"), kFile) << row.arguments;
  }
  EXPECT_EQ(json_of("rsrc rm -n --json r TEXT a")["result"], "dry run");
}

TEST(Rsrc, that_has_nowhere_to_show_an_item_is_an_error) {
  put_bytes("r", kFile);
  for (const std::string action : {"ls r", "dump r", "cat r TEXT a"}) {
    EXPECT_EQ(shell("orb rsrc " + action + " > /dev/full").status, 4) << action;
  }
}

}  // namespace
}  // namespace orb::testing
