// One client connection as cpp-httplib reads and writes it, with the bounds
// that keep a slow or hostile client from holding a worker: every request
// must arrive whole before its deadline, no single wait for data lasts longer
// than the read time-out, a request may not exceed a byte budget, and every
// write is bounded too. Plain TCP or TLS over the same non-blocking socket.
#ifndef QZ_COLLECTOR_CONNECTIONSTREAM_H
#define QZ_COLLECTOR_CONNECTIONSTREAM_H

#include <httplib.h>
#include <openssl/ssl.h>

#include <atomic>
#include <chrono>
#include <string>

namespace qz {
namespace collector {

class ConnectionStream : public httplib::Stream {
 public:
  using Clock = std::chrono::steady_clock;

  // Takes the socket; tls null means plain HTTP. stopping, when set, ends idle waits.
  ConnectionStream(int fd, SSL_CTX* tls, int readTimeoutMs, int writeTimeoutMs,
                   const std::atomic<bool>* stopping);
  ~ConnectionStream() override;
  ConnectionStream(const ConnectionStream&) = delete;
  ConnectionStream& operator=(const ConnectionStream&) = delete;

  // Starts the next request: its deadline and the most it may read.
  void StartRequest(Clock::time_point deadline, size_t maxBytes);
  // The TLS handshake, within the current deadline; true for plain HTTP.
  bool Handshake();
  // Waits up to ms for the next request of a kept-alive connection.
  bool WaitForRequest(int ms);
  // Writes all of text, bounded by the write time-out.
  bool WriteAll(const std::string& text);
  // Ends sending and reads (and drops) what the client still sends, up to ms,
  // so that it sees the answer before the connection closes.
  void Linger(int ms);

  bool TimedOut() const { return timedOut; }        // the current request missed its deadline
  size_t RequestBytes() const { return requestBytes; }  // read for the current request
  bool Answered() const { return wroteAny; }         // something was written for it

  // httplib::Stream
  bool is_readable() const override;
  bool is_writable() const override;
  ssize_t read(char* ptr, size_t size) override;
  ssize_t write(const char* ptr, size_t size) override;
  void get_remote_ip_and_port(std::string& ip, int& port) const override;
  void get_local_ip_and_port(std::string& ip, int& port) const override;
  socket_t socket() const override { return fd; }

 private:
  // Waits for the socket to allow events; false on time-out, error or stop.
  bool Wait(short events, int timeoutMs);
  // Reads into the buffer; bytes read, 0 at the end, -1 on failure or time-out.
  ssize_t Fill(Clock::time_point until, bool ignoreBudget);
  int RemainingMs(Clock::time_point until) const;

  int fd;
  SSL* ssl = nullptr;
  const int readTimeoutMs;
  const int writeTimeoutMs;
  const std::atomic<bool>* stopping;
  Clock::time_point deadline;
  size_t maxBytes = 0;
  size_t requestBytes = 0;
  bool timedOut = false;
  bool wroteAny = false;
  char buffer[16384];
  size_t begin = 0;
  size_t end = 0;
};

}  // namespace collector
}  // namespace qz

#endif  // QZ_COLLECTOR_CONNECTIONSTREAM_H
