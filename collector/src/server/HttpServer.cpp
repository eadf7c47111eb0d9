#include "server/HttpServer.h"

#include <strings.h>

#include <algorithm>
#include <atomic>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/dispatch.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/ssl.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/strand.hpp>
#include <boost/beast/core.hpp>
#include <boost/beast/http.hpp>
#include <boost/beast/ssl.hpp>
#include <chrono>
#include <condition_variable>
#include <list>
#include <mutex>
#include <optional>
#include <thread>
#include <type_traits>
#include <unordered_map>
#include <vector>

#include "common/Log.h"
#include "server/MemoryBudget.h"

namespace qz {
namespace collector {

namespace net = boost::asio;
namespace beast = boost::beast;
namespace http = beast::http;
namespace ssl = net::ssl;
using tcp = net::ip::tcp;
using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

namespace {

// Requests served on one connection before it is closed.
constexpr int kKeepAliveRequests = 1000;
constexpr int kListenBacklog = 4096;
constexpr size_t kHeadLimit = 16 << 10;
// What a request holds besides its body: the body's copy for parsing, and
// its rows on their way to the store.
constexpr size_t kBodyShares = 2;
constexpr size_t kHeadShare = 4096;
// How long, and how much, an unread body is drained after an early answer,
// so that the client sees the answer rather than a reset.
constexpr milliseconds kLinger(2000);
// Between attempts to accept when the process is out of descriptors.
constexpr milliseconds kAcceptPause(100);
constexpr char kContinue[] = "HTTP/1.1 100 Continue\r\n\r\n";
constexpr char kBusy[] =
    "HTTP/1.1 503 Service Unavailable\r\nRetry-After: 5\r\nConnection: close\r\nContent-Type: text/plain\r\n"
    "Content-Length: 32\r\n\r\ncollector busy, try again later\n";

// A body read into one string that grows as its bytes arrive, never ahead
// of them: a client that declares 8 MB and sends nothing holds nothing.
struct GrowingBody {
  using value_type = std::string;
  static std::uint64_t size(const value_type& body) { return body.size(); }

  class reader {
   public:
    template <bool isRequest, class Fields>
    reader(http::header<isRequest, Fields>&, value_type& body) : body(body) {}
    void init(const boost::optional<std::uint64_t>&, beast::error_code& ec) { ec = {}; }
    template <class Buffers>
    std::size_t put(const Buffers& buffers, beast::error_code& ec) {
      size_t n = 0;
      for (auto it = net::buffer_sequence_begin(buffers); it != net::buffer_sequence_end(buffers); ++it) {
        const net::const_buffer b = *it;
        body.append(static_cast<const char*>(b.data()), b.size());
        n += b.size();
      }
      ec = {};
      return n;
    }
    void finish(beast::error_code& ec) { ec = {}; }

   private:
    value_type& body;
  };
};

using Parser = http::request_parser<GrowingBody>;
using Response = http::response<http::string_body>;

std::string RemoteOf(const tcp::socket& socket) {
  beast::error_code ec;
  const tcp::endpoint e = socket.remote_endpoint(ec);
  return ec ? std::string("unknown") : e.address().to_string() + ":" + std::to_string(e.port());
}

HttpAnswer Plain(int status, const std::string& text) {
  HttpAnswer a;
  a.status = status;
  a.body = text + "\n";
  return a;
}

}  // namespace

std::optional<std::string> HttpRequest::Header(const char* name) const {
  for (const auto& h : headers) {
    if (strcasecmp(h.first.c_str(), name) == 0) return h.second;
  }
  return std::nullopt;
}

class ConnectionBase : public std::enable_shared_from_this<ConnectionBase> {
 public:
  virtual ~ConnectionBase() = default;
  virtual void Start() = 0;
  // Closes the connection unless a request is under way. On any thread.
  virtual void StopIfIdle() = 0;
};

struct HttpServer::Impl {
  Impl(const ServerLimits& limits, HttpHandler& handler, ConnectionLog& log)
      : limits(limits), handler(handler), log(log), budget(limits.maxMemory) {}

  // A listener's acceptor and timer run on a strand of their own: the stop
  // closes them from another thread than the one accepting.
  struct Listener {
    explicit Listener(net::io_context& io) : strand(net::make_strand(io)), acceptor(strand), pause(strand) {}
    net::strand<net::io_context::executor_type> strand;
    tcp::acceptor acceptor;
    net::steady_timer pause;
    std::unique_ptr<ssl::context> tls;
  };

  void Accept(Listener& l);
  void Accepted(Listener& l, tcp::socket socket);
  void Tick();
  void Register(ConnectionBase* c) {
    std::lock_guard<std::mutex> hold(registryLock);
    registry.push_back(c);
    position[c] = std::prev(registry.end());
  }
  void Unregister(ConnectionBase* c) {
    std::lock_guard<std::mutex> hold(registryLock);
    registry.erase(position[c]);
    position.erase(c);
    if (registry.empty()) drained.notify_all();
  }

  const ServerLimits limits;
  HttpHandler& handler;
  ConnectionLog& log;
  MemoryBudget budget;
  std::atomic<bool> stopping{false};
  // Before the io_context: connections that it destroys unregister here.
  mutable std::mutex registryLock;
  std::condition_variable drained;
  std::list<ConnectionBase*> registry;
  std::unordered_map<ConnectionBase*, std::list<ConnectionBase*>::iterator> position;
  net::io_context io;
  std::optional<net::executor_work_guard<net::io_context::executor_type>> work;
  std::unique_ptr<net::steady_timer> ticker;
  std::vector<std::unique_ptr<Listener>> listeners;
  std::vector<std::thread> threads;
};

namespace {

template <class Stream>
class Connection : public ConnectionBase {
  static constexpr bool kTls = !std::is_same<Stream, beast::tcp_stream>::value;
  enum class State { Handshake, Waiting, Reading, Working, Writing, Lingering, Closed };

 public:
  // Plain: the stream is made from the socket; TLS: from the socket and the context.
  template <class... Args>
  Connection(HttpServer::Impl& server, std::string remote, Args&&... args)
      : server(server), remote(std::move(remote)), stream(std::forward<Args>(args)...),
        timer(stream.get_executor()) {
    server.Register(this);
  }
  ~Connection() override {
    ReleaseShare();
    server.Unregister(this);
  }

  void Start() override {
    // Everything a connection does runs on its strand, its start too.
    net::dispatch(stream.get_executor(), [self = Self()] { self->Begin(); });
  }

  void StopIfIdle() override {
    net::post(stream.get_executor(), [self = Self()] {
      if (self->state == State::Handshake ||
          (self->state == State::Waiting && (!self->parser || !self->parser->got_some()))) {
        self->Close();
      }
    });
  }

 private:
  void Begin() {
    if constexpr (kTls) {
      state = State::Handshake;
      Arm(Clock::now() + milliseconds(server.limits.handshakeTimeoutMs));
      stream.async_handshake(ssl::stream_base::server,
                             [self = Self()](beast::error_code ec) { self->Handshaken(ec); });
    } else {
      ReadRequest();
    }
  }

  std::shared_ptr<Connection> Self() { return std::static_pointer_cast<Connection>(shared_from_this()); }
  beast::tcp_stream& Lowest() { return beast::get_lowest_layer(stream); }

  // One deadline at a time for what the connection waits for; when it
  // passes, the wait is cancelled and `expired` tells the handler why.
  void Arm(Clock::time_point when) {
    expired = false;
    timer.expires_at(when);
    timer.async_wait([self = Self(), generation = ++armed](beast::error_code ec) {
      if (ec || generation != self->armed || self->state == State::Closed) return;
      self->expired = true;
      beast::error_code ignored;
      self->Lowest().socket().cancel(ignored);
    });
  }
  void Disarm() {
    ++armed;
    timer.cancel();
  }

  void Handshaken(beast::error_code ec) {
    if (state == State::Closed) return;
    if (ec) {
      server.log.Count(expired ? ConnectionLog::HandshakeTimeout : ConnectionLog::HandshakeFailed, remote,
                       expired ? std::string() : ec.message());
      return Close();
    }
    ReadRequest();
  }

  void ReadRequest() {
    if (server.stopping || served >= kKeepAliveRequests) return Close();
    state = State::Waiting;
    parser.emplace();
    parser->header_limit(kHeadLimit);
    parser->body_limit(server.limits.maxBody);
    ready = Clock::now();
    Arm(std::min(ready + milliseconds(server.limits.idleTimeoutMs), ready + milliseconds(server.limits.requestTimeoutMs)));
    ReadSome();
  }

  void ReadSome() {
    http::async_read_some(stream, buffer, *parser,
                          [self = Self()](beast::error_code ec, std::size_t) { self->Read(ec); });
  }

  void Read(beast::error_code ec) {
    if (state == State::Closed) return;
    if (ec) return ReadFailed(ec);
    if (state == State::Waiting && parser->is_header_done()) {
      state = State::Reading;
      if (!CheckHead()) return;
    }
    if (parser->is_done()) return Work();
    // Within the request's deadline, and no silence longer than the read time-out.
    Arm(std::min(ready + milliseconds(server.limits.requestTimeoutMs),
                 Clock::now() + milliseconds(server.limits.readTimeoutMs)));
    ReadSome();
  }

  void ReadFailed(beast::error_code ec) {
    const bool begun = parser->got_some();
    if (expired) {
      if (!begun) {
        server.log.Count(ConnectionLog::IdleTimeout, remote);
        return Close();
      }
      server.log.Count(ConnectionLog::RequestTimeout, remote);
      return Answer(Plain(408, "request not received in time"), true, false);
    }
    if (!begun || ec == net::error::operation_aborted) return Close();
    if (ec == http::error::partial_message || ec == http::error::end_of_stream || ec == net::error::eof) {
      return Refuse(Plain(400, state == State::Reading ? "incomplete body" : "incomplete request"), false);
    }
    if (ec == http::error::body_limit) {
      return Refuse(Plain(413, "batch larger than " + std::to_string(server.limits.maxBody) + " bytes"), true);
    }
    if (ec.category() == make_error_code(http::error::bad_target).category()) {
      return Refuse(Plain(400, "malformed request: " + ec.message()), true);
    }
    Close();  // the connection failed
  }

  // The rules that keep a request unambiguous, then the handler's own.
  bool CheckHead() {
    const auto& h = parser->get();
    request = HttpRequest();
    request.method = std::string(h.method_string());
    request.target = std::string(h.target());
    request.remote = remote;
    for (const auto& field : h) request.headers.emplace_back(std::string(field.name_string()), std::string(field.value()));
    const bool post = h.method() == http::verb::post;
    const size_t lengths = h.count(http::field::content_length);
    if (lengths > 1 || (lengths == 1 && h[http::field::content_length].find(',') != beast::string_view::npos)) {
      return Refuse(Plain(400, "repeated Content-Length"), true), false;
    }
    if (h.count(http::field::transfer_encoding) > 0) {
      if (lengths > 0) return Refuse(Plain(400, "Transfer-Encoding with Content-Length"), true), false;
      return Refuse(Plain(411, "Content-Length required (no Transfer-Encoding)"), true), false;
    }
    for (const char* name : {"Content-Type", "Content-Encoding", "X-QZ-CID", "X-QZ-AID", "X-QZ-GID", "X-QZ-API"}) {
      if (h.count(name) > 1) return Refuse(Plain(400, std::string("repeated ") + name), true), false;
    }
    const uint64_t length = lengths == 1 ? parser->content_length().value_or(0) : 0;
    if (!post && length > 0) return Refuse(Plain(400, "a body is allowed only with POST"), true), false;
    if (post) {
      if (lengths == 0) return Refuse(Plain(411, "Content-Length required"), true), false;
      const auto encoding = request.Header("Content-Encoding");
      if (encoding && strcasecmp(encoding->c_str(), "identity") != 0) {
        return Refuse(Plain(415, "Content-Encoding is not supported"), true), false;
      }
      if (length > server.limits.maxBody) {
        return Refuse(Plain(413, "batch larger than " + std::to_string(server.limits.maxBody) + " bytes"), true),
               false;
      }
    }
    if (auto refusal = server.handler.CheckHead(request)) return Refuse(std::move(*refusal), true), false;
    const size_t share = kHeadShare + static_cast<size_t>(length) * kBodyShares;
    if (!server.budget.Take(share)) {
      server.log.Count(ConnectionLog::OverMemory, remote);
      Answer(Plain(503, "collector busy (memory), try again later"), true, true);
      return false;
    }
    heldShare = share;
    const auto expect = request.Header("Expect");
    if (post && expect && strcasecmp(expect->c_str(), "100-continue") == 0 && !parser->is_done()) {
      // The client waits for this before sending the body; the reading goes on meanwhile.
      Lowest().expires_after(milliseconds(server.limits.writeTimeoutMs));
      net::async_write(stream, net::buffer(kContinue, sizeof kContinue - 1),
                       [self = Self()](beast::error_code ec, std::size_t) {
                         if (!ec) self->Lowest().expires_never();
                       });
    }
    return true;
  }

  void Work() {
    state = State::Working;
    ++armed;
    timer.expires_at(Clock::now() + milliseconds(server.limits.workTimeoutMs));
    request.body = std::move(parser->get().body());
    keepAlive = parser->get().keep_alive();
    const int generation = ++requests;
    auto self = Self();
    server.handler.Handle(std::move(request), [self, generation](HttpAnswer answer) {
      net::post(self->stream.get_executor(), [self, generation, answer = std::move(answer)]() mutable {
        if (generation != self->requests || self->state != State::Working) return;
        self->Answer(std::move(answer), !self->keepAlive, false);
      });
    });
    WaitForWork();
  }

  // The handler answers, or the deadline does.
  void WaitForWork() {
    timer.async_wait([self = Self(), generation = armed](beast::error_code) {
      if (generation != self->armed || self->state != State::Working || Clock::now() < self->timer.expiry()) return;
      self->server.log.Count(ConnectionLog::Saturated, self->remote, "not stored in time");
      self->Answer(Plain(503, "batch not stored in time, try again later"), true, false);
    });
  }

  void Refuse(HttpAnswer answer, bool unread) {
    server.log.Count(ConnectionLog::BadRequest, remote, std::to_string(answer.status) + " " + answer.body.substr(0, answer.body.size() - 1));
    Answer(std::move(answer), true, unread);
  }

  void Answer(HttpAnswer answer, bool close, bool linger) {
    Disarm();
    state = State::Writing;
    ++served;
    response.emplace();
    response->version(11);
    response->result(static_cast<unsigned>(answer.status));
    if (answer.status == 503) {
      response->set(http::field::retry_after, std::to_string(answer.retryAfterSeconds > 0 ? answer.retryAfterSeconds : 5));
    }
    if (!answer.body.empty()) response->set(http::field::content_type, answer.contentType);
    for (const auto& field : answer.headers) response->set(field.first, field.second);
    response->body() = std::move(answer.body);
    response->keep_alive(!close && !server.stopping && served < kKeepAliveRequests);
    response->prepare_payload();
    Lowest().expires_after(milliseconds(server.limits.writeTimeoutMs));
    http::async_write(stream, *response, [self = Self(), linger](beast::error_code ec, std::size_t) {
      self->Written(ec, linger);
    });
  }

  void Written(beast::error_code ec, bool linger) {
    if (state == State::Closed) return;
    Lowest().expires_never();
    const bool again = response->keep_alive();
    response.reset();
    ReleaseShare();
    if (ec) return Close();
    if (linger) return Linger();
    if (!again) return Close();
    ReadRequest();
  }

  void Linger() {
    state = State::Lingering;
    beast::error_code ignored;
    Lowest().socket().shutdown(tcp::socket::shutdown_send, ignored);
    Arm(Clock::now() + kLinger);
    drained = 0;
    Drain();
  }

  void Drain() {
    scratch.resize(16384);
    Lowest().socket().async_read_some(net::buffer(scratch), [self = Self()](beast::error_code ec, std::size_t n) {
      if (self->state == State::Closed) return;
      self->drained += n;
      if (ec || self->drained > self->server.limits.maxBody) return self->Close();
      self->Drain();
    });
  }

  void Close() {
    if (state == State::Closed) return;
    state = State::Closed;
    Disarm();
    ReleaseShare();
    beast::error_code ignored;
    Lowest().socket().shutdown(tcp::socket::shutdown_both, ignored);
    Lowest().socket().close(ignored);
  }

  void ReleaseShare() {
    server.budget.Give(heldShare);
    heldShare = 0;
  }

  HttpServer::Impl& server;
  const std::string remote;
  Stream stream;
  net::steady_timer timer;
  beast::flat_buffer buffer{kHeadLimit + 4096};
  std::optional<Parser> parser;
  std::optional<Response> response;
  HttpRequest request;
  State state = kTls ? State::Handshake : State::Waiting;
  Clock::time_point ready;
  uint64_t armed = 0;
  bool expired = false;
  bool keepAlive = false;
  int requests = 0;  // generation of the request being worked on
  int served = 0;
  size_t heldShare = 0;
  size_t drained = 0;
  std::string scratch;
};

}  // namespace

void HttpServer::Impl::Accept(Listener& l) {
  l.acceptor.async_accept(net::make_strand(io), [this, &l](beast::error_code ec, tcp::socket socket) {
    if (!l.acceptor.is_open()) return;
    if (ec) {
      // Out of descriptors or memory: wait a little rather than spin.
      log.Count(ConnectionLog::Refused, "the accept queue", ec.message());
      l.pause.expires_after(kAcceptPause);
      l.pause.async_wait([this, &l](beast::error_code e) {
        if (!e) Accept(l);
      });
      return;
    }
    Accepted(l, std::move(socket));
    Accept(l);
  });
}

void HttpServer::Impl::Accepted(Listener& l, tcp::socket socket) {
  const std::string remote = RemoteOf(socket);
  size_t open;
  {
    std::lock_guard<std::mutex> hold(registryLock);
    open = registry.size();
  }
  beast::error_code ignored;
  if (stopping || open >= limits.maxConnections) {
    log.Count(ConnectionLog::Refused, remote);
    // A plain client may read why; nothing here may block.
    if (!l.tls) {
      socket.non_blocking(true, ignored);
      socket.write_some(net::buffer(kBusy, sizeof kBusy - 1), ignored);
    }
    socket.close(ignored);
    return;
  }
  socket.set_option(tcp::no_delay(true), ignored);
  std::shared_ptr<ConnectionBase> c;
  if (l.tls) {
    c = std::make_shared<Connection<beast::ssl_stream<beast::tcp_stream>>>(*this, remote, std::move(socket), *l.tls);
  } else {
    c = std::make_shared<Connection<beast::tcp_stream>>(*this, remote, std::move(socket));
  }
  c->Start();
}

void HttpServer::Impl::Tick() {
  log.Flush();
  ticker->expires_after(std::chrono::seconds(1));
  ticker->async_wait([this](beast::error_code ec) {
    if (!ec) Tick();
  });
}

HttpServer::HttpServer(const ServerLimits& limits, HttpHandler& handler, ConnectionLog& log)
    : impl(new Impl(limits, handler, log)) {}

HttpServer::~HttpServer() {
  Stop();
  // Connections still queued in the io_context go with it, before the registry.
  impl->listeners.clear();
  impl->ticker.reset();
}

int HttpServer::Listen(const std::string& address, int port, SSL_CTX* tls, std::string& error) {
  auto l = std::make_unique<Impl::Listener>(impl->io);
  beast::error_code ec;
  const auto ip = net::ip::make_address(address, ec);
  if (ec) {
    error = "cannot listen on " + address + ": not an IP address";
    return -1;
  }
  const tcp::endpoint endpoint(ip, static_cast<unsigned short>(port));
  // SO_REUSEADDR only, which on Linux never lets two listeners share a port
  // (SO_REUSEPORT would split the batches between two collectors).
  l->acceptor.open(endpoint.protocol(), ec);
  if (!ec) l->acceptor.set_option(tcp::acceptor::reuse_address(true), ec);
  if (!ec) l->acceptor.bind(endpoint, ec);
  if (!ec) l->acceptor.listen(kListenBacklog, ec);
  if (ec) {
    error = "cannot listen on " + address + ":" + std::to_string(port) + ": " + ec.message() +
            (ec == net::error::address_in_use ? " (is another collector running?)" : "");
    return -1;
  }
  if (tls != nullptr) {
    SSL_CTX_up_ref(tls);  // the asio context frees its own reference
    l->tls = std::make_unique<ssl::context>(tls);
  }
  const int bound = l->acceptor.local_endpoint().port();
  impl->listeners.push_back(std::move(l));
  return bound;
}

void HttpServer::Start() {
  impl->work.emplace(net::make_work_guard(impl->io));
  for (auto& l : impl->listeners) impl->Accept(*l);
  impl->ticker = std::make_unique<net::steady_timer>(impl->io);
  impl->Tick();
  size_t n = impl->limits.ioThreads;
  if (n == 0) n = std::max(1u, std::thread::hardware_concurrency());
  for (size_t i = 0; i < n; ++i) impl->threads.emplace_back([this] { impl->io.run(); });
}

void HttpServer::Stop() {
  if (impl->threads.empty()) return;
  impl->stopping = true;
  for (auto& l : impl->listeners) {
    net::post(l->strand, [listener = l.get()] {
      beast::error_code ignored;
      listener->acceptor.close(ignored);
      listener->pause.cancel();
    });
  }
  {
    std::vector<std::shared_ptr<ConnectionBase>> open;
    {
      std::lock_guard<std::mutex> hold(impl->registryLock);
      for (ConnectionBase* c : impl->registry) {
        if (auto held = c->weak_from_this().lock()) open.push_back(std::move(held));
      }
    }
    for (auto& c : open) c->StopIfIdle();
  }
  // Every request under way has deadlines; the longest bounds the wait.
  const auto& l = impl->limits;
  const milliseconds longest(l.requestTimeoutMs + l.workTimeoutMs + l.writeTimeoutMs + kLinger.count() + 1000);
  {
    std::unique_lock<std::mutex> hold(impl->registryLock);
    impl->drained.wait_for(hold, longest, [&] { return impl->registry.empty(); });
  }
  impl->log.Flush();
  impl->work.reset();
  impl->io.stop();
  for (std::thread& t : impl->threads) t.join();
  impl->threads.clear();
}

size_t HttpServer::Connections() const {
  std::lock_guard<std::mutex> hold(impl->registryLock);
  return impl->registry.size();
}

}  // namespace collector
}  // namespace qz
