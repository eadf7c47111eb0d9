#include "qz/StringBuf.h"

#include <cstring>
#include <limits>
#include <new>

#include "types/CharClass.h"

namespace qz {

namespace {

const uint64_t kMinCapacity = 32;
const uint64_t kMaxInitialCapacity = 16384;
const uint64_t kMinGrowth = 16;
const uint64_t kMaxGrowth = 512;
// Longest text the double form writes; only negatives of 1e308 and beyond
// would be longer.
const int kDoubleTextMax = 316;

uint64_t Clamp(uint64_t value, uint64_t low, uint64_t high) {
  return value < low ? low : (value > high ? high : value);
}

uint64_t TextLength(const QZChar* text) {
  uint64_t n = 0;
  if (text != nullptr) {
    while (text[n] != 0) ++n;
  }
  return n;
}

bool IsSpace(QZChar c) {
  uint32_t u = static_cast<uint16_t>(c);
  if (u < 0x100) return (u >= 0x09 && u <= 0x0D) || u == 0x20 || u == 0xA0;
  return u != 0xFFFF && IsPlatformSpace(c);
}

// Unsigned magnitude written in radix (already clamped to 2..36), most
// significant digit first, into out; returns the number of digits.
int FormatDigits(uint64_t value, uint32_t radix, QZChar* out) {
  static const char kDigits[] = "0123456789abcdefghijklmnopqrstuvwxyz";
  QZChar reversed[64];
  int n = 0;
  do {
    reversed[n++] = static_cast<QZChar>(kDigits[value % radix]);
    value /= radix;
  } while (value != 0);
  for (int i = 0; i < n; ++i) out[i] = reversed[n - 1 - i];
  return n;
}

uint32_t ClampRadix(int32_t radix) {
  // Widened with its sign and compared unsigned: negative radixes land on 36.
  uint64_t r = static_cast<uint64_t>(static_cast<int64_t>(radix));
  return static_cast<uint32_t>(Clamp(r, 2, 36));
}

// A small unsigned big number, enough for any double times 10^6 (about 1100
// bits). Fixed storage: formatting must not allocate.
class BigNum {
 public:
  explicit BigNum(uint64_t value) : used_(0) {
    while (value != 0) {
      limb_[used_++] = static_cast<uint32_t>(value);
      value >>= 32;
    }
  }

  bool IsZero() const { return used_ == 0; }

  void MultiplySmall(uint32_t factor) {
    uint64_t carry = 0;
    for (int i = 0; i < used_; ++i) {
      uint64_t v = static_cast<uint64_t>(limb_[i]) * factor + carry;
      limb_[i] = static_cast<uint32_t>(v);
      carry = v >> 32;
    }
    if (carry != 0) limb_[used_++] = static_cast<uint32_t>(carry);
  }

  void ShiftLeft(int bits) {
    if (used_ == 0) return;
    int words = bits / 32;
    int rest = bits % 32;
    limb_[used_] = 0;
    for (int i = used_; i >= 0; --i) {
      uint32_t high = limb_[i] << rest;
      uint32_t low = (rest != 0 && i > 0) ? (limb_[i - 1] >> (32 - rest)) : 0;
      limb_[i + words] = high | low;
    }
    for (int i = 0; i < words; ++i) limb_[i] = 0;
    used_ += words + 1;
    Trim();
  }

  // Divides by 2^bits, rounding to nearest with ties to even, as the C
  // library's fixed-point printing does.
  void ShiftRightRounded(int bits) {
    bool half = Bit(bits - 1);
    bool below = false;
    for (int b = 0; b < bits - 1 && !below; ++b) below = Bit(b);
    int words = bits / 32;
    int rest = bits % 32;
    if (words >= used_) {
      used_ = 0;
    } else {
      for (int i = 0; i + words < used_; ++i) {
        uint32_t low = limb_[i + words] >> rest;
        uint32_t high = (rest != 0 && i + words + 1 < used_) ? (limb_[i + words + 1] << (32 - rest)) : 0;
        limb_[i] = low | high;
      }
      used_ -= words;
      Trim();
    }
    if (half && (below || (used_ > 0 && (limb_[0] & 1) != 0))) AddOne();
  }

  // Divides in place and returns the remainder.
  uint32_t DivideSmall(uint32_t divisor) {
    uint64_t rem = 0;
    for (int i = used_ - 1; i >= 0; --i) {
      uint64_t v = (rem << 32) | limb_[i];
      limb_[i] = static_cast<uint32_t>(v / divisor);
      rem = v % divisor;
    }
    Trim();
    return static_cast<uint32_t>(rem);
  }

 private:
  bool Bit(int b) const {
    if (b < 0 || b / 32 >= used_) return false;
    return ((limb_[b / 32] >> (b % 32)) & 1) != 0;
  }
  void AddOne() {
    for (int i = 0; i < used_; ++i) {
      if (++limb_[i] != 0) return;
    }
    limb_[used_++] = 1;
  }
  void Trim() {
    while (used_ > 0 && limb_[used_ - 1] == 0) --used_;
  }

  uint32_t limb_[40];
  int used_;
};

// Fixed notation with six decimals, the same on every platform (the C
// runtimes disagree on rounding and on the spelling of special values).
// Returns the number of characters written to out (room for 320).
int FormatFixed6(double value, char* out) {
  uint64_t bits;
  std::memcpy(&bits, &value, sizeof bits);
  bool negative = (bits >> 63) != 0;
  int exponent = static_cast<int>((bits >> 52) & 0x7FF);
  uint64_t mantissa = bits & ((uint64_t{1} << 52) - 1);
  if (exponent == 0x7FF && mantissa != 0) {
    // No sign on a NaN: it would mean nothing to a reader.
    std::strcpy(out, "nan");
    return 3;
  }
  int n = 0;
  if (negative) out[n++] = '-';
  if (exponent == 0x7FF) {
    std::strcpy(out + n, "inf");
    return n + 3;
  }
  if (exponent == 0) {
    exponent = 1;  // subnormal
  } else {
    mantissa |= uint64_t{1} << 52;
  }
  int shift = exponent - 1075;  // value = mantissa * 2^shift
  BigNum scaled(mantissa);
  scaled.MultiplySmall(1000000);
  if (shift > 0) {
    scaled.ShiftLeft(shift);
  } else if (shift < 0) {
    scaled.ShiftRightRounded(-shift);
  }
  char digits[330];
  int count = 0;
  while (!scaled.IsZero()) {
    uint32_t chunk = scaled.DivideSmall(1000000000);
    for (int i = 0; i < 9; ++i) {
      digits[count++] = static_cast<char>('0' + chunk % 10);
      chunk /= 10;
    }
  }
  while (count > 0 && digits[count - 1] == '0') --count;
  while (count < 7) digits[count++] = '0';
  for (int i = count - 1; i >= 0; --i) {
    out[n++] = digits[i];
    if (i == 6) out[n++] = '.';
  }
  out[n] = 0;
  return n;
}

}  // namespace

StringBuf::StringBuf(uint64_t requestedCapacity)
    : buffer(nullptr),
      capacity(Clamp(requestedCapacity, kMinCapacity, kMaxInitialCapacity) + 1),
      length(0),
      growth(Clamp(requestedCapacity, kMinGrowth, kMaxGrowth)) {
  buffer = new QZChar[capacity];
  buffer[0] = 0;
}

StringBuf::StringBuf(const QZChar* text) : buffer(nullptr), capacity(0), length(0), growth(32) {
  uint64_t n = TextLength(text);
  capacity = (n == 0 ? kMinCapacity : Clamp(n + 1, kMinCapacity, kMaxInitialCapacity)) + 1;
  buffer = new QZChar[capacity];
  buffer[0] = 0;
  if (n > 0) {
    try {
      AppendChars(text, n);
    } catch (...) {
      delete[] buffer;
      throw;
    }
  }
}

StringBuf::~StringBuf() {
  delete[] buffer;
  buffer = nullptr;
}

StringBuf& StringBuf::operator=(const StringBuf& other) {
  if (&other == this) return *this;
  return operator=(other.buffer);
}

StringBuf& StringBuf::operator=(const QZChar* text) {
  if (text == buffer) return *this;
  // The text may lie further inside this buffer; measure it before anything
  // is written at the front.
  uint64_t n = TextLength(text);
  if (n == 0) return Clear();
  // Appended as to an empty string, but the old text stays until the new one
  // has room: a failed allocation leaves it as it was.
  const uint64_t old = length;
  length = 0;
  try {
    AppendChars(text, n);
  } catch (...) {
    length = old;
    throw;
  }
  return *this;
}

void StringBuf::AppendChars(const QZChar* source, uint64_t n) {
  if (n == 0) return;
  if (n > std::numeric_limits<uint64_t>::max() / 4 - length) throw std::bad_alloc();
  if (length + n + 1 > capacity) {
    GrowAndAppend(source, n);
    return;
  }
  // Most appends are short and fit: this path stays small.
  std::memmove(buffer + length, source, n * sizeof(QZChar));
  length += n;
  buffer[length] = 0;
}

void StringBuf::GrowAndAppend(const QZChar* source, uint64_t n) {
  const uint64_t newCapacity = length + n + 1 + growth;
  QZChar* grown = new QZChar[newCapacity];
  if (length > 0) {
    std::memcpy(grown, buffer, (length + 1) * sizeof(QZChar));
  } else {
    grown[0] = 0;
  }
  // The source may be this object's own text: copy it before the old
  // storage goes.
  std::memcpy(grown + length, source, n * sizeof(QZChar));
  delete[] buffer;
  buffer = grown;
  capacity = newCapacity;
  growth = growth * 2 > kMaxGrowth ? kMaxGrowth : growth * 2;
  length += n;
  buffer[length] = 0;
}

void StringBuf::Reserve(uint64_t n) {
  if (n > std::numeric_limits<uint64_t>::max() / 4 - length) throw std::bad_alloc();
  if (length + n + 1 <= capacity) return;
  const uint64_t newCapacity = length + n + 1 + growth;
  QZChar* grown = new QZChar[newCapacity];
  std::memcpy(grown, buffer, (length + 1) * sizeof(QZChar));
  delete[] buffer;
  buffer = grown;
  capacity = newCapacity;
}

StringBuf& StringBuf::Append(const StringBuf& other) {
  AppendChars(other.buffer, other.length);
  return *this;
}

StringBuf& StringBuf::Append(const StringBuf& other, uint64_t start, uint64_t count) {
  if (count == 0 || start > other.length || count > other.length - start) return *this;
  AppendChars(other.buffer + start, count);
  return *this;
}

StringBuf& StringBuf::Append(const QZChar* text) {
  AppendChars(text, TextLength(text));
  return *this;
}

StringBuf& StringBuf::Append(const QZChar* text, uint64_t count) {
  if (text != nullptr) AppendChars(text, count);
  return *this;
}

StringBuf& StringBuf::Append(QZChar c) {
  AppendChars(&c, 1);
  return *this;
}

StringBuf& StringBuf::Append(const char* narrow) {
  if (narrow == nullptr) return *this;
  // Bytes above 0x7F are taken as Latin-1, so no byte value is lost or
  // turned into an unrelated character.
  for (const char* p = narrow; *p != 0; ++p) {
    QZChar c = static_cast<QZChar>(static_cast<unsigned char>(*p));
    AppendChars(&c, 1);
  }
  return *this;
}

StringBuf& StringBuf::Append(int32_t value, int32_t radix) {
  QZChar text[66];
  int n = 0;
  uint32_t magnitude = static_cast<uint32_t>(value);
  if (value < 0) {
    text[n++] = '-';
    magnitude = 0u - magnitude;
  }
  n += FormatDigits(magnitude, ClampRadix(radix), text + n);
  AppendChars(text, static_cast<uint64_t>(n));
  return *this;
}

StringBuf& StringBuf::Append(uint32_t value, int32_t radix) {
  return Append(static_cast<uint64_t>(value), radix);
}

StringBuf& StringBuf::Append(uint64_t value, int32_t radix) {
  QZChar text[66];
  int n = FormatDigits(value, ClampRadix(radix), text);
  AppendChars(text, static_cast<uint64_t>(n));
  return *this;
}

StringBuf& StringBuf::Append(double value) {
  char narrow[330];
  int n = FormatFixed6(value, narrow);
  if (n > kDoubleTextMax) n = kDoubleTextMax;
  QZChar text[kDoubleTextMax + 1];
  for (int i = 0; i < n; ++i) text[i] = static_cast<QZChar>(narrow[i]);
  AppendChars(text, static_cast<uint64_t>(n));
  return *this;
}

QZChar StringBuf::CharAt(uint64_t index) const { return index < length ? buffer[index] : 0; }

StringBuf& StringBuf::Clear() {
  length = 0;
  buffer[0] = 0;
  return *this;
}

StringBuf& StringBuf::Trim() {
  while (length > 0 && IsSpace(buffer[length - 1])) --length;
  buffer[length] = 0;
  uint64_t lead = 0;
  while (lead < length && buffer[lead] != 0 && IsSpace(buffer[lead])) ++lead;
  if (lead > 0) {
    std::memmove(buffer, buffer + lead, (length - lead + 1) * sizeof(QZChar));
    length -= lead;
  }
  return *this;
}

StringBuf& StringBuf::ToUpperCase() {
  for (QZChar* p = buffer; *p != 0; ++p) {
    if (*p >= 'a' && *p <= 'z') *p = static_cast<QZChar>(*p - ('a' - 'A'));
  }
  return *this;
}

StringBuf& StringBuf::ToLowercase() {
  for (QZChar* p = buffer; *p != 0; ++p) {
    if (*p >= 'A' && *p <= 'Z') *p = static_cast<QZChar>(*p + ('a' - 'A'));
  }
  return *this;
}

bool StringBuf::StartsWith(const QZChar* prefix, uint64_t offset) const {
  uint64_t n = TextLength(prefix);
  if (n == 0 || offset > length || n > length - offset) return false;
  return std::memcmp(buffer + offset, prefix, n * sizeof(QZChar)) == 0;
}

bool StringBuf::EndsWith(const QZChar* suffix) const {
  uint64_t n = TextLength(suffix);
  if (n == 0 || n > length) return false;
  return StartsWith(suffix, length - n);
}

int64_t StringBuf::LastIndexOf(QZChar c) {
  if (c == 0) return -1;
  for (uint64_t i = length; i > 0; --i) {
    if (buffer[i - 1] == c) return static_cast<int64_t>(i - 1);
  }
  return -1;
}

StringBuf& StringBuf::SubString(int64_t start, uint64_t count) {
  if (start < 0) return *this;
  uint64_t from = static_cast<uint64_t>(start);
  if (from >= length || count > length - from) return *this;
  std::memmove(buffer, buffer + from, count * sizeof(QZChar));
  length = count;
  buffer[length] = 0;
  return *this;
}

StringBuf& StringBuf::SubString(int64_t start) {
  if (start < 0 || static_cast<uint64_t>(start) >= length) return *this;
  return SubString(start, length - static_cast<uint64_t>(start));
}

}  // namespace qz
