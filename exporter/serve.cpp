#include "exporter/serve.h"

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <optional>

#include <poll.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include "exporter/listen_sockets.h"
#include "exporter/metric_page.h"
#include "exporter/web_config.h"
#include "exporter/web_server.h"
#include "nevra/nevra.h"
#include "recorder/service_manager.h"

namespace exporter {

namespace {

using nevra::FileDescriptor;
using std::chrono::milliseconds;

bool Complain(const std::string &subject, const std::string &problem)
{
   Warning("hostmem-exporter: %s: %s\n", subject.c_str(), problem.c_str());
   return false;
}

// Becomes readable for a signal that ends the program, and when a reader has ended.
FileDescriptor OpenSignals()
{
   sigset_t awaited;
   sigemptyset(&awaited);
   for (const int signal : {SIGTERM, SIGINT, SIGCHLD}) {
      sigaddset(&awaited, signal);
   }
   sigprocmask(SIG_BLOCK, &awaited, nullptr);
   std::signal(SIGPIPE, SIG_IGN);
   return FileDescriptor(signalfd(-1, &awaited, SFD_CLOEXEC | SFD_NONBLOCK));
}

// Takes the signals that have come. Returns whether one of them ends the program.
bool TakeSignals(int signals)
{
   bool isEnding = false;
   signalfd_siginfo signal;
   while (read(signals, &signal, sizeof signal) == sizeof signal) {
      isEnding |= signal.ssi_signo != SIGCHLD;
   }
   return isEnding;
}

bool OpenSockets(const ServeRequest &request, std::vector<FileDescriptor> *sockets)
{
   std::string problem;
   if (!TakeHandedSockets(sockets, &problem)) {
      return Complain("LISTEN_FDS", problem);
   }
   if (!sockets->empty()) {
      return true;
   }
   for (const std::string &address : request.addresses) {
      if (!ListenOn(address, sockets, &problem)) {
         return Complain(address, problem);
      }
   }
   return true;
}

bool StartServer(std::vector<FileDescriptor> sockets, bool isTls, WebServer *server)
{
   for (FileDescriptor &socket : sockets) {
      const std::string address = AddressOf(socket.Get());
      std::string problem;
      if (!server->Serve(std::move(socket), &problem)) {
         return Complain(address, problem);
      }
      Warning("hostmem-exporter: serves http%s://%s/metrics\n", isTls ? "s" : "", address.c_str());
   }
   return true;
}

void Loop(int signals, MetricPage *page, WebServer *server)
{
   for (;;) {
      std::vector<pollfd> polled = {{signals, POLLIN, 0}};
      for (const int descriptor : server->Descriptors()) {
         polled.push_back({descriptor, POLLIN, 0});
      }
      milliseconds patience = server->Patience();
      if (page->IsReading()) {
         polled.push_back({page->Descriptor(), POLLIN, 0});
         const auto left = std::chrono::ceil<milliseconds>(page->Deadline() - Clock::now());
         patience = std::clamp(left, milliseconds(0), patience);
      }
      poll(polled.data(), polled.size(), static_cast<int>(patience.count()));
      if (polled.front().revents != 0) {
         if (TakeSignals(signals)) {
            return;
         }
         page->Reap();
      }
      if (page->Take(Clock::now())) {
         server->AnswerWaiting();
      }
      server->Run(Clock::now());
   }
}

} // namespace

int Serve(const ServeRequest &request)
{
   std::string problem;
   WebConfig config;
   if (!request.webConfig.empty() && !ReadWebConfigFile(request.webConfig, &config, &problem)) {
      Complain(request.webConfig, problem);
      return EXIT_FAILURE;
   }
   const FileDescriptor signals = OpenSignals();
   std::vector<FileDescriptor> sockets;
   if (!OpenSockets(request, &sockets)) {
      return EXIT_FAILURE;
   }
   if (!PrepareToRead(request.reading, &problem)) {
      Complain("this host", problem);
      return EXIT_FAILURE;
   }
   MetricPage page(request.reading, request.readingTimeout);
   WebServer server(config, &page, request.clientTimeout);
   if (!StartServer(std::move(sockets), !config.certificate.empty(), &server)) {
      return EXIT_FAILURE;
   }
   recorder::NotifyServiceManager("READY=1");
   Loop(signals.Get(), &page, &server);
   recorder::NotifyServiceManager("STOPPING=1");
   return EXIT_SUCCESS;
}

} // namespace exporter
