/* How the library's functions and variables cross its boundary: exported, with C linkage. */
#ifndef ORBBASE_PLATFORM_API_H
#define ORBBASE_PLATFORM_API_H

#if !defined(_WIN32)
/* Marks what the library exports. */
#define ORB_API __attribute__((visibility("default")))
/* Marks the symbols that a plug-in module exports for the library to read. */
#define ORB_PLUGIN_API __attribute__((visibility("default")))
#else
#if defined(ORB_BUILDING)
#define ORB_API __declspec(dllexport)
#else
#define ORB_API __declspec(dllimport)
#endif
#define ORB_PLUGIN_API __declspec(dllexport)
#endif

#if !defined(__cplusplus)
/* Before declarations that have C linkage. */
#define ORB_BEGIN_C
/* Behind them. */
#define ORB_END_C
#else
#define ORB_BEGIN_C extern "C" {
#define ORB_END_C }
#endif

#endif
