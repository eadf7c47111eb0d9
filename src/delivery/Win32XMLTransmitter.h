// XMLTransmitter over WinHTTP: one synchronous HTTP or HTTPS POST per batch.
#ifndef QZ_DELIVERY_WIN32XMLTRANSMITTER_H
#define QZ_DELIVERY_WIN32XMLTRANSMITTER_H

#include <windows.h>
#include <winhttp.h>

#include <atomic>
#include <cstdint>

#include "delivery/XMLTransmitter.h"

namespace qz {

class Win32XMLTransmitter : public XMLTransmitter {
 public:
  explicit Win32XMLTransmitter(const Configuration& configuration);
  ~Win32XMLTransmitter() override;

  bool Post(const StringBuf& platformText, const StringBuf& companyId,
            const StringBuf& applicationId, const StringBuf& messageGroup,
            const StringBuf& body) override;

  // Only stops later posts: closing a handle under a synchronous WinHTTP call
  // in another thread is not reliable, so a post in flight runs until its
  // timeouts end it.
  void Abort() override { aborted.store(true); }

  // The URL as split at construction (empty host when it could not be split).
  const StringBuf& GetHostName() const { return hostName; }
  uint16_t GetPort() const { return port; }
  const StringBuf& GetUrlPath() const { return urlPath; }

 private:
  bool OpenSession();
  // The proxy (and its bypass list) that the current user's settings name
  // for the endpoint; left empty for a direct connection.
  void FindSystemProxy(StringBuf& proxy, StringBuf& bypass);
  // Sends the request and its body; with pins, the body goes only once the
  // server's key matched one.
  bool Send(HINTERNET request, const char* utf8, DWORD length);
  void LogSecureFailure(DWORD error, DWORD flags);

  HINTERNET httpSession;
  StringBuf url;
  StringBuf hostName;
  uint16_t port;
  StringBuf urlPath;
  std::atomic<bool> aborted;
  // A post got no answer: the user's proxy settings are read again before the
  // next, in case the network (and with it the proxy) changed.
  bool findProxyAgain = false;
};

}  // namespace qz

#endif  // QZ_DELIVERY_WIN32XMLTRANSMITTER_H
