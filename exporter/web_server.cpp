#include "exporter/web_server.h"

#include <algorithm>
#include <memory>
#include <string_view>
#include <utility>

#include <strings.h>
#include <sys/socket.h>

#include "exporter/accept_header.h"

namespace exporter {

namespace {

// Connections at one time, on each socket: of all clients, and of one address.
constexpr unsigned kMostConnections = 256;
constexpr unsigned kMostOfOneAddress = 128;
// What one may take for a request: its line, its headers.
constexpr size_t kRequestMemory = 16 << 10;
constexpr std::string_view kMostRequests = "too many attempts\n";

constexpr char kTls[] = "NORMAL:-VERS-ALL:+VERS-TLS1.3:+VERS-TLS1.2";

constexpr std::string_view kLandingPage =
   "<!DOCTYPE html>\n"
   "<html lang=\"en\">\n"
   "<head><meta charset=\"utf-8\"><title>hostmem-exporter</title></head>\n"
   "<body>\n"
   "<h1>hostmem-exporter " HOSTMEM_VERSION "</h1>\n"
   "<p>The memory of this host, as metrics.</p>\n"
   "<ul>\n"
   "<li><a href=\"/metrics\">/metrics</a></li>\n"
   "<li><a href=\"/healthz\">/healthz</a></li>\n"
   "</ul>\n"
   "</body>\n"
   "</html>\n";

constexpr char kOpenMetricsType[] = "application/openmetrics-text; version=1.0.0; charset=utf-8";
constexpr char kText004Type[] = "text/plain; version=0.0.4; charset=utf-8";
constexpr char kPlainType[] = "text/plain; charset=utf-8";

struct ResponseDeleter {
   void operator()(MHD_Response *response) const { MHD_destroy_response(response); }
};
using Response = std::unique_ptr<MHD_Response, ResponseDeleter>;

Response WithType(Response response, const char *type)
{
   if (response != nullptr) {
      MHD_add_response_header(response.get(), MHD_HTTP_HEADER_CONTENT_TYPE, type);
   }
   return response;
}

// Null when memory is short.
Response MakeResponse(std::string_view content, const char *type)
{
   return WithType(Response(MHD_create_response_from_buffer(
                      content.size(), const_cast<char *>(content.data()), MHD_RESPMEM_MUST_COPY)),
                   type);
}

// The same of a text that all clients share: slow ones do not hold a copy each.
Response MakeResponse(const MetricText &text, const char *type)
{
   auto held = std::make_unique<MetricText>(text);
   Response response(MHD_create_response_from_buffer_with_free_callback_cls(
      text->size(), const_cast<char *>(text->data()),
      [](void *holder) { delete static_cast<MetricText *>(holder); }, held.get()));
   if (response != nullptr) {
      static_cast<void>(held.release()); // the response's now
   }
   return WithType(std::move(response), type);
}

MHD_Result Send(MHD_Connection *connection, unsigned status, const Response &response)
{
   return response != nullptr ? MHD_queue_response(connection, status, response.get()) : MHD_NO;
}

MHD_Result Send(MHD_Connection *connection, unsigned status, std::string_view content,
                const char *type = kPlainType)
{
   return Send(connection, status, MakeResponse(content, type));
}

// All headers of a name as one.
std::string HeaderOf(MHD_Connection *connection, const char *name)
{
   struct Search {
      std::string_view name;
      std::string found;
   } search = {name, {}};
   MHD_get_connection_values(
      connection, MHD_HEADER_KIND,
      [](void *context, MHD_ValueKind, const char *key, const char *value) {
         Search *inHand = static_cast<Search *>(context);
         if (value != nullptr && strcasecmp(key, inHand->name.data()) == 0) {
            inHand->found.append(inHand->found.empty() ? "" : ",").append(value);
         }
         return MHD_YES;
      },
      &search);
   return search.found;
}

} // namespace

WebServer::WebServer(const WebConfig &web, MetricPage *metrics, std::chrono::seconds timeout)
    : config(web), page(metrics), idle(timeout), passwords(web.users)
{
}

WebServer::~WebServer()
{
   AnswerWaiting(); // a daemon cannot stop while somebody waits
   for (MHD_Daemon *daemon : daemons) {
      MHD_run(daemon);
      MHD_stop_daemon(daemon);
   }
}

bool WebServer::Serve(nevra::FileDescriptor socket, std::string *problem)
{
   const bool isTls = !config.certificate.empty();
   std::vector<MHD_OptionItem> options = {
      {MHD_OPTION_CONNECTION_LIMIT, kMostConnections, nullptr},
      {MHD_OPTION_PER_IP_CONNECTION_LIMIT, kMostOfOneAddress, nullptr},
      {MHD_OPTION_CONNECTION_MEMORY_LIMIT, static_cast<intptr_t>(kRequestMemory), nullptr},
      {MHD_OPTION_CONNECTION_TIMEOUT, static_cast<intptr_t>(idle.count()), nullptr},
      {MHD_OPTION_LISTEN_SOCKET, socket.Get(), nullptr},
      {MHD_OPTION_NOTIFY_COMPLETED, reinterpret_cast<intptr_t>(&WebServer::Complete), this},
      {MHD_OPTION_NOTIFY_CONNECTION, reinterpret_cast<intptr_t>(&WebServer::Notify), this},
   };
   if (isTls) {
      options.push_back({MHD_OPTION_HTTPS_MEM_CERT, 0, const_cast<char *>(config.certificate.c_str())});
      options.push_back({MHD_OPTION_HTTPS_MEM_KEY, 0, const_cast<char *>(config.key.c_str())});
      options.push_back({MHD_OPTION_HTTPS_PRIORITIES, 0, const_cast<char *>(kTls)});
   }
   options.push_back({MHD_OPTION_END, 0, nullptr});
   const unsigned flags = MHD_USE_EPOLL | MHD_ALLOW_SUSPEND_RESUME | (isTls ? MHD_USE_TLS : MHD_NO_FLAG);
   MHD_Daemon *daemon = MHD_start_daemon(flags, 0, nullptr, nullptr, &WebServer::Handle, this,
                                         MHD_OPTION_ARRAY, options.data(), MHD_OPTION_END);
   if (daemon == nullptr) {
      *problem =
         isTls ? "cannot be served: is the certificate one, and the key its key?" : "cannot be served";
      return false;
   }
   socket.Release(); // the daemon's now
   daemons.push_back(daemon);
   return true;
}

std::vector<int> WebServer::Descriptors() const
{
   std::vector<int> descriptors;
   for (MHD_Daemon *daemon : daemons) {
      descriptors.push_back(MHD_get_daemon_info(daemon, MHD_DAEMON_INFO_EPOLL_FD)->epoll_fd);
   }
   return descriptors;
}

std::chrono::milliseconds WebServer::Patience() const
{
   // Where descriptors or connections ran out, the library listens again in the run after the one that closed
   // a connection; no descriptor becomes readable for that.
   std::chrono::milliseconds patience(hasClosed ? 0 : connections.empty() ? 60'000 : 1000);
   for (MHD_Daemon *daemon : daemons) {
      MHD_UNSIGNED_LONG_LONG milliseconds = 0;
      if (MHD_get_timeout(daemon, &milliseconds) == MHD_YES) {
         patience = std::min(patience, std::chrono::milliseconds(milliseconds));
      }
   }
   return patience;
}

void WebServer::Run(Clock::time_point now)
{
   hasClosed = false;
   for (MHD_Daemon *daemon : daemons) {
      MHD_run(daemon);
   }
   if (now < nextSweep) {
      return;
   }
   nextSweep = now + std::chrono::seconds(1);
   for (const Connection &connection : connections) {
      if (now - connection.busySince > 2 * idle) {
         shutdown(connection.socket, SHUT_RDWR); // the daemon closes it
      }
   }
}

void WebServer::AnswerWaiting()
{
   for (MHD_Connection *connection : waiting) {
      MHD_resume_connection(connection);
   }
   waiting.clear();
}

MHD_Result WebServer::Handle(void *server, MHD_Connection *connection, const char *url, const char *method,
                             const char *, const char *, size_t *uploadSize, void **request)
{
   if (*request == nullptr) { // the headers are there; a body may follow
      *request = new (std::nothrow) Request;
      return *request != nullptr ? MHD_YES : MHD_NO;
   }
   if (*uploadSize > 0) {
      *uploadSize = 0; // nobody reads it
      return MHD_YES;
   }
   try {
      return static_cast<WebServer *>(server)->Answer(connection, url, method,
                                                      static_cast<Request *>(*request));
   } catch (const std::exception &) {
      return MHD_NO; // short of memory: the connection is closed
   }
}

void WebServer::Complete(void *, MHD_Connection *connection, void **request, MHD_RequestTerminationCode)
{
   delete static_cast<Request *>(*request);
   *request = nullptr;
   const MHD_ConnectionInfo *info = MHD_get_connection_info(connection, MHD_CONNECTION_INFO_SOCKET_CONTEXT);
   if (info != nullptr && info->socket_context != nullptr) {
      static_cast<Connection *>(info->socket_context)->busySince = Clock::now();
   }
}

void WebServer::Notify(void *server, MHD_Connection *connection, void **context,
                       MHD_ConnectionNotificationCode what)
{
   WebServer *const self = static_cast<WebServer *>(server);
   if (what == MHD_CONNECTION_NOTIFY_STARTED) {
      const int socket = MHD_get_connection_info(connection, MHD_CONNECTION_INFO_CONNECTION_FD)->connect_fd;
      *context = &self->connections.emplace_back(Connection{socket, Clock::now()});
   } else {
      self->connections.remove_if([context](const Connection &one) { return &one == *context; });
      self->hasClosed = true;
   }
}

bool WebServer::IsAllowed(MHD_Connection *connection, MHD_Result *result)
{
   if (!passwords.IsNeeded()) {
      return true;
   }
   char *password = nullptr;
   char *name = MHD_basic_auth_get_username_password(connection, &password);
   const PasswordCheck::Answer answer = name != nullptr && password != nullptr
                                           ? passwords.Check(name, password, Clock::now())
                                           : PasswordCheck::Answer::Wrong;
   MHD_free(name);
   MHD_free(password);
   if (answer == PasswordCheck::Answer::Right) {
      return true;
   }
   if (answer == PasswordCheck::Answer::TooSoon) {
      const Response response = MakeResponse(kMostRequests, kPlainType);
      if (response != nullptr) {
         MHD_add_response_header(response.get(), MHD_HTTP_HEADER_RETRY_AFTER, "1");
      }
      *result = Send(connection, MHD_HTTP_TOO_MANY_REQUESTS, response);
      return false;
   }
   const Response response = MakeResponse("a name and a password are needed\n", kPlainType);
   *result = response != nullptr
                ? MHD_queue_basic_auth_fail_response(connection, "hostmem-exporter", response.get())
                : MHD_NO;
   return false;
}

MHD_Result WebServer::Answer(MHD_Connection *connection, std::string_view url, std::string_view method,
                             Request *request)
{
   MHD_Result refused = MHD_NO;
   if (!request->hasWaited && !IsAllowed(connection, &refused)) {
      return refused;
   }
   if (url != "/" && url != "/metrics" && url != "/healthz") {
      return Send(connection, MHD_HTTP_NOT_FOUND, "no such page\n");
   }
   if (method != MHD_HTTP_METHOD_GET && method != MHD_HTTP_METHOD_HEAD) {
      const Response response = MakeResponse("only GET and HEAD\n", kPlainType);
      if (response != nullptr) {
         MHD_add_response_header(response.get(), MHD_HTTP_HEADER_ALLOW, "GET, HEAD");
      }
      return Send(connection, MHD_HTTP_METHOD_NOT_ALLOWED, response);
   }
   if (url == "/") {
      return Send(connection, MHD_HTTP_OK, kLandingPage, "text/html; charset=utf-8");
   }
   return url == "/healthz" ? Send(connection, MHD_HTTP_OK, "ok\n") : AnswerMetrics(connection, request);
}

MHD_Result WebServer::AnswerMetrics(MHD_Connection *connection, Request *request)
{
   const MetricTexts *texts = request->hasWaited ? &page->Last() : page->Fresh(Clock::now());
   if (texts == nullptr) {
      page->Begin(Clock::now());
      request->hasWaited = true;
      if (page->IsReading()) {
         waiting.push_back(connection);
         MHD_suspend_connection(connection);
         return MHD_YES;
      }
      texts = &page->Last();
   }
   const bool isOpenMetrics =
      ChooseFormat(HeaderOf(connection, MHD_HTTP_HEADER_ACCEPT)) == MetricFormat::OpenMetrics;
   const Response response = MakeResponse(isOpenMetrics ? texts->openMetrics : texts->text004,
                                          isOpenMetrics ? kOpenMetricsType : kText004Type);
   if (response != nullptr) {
      MHD_add_response_header(response.get(), MHD_HTTP_HEADER_VARY, MHD_HTTP_HEADER_ACCEPT);
   }
   return Send(connection, MHD_HTTP_OK, response);
}

} // namespace exporter
