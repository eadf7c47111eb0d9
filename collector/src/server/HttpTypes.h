// A request as the server hands it over once read whole, the answer it gets
// back, and what the server asks of the program that answers.
#ifndef QZ_COLLECTOR_HTTPTYPES_H
#define QZ_COLLECTOR_HTTPTYPES_H

#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace qz {
namespace collector {

struct HttpRequest {
  std::string method;
  std::string target;
  std::string remote;  // the client's address and port
  std::vector<std::pair<std::string, std::string>> headers;
  std::string body;

  // The first value of a header (names without regard to case), or nullopt.
  std::optional<std::string> Header(const char* name) const;
};

struct HttpAnswer {
  int status = 200;
  std::string body;
  std::string contentType = "text/plain";
  int retryAfterSeconds = 0;  // a 503 always carries one (5 when left 0)
  std::vector<std::pair<std::string, std::string>> headers;  // further fields of the answer
};

class HttpHandler {
 public:
  using Respond = std::function<void(HttpAnswer answer)>;
  virtual ~HttpHandler() = default;
  // Once the head of a request has arrived: an answer refuses it before its
  // body is read (the connection then closes). On a network thread: quick.
  virtual std::optional<HttpAnswer> CheckHead(const HttpRequest& head) = 0;
  // The whole request. respond is called once, from any thread.
  virtual void Handle(HttpRequest request, Respond respond) = 0;
};

}  // namespace collector
}  // namespace qz

#endif  // QZ_COLLECTOR_HTTPTYPES_H
