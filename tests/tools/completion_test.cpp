// The completion scripts, in the shells themselves.
#include <gtest/gtest.h>

#include "run_orb.h"

namespace orb::testing {
namespace {

struct Case {
  const char* line;      // what has been typed; the last word is to be completed
  const char* expected;  // the candidates, sorted
};

// Where bash, zsh and fish agree.
constexpr Case kCases[] = {
    {"orb conv", "convert"},
    {"orb info --fro", "--from"},
    {"orb convert --to ti", "tiff"},
    {"orb convert --missing ne", "nearest"},
    {"orb convert -v -d dou", "double"},
    {"orb convert --layout rgba1", "rgba16"},
    {"orb convert --drop aux,win", "aux,window"},
    {"orb convert -o pictures/c", "pictures/c.png"},
    {"orb check pictures/c", "pictures/c.png"},
    {"orb rsrc du", "dump"},
    {"orb rsrc add pictures/c", "pictures/c.png"},
    {"orb completion f", "fish"},
};

// What only bash's and fish's lists show.
constexpr Case kLists[] = {
    {"orb convert --to=pn", "--to=png --to=pnm"},
    {"orb completion ", "bash fish zsh"},
    {"orb rsrc ", "add cat dump ls rm"},
    {"orb convert --missing ", "black error hold nearest skip"},
    {"orb formats ", ""},
    {"orb info --frames ", ""},
    {"orb ls --color always --pro", "--progress"},
    {"orb info pictures/", "pictures/a b.png pictures/c.png"},
};

class Completion : public ::testing::Test {
 protected:
  Completion() {
    std::filesystem::create_directory(folder.path("pictures"));
    for (const char* name : {"pictures/a b.png", "pictures/c.png"}) put_bytes(folder.path(name), "");
    // "orb" in the shells is the tool under test.
    std::filesystem::create_directory(folder.path("bin"));
    std::filesystem::create_symlink(ORB_PROGRAM, folder.path("bin/orb"));
  }

  [[nodiscard]] bool has(const char* shell_name) const {
    return shell(folder, std::string("command -v ") + shell_name).status == 0;
  }

  // What a script prints, with the completion of that shell in the file "script".
  [[nodiscard]] std::string run(const std::string& shell_name, const std::string& command) const {
    const Outcome made = orb(folder, {"completion", shell_name, "-f", "-o", "script"});
    EXPECT_EQ(made.status, 0) << made.err;
    put_bytes(folder.path("commands"), command);
    const Outcome outcome =
        shell(folder, "PATH=$PWD/bin:$PATH HOME=$PWD timeout 60 " + shell_name + " commands");
    EXPECT_EQ(outcome.status, 0) << outcome.out << outcome.err;
    return outcome.out;
  }

  // The commands print the line in brackets, then the candidates.
  void expect_all(const std::string& shell_name, const std::string& before, const std::string& each) const {
    std::string commands = before;
    std::string expected;
    for (const auto& [line, candidates] : all_cases()) {
      commands += each + " '" + line + "'\n";
      expected += "[" + line + "] " + candidates + "\n";
    }
    EXPECT_EQ(run(shell_name, commands), expected);
  }

  static std::vector<std::pair<std::string, std::string>> all_cases() {
    std::vector<std::pair<std::string, std::string>> all;
    for (const Case& row : kCases) all.emplace_back(row.line, row.expected);
    for (const Case& row : kLists) all.emplace_back(row.line, row.expected);
    return all;
  }

  Folder folder;
};

TEST_F(Completion, of_bash_offers_what_may_come_next) {
  expect_all("bash", R"(source ./script
complete_it() {
  read -r -a COMP_WORDS <<< "$1"
  [[ $1 != *' ' ]] || COMP_WORDS+=('')
  COMP_CWORD=$((${#COMP_WORDS[@]} - 1))
  _orb
  local sorted
  mapfile -t sorted < <(((${#COMPREPLY[@]} == 0)) || printf '%s\n' "${COMPREPLY[@]}" | LC_ALL=C sort)
  echo "[$1] ${sorted[*]}"
}
)",
             "complete_it");
  // As bash splits "--to=pn", and behind the end of the options.
  const std::string told = run("bash", R"(source ./script
try() { COMP_WORDS=("$@") COMP_CWORD=$(($# - 1)); _orb; echo "${COMPREPLY[*]}"; }
try orb convert --to = pn
try orb info -- -
try orb rsrc add pictures/c.png ''
try orb rsrc add x TEXT name pictures/c
)");
  EXPECT_EQ(told, "png pnm\n\n\npictures/c.png\n");
}

TEST_F(Completion, of_fish_offers_what_may_come_next) {
  if (!has("fish")) GTEST_SKIP() << "fish is not installed";
  expect_all("fish", R"(source ./script
function complete_it
    set -l found (complete -C $argv[1] | string replace -r '\t.*' '' | env LC_ALL=C sort)
    echo "[$argv[1]] $found"
end
)",
             "complete_it");
}

TEST_F(Completion, of_zsh_completes_a_typed_line) {
  if (!has("zsh")) GTEST_SKIP() << "zsh is not installed";
  std::filesystem::create_directory(folder.path("functions"));
  std::string commands = R"(zmodload zsh/zpty
cp script functions/_orb
zpty -b line zsh -f -i
zpty -w line "PS1=; fpath=($PWD/functions \$fpath); autoload -Uz compinit; compinit -u -D; bindkey '^I' complete-word; print rea''dy"
zpty -r line seen $'*ready*'
# The word completed, up to what zsh puts behind it, or until the time is up.
complete_it() {
  zpty -n -w line $'\C-u'"$1"$'\t'
  zpty -r line seen "*$2*"
  print -r -- "[$1] $2"
}
)";
  std::string expected;
  for (const Case& row : kCases) {
    const std::string line = row.line;
    const std::string whole = line.substr(0, line.rfind(' ') + 1) + row.expected;
    commands += "complete_it '" + line + "' '" + whole + "'\n";
    expected += "[" + line + "] " + whole + "\n";
  }
  EXPECT_EQ(run("zsh", commands), expected);
}

}  // namespace
}  // namespace orb::testing
