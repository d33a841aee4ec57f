// The record of an open file and its handle: who owns the record until the open has succeeded, how the handle
// gets it, and how a close ends.
#pragma once

#include <cstdint>
#include <memory>
#include <utility>

#include "memory.h"
#include "orbbase/core.h"
#include "stream.h"

namespace orb::plugin {

// A flat, zeroed block, made by make_zeroed. kRelease gives back what it points to.
template <auto kRelease>
struct RecordReleased {
  template <class Record>
  void operator()(Record* record) const {
    kRelease(*record);
    ERR_free(record);
  }
};
template <class Record, void (*kRelease)(Record&)>
using RecordOwner = std::unique_ptr<Record, RecordReleased<kRelease>>;

template <class Owner>
[[nodiscard]] Owner make_record() {
  return Owner(make_zeroed<typename Owner::element_type>(1).release());
}

// Hands the record of a file that is open over to the handle.
template <class Owner>
void attach(ORB_IMAGE& image, owned<ORB_DRIVER_BLOCK>& block, Owner& record, ORB_SCAN_FN scan,
            ORB_CLOSE_FN close) {
  image.scan = scan;
  image.close = close;
  block->data = record.release();
  image.driver = block.release();
}

// The same for a reader, which nothing is lost of when memory runs out: then false, with orb__err -10.
template <class Owner>
[[nodiscard]] bool attach_reader(ORB_IMAGE& image, Owner& record, ORB_SCAN_FN scan, ORB_CLOSE_FN close) {
  owned<ORB_DRIVER_BLOCK> block = make_zeroed<ORB_DRIVER_BLOCK>(1);
  if (!block) return false;
  attach(image, block, record, scan, close);
  return true;
}

// The record of a handle's only image.
template <class Record>
Record& record_of(ORB_IMAGE& image) {
  return *static_cast<Record*>(image.driver->data);
}

// A handle's close slot for a reader.
template <class Record, void (*kRelease)(Record&)>
int32_t close_reader(ORB_IMAGE* image) {
  kRelease(record_of<Record>(*image));
  orb__free_obj(image);
  return ORB_OK;
}

// A handle's close slot for a writer. kFinish brings what is still to be written to the file, and returns 0 or
// the code of what it, or somebody before, reported.
template <class Record, int32_t (*kFinish)(Record&), void (*kRelease)(Record&)>
int32_t close_writer(ORB_IMAGE* image) {
  const int32_t code = kFinish(record_of<Record>(*image));
  kRelease(record_of<Record>(*image));
  orb__free_obj(image);
  return code == 0 ? ORB_OK : fail(code);
}

// The seek slot of a reader that has every line at hand.
inline int32_t seek_anywhere(void*, int32_t) { return ORB_OK; }

}  // namespace orb::plugin
