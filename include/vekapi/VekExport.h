// VEKAPI_EXPORT marks the exported classes, VEKAPI_FLAT the flat functions; all other symbols are hidden.
// VEKAPI_HIDDEN hides a nested class of an exported class where it would inherit the outer visibility.
#ifndef VEKAPI_VEKEXPORT_H
#define VEKAPI_VEKEXPORT_H

#if defined(VEKAPI_STATIC)
#define VEKAPI_EXPORT
#define VEKAPI_FLAT
#define VEKAPI_HIDDEN
#elif defined(_WIN32)
#if defined(VEKAPI_BUILDING)
#define VEKAPI_EXPORT __declspec(dllexport)
#define VEKAPI_FLAT  // exported by the module definition file
#else
#define VEKAPI_EXPORT __declspec(dllimport)
#define VEKAPI_FLAT __declspec(dllimport)
#endif
#define VEKAPI_HIDDEN
#else
#define VEKAPI_EXPORT __attribute__((visibility("default")))
#define VEKAPI_FLAT __attribute__((visibility("default")))
#define VEKAPI_HIDDEN __attribute__((visibility("hidden")))
#endif

#endif  // VEKAPI_VEKEXPORT_H
