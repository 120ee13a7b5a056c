// VEKAPI_EXPORT marks what the shared library shows; everything else in it is hidden.
#ifndef VEKAPI_VEKEXPORT_H
#define VEKAPI_VEKEXPORT_H

#if defined(VEKAPI_STATIC)
#define VEKAPI_EXPORT
#elif defined(_WIN32)
#if defined(VEKAPI_BUILDING)
#define VEKAPI_EXPORT __declspec(dllexport)
#else
#define VEKAPI_EXPORT __declspec(dllimport)
#endif
#else
#define VEKAPI_EXPORT __attribute__((visibility("default")))
#endif

#endif  // VEKAPI_VEKEXPORT_H
