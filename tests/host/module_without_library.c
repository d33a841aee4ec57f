/* A module whose library is missing when it is loaded. */
#include "orbbase/platform/api.h"

extern int answer_of_library(void);
ORB_PLUGIN_API const char* version = "3.2";
ORB_PLUGIN_API const char* imageKey = "needy";
ORB_PLUGIN_API int imageInit(void* record);
int imageInit(void* record) { return record ? answer_of_library() : 0; }
