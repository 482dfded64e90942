// Exporters for Prometheus side by side, on this host with a thousand processes more: what a scrape costs of
// CPU time, and how large its answer is. usage: exporters BIN WORK
#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include "bench/comparison.h"
#include "bench/sleeping_processes.h"

namespace {

constexpr unsigned kProcesses = 1000;
constexpr int kScrapes = 30;
constexpr uint16_t kFirstPort = 19'950;

struct Exporter {
   std::string what; // in Markdown
   std::vector<std::string> command;
   uint16_t port = 0;
   pid_t pid = -1;
   double cpuBefore = 0;
   size_t bytes = 0; // of an answer
   size_t series = 0;
};

// User and system time of a process, and of the children that it has waited for.
double CpuSecondsOf(pid_t pid)
{
   std::ostringstream text;
   text << std::ifstream("/proc/" + std::to_string(pid) + "/stat").rdbuf();
   const std::string stat = text.str();
   std::istringstream fields(stat.substr(std::min(stat.rfind(')') + 2, stat.size())));
   std::string skipped;
   for (int i = 3; i < 14; i++) {
      fields >> skipped;
   }
   uint64_t ticks[4] = {};
   for (uint64_t &tick : ticks) {
      fields >> tick;
   }
   return static_cast<double>(ticks[0] + ticks[1] + ticks[2] + ticks[3]) /
          static_cast<double>(sysconf(_SC_CLK_TCK));
}

// The body of GET /metrics; empty when nobody answers.
std::string Scrape(uint16_t port)
{
   const int channel = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
   sockaddr_in address = {};
   address.sin_family = AF_INET;
   address.sin_port = htons(port);
   address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
   std::string answer;
   const std::string request = "GET /metrics HTTP/1.1\r\nHost: localhost\r\nConnection: close\r\n\r\n";
   if (connect(channel, reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0 &&
       send(channel, request.data(), request.size(), MSG_NOSIGNAL) > 0) {
      std::vector<char> part(1 << 16);
      for (ssize_t count; (count = read(channel, part.data(), part.size())) > 0;) {
         answer.append(part.data(), static_cast<size_t>(count));
      }
   }
   close(channel);
   const size_t head = answer.find("\r\n\r\n");
   return answer.starts_with("HTTP/1.1 200") && head != std::string::npos ? answer.substr(head + 4) : "";
}

void Start(Exporter *exporter)
{
   exporter->pid = fork();
   if (exporter->pid == 0) {
      prctl(PR_SET_PDEATHSIG, SIGKILL);
      const int nowhere = open("/dev/null", O_WRONLY);
      dup2(nowhere, STDOUT_FILENO);
      dup2(nowhere, STDERR_FILENO);
      std::vector<char *> arguments;
      for (std::string &word : exporter->command) {
         arguments.push_back(word.data());
      }
      arguments.push_back(nullptr);
      execv(arguments.front(), arguments.data());
      _exit(127);
   }
   for (int i = 0; i < 200 && Scrape(exporter->port).empty(); i++) {
      std::this_thread::sleep_for(std::chrono::milliseconds(50));
   }
}

std::vector<Exporter> Exporters(const Places &places)
{
   std::vector<Exporter> exporters;
   const auto add = [&](const std::string &what, const std::string &program,
                        std::vector<std::string> options) {
      if (program.empty() || !std::filesystem::exists(program)) {
         return;
      }
      const auto port = static_cast<uint16_t>(kFirstPort + exporters.size());
      options.insert(options.begin(), program);
      const bool isGoFlag = what.find("process-exporter") != std::string::npos;
      options.push_back(std::string(isGoFlag ? "-" : "--") +
                        "web.listen-address=127.0.0.1:" + std::to_string(port));
      exporters.push_back({.what = what, .command = options, .port = port});
   };
   const std::string config = places.work + "/process-exporter.yml";
   std::ofstream(config) << "process_names:\n  - name: '{{.Comm}}'\n    cmdline: ['.+']\n";
   const std::string ours = places.bin + "/hostmem-exporter";
   const std::string processExporter = FindProgram("prometheus-process-exporter");
   add("`hostmem-exporter`", ours, {});
   add("`hostmem-exporter --processes`", ours, {"--processes"});
   add("`node-exporter`", FindProgram("prometheus-node-exporter"), {});
   add("`process-exporter`", processExporter, {"-config.path", config});
   add("`process-exporter`, no threads, no `smaps`", processExporter,
       {"-config.path", config, "-threads=false", "-gather-smaps=false"});
   return exporters;
}

void Count(const std::string &text, Exporter *exporter)
{
   exporter->bytes = text.size();
   exporter->series = 0;
   std::istringstream lines(text);
   for (std::string line; std::getline(lines, line);) {
      exporter->series += !line.empty() && line[0] != '#';
   }
}

} // namespace

int main(int argc, char **argv)
{
   std::vector<Exporter> exporters = Exporters(PlacesFromArguments(argc, argv));
   const SleepingProcesses processes(kProcesses);
   for (Exporter &exporter : exporters) {
      Start(&exporter);
      exporter.cpuBefore = CpuSecondsOf(exporter.pid);
   }
   // In turn, and seldom enough that each answer is read anew.
   for (int i = 0; i < kScrapes; i++) {
      std::this_thread::sleep_for(std::chrono::milliseconds(1100));
      for (Exporter &exporter : exporters) {
         Count(Scrape(exporter.port), &exporter);
      }
   }
   std::printf("%d scrapes each, in turn, with %zu processes more than the host has.\n\n", kScrapes,
               processes.Count());
   std::printf("| exporter | CPU a scrape | series | answer |\n|---|---|---|---|\n");
   for (const Exporter &exporter : exporters) {
      if (exporter.series == 0) {
         std::fprintf(stderr, "exporters: %s does not answer\n", exporter.what.c_str());
         return EXIT_FAILURE;
      }
      std::printf("| %s | %.1f ms | %zu | %.0f KB |\n", exporter.what.c_str(),
                  (CpuSecondsOf(exporter.pid) - exporter.cpuBefore) * 1e3 / kScrapes, exporter.series,
                  static_cast<double>(exporter.bytes) / 1024);
      kill(exporter.pid, SIGTERM);
      waitpid(exporter.pid, nullptr, 0);
   }
   return EXIT_SUCCESS;
}
