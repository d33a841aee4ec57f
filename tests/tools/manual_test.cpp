// The manual against the table of options that the parser itself gives: nothing left out, nothing made up, and examples
// that work.
#include <map>
#include <regex>
#include <set>
#include <sstream>

#include "tool_test.h"

namespace orb::testing {
namespace {

using Options = std::map<std::string, Json>;  // by their line in a page, such as "*-o*, *--output* _FILE_"

struct Page {
  std::string name;  // "orb" or "orb-info"
  std::string help;
  std::set<std::string> arguments;
  Options options;
};

std::string page_text(const std::string& name) { return bytes_of(ORB_MANUAL "/" + name + ".1.scd"); }

std::string page_line(const Json& option) {
  std::string line;
  for (const std::string name : option["names"]) line += (line.empty() ? "*" : ", *") + name + "*";
  const std::string value = option["value"];
  if (option["optional"] == true) return line + "[=_" + value + "_]";
  return value.empty() ? line : line + " _" + value + "_";
}

void collect(const Json& verb, Page& page) {
  for (const Json& option : verb["options"]) page.options[page_line(option)] = option;
  for (const Json& argument : verb["arguments"]) page.arguments.insert(argument["value"].get<std::string>());
  for (const Json& action : verb["verbs"]) collect(action, page);
}

// A page a verb, and the tool's own with what all verbs have.
std::vector<Page> expected_pages() {
  const std::string output = "*-o*, *--output* _FILE_";
  std::vector<Page> pages = {{"orb", "", {}, {}}};
  Options shared;
  const Json tool = json_of("completion --json");
  for (const Json& verb : tool["verbs"]) {
    const std::string path = verb["path"];
    Page page = {"orb-" + path.substr(4), verb["help"], {}, {}};
    collect(verb, page);
    for (const auto& [line, option] : page.options) {
      if (option["common"] == true || line == output) shared[line] = option;
    }
    pages.push_back(page);
  }
  shared[output]["help"] = "";  // another in each verb
  pages.front().options = shared;
  return pages;
}

// What a page says about each option, by the line that begins it.
std::map<std::string, std::string> described_options(const std::string& text) {
  const std::regex option_line(R"(\*-[-a-zA-Z]+\*(, \*--[-a-z]+\*)?( _[^ ]+_|\[=_[A-Z]+_\])?)");
  std::map<std::string, std::string> described;
  std::istringstream lines(text);
  std::string current;
  for (std::string line; std::getline(lines, line);) {
    if (std::regex_match(line, option_line)) {
      current = line;
      described[current] = "";
    } else if (line.starts_with("\t") && !current.empty()) {
      described[current] += line + " ";
    } else if (!line.empty()) {
      current.clear();
    }
  }
  return described;
}

std::set<std::string> matches(const std::string& text, const std::string& pattern) {
  const std::regex expression(pattern);
  std::set<std::string> found;
  for (std::sregex_iterator at(text.begin(), text.end(), expression), end; at != end; ++at)
    found.insert(at->str());
  return found;
}

// The choices and the numbers of the help: limits, defaults.
std::set<std::string> facts_of(const Json& option) {
  std::set<std::string> facts = matches(option["help"], "[0-9][0-9.x]*[0-9]|[0-9]");
  for (const std::string choice : option["choices"]) {
    if (!std::regex_match(choice, std::regex("uint([2-9]|[12].|30|31)"))) facts.insert(choice);
  }
  return facts;
}

TEST(Manual, has_a_page_for_every_verb_and_no_other) {
  std::set<std::string> expected, found;
  for (const Page& page : expected_pages()) expected.insert(page.name + ".1.scd");
  for (const auto& file : std::filesystem::directory_iterator(ORB_MANUAL)) {
    if (file.path().extension() == ".scd") found.insert(file.path().filename());
  }
  EXPECT_EQ(found, expected);
  EXPECT_GT(expected.size(), 10U);
}

TEST(Manual, describes_the_options_that_the_parser_knows_with_their_choices_and_numbers) {
  std::set<std::string> known;
  const std::vector<Page> pages = expected_pages();
  for (const Page& page : pages) {
    for (const auto& [line, option] : page.options) known.merge(option["names"].get<std::set<std::string>>());
  }
  for (const Page& page : pages) {
    SCOPED_TRACE(page.name);
    const std::string text = page_text(page.name);
    const std::map<std::string, std::string> described = described_options(text);
    for (const auto& [line, option] : page.options) {
      ASSERT_TRUE(described.contains(line)) << "there is no " << line;
      for (const std::string& fact : facts_of(option))
        EXPECT_THAT(described.at(line), HasSubstr(fact)) << line;
    }
    for (const auto& [line, description] : described) EXPECT_TRUE(page.options.contains(line)) << line;
    for (const std::string& name : matches(text, "--[a-z][a-z-]*[a-z]"))
      EXPECT_TRUE(known.contains(name)) << name;
  }
}

TEST(Manual, names_a_verb_and_its_arguments_as_the_help_does) {
  for (const Page& page : expected_pages()) {
    const std::string text = page_text(page.name);
    EXPECT_THAT(text, HasSubstr("\n" + page.name + " - " + page.help));
    const size_t start = text.find("# SYNOPSIS");
    const std::string synopsis = text.substr(start, text.find("# DESCRIPTION") - start);
    for (const std::string& argument : page.arguments) {
      EXPECT_THAT(synopsis, HasSubstr("_" + argument + "_")) << page.name;
    }
  }
}

TEST(Manual, is_built_without_a_warning) {
  if (shell("command -v scdoc groff").status != 0) GTEST_SKIP() << "scdoc or groff is not installed";
  for (const Page& page : expected_pages()) {
    const Outcome built = shell("scdoc < " ORB_MANUAL "/" + page.name +
                                ".1.scd > page.1 && test -s page.1 && groff -man -Kutf8 -ww -z page.1");
    EXPECT_EQ(built.status, 0) << page.name;
    EXPECT_EQ(built.err, "") << page.name;
  }
}

// The files that the examples speak of.
void put_example_files() {
  PipeFile render;
  render.change = [](ORB_INFO&, ORB_IFD& image) { image.aux = {image.aux.name, 1, ORB_C_FLOAT, 32}; };
  render.write("render.pipe");
  const Outcome made = shell(R"sh(set -e; mkdir files; cd files; mv ../render.pipe .
orb convert $SAMPLES/chelsea.png -o photo.png --region 0,0,47,31
for name in copy a field.000{1..4}; do cp photo.png $name.png; done
orb convert photo.png -o b.png --minmax 0,0.5
orb convert photo.png -o scene.tif -d float
orb convert photo.png -o shot.0001.rla
for frame in 2 3 4 5; do cp shot.0001.rla shot.000$frame.rla; done
mkdir build; cp "$(find "$(dirname "$ORB")/../lib" -name png.so -print -quit)" build/slate.so
cp photo.png picture.slate)sh");
  ASSERT_EQ(made.status, 0) << made.err;
}

TEST(Manual, its_examples_work) {
  put_example_files();
  size_t count = 0;
  for (const Page& page : expected_pages()) {
    ASSERT_EQ(shell("rm -rf work && cp -r files work").status, 0);
    const std::string text = page_text(page.name);
    const size_t start = text.find("# EXAMPLES");
    ASSERT_NE(start, std::string::npos) << page.name;
    std::istringstream lines(text.substr(start));
    std::string caption;
    for (std::string line; std::getline(lines, line);) {
      if (!line.starts_with("\t")) {
        caption = line.empty() ? caption : line;
        continue;
      }
      const Outcome run = shell("set -o pipefail; cd work; " + line.substr(1));
      // The caption names another status where there is one.
      const std::set<std::string> named = matches(caption, "the status is [0-9]+");
      const std::string expected = named.empty() ? "the status is 0" : *named.begin();
      EXPECT_EQ("the status is " + std::to_string(run.status), expected) << page.name << line << "\n"
                                                                         << run.err;
      ++count;
    }
  }
  EXPECT_GT(count, 30U);
}

}  // namespace
}  // namespace orb::testing
