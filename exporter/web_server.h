// The web server: /metrics, /healthz and a page that points to them.
//
// It has no thread of its own: whoever runs the program's loop waits for its descriptors and calls Run.
#ifndef EXPORTER_WEB_SERVER_H
#define EXPORTER_WEB_SERVER_H

#include <chrono>
#include <list>
#include <string>
#include <vector>

#include <microhttpd.h>

#include "exporter/metric_page.h"
#include "exporter/password_check.h"
#include "exporter/web_config.h"
#include "nevra/linux/kernel_file.h"

namespace exporter {

class WebServer {
 public:
   // A client that sends and takes nothing for `timeout` is cut off, and so is one that takes twice that time
   // for a request and its answer.
   WebServer(const WebConfig &web, MetricPage *metrics, std::chrono::seconds timeout);
   ~WebServer();
   WebServer(const WebServer &) = delete;
   WebServer &operator=(const WebServer &) = delete;

   // Serves a socket that listens. False, with a problem, when that cannot be.
   bool Serve(nevra::FileDescriptor socket, std::string *problem);

   // Become readable when there is something to do.
   std::vector<int> Descriptors() const;
   // How long at most until Run has to be called.
   std::chrono::milliseconds Patience() const;
   void Run(Clock::time_point now);

   // Answers those who wait for the metrics.
   void AnswerWaiting();

 private:
   struct Connection {
      int socket;
      Clock::time_point busySince; // when it was opened, or its last request was answered
   };
   struct Request {
      bool hasWaited = false;
   };

   static MHD_Result Handle(void *server, MHD_Connection *connection, const char *url, const char *method,
                            const char *version, const char *upload, size_t *uploadSize, void **request);
   static void Complete(void *server, MHD_Connection *connection, void **request,
                        MHD_RequestTerminationCode why);
   static void Notify(void *server, MHD_Connection *connection, void **context,
                      MHD_ConnectionNotificationCode what);

   MHD_Result Answer(MHD_Connection *connection, std::string_view url, std::string_view method,
                     Request *request);
   MHD_Result AnswerMetrics(MHD_Connection *connection, Request *request);
   // Whether the client may go on; if not, it has got its answer, which `*result` is of.
   bool IsAllowed(MHD_Connection *connection, MHD_Result *result);

   const WebConfig &config;
   MetricPage *page;
   std::chrono::seconds idle;
   PasswordCheck passwords;
   std::vector<MHD_Daemon *> daemons;
   std::vector<MHD_Connection *> waiting;
   std::list<Connection> connections;
   bool hasClosed = false; // in the last run
   Clock::time_point nextSweep{};
};

} // namespace exporter

#endif
