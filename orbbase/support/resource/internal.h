// The steps that the files of this room share. Results are false or null after a failure, which has been reported.
#pragma once

#include "orbbase/support/resource/records.h"

namespace orb::resource {

// Where the name may lie: itself, then behind each prefix of the search list. Calls step with each path until it
// returns true; false when none did. A path for which there is no memory ends the search.
enum class Searched { found, not_found, no_memory };
using TryPath = bool (*)(const char* path, void* context);
[[nodiscard]] Searched search(const char* name, TryPath step, void* context);

// Opens the name; not yet in the list of open files.
[[nodiscard]] FileOwner open_file(const char* name);

// Reads the directory and the lists of a file whose type_count and directory_offset are set.
[[nodiscard]] bool read_directory(File& file);

// Puts items into the order of their names, equal ones staying as they are.
void sort_by_name(std::span<Resource> resources);

// The first item of that name that is not deleted, or null.
[[nodiscard]] Resource* find(File& file, uint32_t code, const char* name);

// The item's data, of which there may be 0 bytes; null when it cannot be read.
[[nodiscard]] const uint8_t* load(File& file, Resource& resource);

[[nodiscard]] bool save(File& file);

// The first of the open files, in the order they were opened, that has the item.
struct Found {
  File* file;
  Resource* resource;
};
[[nodiscard]] Found find_in_open_files(uint32_t code, const char* name);

// One line of a dump to whoever asked for dumps.
void print_line(const char* line);

}  // namespace orb::resource
