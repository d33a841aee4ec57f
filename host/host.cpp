// Loads the modules that were found, hands them to the library, and keeps for each what became of it.

#include "orbbase/host.h"

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <new>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "folders.h"
#include "modules.h"
#include "orbbase/core.h"
#include "orbbase/registry.h"
#include "orbbase/support/err.h"

namespace orb::host {
namespace {

struct Candidate {
  std::string path;
  std::string key;
  std::string reason;
  size_t folder = 0;
  void* module = nullptr;
  int32_t state = HOST_TAKEN;
  int refused_in_round = 0;
  HOST_CANDIDATE shown = {};

  // A module with a fault in its capability table is registered all the same.
  [[nodiscard]] bool is_in_use() const { return state == HOST_TAKEN || state == HOST_FAILED_CHECK; }

  void refuse(int32_t why, std::string text);  // or take: why HOST_TAKEN, no text
};

struct State {
  std::vector<Folder> folders;
  std::vector<std::string> folder_paths;  // what the shown folders point into
  std::vector<HOST_FOLDER> shown_folders;
  std::vector<Candidate> candidates;
  size_t next_to_hand_over = 0;  // the library's enumeration has no argument of its own
  int round = 0;                 // of handing over; a refusal may call for another one
  bool is_started = false;
} state;

HOST_ASK_FN ask_application = nullptr;  // outlives a stop

void Candidate::refuse(int32_t why, std::string text) {
  state = why;
  reason = std::move(text);
  refused_in_round = orb::host::state.round;
}

// ---- Looking at files

// The text that the module's imageKey points to. The registry holds the same pointer, so it tells whose
// registration is whose.
const char* key_pointer(const Candidate& candidate) { return orb__module_text(candidate.module, "imageKey"); }

// Opening a named pipe would wait for its writer, and a device need not end.
LoadResult load_if_file(const std::string& path) {
  std::error_code error;
  const std::filesystem::file_status status = std::filesystem::status(path, error);
  if (!std::filesystem::exists(status) || std::filesystem::is_regular_file(status)) return load_module(path);
  LoadResult refused;
  refused.error = "it is not a regular file";
  return refused;
}

bool is_wanted(const std::string& path) { return !ask_application || ask_application(path.c_str()) != 0; }

void load(Candidate& candidate) {
  candidate.key = std::filesystem::path(candidate.path).stem().string();
  if (!is_wanted(candidate.path)) return candidate.refuse(HOST_LEFT_OUT, "it was left out");
  LoadResult loaded = load_if_file(candidate.path);
  candidate.module = loaded.module;
  if (loaded.module) {
    if (const char* key = key_pointer(candidate)) candidate.key = key;
    return;
  }
  if (loaded.missing_library.empty()) {
    candidate.refuse(HOST_CANNOT_LOAD, loaded.error);
  } else {
    candidate.refuse(HOST_MISSING_LIBRARY,
                     "plug-in present, but its library " + loaded.missing_library + " is missing");
  }
  ERR_printf(ERR_WARNING, "%s: %s", candidate.path.c_str(), candidate.reason.c_str());
}

void find_candidates() {
  state.folders = search_folders();
  for (size_t i = 0; i < state.folders.size(); ++i) {
    if (!state.folders[i].exists) continue;
    for (const std::filesystem::path& file : module_files(state.folders[i].path)) {
      Candidate candidate;
      candidate.path = file.string();
      candidate.folder = i;
      load(candidate);
      state.candidates.push_back(std::move(candidate));
    }
  }
}

// ---- Handing over

// Of two modules with one key the earlier folder's is used. Within a folder the library decides: the later
// one.
void settle_equal_keys() {
  for (Candidate& later : state.candidates) {
    if (!later.is_in_use() && later.state != HOST_REPLACED) continue;
    later.refuse(HOST_TAKEN, "");
    for (const Candidate& earlier : state.candidates) {
      if (&earlier == &later) break;
      if (earlier.state == HOST_TAKEN && earlier.folder < later.folder && earlier.key == later.key) {
        later.refuse(HOST_REPLACED, "its key is held by " + earlier.path);
        break;
      }
    }
  }
}

int32_t next_module(void** module_out, const char** name_out) {
  while (state.next_to_hand_over < state.candidates.size()) {
    const Candidate& candidate = state.candidates[state.next_to_hand_over++];
    if (!candidate.is_in_use()) continue;
    static_cast<void>(is_wanted(candidate.path));  // settled when it was loaded; said once more
    *module_out = candidate.module;
    *name_out = candidate.path.c_str();
    return 1;
  }
  if (ask_application) ask_application(nullptr);
  return 0;
}

// Listens to the library's verdicts while it starts, and passes them on.
int32_t note_verdict(const void* identity, uint8_t, const char* message, ERR_RECORD*, void*) {
  const std::string_view text = message;
  const std::string_view form = identity ? static_cast<const char*>(identity) : "";
  for (Candidate& candidate : state.candidates) {
    if (candidate.state != HOST_TAKEN) continue;
    const bool names_module = text.starts_with(candidate.path + ": ");
    if (names_module && form.find("must be defined") != form.npos) {
      candidate.refuse(HOST_MISSING_SYMBOL, std::string(text.substr(candidate.path.size() + 2)));
    } else if (names_module && form.find("version protocol") != form.npos) {
      candidate.refuse(HOST_WRONG_VERSION, std::string(text.substr(candidate.path.size() + 2)));
    } else if (form.find("no name field") != form.npos && text.starts_with(candidate.key + ": ")) {
      candidate.refuse(HOST_FAILED_CHECK, std::string(text.substr(candidate.key.size() + 2)));
    }
  }
  return 1;
}

// The module on whose account the library dropped this one: the holder of its key, or one after it that took
// the key and was refused later in the same start.
const Candidate* rival_of(const Candidate& dropped, const std::set<const char*>& registered) {
  for (const Candidate& other : state.candidates) {
    if (&other == &dropped || other.key != dropped.key) continue;
    if (other.is_in_use() && registered.contains(key_pointer(other))) return &other;
    if (other.refused_in_round == state.round && other.state == HOST_MISSING_SYMBOL) return &other;
  }
  return nullptr;
}

// What the library dropped without a word: a module whose key came again, or whose imageInit declined.
void note_dropped() {
  std::set<const char*> registered;
  ORB_init(nullptr, nullptr);  // started already: this only rewinds the walk
  while (const ORB_FORMAT* format = ORB_info()) registered.insert(format->key);
  for (Candidate& candidate : state.candidates) {
    if (candidate.state != HOST_TAKEN || registered.contains(key_pointer(candidate))) continue;
    if (const Candidate* rival = rival_of(candidate, registered)) {
      candidate.refuse(HOST_REPLACED, "its key is held by " + rival->path);
    } else {
      candidate.refuse(HOST_DECLINED, "its imageInit declined");
    }
  }
}

// A module that was refused frees its key for another that had stood back for it.
bool someone_stood_back_for_nothing() {
  return std::any_of(state.candidates.begin(), state.candidates.end(), [](const Candidate& waiting) {
    return waiting.state == HOST_REPLACED && waiting.module &&
           std::none_of(state.candidates.begin(), state.candidates.end(), [&](const Candidate& holder) {
             return holder.is_in_use() && holder.key == waiting.key;
           });
  });
}

int32_t hand_over(void* catalogue) {
  int32_t result = 0;
  do {
    ++state.round;
    settle_equal_keys();
    state.next_to_hand_over = 0;
    ORB_exit();
    ERR_dcl_handler(nullptr, note_verdict, nullptr);
    result = ORB_init(catalogue, next_module);
    ERR_can_handler(nullptr);
    if (result != 0) return result;
    note_dropped();
  } while (someone_stood_back_for_nothing());  // each round refuses at least one more
  return result;
}

// ---- Showing

void prepare_views() {
  for (Candidate& candidate : state.candidates) {
    candidate.shown = {candidate.path.c_str(), candidate.key.c_str(), candidate.state,
                       candidate.reason.c_str()};
  }
  for (const Folder& folder : state.folders) state.folder_paths.push_back(folder.path.string());
  for (size_t i = 0; i < state.folders.size(); ++i) {
    state.shown_folders.push_back(
        {state.folder_paths[i].c_str(), state.folders[i].origin, state.folders[i].exists ? 1 : 0});
  }
}

void unload_all() {
  for (Candidate& candidate : state.candidates) {
    if (candidate.module) unload_module(candidate.module);
  }
  state = State{};
}

int32_t start(void* catalogue) {
  find_candidates();
  const int32_t result = hand_over(catalogue);
  prepare_views();
  state.is_started = true;
  return result;
}

bool is_of_kind(const Candidate& candidate, std::string_view name) {
  if (candidate.key == name) return true;
  const std::string extension = std::filesystem::path(name).extension().string();
  return !extension.empty() && std::string_view(extension).substr(1) == candidate.key;
}

}  // namespace
}  // namespace orb::host

using orb::host::state;

void HOST_ask(HOST_ASK_FN ask) { orb::host::ask_application = ask; }

int32_t HOST_start(void* catalogue) {
  if (state.is_started) return 0;
  try {
    return orb::host::start(catalogue);
  } catch (const std::bad_alloc&) {
    ERR_printf(ERR_ERROR, "%s", "No more internal memory");
  } catch (const std::exception& problem) {
    ERR_printf(ERR_ERROR, "Cannot search for plug-ins; %s", problem.what());
  }
  ORB_exit();
  orb::host::unload_all();
  return -1;
}

int32_t HOST_stop(void) {
  if (!state.is_started) return 0;
  ORB_multiframe_set(0, 0);  // closes the files that were kept open: their code goes now
  const int32_t result = ORB_exit();
  orb::host::unload_all();
  return result;
}

const HOST_CANDIDATE* HOST_candidate(int32_t index) {
  if (index < 0 || static_cast<size_t>(index) >= state.candidates.size()) return nullptr;
  return &state.candidates[static_cast<size_t>(index)].shown;
}

const HOST_FOLDER* HOST_folder(int32_t index) {
  if (index < 0 || static_cast<size_t>(index) >= state.shown_folders.size()) return nullptr;
  return &state.shown_folders[static_cast<size_t>(index)];
}

const HOST_CANDIDATE* HOST_explain(const char* file_name_or_key) {
  if (!file_name_or_key) return nullptr;
  const HOST_CANDIDATE* refused = nullptr;
  for (const orb::host::Candidate& candidate : state.candidates) {
    if (!orb::host::is_of_kind(candidate, file_name_or_key)) continue;
    if (candidate.is_in_use()) return nullptr;
    if (!refused) refused = &candidate.shown;
  }
  return refused;
}
