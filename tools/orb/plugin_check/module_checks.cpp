// What a module says of itself: its texts, its claims, its table of settings, and whose files it takes for its own.
#include <sys/stat.h>

#include <cstdio>
#include <cstring>
#include <fstream>
#include <set>
#include <span>

#include "../at_work.h"
#include "pictures.h"

namespace orb::tool::plugin_check {
namespace {

constexpr int32_t kAllAccess = ORB_ACCESS_READ | ORB_ACCESS_WRITE | ORB_ACCESS_ANY_LINE | ORB_ACCESS_MEMORY;
constexpr uint16_t kNoCode = 65535;

bool is_plain_key(const char* key) {
  for (const char* c = key; *c != '\0'; ++c) {
    if (!std::strchr("abcdefghijklmnopqrstuvwxyz0123456789-_", *c)) return false;
  }
  return true;
}

// ---- Settings ----

void check_entries(Kit& kit, const std::string& name, const ORB_CAP_LIST& list) {
  std::set<uint16_t> codes;
  for (uint32_t i = 0; i < list.entry_count; ++i) {
    const ORB_CAP_ENTRY& entry = list.entries[i];
    if (entry.code == kNoCode) kit.fail(name + ": a choice has the code 65535, which stands for none");
    if (!codes.insert(entry.code).second) {
      kit.fail(name + ": two choices have the code " + std::to_string(entry.code));
    }
  }
}

void check_capability(Kit& kit, const ORB_CAPABILITY& capability, std::set<uint64_t>& idents) {
  const std::string name = capability.name == nullptr ? "?" : capability.name;
  if (capability.ident >= kNoCode)
    kit.fail(name + ": no setting can have the code " + std::to_string(capability.ident));
  if (!idents.insert(capability.ident).second) {
    kit.fail("two settings have the code " + std::to_string(capability.ident));
  }
  if (kit.format()->multi_frame != 0 && capability.ident > 1) {
    kit.fail(name + ": a format whose files stay open can compare settings of the codes 0 and 1 only");
  }
  if (capability.is_value != 0) return;
  if (capability.list == nullptr || capability.list->entries == nullptr) {
    kit.fail(name + ": it is a choice, and there is no list to choose from");
  } else {
    check_entries(kit, name, *capability.list);
  }
}

// ---- Files that are none of the format's ----

struct Foreign {
  const char* name;
  std::string bytes;
};

std::vector<Foreign> foreign_files() {
  std::string zeros(4096, '\0');
  std::string noise;
  for (uint32_t i = 0, value = 1; i < 4096; ++i) {
    value = value * 1664525U + 1013904223U;
    noise += static_cast<char>(value >> 24);
  }
  return {{"an empty file", ""},
          {"a byte", "x"},
          {"zeros", zeros},
          {"noise", noise},
          {"text", "a line of text\n"}};
}

std::string bytes_of(const std::string& file) {
  std::ifstream stream(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), {}};
}

void put_bytes(const std::string& file, const std::string& bytes) {
  std::ofstream(file, std::ios::binary) << bytes;
}

int ask(const Kit& kit, const std::string& file, std::FILE* stream) {
  note_file(Doing::reading, file, kit.format()->key);
  return kit.format()->is_file(file.c_str(), stream);
}

// Both ways of asking, and what they leave behind.
void ask_about(Kit& kit, const std::string& file, const std::string& what, int wanted) {
  const std::string before = bytes_of(file);
  const size_t descriptors = open_descriptors();
  const int by_name = ask(kit, file, nullptr);
  if (open_descriptors() != descriptors) kit.fail("imageIsFile leaves a file open");
  if (bytes_of(file) != before) kit.fail("imageIsFile writes to the file that it is asked about");
  std::FILE* const stream = std::fopen(file.c_str(), "rb");
  if (stream == nullptr) return;
  std::fseek(stream, 0, SEEK_END);
  const int by_stream = ask(kit, file, stream);
  if (std::fclose(stream) != 0) kit.fail("imageIsFile closes the stream that it is lent");
  for (const int answer : {by_name, by_stream}) {
    if (answer != 0 && answer != 1)
      kit.fail("imageIsFile answers " + std::to_string(answer) + "; yes is 1 and no is 0");
  }
  if (by_name != by_stream) kit.fail("imageIsFile answers differently by name and by stream for " + what);
  if ((by_name != 0) != (wanted != 0)) {
    kit.fail(std::string("imageIsFile says ") + (by_name != 0 ? "yes to " : "no to ") + what);
  }
}

}  // namespace

// What the library has let through already: each text can be read, ends and is of plain characters.
void check_texts(Kit& kit, const std::vector<std::string>&) {
  const ORB_FORMAT& format = *kit.format();
  if (!is_plain_key(format.key))
    kit.warn("imageKey is not of lower-case letters, digits, - and _: hard to type");
  const std::string extension = format.extension == nullptr ? "" : format.extension;
  if (extension.empty()) {
    kit.warn("imageExtension is empty: the format claims every name that no plug-in before it claimed");
  } else if (extension.front() != '.') {
    kit.warn("imageExtension does not begin with a dot, so it ends other words, too");
  }
  if (extension.find_first_of("/;, *") != std::string::npos) {
    kit.fail("imageExtension is one ending, not a list or a pattern");
  }
  if (format.description == nullptr) kit.warn("there is no imageDescription");
  for (const char* built_in : {"pipe", "mem"}) {
    if (std::strcmp(format.key, built_in) == 0)
      kit.fail(std::string("imageKey hides the library's own ") + built_in);
  }
}

void check_claims(Kit& kit, const std::vector<std::string>&) {
  const ORB_FORMAT& format = *kit.format();
  if ((format.access & (ORB_ACCESS_READ | ORB_ACCESS_WRITE)) == 0)
    kit.fail("imageAccess: neither reads nor writes");
  if ((format.access & ~kAllAccess) != 0) kit.fail("imageAccess has bits that mean nothing");
  const struct {
    const char* group;
    int32_t count;
    uint32_t widths;
  } claims[] = {{"colour", format.channels, format.channel_bits},
                {"matte", format.mattes, format.matte_bits},
                {"auxiliary", format.z_channels, format.z_bits}};
  constexpr int32_t kMostChannels = 65536;
  for (const auto& claim : claims) {
    const std::string name = claim.group;
    if (claim.count < 0 || claim.count > kMostChannels) {
      kit.fail("claims " + std::to_string(claim.count) + " " + name + " channels");
    }
    if (claim.count > 0 && claim.widths == 0) kit.fail("claims " + name + " channels of no width");
    if (claim.count == 0 && claim.widths != 0)
      kit.warn("claims widths of " + name + " channels, and no channels");
  }
  if (format.is_file == nullptr)
    kit.warn("there is no imageIsFile: a file cannot be ruled out by its content");
}

void check_settings(Kit& kit, const std::vector<std::string>&) {
  if (kit.format()->capability == nullptr) return;
  ORB_CAPABILITY* table = nullptr;
  int32_t count_a = 0;
  int32_t count_b = 0;
  int32_t count = 0;
  kit.format()->capability(&table, &count_a, &count_b, &count);
  if (count < 0) return kit.fail("imageCapability counts " + std::to_string(count) + " settings");
  if (count > 0 && table == nullptr) return kit.fail("imageCapability counts settings and gives no table");
  std::set<uint64_t> idents;
  for (const ORB_CAPABILITY& capability : std::span(table, static_cast<size_t>(count))) {
    check_capability(kit, capability, idents);
  }
}

void check_is_file(Kit& kit, const std::vector<std::string>& samples) {
  if (kit.format()->is_file == nullptr) return;
  for (const Foreign& foreign : foreign_files()) {
    const std::string file = kit.file("foreign");
    put_bytes(file, foreign.bytes);
    ask_about(kit, file, foreign.name, 0);
  }
  if (ask(kit, kit.file("nowhere"), nullptr) != 0)
    kit.fail("imageIsFile says yes to a file that is not there");
  Picture picture;
  const std::string own = kit.file("own");
  if (kit.writes() && write_any_picture(kit, own, picture)) ask_about(kit, own, "a file that it wrote", 1);
  for (const std::string& sample : samples) ask_about(kit, sample, sample, 1);
}

}  // namespace orb::tool::plugin_check
