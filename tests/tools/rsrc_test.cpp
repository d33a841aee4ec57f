// What rsrc lists, and what it leaves of a file that it changes or fails to change.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <nlohmann/json.hpp>

#include "run_orb.h"

namespace orb::testing {
namespace {

using Json = nlohmann::json;

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
  const Folder folder;
  EXPECT_EQ(orb(folder, {"rsrc", "add", "r", "TEXT", "b"}, {"bytes\n", {}, false}).status, 0);
  put_bytes(folder.path("data"), std::string("\0\xff", 2));
  EXPECT_EQ(orb(folder, {"rsrc", "add", "r", "ERRO", "[a]", "data"}).status, 0);
  EXPECT_EQ(orb(folder, {"rsrc", "add", "r", "TEXT", ""}).status, 0);
  EXPECT_EQ(orb(folder, {"rsrc", "ls", "r"}).out, "TEXT        0  \nTEXT        6  b\nERRO        2  [a]\n");
  EXPECT_EQ(orb(folder, {"rsrc", "cat", "r", "ERRO", "[a]"}).out, std::string("\0\xff", 2));
  const Outcome kept = orb(folder, {"rsrc", "add", "r", "0x54455854", "b", "data"});
  EXPECT_EQ(kept.status, 4);
  EXPECT_NE(kept.err.find("which is kept; -f replaces it"), std::string::npos) << kept.err;
  EXPECT_EQ(orb(folder, {"rsrc", "add", "-f", "r", "TEXT", "b", "data"}).status, 0);
  EXPECT_EQ(orb(folder, {"rsrc", "cat", "-o", "out", "r", "TEXT", "b"}).status, 0);
  EXPECT_EQ(bytes_of(folder.path("out")), bytes_of(folder.path("data")));
  EXPECT_EQ(orb(folder, {"rsrc", "rm", "-o", "copy", "r", "TEXT", "b"}).status, 0);
  EXPECT_EQ(orb(folder, {"rsrc", "ls", "copy"}).out, "TEXT        0  \nERRO        2  [a]\n");
  EXPECT_EQ(orb(folder, {"rsrc", "cat", "r", "TEXT", "b"}).status, 0);  // the file itself is as it was
  EXPECT_EQ(folder.names(), (std::vector<std::string>{"copy", "data", "out", "r"}));
}

TEST(Rsrc, makes_what_strangers_wrote_safe_to_show) {
  const Folder folder;
  put_bytes(folder.path("r"), kFile);
  EXPECT_EQ(orb(folder, {"rsrc", "ls", "r"}).out,
            "TEXT        2  a\nTEXT        2  gone  (deleted)\n0x1b5b306d        0  \\x1b[2J\\t\\n\n");
  const Outcome dump = orb(folder, {"rsrc", "dump", "-v", "r"});
  EXPECT_EQ(dump.status, 0);
  for (const char* line :
       {"Resource file\n\tFile spec      : r\n", "\tversion        : 7\toffset         : 55\n",
        "\tnTypes(queue)  : 0\n", "\t\t\tname           : (DELETED)\n", "\t\tcode           : \\x1b[0m\n",
        "\t\t\tname           : \\x1b[2J\t\\n\n"}) {
    EXPECT_NE(dump.out.find(line), std::string::npos) << line << dump.out;
  }
  const Json items = Json::parse(orb(folder, {"rsrc", "ls", "--json", "r"}).out)["items"];
  ASSERT_EQ(items.size(), 3U);
  EXPECT_EQ(items[0],
            (Json{{"type", "TEXT"}, {"name", "a"}, {"bytes", 2}, {"offset", 12}, {"deleted", false}}));
  EXPECT_EQ(items[1]["deleted"], true);
  EXPECT_EQ(items[2]["type"], "0x1b5b306d");
}

TEST(Rsrc, that_fails_says_why_and_changes_nothing) {
  const Folder folder;
  const std::string whole = kFile;
  put_bytes(folder.path("r"), whole);
  put_bytes(folder.path("cut"), whole.substr(0, whole.size() - 1));
  put_bytes(folder.path("lost"), std::string(whole).replace(20, 1, "\xff"));  // the place of item "a"
  std::filesystem::create_directory(folder.path("folder"));
  ASSERT_EQ(mkfifo(folder.path("fifo").c_str(), 0600), 0);
  const std::vector<std::string> before = folder.names();
  const struct {
    std::vector<std::string> arguments;
    int status;
    const char* reason;
  } rows[] = {
      {{}, 2, "subcommand"},
      {{"cat", "r", "TEX", "a"}, 2, "type \"TEX\": expecting four characters"},
      {{"add", "r", "0x00000000", "a"}, 2, "expecting four characters"},
      {{"add", "-", "TEXT", "a", "cut"}, 2, "- cannot be one"},
      {{"ls", "none"}, 3, "Cannot open file none; No such file"},
      {{"rm", "none", "TEXT", "a"}, 3, "Cannot open file none; No such file"},
      {{"add", "r", "TEXT", "z", "none"}, 3, "Cannot open file none; No such file"},
      {{"cat", "r", "TEXT", "z"}, 3, "r: has no item \"TEXT\" \"z\""},
      {{"rm", "r", "TEXT", "gone"}, 3, "r: has no item"},
      {{"ls", "folder"}, 4, "Cannot open resource file folder; Is a directory"},
      {{"ls", "fifo"}, 4, "Cannot open resource file fifo"},
      {{"rm", "fifo", "TEXT", "a"}, 4, "fifo cannot hold a resource file"},
      {{"ls", "cut"}, 4, "cut: This is not a whole resource file; "},
      {{"rm", "cut", "TEXT", "a"}, 4, "cut: This is not a whole resource file; "},
      {{"cat", "lost", "TEXT", "a"}, 4, "lost: This is not a whole resource file; "},
      {{"add", "lost", "TEXT", "b", "cut"}, 4, "lost: This is not a whole resource file; "},
      {{"add", "r", "TEXT", "z", "/dev/zero"}, 4, "/dev/zero: an item has at most 16777215 bytes"},
      {{"add", "r", "TEXT", std::string(65536, 'n'), "cut"}, 4, "Resource file r stays as it is; a name has"},
      {{"rm", "r", "TEXT", "a", "-o", "cut"}, 4, "cut exists and is kept; -f replaces it"},
  };
  for (const auto& row : rows) {
    std::vector<std::string> arguments = {"rsrc"};
    arguments.insert(arguments.end(), row.arguments.begin(), row.arguments.end());
    const Outcome run = orb(folder, arguments);
    EXPECT_EQ(run.status, row.status) << row.reason << run.err;
    EXPECT_NE(run.err.find(row.reason), std::string::npos) << row.reason << run.err;
    EXPECT_EQ(run.err.find(".orb-"), std::string::npos) << run.err;
    EXPECT_EQ(run.out, "");
    EXPECT_EQ(folder.names(), before) << row.reason;
    EXPECT_EQ(bytes_of(folder.path("r")), whole) << row.reason;
  }
}

TEST(Rsrc, on_a_full_disk_leaves_the_old_file) {
  const Folder folder;
  put_bytes(folder.path("r"), kFile);
  put_bytes(folder.path("data"), std::string(100'000, 'x'));
  const Outcome run = shell(folder, "trap '' XFSZ; ulimit -f 8; \"$ORB\" rsrc add r TEXT big data");
  EXPECT_EQ(run.status, 4);
  EXPECT_NE(run.err.find("Cannot write resource file r; File too large"), std::string::npos) << run.err;
  EXPECT_EQ(bytes_of(folder.path("r")), kFile);
  EXPECT_EQ(folder.names(), (std::vector<std::string>{"data", "r"}));
  for (const char* action : {"ls r", "dump r", "cat r TEXT a"}) {
    EXPECT_EQ(shell(folder, std::string("\"$ORB\" rsrc ") + action + " > /dev/full").status, 4) << action;
  }
}

TEST(Rsrc, in_a_dry_run_finds_the_same_faults_and_changes_nothing) {
  const Folder folder;
  put_bytes(folder.path("r"), kFile);
  EXPECT_EQ(orb(folder, {"rsrc", "rm", "-n", "r", "TEXT", "z"}).status, 3);
  EXPECT_EQ(orb(folder, {"rsrc", "add", "-n", "r", "TEXT", "a"}).status, 4);
  EXPECT_EQ(orb(folder, {"rsrc", "add", "-n", "new", "TEXT", "a"}).status, 0);
  const Outcome run = orb(folder, {"rsrc", "rm", "-n", "--json", "r", "TEXT", "a"});
  EXPECT_EQ(Json::parse(run.out)["result"], "dry run");
  EXPECT_EQ(bytes_of(folder.path("r")), kFile);
  EXPECT_EQ(folder.names(), std::vector<std::string>{"r"});
}

}  // namespace
}  // namespace orb::testing
