#include "platform/WMIQueryWin32.h"

#include <atomic>

namespace qz {
namespace {

std::atomic<testhooks::WmiValueFn> g_wmiValue{nullptr};

// COINIT_SPEED_OVER_MEMORY with the multithreaded model.
constexpr DWORD kComModel = COINIT_MULTITHREADED | COINIT_SPEED_OVER_MEMORY;

template <typename T>
void Release(T*& object) {
  if (object != nullptr) {
    object->Release();
    object = nullptr;
  }
}

// A BSTR for the length of one call; a failed allocation reads as out of memory.
class Bstr {
 public:
  explicit Bstr(const QZChar* text) : value(SysAllocString(text)) {}
  ~Bstr() { SysFreeString(value); }
  Bstr(const Bstr&) = delete;
  Bstr& operator=(const Bstr&) = delete;
  BSTR get() const { return value; }

 private:
  BSTR value;
};

HRESULT ConnectLocal(IWbemLocator* locator, IWbemServices** services) {
  Bstr space(L"ROOT\\CIMV2");
  if (space.get() == nullptr) return E_OUTOFMEMORY;
  return locator->ConnectServer(space.get(), nullptr, nullptr, nullptr, 0, nullptr, nullptr,
                                services);
}

HRESULT RunQuery(IWbemServices* services, const QZChar* query, IEnumWbemClassObject** rows) {
  Bstr language(L"WQL");
  Bstr text(query);
  if (language.get() == nullptr || text.get() == nullptr) return E_OUTOFMEMORY;
  return services->ExecQuery(language.get(), text.get(),
                             WBEM_FLAG_FORWARD_ONLY | WBEM_FLAG_RETURN_IMMEDIATELY, nullptr,
                             rows);
}

}  // namespace

namespace testhooks {
WmiValueFn SetWmiValue(WmiValueFn fn) { return g_wmiValue.exchange(fn); }
}  // namespace testhooks

WMIQuery::WMIQuery()
    : comInitialised(false),
      locator(nullptr),
      services(nullptr),
      enumerator(nullptr),
      row(nullptr) {}

WMIQuery::~WMIQuery() { Close(); }

bool WMIQuery::Execute(const QZChar* query) {
  Close();
  if (query == nullptr) return false;
  HRESULT hr = CoInitializeEx(nullptr, kComModel);
  // A thread the host made a single-threaded apartment keeps it: the query
  // runs there, and this object must not undo the host's initialisation.
  if (hr == S_OK || hr == S_FALSE) {
    comInitialised = true;
  } else if (hr != RPC_E_CHANGED_MODE) {
    return false;
  }
  // Process-wide and settable once; a host that set it first keeps its own.
  hr = CoInitializeSecurity(nullptr, -1, nullptr, nullptr, RPC_C_AUTHN_LEVEL_DEFAULT,
                            RPC_C_IMP_LEVEL_IMPERSONATE, nullptr, EOAC_NONE, nullptr);
  bool ok = hr == S_OK || hr == RPC_E_TOO_LATE;
  ok = ok && SUCCEEDED(CoCreateInstance(CLSID_WbemLocator, nullptr, CLSCTX_INPROC_SERVER,
                                        IID_IWbemLocator, reinterpret_cast<void**>(&locator)));
  ok = ok && SUCCEEDED(ConnectLocal(locator, &services));
  ok = ok && SUCCEEDED(CoSetProxyBlanket(services, RPC_C_AUTHN_WINNT, RPC_C_AUTHZ_NONE, nullptr,
                                         RPC_C_AUTHN_LEVEL_CALL, RPC_C_IMP_LEVEL_IMPERSONATE,
                                         nullptr, EOAC_NONE));
  ok = ok && SUCCEEDED(RunQuery(services, query, &enumerator));
  if (!ok) {
    Close();
    return false;
  }
  queryText = query;
  return true;
}

bool WMIQuery::Next() {
  Release(row);
  if (enumerator == nullptr) return false;
  ULONG returned = 0;
  HRESULT hr = enumerator->Next(static_cast<LONG>(WBEM_INFINITE), 1, &row, &returned);
  if (hr == WBEM_S_NO_ERROR && returned > 0) return true;
  // Whatever came with any other answer is no row.
  Release(row);
  return false;
}

bool WMIQuery::Read(const QZChar* name, VARIANT& value) {
  VariantInit(&value);
  if (row == nullptr || name == nullptr) return false;
  testhooks::WmiValueFn fake = g_wmiValue.load();
  if (fake != nullptr && fake(queryText, name, &value)) return true;
  if (row->Get(name, 0, &value, nullptr, nullptr) == WBEM_S_NO_ERROR) return true;
  VariantClear(&value);
  return false;
}

bool WMIQuery::GetString(const QZChar* name, StringBuf& out) {
  out.Clear();
  VARIANT value;
  if (!Read(name, value)) return false;
  // Only text is taken as text: reading a number's union as a BSTR would crash.
  const bool ok = V_VT(&value) == VT_BSTR;
  if (ok) out.Append(V_BSTR(&value));
  VariantClear(&value);
  return ok;
}

bool WMIQuery::Read32(const QZChar* name, uint32_t& out) {
  out = 0;
  VARIANT value;
  if (!Read(name, value)) return false;
  // WMI's 8-, 16- and 32-bit integers; each kind fills only its own bytes.
  bool ok = true;
  switch (V_VT(&value)) {
    case VT_I1: out = static_cast<uint32_t>(static_cast<int32_t>(V_I1(&value))); break;
    case VT_UI1: out = V_UI1(&value); break;
    case VT_I2: out = static_cast<uint32_t>(static_cast<int32_t>(V_I2(&value))); break;
    case VT_UI2: out = V_UI2(&value); break;
    case VT_I4: out = static_cast<uint32_t>(V_I4(&value)); break;
    case VT_UI4: out = V_UI4(&value); break;
    case VT_INT: out = static_cast<uint32_t>(V_INT(&value)); break;
    case VT_UINT: out = V_UINT(&value); break;
    default: ok = false; break;
  }
  VariantClear(&value);
  return ok;
}

bool WMIQuery::GetUInt32(const QZChar* name, uint32_t& out) { return Read32(name, out); }

bool WMIQuery::GetInt32(const QZChar* name, int32_t& out) {
  uint32_t bits = 0;
  const bool ok = Read32(name, bits);
  out = static_cast<int32_t>(bits);
  return ok;
}

bool WMIQuery::GetBool(const QZChar* name, bool& out) {
  out = false;
  VARIANT value;
  if (!Read(name, value)) return false;
  const bool ok = V_VT(&value) == VT_BOOL;
  out = ok && V_BOOL(&value) == VARIANT_TRUE;
  VariantClear(&value);
  return ok;
}

void WMIQuery::Close() {
  Release(row);
  Release(enumerator);
  Release(services);
  Release(locator);
  if (comInitialised) {
    CoUninitialize();
    comInitialised = false;
  }
}

}  // namespace qz
