#ifndef LYAVUTILS_EXPORT_H
#define LYAVUTILS_EXPORT_H

// Only declarations marked LYAVUTILS_API are visible outside the shared
// library; everything else is built with hidden visibility.
#if defined(_WIN32)
#  if defined(LYAVUTILS_STATIC)
#    define LYAVUTILS_API
#  elif defined(LYAVUTILS_BUILDING)
#    define LYAVUTILS_API __declspec(dllexport)
#  else
#    define LYAVUTILS_API __declspec(dllimport)
#  endif
#else
#  define LYAVUTILS_API __attribute__((visibility("default")))
#endif

#endif
