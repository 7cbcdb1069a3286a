// Export control for the panels library, built with hidden visibility like
// the core: only what carries FERROW_PANELS_API is reachable from outside.
#pragma once

#if defined(_WIN32)
#  if defined(FERROW_PANELS_BUILDING)
#    define FERROW_PANELS_API __declspec(dllexport)
#  else
#    define FERROW_PANELS_API __declspec(dllimport)
#  endif
#else
#  define FERROW_PANELS_API __attribute__((visibility("default")))
#endif
