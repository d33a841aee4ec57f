// The image-process table: the named types of processes, opened by their names, and the database that lists them.
#include "orbbase/imp.h"

#include <cstring>
#include <iterator>

#include "orbbase/core/drivers/row_layout.h"
#include "orbbase/driver.h"
#include "orbbase/operators/generator.h"
#include "orbbase/operators/operator.h"

namespace orb::imp {
namespace {

constexpr const char* kModule = "imp";
constexpr const char* kDefaultType = "none";

constexpr MessageText kBadAccess = {902, 31, ERR_ERROR, "\"%s\" access not recognized"};
constexpr MessageText kBadType = {902, 32, ERR_ERROR, "Invalid image process type %s"};
constexpr MessageText kNoSuchOpen = {902, 34, ERR_ERROR, "%s cannot handle the requested action"};

enum Status : int32_t {
  kFine = 0,
  kUnknownType = -1,
  kNoMemoryLeft = -3,
  kMissingOpen = -9,
};

using OpenFn = ORB_IMAGE* (*)(ORB_IMAGE* context, const IMP_PROCESS& process);
using PlanFn = int32_t (*)(const IMP_PROCESS& process, const ORB_IFD& full, std::span<ORB_IFD> images_out);

struct Row {
  const char* name;
  const char* label;
  const char* description;
  OpenFn read_open;  // either may be null
  OpenFn write_open;
  PlanFn plan;
};

ORB_IMAGE* open_nothing(ORB_IMAGE* context, const IMP_PROCESS&) { return context; }

int32_t plan_nothing(const IMP_PROCESS&, const ORB_IFD& full, std::span<ORB_IFD> images_out) {
  if (!images_out.empty()) images_out[0] = full;
  return 1;
}

constexpr Row kNullProcesses[] = {
    {kDefaultType, "none", "No operation", open_nothing, open_nothing, plan_nothing},
};
constexpr Row kGenerators[] = {
    {"mipmap", "Mipmap", "Mipmap texture generator", open_mipmap_to_read, open_mipmap_to_write, plan_mipmap},
    {"swatch", "Swatch", "Subsample image generator", open_swatch_to_read, open_swatch_to_write, plan_swatch},
};

struct TypeNode : ListNode {
  IMP_TYPE type;
};

struct State {
  ListOf<TypeNode> types;  // owned; its cursor is IMP_info's
  bool is_built = false;
  int32_t status = kFine;  // what IMP_status says
  EndStep end;             // drops the list as the library ends
} state;

// ---- The database --------------------------------------------------------------------------------------

void drop() {
  while (TypeNode* node = state.types.take_first()) ERR_free(node);
  state.types.rewind();
  state.is_built = false;
}

bool append(const Row& row) {
  TypeNode* const node = make_zeroed<TypeNode>(1).release();
  if (!node) return false;
  uint32_t access = 0;
  if (row.read_open) access |= IMP_CAN_READ;
  if (row.write_open) access |= IMP_CAN_WRITE;
  node->type = {row.name, row.label, row.description, access};
  state.types.append(node);
  return true;
}

bool append_all() {
  for (const Row& row : kNullProcesses) {
    if (!append(row)) return false;
  }
  for (const Row& row : kGenerators) {
    if (!append(row)) return false;
  }
  return true;
}

bool build_on_demand(const char* caller) {
  if (state.is_built) return true;
  state.status = kFine;
  // Not for a library that has started: it would take the formats' walk back to its beginning.
  if (!registry().is_started && ORB_init(nullptr, nullptr) < 0) return false;
  if (!append_all()) {
    drop();
    state.status = kNoMemoryLeft;
    return false;
  }
  state.types.rewind();
  state.is_built = true;
  state.end.run = drop;
  at_library_end(state.end);
  orb__report(ORB_MSG_DATABASE_START, kModule, caller);
  return true;
}

// ---- Types ---------------------------------------------------------------------------------------------

const Row* find(std::span<const Row> rows, const char* name) {
  for (const Row& row : rows) {
    if (std::strcmp(row.name, name) == 0) return &row;
  }
  return nullptr;
}

// No name is the default one among the generators, where it is not to be found, on purpose.
const Row* find_type(const char* name) {
  const Row* row = find(kGenerators, name ? name : kDefaultType);
  if (!row && name) row = find(kNullProcesses, name);
  if (row) return row;
  report(kBadType, kDefaultType);  // not the name that was asked for, on purpose
  state.status = kUnknownType;
  return nullptr;
}

// An access text and the open function that it stands for.
struct Access {
  const char* text;
  OpenFn Row::*open;
};
constexpr Access kAccesses[] = {{"r", &Row::read_open}, {"w", &Row::write_open}};

const Access* find_access(const char* text) {
  for (const Access& access : kAccesses) {
    if (text && std::strcmp(access.text, text) == 0) return &access;
  }
  report(kBadAccess, text ? text : "");
  return nullptr;
}

}  // namespace
}  // namespace orb::imp

ORB_IMAGE* IMP_open(ORB_IMAGE* context, const IMP_PROCESS* process, const char* access) {
  using namespace orb::imp;
  state.status = kFine;
  if (!build_on_demand("IMP_open")) return nullptr;
  const Access* const wanted = find_access(access);
  if (!wanted) return nullptr;
  const Row* const row = find_type(process ? process->type : nullptr);
  if (!row) return nullptr;
  const OpenFn open = row->*wanted->open;
  if (!open) {
    orb::report(kNoSuchOpen, row->name);
    state.status = kMissingOpen;
    return nullptr;
  }
  return open(context, *process);
}

int32_t IMP_plan(const IMP_PROCESS* process, const ORB_IFD* full, ORB_IFD* images_out, int32_t capacity) {
  using namespace orb::imp;
  orb::set_error(ORB_OK);
  state.status = kFine;
  const IMP_PROCESS nothing = {kDefaultType, 0, 0, 0, nullptr};
  if (!process || !process->type) process = &nothing;
  const Row* const row = find_type(process->type);
  if (!row || !full) return orb::set_error(ORB_E_HANDLE), 0;
  if (!orb::windows_are_sound(*full)) return refuse(row->name), 0;
  const size_t room = images_out && capacity > 0 ? static_cast<size_t>(capacity) : 0;
  return row->plan(*process, *full, {images_out, room});
}

int32_t IMP_remove(ORB_IMAGE* image) {
  using namespace orb::imp;
  return orb__remove_layer(image, kSwatch) != 0 || orb__remove_layer(image, kMipmap) != 0 ? 1 : 0;
}

const IMP_TYPE* IMP_info() {
  using namespace orb::imp;
  if (!build_on_demand("IMP_info")) return nullptr;
  const TypeNode* const node = state.types.next();
  return node ? &node->type : nullptr;
}

int32_t IMP_status() { return orb::imp::state.status; }
