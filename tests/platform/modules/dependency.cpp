// The library that the test module is linked with.
#include "orbbase/platform/api.h"

extern "C" {
ORB_PLUGIN_API const char* version = "the dependency's";
ORB_PLUGIN_API int defined_by_both() { return 2; }
ORB_PLUGIN_API int only_in_the_dependency() { return 3; }
}
