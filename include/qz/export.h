/* Export macro and the library's text type. Plain C, so qz_flat.h can use it. */
#ifndef QZ_EXPORT_H
#define QZ_EXPORT_H

#if defined(_WIN32)
#  if defined(QZ_BUILDING_DLL)
#    define QZ_API __declspec(dllexport)
#  elif defined(QZ_STATIC)
#    define QZ_API
#  else
#    define QZ_API __declspec(dllimport)
#  endif
#else
#  if defined(QZ_BUILDING_DLL)
#    define QZ_API __attribute__((visibility("default")))
#  else
#    define QZ_API
#  endif
#endif

/* Which C++ classes the headers give. qzwin32.dll's own classes follow the GCC
   ABI (MinGW), which Visual C++ and clang-cl (_MSC_VER) cannot call; for them
   the headers give the same classes as inline code over the flat functions
   (qz/qz_inline.h). QZ_USE_FLAT_ABI, defined to anything, asks for those on any
   compiler. Every translation unit of a program must agree (outside Visual C++
   the two kinds are different types, so a program that mixes them fails to
   link). */
#if defined(_MSC_VER) && !defined(QZ_USE_FLAT_ABI)
#  define QZ_USE_FLAT_ABI 1
#endif
#if defined(QZ_USE_FLAT_ABI) && defined(QZ_BUILDING_DLL)
#  error "QZ_USE_FLAT_ABI is for hosts: the library itself is built with the classes it exports"
#endif

/* One UTF-16 code unit on every platform. QZ_TEXT("...") makes a literal of
   them: on Windows always, elsewhere in C++ and in C11 or later (C99 has no
   UTF-16 literals). */
#if defined(_WIN32)
#  include <stddef.h>
typedef wchar_t QZChar;
#  define QZ_TEXT(s) L##s
#elif defined(__cplusplus)
typedef char16_t QZChar;
#  define QZ_TEXT(s) u##s
#else
/* C has no char16_t before C11's <uchar.h>; the same 16-bit unsigned code unit
   under another name (what C11's u"..." literals are made of). */
#  include <stdint.h>
typedef uint16_t QZChar;
#  if defined(__STDC_VERSION__) && __STDC_VERSION__ >= 201112L
#    define QZ_TEXT(s) u##s
#  endif
#endif

#endif /* QZ_EXPORT_H */
