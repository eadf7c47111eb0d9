// The library's edge: no exception reaches the host or ends one of the
// library's threads; the diagnostic log gets it instead.
#ifndef QZ_PLATFORM_CAUGHTEXCEPTION_H
#define QZ_PLATFORM_CAUGHTEXCEPTION_H

#include <utility>

#include "qz/StringBuf.h"
#include "qz/export.h"

namespace qz {

// Logs the exception being handled as an error of source: "Out of memory",
// "Exception: " and its own text, or "Unknown exception". Call only from a
// catch block. Allocates nothing, so it works when memory has run out.
void LogCaughtException(const QZChar* source) noexcept;

// field = text, for setters that must not throw: when memory runs out the
// field keeps its text and the failure is logged with source.
void AssignOrLog(StringBuf& field, const QZChar* text, const QZChar* source) noexcept;

// A new T, or null (logged) when it could not be made, whether its memory or
// its constructor failed.
template <typename T, typename... Args>
T* NewOrNull(const QZChar* source, Args&&... args) noexcept {
  try {
    return new T(std::forward<Args>(args)...);
  } catch (...) {
    LogCaughtException(source);
    return nullptr;
  }
}

}  // namespace qz

#endif  // QZ_PLATFORM_CAUGHTEXCEPTION_H
