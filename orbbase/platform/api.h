/* How the library's functions and variables cross its boundary: exported, with C linkage. */
#ifndef ORBBASE_PLATFORM_API_H
#define ORBBASE_PLATFORM_API_H

#if defined(_WIN32)
#if defined(ORB_BUILDING)
#define ORB_API __declspec(dllexport)
#else
#define ORB_API __declspec(dllimport)
#endif
/* Marks the symbols that a plug-in module exports for the library to read. */
#define ORB_PLUGIN_API __declspec(dllexport)
#else
#define ORB_API __attribute__((visibility("default")))
#define ORB_PLUGIN_API __attribute__((visibility("default")))
#endif

#if defined(__cplusplus)
#define ORB_BEGIN_C extern "C" {
#define ORB_END_C }
#else
#define ORB_BEGIN_C
#define ORB_END_C
#endif

#endif
