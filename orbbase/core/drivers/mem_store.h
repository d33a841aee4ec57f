// The images that live in the process: files of the "mem" driver, found by name, shared by their readers.
#pragma once

#include "orbbase/core/drivers/row_layout.h"

namespace orb {

// One image of a file.
struct MemImage {
  RowLayout layout;
  // A block for each active line, from active.bottom upward, that holds its packed samples from the first
  // aligned address on. Null: never written, all zeros.
  uint8_t** lines;
};

// A file. Its writer alone knows it until it is published; from then on it never changes.
struct MemFile {
  ORB_INFO description;  // with the texts and descriptors only
  MemImage* images;      // description.image_count of them
  ORB_LUT* lut;          // or null
  char* name;
  MemFile* next;       // the store's: another file of the same bucket
  int32_t references;  // the store's: one for itself, one a reader
};

// Takes the file into the store under its name; a file of that name leaves it in the same step. The store has
// its reference from now on.
void mem_publish(MemFile* file);

// The file of a name with a reference for the caller, or null.
[[nodiscard]] MemFile* mem_acquire(const char* name);

// Gives a reference back; the last one releases the file.
void mem_release(MemFile* file);

[[nodiscard]] bool mem_holds(const char* name);

// Releases a file that was never published, however far it was made.
void mem_discard(MemFile* file);

// Forgets all files, for tests; readers keep theirs.
void mem_clear();

}  // namespace orb
