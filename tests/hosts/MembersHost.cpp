// A host that uses every public member of the C++ interface, built once with
// the exported classes and once with the inline ones (QZ_USE_FLAT_ABI), and
// for the MSVC target, from this one source. It prints what each member
// answers as "host: value" lines and reports a run with every API operation
// and overload; compare_hosts.py requires the same lines and the same batches
// from every build.
//
//   qz_members_host ENDPOINT      (host:port/path, plain HTTP)
//
// It uses no standard library beyond what qz/qz.h includes, so that it builds
// where there is none (HostRuntimeMsvc.cpp). Nothing it does is an error the
// library would log: a test must not fill the system's log.
#include <stddef.h>
#include <stdint.h>

#include "HostRuntime.h"
#include "qz/qz.h"

namespace {

using qz::API;
using qz::BinaryInfo;
using qz::Configuration;
using qz::ExceptionInfo;
using qz::ExtendedKey;
using qz::ExtendedKeys;
using qz::FlowController;
using qz::StringBuf;

// ---- Output, without a C library.

char g_line[256];
size_t g_used = 0;

void Flush() {
  g_line[g_used] = 0;
  HostWrite(g_line);
  g_used = 0;
}

void Put(char c) {
  if (g_used + 1 >= sizeof g_line) Flush();
  g_line[g_used++] = c;
}

void Put(const char* text) {
  while (*text != 0) Put(*text++);
}

void PutUnsigned(uint64_t value) {
  char digits[24];
  int n = 0;
  do {
    digits[n++] = static_cast<char>('0' + value % 10);
    value /= 10;
  } while (value != 0);
  while (n > 0) Put(digits[--n]);
}

void PutSigned(int64_t value) {
  if (value < 0) {
    Put('-');
    PutUnsigned(0 - static_cast<uint64_t>(value));
  } else {
    PutUnsigned(static_cast<uint64_t>(value));
  }
}

// Printable ASCII as it is, every other unit as \uXXXX; null as null.
void PutText(const QZChar* text) {
  if (text == nullptr) {
    Put("null");
    return;
  }
  static const char kHex[] = "0123456789abcdef";
  Put('"');
  for (; *text != 0; ++text) {
    const uint32_t u = static_cast<uint16_t>(*text);
    if (u >= 0x20 && u < 0x7f && u != '"' && u != '\\') {
      Put(static_cast<char>(u));
    } else {
      Put("\\u");
      for (int shift = 12; shift >= 0; shift -= 4) Put(kHex[(u >> shift) & 0xf]);
    }
  }
  Put('"');
}

void Begin(const char* label) {
  Put("host: value ");
  Put(label);
  Put(' ');
}

void End() {
  Put('\n');
  Flush();
}

void Text(const char* label, const QZChar* text) {
  Begin(label);
  PutText(text);
  End();
}

void Number(const char* label, uint64_t value) {
  Begin(label);
  PutUnsigned(value);
  End();
}

void Signed(const char* label, int64_t value) {
  Begin(label);
  PutSigned(value);
  End();
}

void Flag(const char* label, bool value) {
  Begin(label);
  Put(value ? "true" : "false");
  End();
}

// A string's length and text (the text up to its first NUL).
void Buffer(const char* label, const StringBuf& s) {
  Begin(label);
  PutUnsigned(s.StrLen());
  Put(' ');
  PutText(s.ToString());
  End();
}

void Storage(const char* label, const StringBuf& s) {
  Begin(label);
  PutUnsigned(s.Capacity());
  Put('/');
  PutUnsigned(s.Growth());
  End();
}

bool Same(const QZChar* a, const QZChar* b) {
  if (a == nullptr || b == nullptr) return a == b;
  while (*a != 0 && *a == *b) {
    ++a;
    ++b;
  }
  return *a == *b;
}

// A text of n copies of c, in storage the caller gives (n + 1 units).
const QZChar* Repeat(QZChar* out, size_t n, QZChar c) {
  for (size_t i = 0; i < n; ++i) out[i] = c;
  out[n] = 0;
  return out;
}

uint64_t Length(const QZChar* text) {
  uint64_t n = 0;
  while (text[n] != 0) ++n;
  return n;
}

// Room for long texts, outside the stack (no stack probes without a C library).
QZChar g_long[4501];

const ExtendedKey* Find(const ExtendedKeys& keys, const QZChar* key) {
  for (uint64_t i = 0; i < keys.Size(); ++i) {
    if (Same(keys.Get(i)->Key(), key)) return keys.Get(i);
  }
  return nullptr;
}

// An exception with a text of the caller's.
class Failure : public std::exception {
 public:
  explicit Failure(const char* text) : text_(text) {}
  const char* what() const noexcept override { return text_; }

 private:
  const char* text_;
};

const QZChar kCompany[] = QZ_TEXT("9531985d-5d9d-49f8-9818-e811892f902b");
const QZChar kApplication[] = QZ_TEXT("36F675CC-81E7-4EF5-A8E2-5D940ED90475");
const QZChar kGroup[] = QZ_TEXT("d23f0824-128b-4f33-8c5c-7fd0a6a3a450");
const QZChar kSession[] = QZ_TEXT("6B0D549B-6F03-475A-9600-A35A099950D8");
const QZChar kOtherSession[] = QZ_TEXT("0F8FAD5B-D9CB-469F-A165-70867728950E");
const QZChar kPin[] = QZ_TEXT("sha256//AAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAA=");

void ShowConfiguration(const char* label, const Configuration& c) {
  Begin(label);
  End();
  Text("  GetCompanyID", c.GetCompanyID());
  Text("  GetCompanyName", c.GetCompanyName());
  Text("  GetApplicationID", c.GetApplicationID());
  Text("  GetApplicationType", c.GetApplicationType());
  Text("  GetApplicationName", c.GetApplicationName());
  Text("  GetApplicationVersion", c.GetApplicationVersion());
  Text("  GetApplicationInstanceID", c.GetApplicationInstanceID());
  Text("  GetEndpointLocation", c.GetEndpointLocation());
  Text("  GetMessageGroup", c.GetMessageGroup());
  Text("  GetDefaultSession", c.GetDefaultSession());
  Flag("  IsUseSSL", c.IsUseSSL());
  Flag("  IsOptIn", c.IsOptIn());
  Flag("  IsOffline", c.IsOffline());
  Flag("  IsSendDisabled", c.IsSendDisabled());
  Flag("  IsSupportOfflineStorage", c.IsSupportOfflineStorage());
  Flag("  IsOmitPersonalInfo", c.IsOmitPersonalInfo());
  Flag("  IsFullData", c.IsFullData());
  Signed("  GetEndpointTimeout", c.GetEndpointTimeout());
  Flag("  IsVerifyServerCertificate", c.IsVerifyServerCertificate());
  Text("  GetServerCertificatePin", c.GetServerCertificatePin());
  Flag("  IsUseSystemProxy", c.IsUseSystemProxy());
  Number("  GetOfflineStorageLimit", c.GetOfflineStorageLimit());
}

void ConfigurationMembers() {
  Configuration c;
  ShowConfiguration("Configuration (new)", c);
  // Distinct values for every field, so that a crossed wire shows.
  c.SetCompanyID(kCompany);
  c.SetCompanyName(QZ_TEXT("Example & Sons"));
  c.SetApplicationID(kApplication);
  c.SetApplicationType(QZ_TEXT("Desktop"));
  c.SetApplicationName(QZ_TEXT("Editor"));
  c.SetApplicationVersion(QZ_TEXT("2.1.0"));
  c.SetApplicationInstanceID(QZ_TEXT("instance 7"));
  c.SetEndpointLocation(QZ_TEXT("collector.example/qz.svc"));
  Flag("SetDefaultIDs (valid)", c.SetDefaultIDs(kGroup, kSession));
  c.SetUseSSL(false);
  c.SetOptIn(false);
  c.SetOffline(true);
  c.SetSendDisabled(true);
  c.SetSupportOfflineStorage(false);
  c.SetOmitPersonalInfo(true);
  c.SetFullData(false);
  c.SetEndpointTimeout(4321);
  c.SetVerifyServerCertificate(true);
  c.SetServerCertificatePin(kPin);
  c.SetUseSystemProxy(true);
  c.SetOfflineStorageLimit((uint64_t{1} << 40) + 3);  // above 32 bits
  ShowConfiguration("Configuration (filled)", c);

  // Refusals leave the fields as they were.
  c.SetCompanyID(QZ_TEXT("{9531985D-5D9D-49F8-9818-E811892F902B}"));
  c.SetApplicationID(QZ_TEXT("not a GUID"));
  c.SetServerCertificatePin(QZ_TEXT("not a pin"));
  Flag("SetDefaultIDs (group not a GUID)", c.SetDefaultIDs(QZ_TEXT("x"), kSession));
  Flag("SetDefaultIDs (no session)", c.SetDefaultIDs(kGroup, nullptr));
  Flag("SetDefaultIDs (session alone)", c.SetDefaultIDs(nullptr, kSession));
  c.SetEndpointTimeout(-5);
  ShowConfiguration("Configuration (refusals)", c);

  Configuration copy;
  copy = &c;
  ShowConfiguration("Configuration (copied)", copy);
  copy = &copy;
  Text("Configuration (assigned itself) GetCompanyName", copy.GetCompanyName());
  Flag("SetDefaultIDs (both null)", copy.SetDefaultIDs(nullptr, QZ_TEXT("")));
  c.SetCompanyID(nullptr);
  c.SetServerCertificatePin(QZ_TEXT(""));
  Text("Configuration (cleared) GetCompanyID", c.GetCompanyID());
  Text("Configuration (cleared) GetServerCertificatePin", c.GetServerCertificatePin());
  copy = static_cast<const Configuration*>(nullptr);
  ShowConfiguration("Configuration (assigned null)", copy);
}

void ShowFlow(const char* label, const FlowController& f) {
  Begin(label);
  End();
  Number("  GetQueueSize", f.GetQueueSize());
  Number("  GetHighWater", f.GetHighWater());
  Number("  GetMaximumInterval", f.GetMaximumInterval());
  Number("  GetMinimumInterval", f.GetMinimumInterval());
  Number("  GetGain", f.GetGain());
  Number("  GetQuietGain", f.GetQuietGain());
  Number("  GetMaximumSequentialFailureCount", f.GetMaximumSequentialFailureCount());
  Signed("  GetRetryTimeout", f.GetRetryTimeout());
  Flag("  IsOffline", f.IsOffline());
  Flag("  IsSupportOfflineStorage", f.IsSupportOfflineStorage());
  Flag("  IsSendDisabled", f.IsSendDisabled());
  Flag("  OKToTransmit", f.OKToTransmit());
}

void FlowControllerMembers() {
  FlowController f;
  ShowFlow("FlowController (new)", f);
  f.SetQueueSize(100);
  f.SetHighWater(70);
  f.SetMaximumInterval(5000);
  f.SetMinimumInterval(7);
  f.SetGain(250);
  f.SetQuietGain(40);
  f.SetOffline(true);
  f.SetSupportOfflineStorage(false);
  f.SetSendDisabled(true);
  f.SetMaximumSequentialFailureCount(2);
  f.SetRetryTimeout(1234);
  ShowFlow("FlowController (filled)", f);

  // The clamps.
  f.SetQueueSize(0);
  f.SetHighWater(30);
  f.SetMaximumInterval(0);
  f.SetMinimumInterval(50000);
  f.SetGain(0);
  f.SetQuietGain(0);
  f.SetRetryTimeout(-1);
  ShowFlow("FlowController (clamped)", f);
  f.SetQuietGain(250);
  Number("FlowController SetQuietGain(250)", f.GetQuietGain());
  f.SetQueueSize(2147483647);
  Number("FlowController SetQueueSize(2^31-1)", f.GetQueueSize());
  Number("FlowController high water then", f.GetHighWater());

  FlowController pacing;
  Number("FlowController MessagesToDrop(31)", pacing.MessagesToDrop(31));
  Number("FlowController MessagesToDrop(30)", pacing.MessagesToDrop(30));
  Number("FlowController GetInterval (first)", pacing.GetInterval(7));
  Number("FlowController GetInterval (nothing taken)", pacing.GetInterval(0));
  for (int i = 0; i < 3; ++i) pacing.OnSend(false);
  Flag("FlowController OKToTransmit (three failures)", pacing.OKToTransmit());
  pacing.OnSend(true);
  Flag("FlowController OKToTransmit (a success)", pacing.OKToTransmit());

  FlowController copy;
  copy = &f;
  ShowFlow("FlowController (copied)", copy);
  copy = &copy;
  Number("FlowController (assigned itself) GetGain", copy.GetGain());
  copy = static_cast<const FlowController*>(nullptr);
  ShowFlow("FlowController (assigned null)", copy);
}

void StringBufMembers() {
  const QZChar kSpace = ' ';
  StringBuf empty;
  Storage("StringBuf() Capacity/Growth", empty);
  StringBuf zero(static_cast<uint64_t>(0));
  Storage("StringBuf(0) Capacity/Growth", zero);
  StringBuf hundred(100);
  Storage("StringBuf(100) Capacity/Growth", hundred);
  StringBuf huge(100000);
  Storage("StringBuf(100000) Capacity/Growth", huge);
  StringBuf none(static_cast<const QZChar*>(nullptr));
  Buffer("StringBuf(null)", none);
  Storage("StringBuf(null) Capacity/Growth", none);
  StringBuf abcd(QZ_TEXT("abcd"));
  Buffer("StringBuf(abcd)", abcd);
  StringBuf converted = QZ_TEXT("implicit");
  Buffer("StringBuf = text", converted);

  // Growth by the append rule: four appends of 40 characters.
  QZChar forty[41];
  Repeat(forty, 40, 'x');
  StringBuf grown;
  for (int i = 0; i < 4; ++i) {
    grown.Append(forty);
    Storage("StringBuf after 40 more Capacity/Growth", grown);
  }

  StringBuf s;
  s = QZ_TEXT("ab");
  s.Append(s);
  Buffer("Append(itself)", s);
  s.Append(abcd, 1, 2);
  Buffer("Append(abcd, 1, 2)", s);
  s.Append(abcd, 3, 2);
  s.Append(abcd, 2, 0);
  s.Append(abcd, 1, UINT64_MAX);
  Buffer("Append(abcd, out of range)", s);
  s.Append(QZ_TEXT("-"));
  s.Append(static_cast<const QZChar*>(nullptr));
  s.Append(QZ_TEXT("nul\0after"), 9);
  Buffer("Append(text with a NUL, 9)", s);
  Number("  CharAt(12)", static_cast<uint16_t>(s.CharAt(12)));
  Number("  CharAt(13)", static_cast<uint16_t>(s.CharAt(13)));
  Number("  CharAt(StrLen)", static_cast<uint16_t>(s.CharAt(s.StrLen())));

  StringBuf n;
  n.Append(static_cast<QZChar>('<'));
  n.Append(static_cast<QZChar>(0x20ac));
  n.Append("narrow \xe9");
  n.Append(static_cast<int32_t>(-255), 16);
  n.Append(kSpace);
  n.Append(static_cast<int32_t>(INT32_MIN), 10);
  n.Append(kSpace);
  n.Append(static_cast<uint32_t>(255), 16);
  n.Append(kSpace);
  n.Append(static_cast<uint32_t>(5), 1);
  n.Append(kSpace);
  n.Append(static_cast<uint64_t>(35), -3);
  n.Append(kSpace);
  n.Append(UINT64_MAX, 36);
  n.Append(kSpace);
  n.Append(3.5);
  n.Append(kSpace);
  n.Append(-0.25);
  n.Append(kSpace);
  n.Append(1e20);
  Buffer("Append(char, narrow, numbers)", n);

  const QZChar* pointer = n;
  Flag("operator const QZChar* is ToString", pointer == n.ToString());

  StringBuf t(QZ_TEXT("\x00a0  x y\t\x3000"));
  t.Trim();
  Buffer("Trim", t);
  t.ToUpperCase();
  Buffer("ToUpperCase", t);
  t.Append(QZ_TEXT("Ab\x00e9"));
  t.ToLowercase();
  Buffer("ToLowercase", t);
  Flag("StartsWith(x)", t.StartsWith(QZ_TEXT("x")));
  Flag("StartsWith(ab, 3)", t.StartsWith(QZ_TEXT("ab"), 3));
  Flag("StartsWith(empty)", t.StartsWith(QZ_TEXT("")));
  Flag("StartsWith(b, 6)", t.StartsWith(QZ_TEXT("b"), 6));
  Flag("EndsWith(b\\u00e9)", t.EndsWith(QZ_TEXT("b\x00e9")));
  Flag("EndsWith(longer)", t.EndsWith(QZ_TEXT("x yab\x00e9z")));
  Flag("EndsWith(null)", t.EndsWith(nullptr));
  Signed("LastIndexOf(a)", t.LastIndexOf('a'));
  Signed("LastIndexOf(x)", t.LastIndexOf('x'));
  Signed("LastIndexOf(q)", t.LastIndexOf('q'));
  Signed("LastIndexOf(0)", t.LastIndexOf(0));

  StringBuf sub(QZ_TEXT("abcd"));
  sub.SubString(4, 0).SubString(4).SubString(-1).SubString(1, 4);
  Buffer("SubString unchanged", sub);
  sub.SubString(1, 3);
  Buffer("SubString(1, 3)", sub);
  sub.SubString(1);
  Buffer("SubString(1)", sub);
  sub.SubString(0, 0);
  Buffer("SubString(0, 0)", sub);

  StringBuf copy;
  copy = abcd;
  Buffer("operator=(StringBuf)", copy);
  const StringBuf& itself = copy;
  copy = itself;
  copy = copy.ToString();
  Buffer("operator= itself", copy);
  copy = s;
  Buffer("operator=(StringBuf with a NUL)", copy);
  copy = static_cast<const QZChar*>(nullptr);
  Buffer("operator=(null)", copy);
  Storage("  Capacity/Growth kept", copy);
  abcd.Clear();
  Buffer("Clear", abcd);
  Storage("  Capacity/Growth kept", abcd);
}

void ShowBinary(const char* label, const BinaryInfo& b) {
  Begin(label);
  End();
  Text("  GetID", b.GetID());
  Text("  GetName", b.GetName());
  Text("  GetVersion", b.GetVersion());
  Text("  GetClassName", b.GetClassName());
  Text("  GetMethodName", b.GetMethodName());
  Text("  GetModifiedDateString", b.GetModifiedDateString());
  Number("  GetModifiedDate", b.GetModifiedDate());
  Flag("  GetClassNameW/A", Same(b.GetClassNameW(), b.GetClassName()) &&
                                Same(b.GetClassNameA(), b.GetClassName()));
}

void BinaryInfoMembers() {
  BinaryInfo b;
  ShowBinary("BinaryInfo (new)", b);
  b.SetID(QZ_TEXT("0f8fad5b-d9cb-469f-a165-70867728950e"));
  b.SetName(QZ_TEXT("editor.exe"));
  b.SetVersion(QZ_TEXT("2.1.0.417"));
  b.SetClassName(QZ_TEXT("MainWindow"));
  b.SetMethodName(QZ_TEXT("OnCreate"));
  b.SetModifiedDate(1000);
  ShowBinary("BinaryInfo (filled)", b);
  BinaryInfo copy;
  copy = &b;
  b.SetID(QZ_TEXT(""));
  b.SetName(nullptr);
  b.SetModifiedDate(0);
  ShowBinary("BinaryInfo (no ID, no name, no date)", b);
  ShowBinary("BinaryInfo (copied)", copy);
  copy = static_cast<const BinaryInfo*>(nullptr);
  ShowBinary("BinaryInfo (assigned null)", copy);
}

void ShowKeys(const char* label, const ExtendedKeys& keys) {
  Begin(label);
  PutUnsigned(keys.Size());
  End();
  for (uint64_t i = 0; i < keys.Size(); ++i) {
    const ExtendedKey* p = keys.Get(i);
    Begin("  Get");
    PutUnsigned(i);
    Put(' ');
    PutText(p->Key());
    Put(' ');
    PutText(p->Value());
    Put(p->IsNumeric() ? " numeric " : " text ");
    PutSigned(p->GetKind());
    End();
  }
  Flag("  Get(Size) is null", keys.Get(keys.Size()) == nullptr);
}

void ExtendedKeysMembers() {
  Number("ExtendedKey::MAX_KEY_LENGTH", ExtendedKey::MAX_KEY_LENGTH);
  Number("ExtendedKey::MAX_TEXT_LENGTH", ExtendedKey::MAX_TEXT_LENGTH);
  Signed("ExtendedKey::KIND_TEXT", ExtendedKey::KIND_TEXT);
  Signed("ExtendedKey::KIND_INT", ExtendedKey::KIND_INT);
  Signed("ExtendedKey::KIND_LONG", ExtendedKey::KIND_LONG);
  Signed("ExtendedKey::KIND_FLOAT", ExtendedKey::KIND_FLOAT);
  Signed("ExtendedKey::KIND_DOUBLE", ExtendedKey::KIND_DOUBLE);

  ExtendedKeys keys;
  ShowKeys("ExtendedKeys (new) Size", keys);
  keys.Add(QZ_TEXT("b"), QZ_TEXT("text"));
  keys.Add(QZ_TEXT("a"), static_cast<int32_t>(-15));
  keys.Add(QZ_TEXT("ab"), 1048576L);
  keys.Add(QZ_TEXT("B"), 0.1f);
  keys.Add(QZ_TEXT("c"), -1.5e-7);
  keys.Add(QZ_TEXT(""), 1);
  keys.Add(QZ_TEXT("empty"), QZ_TEXT(""));
  keys.Add(nullptr, QZ_TEXT("x"));
  ShowKeys("ExtendedKeys (filled) Size", keys);

  // A property read before other keys arrive stays readable; its own key
  // added again replaces it.
  const ExtendedKey* b = keys.Get(4);
  keys.Add(QZ_TEXT("0"), 0);
  keys.Add(QZ_TEXT("zz"), 2.0);
  Text("ExtendedKeys Get(4) after two more keys", b->Key());
  keys.Add(QZ_TEXT("b"), 7);
  ShowKeys("ExtendedKeys (b added again) Size", keys);

  keys.Add(Repeat(g_long, 2500, 'k'), QZ_TEXT("long key"));
  keys.Add(Repeat(g_long, 2000, 'k'), QZ_TEXT("same key"));
  const ExtendedKey* longKey = Find(keys, g_long);
  Flag("ExtendedKeys long key cut to 2000 and replaced",
       longKey != nullptr && Same(longKey->Value(), QZ_TEXT("same key")));
  keys.Add(QZ_TEXT("v"), Repeat(g_long, 4500, 'v'));
  Number("ExtendedKeys long value length", Length(Find(keys, QZ_TEXT("v"))->Value()));

  // One key added again and again while it is read: the views Get hands out
  // must not pile up (a leak check would see them).
  for (int32_t i = 0; i < 200; ++i) {
    keys.Add(QZ_TEXT("counter"), i);
    if (Find(keys, QZ_TEXT("counter")) == nullptr) Flag("ExtendedKeys counter lost", false);
  }
  Text("ExtendedKeys counter", Find(keys, QZ_TEXT("counter"))->Value());
  ShowKeys("ExtendedKeys (at the end) Size", keys);
}

void ShowException(const char* label, const ExceptionInfo& e) {
  Begin(label);
  End();
  Signed("  GetEventType", e.GetEventType());
  Text("  GetEventTypeString", e.GetEventTypeString());
  Text("  GetType", e.GetType());
  Text("  GetMessage", e.GetMessage());
  Text("  GetUserContact", e.GetUserContact());
  Text("  GetUserComment", e.GetUserComment());
  Flag("  GetMessageW/A", Same(e.GetMessageW(), e.GetMessage()) &&
                              Same(e.GetMessageA(), e.GetMessage()));
}

void ExceptionInfoMembers() {
  Signed("ExceptionInfo::EVENT_CAUGHT", ExceptionInfo::EVENT_CAUGHT);
  Signed("ExceptionInfo::EVENT_UNCAUGHT", ExceptionInfo::EVENT_UNCAUGHT);
  Signed("ExceptionInfo::EVENT_THROWN", ExceptionInfo::EVENT_THROWN);
  Number("ExceptionInfo::MAX_USER_TEXT_LENGTH", ExceptionInfo::MAX_USER_TEXT_LENGTH);

  ExceptionInfo e;
  ShowException("ExceptionInfo (new)", e);
  e.SetEventType(150);
  Signed("ExceptionInfo SetEventType(150)", e.GetEventType());
  e.SetEventType(300);
  e.SetType(QZ_TEXT("IOException"));
  e.SetMessage(QZ_TEXT("disk full"));
  QZChar contact[604];
  contact[0] = ' ';
  contact[1] = ' ';
  Repeat(contact + 2, 600, 'c');
  contact[602] = '\t';
  contact[603] = 0;
  e.SetUserContact(contact);
  e.SetUserComment(QZ_TEXT("   "));
  ShowException("ExceptionInfo (set)", e);

  e.Uncaught().Type(QZ_TEXT("std::bad_alloc")).Message(QZ_TEXT("m")).Contact(QZ_TEXT(" a@b ")).Comment(
      QZ_TEXT("c "));
  ShowException("ExceptionInfo (chained)", e);
  e.Thrown(Failure("bad allocation \xe9"));
  ShowException("ExceptionInfo Thrown(exception)", e);
  e.Caught(Failure(nullptr));
  ShowException("ExceptionInfo Caught(exception without text)", e);
  e.Uncaught(Failure("late"));
  Signed("ExceptionInfo Uncaught(exception)", e.GetEventType());
  e.Caught();
  Signed("ExceptionInfo Caught()", e.GetEventType());
  e.Thrown();
  Signed("ExceptionInfo Thrown()", e.GetEventType());

  ExceptionInfo copy;
  copy = &e;
  ShowException("ExceptionInfo (copied)", copy);
  copy = static_cast<const ExceptionInfo*>(nullptr);
  ShowException("ExceptionInfo (assigned null)", copy);
}

// Every API operation and overload in one run.
int Run(const char* endpoint) {
  Signed("API::LOG_INFO", API::LOG_INFO);
  Signed("API::LOG_WARN", API::LOG_WARN);
  Signed("API::LOG_ERROR", API::LOG_ERROR);
  API::SetLogLevel(API::LOG_WARN);
  Flag("API::IsApplicationStarted (before)", API::IsApplicationStarted());
  Text("API::GetDefaultSession (before)", API::GetDefaultSession());
  Text("API::GetMessageGroup (before)", API::GetMessageGroup());

  StringBuf location;
  location.Append(endpoint);
  Configuration config;
  config.SetCompanyID(kCompany);
  config.SetCompanyName(QZ_TEXT("Example & Sons"));
  config.SetApplicationID(kApplication);
  config.SetApplicationName(QZ_TEXT("Editor"));
  config.SetApplicationVersion(QZ_TEXT("2.1.0"));
  config.SetApplicationType(QZ_TEXT("Desktop"));
  config.SetEndpointLocation(location);
  config.SetUseSSL(false);
  config.SetEndpointTimeout(3000);
  config.SetSupportOfflineStorage(false);
  // Full data makes the profiles slow under Wine; the run needs none.
  config.SetFullData(false);
  FlowController flow;
  flow.SetQueueSize(1000);  // nothing dropped, whatever the transmitter's pace

  BinaryInfo binary;
  binary.SetID(QZ_TEXT("0f8fad5b-d9cb-469f-a165-70867728950e"));
  binary.SetName(QZ_TEXT("editor.exe"));
  binary.SetVersion(QZ_TEXT("2.1.0.417"));
  binary.SetClassName(QZ_TEXT("MainWindow"));
  binary.SetMethodName(QZ_TEXT("OnCreate"));
  binary.SetModifiedDate(1700000000123ULL);
  ExtendedKeys keys;
  keys.Add(QZ_TEXT("edition"), QZ_TEXT("Professional <&>\"'"));
  keys.Add(QZ_TEXT("plugins"), static_cast<int32_t>(3));
  keys.Add(QZ_TEXT("bytes"), 1048576L);
  keys.Add(QZ_TEXT("scale"), 0.75f);
  keys.Add(QZ_TEXT("seconds"), 1.75);
  keys.Add(QZ_TEXT("title"), QZ_TEXT("Jahresbericht \x00fc" "ber M\x00e4rkte \x20ac"));

  config.SetOptIn(false);
  Flag("API::ApplicationStart (no opt-in)", API::ApplicationStart(&config, &flow, &binary, &keys));
  API::SetOptIn(true);
  Flag("API::SetOptIn(true) starts it", API::IsApplicationStarted());
  API::ApplicationStop(nullptr);
  config.SetOptIn(true);
  Flag("API::ApplicationStart", API::ApplicationStart(&config, &flow, &binary, &keys));
  Flag("API::ApplicationStart (config, binary, keys) while started",
       API::ApplicationStart(&config, &binary, &keys));
  Flag("API::ApplicationStart (config, keys) while started", API::ApplicationStart(&config, &keys));
  Flag("API::ApplicationStart (config, flow, keys) while started",
       API::ApplicationStart(&config, &flow, &keys));
  Flag("API::IsApplicationStarted", API::IsApplicationStarted());
  const QZChar* group = API::GetMessageGroup();
  Put("host: message group ");
  for (const QZChar* c = group; c != nullptr && *c != 0; ++c) Put(static_cast<char>(*c));
  End();
  Flag("API::GetDefaultSession is the message group", Same(API::GetDefaultSession(), group));

  API::SessionStart(kSession, &binary, &keys);
  API::SessionStart(kOtherSession, &keys);
  API::FeatureStart(QZ_TEXT("Export"), kSession, &binary, &keys);
  API::FeatureStart(QZ_TEXT("Print"), &binary, &keys);
  API::FeatureStart(QZ_TEXT("Zoom"), &keys);
  API::FeatureTick(QZ_TEXT("Undo"), kOtherSession, &binary, &keys);
  API::FeatureTick(QZ_TEXT("Undo"), &binary, nullptr);
  API::FeatureTick(QZ_TEXT("Undo"), nullptr);
  API::FeatureStop(QZ_TEXT("Zoom"), nullptr);
  API::FeatureStop(QZ_TEXT("Print"), &binary, nullptr);
  API::FeatureStop(QZ_TEXT("Export"), kSession, nullptr, &keys);

  ExceptionInfo fault;
  fault.Thrown().Type(QZ_TEXT("IOException")).Message(QZ_TEXT("disk full while saving")).Contact(
      QZ_TEXT("user@example.com"));
  ExceptionInfo caught;
  caught.Caught(Failure("bad allocation"));
  API::ReportException(&fault, kSession, &binary, &keys);
  API::ReportException(fault, kOtherSession, nullptr, nullptr);
  API::ReportException(&caught, &binary, nullptr);
  API::ReportException(caught, nullptr, &keys);
  API::ReportException(&fault, nullptr);
  API::ReportException(caught, nullptr);
  API::ReportException(static_cast<const ExceptionInfo*>(nullptr), nullptr);  // nothing

  API::PerformanceProbe(QZ_TEXT("Render"), kSession, &binary, &keys);
  API::PerformanceProbe(QZ_TEXT("Render"), &binary, nullptr);
  API::PerformanceProbe(QZ_TEXT("Layout"), nullptr);
  API::SystemProfile(kSession, &binary, &keys);
  API::SystemProfile(&binary, nullptr);
  API::SystemProfile(nullptr);

  API::SetSendDisabled(true);
  API::FeatureTick(QZ_TEXT("Kept while sending is off"), nullptr);
  API::SetSendDisabled(false);
  API::SendMessages();
  API::SetOptIn(false);
  API::FeatureTick(QZ_TEXT("Dropped without opt-in"), nullptr);
  API::SetOptIn(true);

  API::SessionStop(kOtherSession, &binary, &keys);
  API::SessionStop(kSession, nullptr);
  ExtendedKeys stopKeys;
  stopKeys.Add(QZ_TEXT("reason"), QZ_TEXT("user closed the window"));
  API::ApplicationStop(&binary, &stopKeys);
  API::ApplicationStop(nullptr);  // no run: nothing
  Flag("API::IsApplicationStarted (after)", API::IsApplicationStarted());
  Text("API::GetMessageGroup (after)", API::GetMessageGroup());
  return 0;
}

}  // namespace

int RunHost(const char* endpoint) {
  ConfigurationMembers();
  FlowControllerMembers();
  StringBufMembers();
  BinaryInfoMembers();
  ExtendedKeysMembers();
  ExceptionInfoMembers();
  return Run(endpoint);
}
