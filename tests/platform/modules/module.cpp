// A module that lacks "version" while the library that it uses has it.
#include "orbbase/platform/api.h"

extern "C" {
int only_in_the_dependency();
ORB_PLUGIN_API const char* imageKey = "sample";
ORB_PLUGIN_API int defined_by_both() { return 1; }
ORB_PLUGIN_API int calls_the_dependency() { return only_in_the_dependency(); }
}
