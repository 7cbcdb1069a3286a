// Export control for the Ferrow shared library. The library is built with
// hidden visibility, so only what carries FERROW_API is reachable by firmware.
#pragma once

#if defined(_WIN32)
#  if defined(FERROW_BUILDING)
#    define FERROW_API __declspec(dllexport)
#  else
#    define FERROW_API __declspec(dllimport)
#  endif
#else
#  define FERROW_API __attribute__((visibility("default")))
#endif
