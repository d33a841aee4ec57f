#include "orbbase/core/drivers/mem_store.h"

#include <cstdlib>
#include <cstring>
#include <mutex>

#include "orbbase/core/drivers/description.h"
#include "orbbase/str.h"
#include "orbbase/support/err/internal.h"

namespace orb {
namespace {

constexpr uint32_t kFirstBuckets = 64;

struct State {
  std::mutex lock;                             // over all below and the files' next and references
  MemFile* first_buckets[kFirstBuckets] = {};  // serves until there are more files than that
  MemFile** buckets = first_buckets;
  uint32_t bucket_count = kFirstBuckets;
  uint32_t file_count = 0;
} state;

// ---- All of these with the lock held ----

// The link that points to the file of a name, or the null one where it would be put.
MemFile** link_of(const char* name) {
  MemFile** link = &state.buckets[STR_hash(name, state.bucket_count)];
  while (*link && std::strcmp((*link)->name, name) != 0) link = &(*link)->next;
  return link;
}

void spread_over(MemFile** buckets, uint32_t bucket_count) {
  MemFile** const old_buckets = state.buckets;
  const uint32_t old_count = state.bucket_count;
  state.buckets = buckets;
  state.bucket_count = bucket_count;
  for (uint32_t i = 0; i < old_count; ++i) {
    for (MemFile* file = old_buckets[i]; file;) {
      MemFile* const next = file->next;
      MemFile** const bucket = &buckets[STR_hash(file->name, bucket_count)];
      file->next = *bucket;
      *bucket = file;
      file = next;
    }
    old_buckets[i] = nullptr;
  }
  if (old_buckets != state.first_buckets) ERR_free(old_buckets);
}

// Takes the file of a link out of the store; the store's reference is the caller's.
MemFile* unlink(MemFile** link) {
  MemFile* const file = *link;
  *link = file->next;
  file->next = nullptr;
  --state.file_count;
  return file;
}

// ---- The lock's own business ends here ----

// A larger table when the files have outgrown theirs; made outside the lock, since the allocator may report.
// Without memory for it the chains grow instead.
void make_room() {
  uint32_t wanted = 0;
  {
    const std::lock_guard held(state.lock);
    if (state.file_count < state.bucket_count || state.bucket_count > UINT32_MAX / 16) return;
    wanted = state.bucket_count * 4;
  }
  owned<MemFile*> buckets(static_cast<MemFile**>(std::calloc(wanted, sizeof(MemFile*))));
  const std::lock_guard held(state.lock);
  if (buckets && state.bucket_count < wanted) spread_over(buckets.release(), wanted);
}

void release_lines(MemImage& image) {
  if (!image.lines) return;
  for (int64_t i = 0; i < image.layout.active_lines(); ++i) ERR_free(image.lines[i]);
  ERR_free(image.lines);
}

}  // namespace

void mem_discard(MemFile* file) {
  if (!file) return;
  for (int32_t i = 0; file->images && i < file->description.image_count; ++i) release_lines(file->images[i]);
  ERR_free(file->images);
  release_description(file->description);
  ORB_lut_free(file->lut);
  ERR_free(file->name);
  ERR_free(file);
}

void mem_publish(MemFile* file) {
  make_room();
  MemFile* replaced = nullptr;
  {
    const std::lock_guard held(state.lock);
    MemFile** const link = link_of(file->name);
    if (*link) replaced = unlink(link);
    file->references = 1;
    file->next = *link;
    *link = file;
    ++state.file_count;
  }
  mem_release(replaced);
}

MemFile* mem_acquire(const char* name) {
  const std::lock_guard held(state.lock);
  MemFile* const file = *link_of(name);
  if (file) ++file->references;
  return file;
}

void mem_release(MemFile* file) {
  if (!file) return;
  {
    const std::lock_guard held(state.lock);
    if (--file->references > 0) return;
  }
  mem_discard(file);  // nobody else knows it any more
}

bool mem_holds(const char* name) {
  const std::lock_guard held(state.lock);
  return *link_of(name) != nullptr;
}

void mem_clear() {
  for (;;) {
    MemFile* file = nullptr;
    {
      const std::lock_guard held(state.lock);
      for (uint32_t i = 0; i < state.bucket_count && !file; ++i) {
        if (state.buckets[i]) file = unlink(&state.buckets[i]);
      }
    }
    if (!file) break;
    mem_release(file);
  }
  const std::lock_guard held(state.lock);
  if (state.buckets != state.first_buckets && state.file_count == 0) {
    spread_over(state.first_buckets, kFirstBuckets);
  }
}

}  // namespace orb

int32_t ORB_mem_remove(const char* name) {
  orb::MemFile* file = nullptr;
  if (name) {
    const std::lock_guard held(orb::state.lock);
    orb::MemFile** const link = orb::link_of(name);
    if (*link) file = orb::unlink(link);
  }
  if (!file) return orb::fail(ORB_E_OPEN);
  orb::mem_release(file);
  return ORB_OK;
}
