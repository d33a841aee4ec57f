/* A library that a module needs and that is not where the loader looks. */
#include "orbbase/platform/api.h"

ORB_PLUGIN_API int answer_of_library(void);
int answer_of_library(void) { return 42; }
