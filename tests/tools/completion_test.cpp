// The completion scripts, in the shells themselves.
#include "tool_test.h"

namespace orb::testing {
namespace {

struct Case {
  std::string line;      // what has been typed; the last word is to be completed
  std::string expected;  // the candidates, sorted
};

// Where bash, zsh and fish agree.
const std::vector<Case> kCases = {{"orb conv", "convert"},
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
                                  {"orb completion f", "fish"}};

// What only bash's and fish's lists show.
const std::vector<Case> kLists = {{"orb convert --to=pn", "--to=png --to=pnm"},
                                  {"orb completion ", "bash fish zsh"},
                                  {"orb rsrc ", "add cat dump ls rm"},
                                  {"orb convert --missing ", "black error hold nearest skip"},
                                  {"orb formats ", ""},
                                  {"orb info --frames ", ""},
                                  {"orb ls --color always --pro", "--progress"},
                                  {"orb info pictures/", "pictures/a b.png pictures/c.png"}};

class Completion : public ::testing::Test {
 protected:
  Completion() {
    std::filesystem::create_directory("pictures");
    for (const char* name : {"pictures/a b.png", "pictures/c.png"}) put_bytes(name, "");
  }

  static bool has(const std::string& program) { return shell("command -v " + program).status == 0; }

  // What a script prints, with the completion of that shell in the file "script".
  static std::string run(const std::string& program, const std::string& commands) {
    expect("completion -f -o script " + program, 0);
    put_bytes("commands", commands);
    const Outcome outcome = shell("HOME=$PWD timeout 60 " + program + " commands");
    EXPECT_EQ(outcome.status, 0) << outcome.out << outcome.err;
    return outcome.out;
  }

  // The commands have a function complete_it, which prints its line in brackets, then the candidates.
  static void expect_lists(const std::string& program, std::string commands) {
    std::string expected;
    for (const auto& cases : {kCases, kLists}) {
      for (const auto& [line, candidates] : cases) {
        commands += "complete_it '" + line + "'\n";
        expected += "[" + line + "] " + candidates + "\n";
      }
    }
    EXPECT_EQ(run(program, commands), expected);
  }
};

TEST_F(Completion, of_bash_offers_what_may_come_next) {
  expect_lists("bash", R"(source ./script
complete_it() {
  read -r -a COMP_WORDS <<< "$1"
  [[ $1 != *' ' ]] || COMP_WORDS+=('')
  COMP_CWORD=$((${#COMP_WORDS[@]} - 1))
  _orb
  local sorted
  mapfile -t sorted < <(((${#COMPREPLY[@]} == 0)) || printf '%s\n' "${COMPREPLY[@]}" | LC_ALL=C sort)
  echo "[$1] ${sorted[*]}"
}
)");
  // As bash splits "--to=pn", and behind the end of the options.
  EXPECT_EQ(run("bash", R"(source ./script
try() { COMP_WORDS=("$@") COMP_CWORD=$(($# - 1)); _orb; echo "${COMPREPLY[*]}"; }
try orb convert --to = pn
try orb info -- -
try orb rsrc add pictures/c.png ''
try orb rsrc add x TEXT name pictures/c
)"),
            "png pnm\n\n\npictures/c.png\n");
}

TEST_F(Completion, of_fish_offers_what_may_come_next) {
  if (!has("fish")) GTEST_SKIP() << "fish is not installed";
  expect_lists("fish", R"(source ./script
function complete_it
    set -l found (complete -C $argv[1] | string replace -r '\t.*' '' | env LC_ALL=C sort)
    echo "[$argv[1]] $found"
end
)");
}

TEST_F(Completion, of_zsh_completes_a_typed_line) {
  if (!has("zsh")) GTEST_SKIP() << "zsh is not installed";
  std::filesystem::create_directory("functions");
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
  for (const auto& [line, candidate] : kCases) {
    const std::string whole = line.substr(0, line.rfind(' ') + 1) + candidate;
    commands += "complete_it '" + line + "' '" + whole + "'\n";
    expected += "[" + line + "] " + whole + "\n";
  }
  EXPECT_EQ(run("zsh", commands), expected);
}

}  // namespace
}  // namespace orb::testing
