#include "platform/CaughtException.h"

#include <exception>
#include <new>

#include "platform/Platform.h"

namespace qz {

void LogCaughtException(const QZChar* source) noexcept {
  QZChar text[160];
  size_t n = 0;
  auto put = [&](const char* part) {
    // Each byte one character, as StringBuf widens narrow text.
    for (; part != nullptr && *part != 0 && n + 1 < sizeof text / sizeof text[0]; ++part) {
      text[n++] = static_cast<QZChar>(static_cast<unsigned char>(*part));
    }
  };
  try {
    throw;
  } catch (const std::bad_alloc&) {
    put("Out of memory");
  } catch (const std::exception& e) {
    put("Exception: ");
    put(e.what());
  } catch (...) {
    put("Unknown exception");
  }
  text[n] = 0;
  Platform::LogError(source, text);
}

void AssignOrLog(StringBuf& field, const QZChar* text, const QZChar* source) noexcept {
  try {
    field = text;
  } catch (...) {
    LogCaughtException(source);
  }
}

}  // namespace qz
