#include "orbbase/core/ifd_copy.h"

#include <array>
#include <cstring>

#include "orbbase/support/err/internal.h"

namespace orb {
namespace {

constexpr char kUnknown[] = "unknown";

// The names that a descriptor owns.
template <class Ifd>
auto names_of(Ifd& ifd) {
  return std::array{&ifd.name, &ifd.color.name, &ifd.matte.name, &ifd.aux.name, &ifd.index.name};
}

bool copy_curve(const ORB_RESPONSE_CURVE& from, ORB_RESPONSE_CURVE& to) {
  if (from.kind != ORB_CURVE_GAMMA) return ORB_response_curve_copy(&to, &from) == 0;
  to = from;
  return true;
}

bool copy_names(const ORB_IFD& from, ORB_IFD& to, UnknownNames names) {
  const auto sources = names_of(from);
  const auto copies = names_of(to);
  for (size_t i = 0; i < sources.size(); ++i) {
    if (!copy_text(*sources[i], *copies[i], names)) return false;
  }
  return true;
}

}  // namespace

bool copy_text(const char* from, char*& out, UnknownNames names) {
  out = nullptr;
  if (!from && names == UnknownNames::fill) from = kUnknown;
  if (from && names == UnknownNames::drop && std::strcmp(from, kUnknown) == 0) from = nullptr;
  if (!from) return true;
  const size_t bytes = std::strlen(from) + 1;
  out = static_cast<char*>(allocate(bytes));
  if (out) std::memcpy(out, from, bytes);
  return out != nullptr;
}

bool copy_ifd(const ORB_IFD& from, ORB_IFD& to, UnknownNames names) {
  to = from;
  for (char** name : names_of(to)) *name = nullptr;
  to.curve.tables = nullptr;  // a failed copy must not release the source's
  if (copy_curve(from.curve, to.curve) && copy_names(from, to, names)) return true;
  release_ifd(to);
  return false;
}

void release_ifd(ORB_IFD& ifd) {
  ORB_response_curve_done(&ifd.curve);
  for (char** name : names_of(ifd)) {
    ERR_free(*name);
    *name = nullptr;
  }
}

}  // namespace orb
