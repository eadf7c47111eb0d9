// One WQL query against the local "ROOT\CIMV2" namespace, read row by row.
#ifndef QZ_PLATFORM_WMIQUERYWIN32_H
#define QZ_PLATFORM_WMIQUERYWIN32_H

#include <windows.h>
#include <wbemidl.h>

#include <cstdint>

#include "qz/StringBuf.h"

namespace qz {

// Lives on one thread: Execute initialises COM there and Close undoes exactly
// that initialisation, so a host's own apartment stays as the host made it.
// Nothing throws or logs; every failure is a false result.
class WMIQuery {
 public:
  WMIQuery();
  virtual ~WMIQuery();
  WMIQuery(const WMIQuery&) = delete;
  WMIQuery& operator=(const WMIQuery&) = delete;

  // True when the query ran and its rows can be stepped through; on false the
  // object is already closed.
  bool Execute(const QZChar* query);
  // Moves to the next row; false when there is none (or no query ran).
  bool Next();

  // Readers of the current row's properties. Each first sets out to its empty
  // value (empty text, 0, false) and returns false when the property is
  // missing, null or of the wrong kind, or when there is no current row.
  bool GetString(const QZChar* name, StringBuf& out);
  bool GetUInt32(const QZChar* name, uint32_t& out);
  bool GetInt32(const QZChar* name, int32_t& out);
  bool GetBool(const QZChar* name, bool& out);

  // Releases every COM object and balances this object's COM initialisation.
  // Any number of calls.
  void Close();

 private:
  // The property into value (VariantClear it afterwards); false when unreadable.
  bool Read(const QZChar* name, VARIANT& value);
  bool Read32(const QZChar* name, uint32_t& out);

  bool comInitialised;
  IWbemLocator* locator;
  IWbemServices* services;
  IEnumWbemClassObject* enumerator;
  IWbemClassObject* row;
  StringBuf queryText;  // what the test seam is told
};

namespace testhooks {

// Answers a property read of the current row in WMI's place: fills value and
// returns true, or returns false to let WMI answer. Lets tests give a real row
// a value that Wine never reports (a domain name, processor loads).
using WmiValueFn = bool (*)(const QZChar* query, const QZChar* property, VARIANT* value);
// Null restores WMI's own answers; returns the one installed before.
WmiValueFn SetWmiValue(WmiValueFn fn);

}  // namespace testhooks
}  // namespace qz

#endif  // QZ_PLATFORM_WMIQUERYWIN32_H
