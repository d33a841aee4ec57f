// The faults for a program as it is: preloaded in front of it, this lets calls fail from main on.
//
//   ORB_FAULT="memory|files|transfers NTH once|on"   which call fails; NTH 0: none
//   ORB_FAULT_TALLY=FILE                              receives "CALLS FAILED HAS_LOST_BYTES FIRST" at the end, and in
//                                                     a second line, with NTH 0, the way to each call
#include <dlfcn.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "tests/trust/faults.h"

namespace {

using namespace orb::testing;  // NOLINT(google-build-using-namespace): this program's own

using Main = int (*)(int, char**, char**);
using StartMain = int (*)(Main, int, char**, void (*)(), void (*)(), void (*)(), void*);

Main program_main = nullptr;

FaultPlan plan_from_environment() {
  FaultPlan plan;
  plan.has_everyone = true;
  char kind[16] = "";
  char mode[16] = "";
  long long nth = 0;
  const char* text = std::getenv("ORB_FAULT");
  if (!text || std::sscanf(text, "%15s %lld %15s", kind, &nth, mode) != 3) return plan;
  plan.nth = nth;
  plan.goes_on = std::strcmp(mode, "on") == 0;
  const struct {
    const char* name;
    FaultKind kind;
  } kinds[] = {
      {"memory", FaultKind::memory}, {"files", FaultKind::files}, {"transfers", FaultKind::transfers}};
  for (const auto& known : kinds) {
    if (std::strcmp(kind, known.name) == 0) plan.kind = known.kind;
  }
  return plan;
}

void write_tally() {
  const FaultTally tally = end_faults();
  const char* path = std::getenv("ORB_FAULT_TALLY");
  std::FILE* const file = path ? std::fopen(path, "w") : nullptr;
  if (!file) return;
  std::fprintf(file, "%lld %lld %d %s\n", static_cast<long long>(tally.calls),
               static_cast<long long>(tally.failed), tally.has_lost_bytes ? 1 : 0, tally.first);
  for (const uint64_t way : tally.ways) std::fprintf(file, "%llu ", static_cast<unsigned long long>(way));
  std::fclose(file);
}

int faulty_main(int count, char** arguments, char** environment) {
  const FaultPlan plan = plan_from_environment();
  unsetenv("LD_PRELOAD");  // programs that this one starts are not meant
  std::atexit(write_tally);
  begin_faults(plan);
  return program_main(count, arguments, environment);
}

}  // namespace

extern "C" __attribute__((visibility("default"))) int start_main(Main, int, char**, void (*)(), void (*)(),
                                                                 void (*)(),
                                                                 void*) __asm__("__libc_start_main");
int start_main(Main main, int count, char** arguments, void (*init)(), void (*fini)(), void (*linker_fini)(),
               void* stack_end) {
  program_main = main;
  const auto start = reinterpret_cast<StartMain>(dlsym(RTLD_NEXT, "__libc_start_main"));
  return start(faulty_main, count, arguments, init, fini, linker_fini, stack_end);
}
