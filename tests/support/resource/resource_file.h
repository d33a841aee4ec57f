// Resource files laid out in memory, written by hand, and damaged by name.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "orbbase/support/resource.h"
#include "tests/support/report_recorder.h"

namespace orb::testing {

inline constexpr uint32_t kText = 0x54455854;   // "TEXT"
inline constexpr uint32_t kError = 0x4552524F;  // "ERRO"

inline std::string word(uint64_t value) {
  std::string bytes;
  for (int shift = 24; shift >= 0; shift -= 8) bytes += static_cast<char>(value >> shift & 0xFF);
  return bytes;
}
inline std::string half(uint64_t value) { return word(value).substr(2); }

struct Item {
  std::string name;
  std::string data;
  uint32_t flags = 0;  // or'ed to the size word
};
struct TypeOfItems {
  uint32_t code;
  std::vector<Item> items;
};

// The header, the data, the lists, the directory, as the library lays them out.
inline std::string resource_bytes(const std::vector<TypeOfItems>& types, uint32_t version = 7) {
  std::string data;
  std::string lists;
  std::string directory;
  uint64_t data_bytes = 0;
  for (const TypeOfItems& type : types) {
    for (const Item& item : type.items) data_bytes += item.data.size();
  }
  for (const TypeOfItems& type : types) {
    directory += word(type.code) + word(type.items.size()) + word(12 + data_bytes + lists.size());
    for (const Item& item : type.items) {
      lists +=
          half(item.name.size()) + item.name + word(12 + data.size()) + word(item.data.size() | item.flags);
      data += item.data;
    }
  }
  return word(version) + word(types.size()) + word(12 + data.size() + lists.size()) + data + lists +
         directory;
}

inline void put_file(const std::string& path, const std::string& bytes) {
  std::ofstream(path, std::ios::binary).write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
}
inline std::string file_bytes(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

// The item's data, or "(none)".
inline std::string loaded(ORB_RSRC_FILE* file, uint32_t code, const char* name) {
  uint32_t bytes = 0;
  const void* data = orb__rsrc_load(file, code, name, &bytes);
  return data ? std::string(static_cast<const char*>(data), bytes) : "(none)";
}

class ResourceFiles : public ::testing::Test {
 protected:
  ResourceFiles() { orb__rsrc_init(nullptr, nullptr); }
  ~ResourceFiles() override { orb__rsrc_init(nullptr, nullptr); }
  ORB_RSRC_FILE* open_bytes(const std::string& bytes) {
    put_file("r", bytes);
    return orb__rsrc_open("r");
  }
  ReportRecorder recorder;
};

}  // namespace orb::testing
