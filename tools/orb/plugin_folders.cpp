// The folders where plug-ins are looked for.
#include "plugin_folders.h"

#include "orbbase/host.h"
#include "printable.h"

namespace orb::tool {

std::string plugin_folders_text() {
  std::string text;
  for (int32_t i = 0; const HOST_FOLDER* folder = HOST_folder(i); ++i) {
    text += "  " + printable(folder->path) + "  (" + folder->origin +
            (folder->exists != 0 ? "" : ", not there") + ")\n";
  }
  return text;
}

Json plugin_folders_json() {
  Json folders = Json::array();
  for (int32_t i = 0; const HOST_FOLDER* folder = HOST_folder(i); ++i) {
    folders.push_back({{"path", folder->path}, {"origin", folder->origin}, {"exists", folder->exists != 0}});
  }
  return folders;
}

}  // namespace orb::tool
