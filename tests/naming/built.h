// Paths as the builders make them, with all that they hand out.
#pragma once

#include <ostream>
#include <string>

#include "orbbase/naming.h"

namespace orb::testing {

struct Built {
  int32_t code = 0;  // 0, or what orb__err says of the failure
  std::string path;
  std::string base_name;
  int32_t frame = -1;
  std::string key;
};

struct Request {
  const char* syntax = nullptr;  // null: without one
  const char* name = "";
  int32_t frame = -1;
  int32_t mode = 0;
  int32_t keep_width = 0;
  const char* key = "mem";
  const char* extension = nullptr;
};

inline Built build(const Request& request) {
  Built built;
  char path[ORB_PATHNAME_BYTES] = "untouched";
  char base_name[ORB_PATHNAME_BYTES] = "untouched";
  const char* key = nullptr;
  ORB_FORMAT* format = nullptr;
  int32_t frame = request.frame;
  orb__err = 0;
  const int32_t done =
      ORB_pathname_build(request.syntax, request.name, request.key, request.extension, request.mode,
                         request.keep_width, &frame, path, base_name, &key, &format);
  built.code = done ? 0 : orb__err;
  built.path = path;
  built.base_name = base_name;
  built.frame = frame;
  built.key = format ? format->key : "";
  return built;
}

}  // namespace orb::testing
