#include "exporter/reader_message.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include <unistd.h>

namespace exporter {

namespace {

enum Kind : uint32_t { kHost, kProblem, kOpenMetrics, kText004, kRun, kEnd };

struct Head {
   uint32_t kind;
   uint32_t size;
};

template <typename Value> std::string_view BytesOf(const Value &value)
{
   return {reinterpret_cast<const char *>(&value), sizeof value};
}

template <typename Value> bool ReadValue(std::string_view bytes, Value *value)
{
   if (bytes.size() != sizeof *value) {
      return false;
   }
   std::memcpy(value, bytes.data(), sizeof *value);
   return true;
}

void WriteAll(int descriptor, std::string_view bytes)
{
   while (!bytes.empty()) {
      const ssize_t written = write(descriptor, bytes.data(), bytes.size());
      if (written >= 0) {
         bytes.remove_prefix(static_cast<size_t>(written));
      } else if (errno != EINTR) {
         _exit(EXIT_FAILURE);
      }
   }
}

} // namespace

void MessageWriter::Put(uint32_t kind, std::string_view content) const
{
   const Head head = {kind, static_cast<uint32_t>(content.size())};
   WriteAll(descriptor, BytesOf(head));
   WriteAll(descriptor, content);
}

void MessageWriter::Host(std::string_view name) const
{
   Put(kHost, name);
}

void MessageWriter::Problem(std::string_view problem) const
{
   Put(kProblem, problem);
}

void MessageWriter::Families(std::string_view openMetrics, std::string_view text004) const
{
   Put(kOpenMetrics, openMetrics);
   Put(kText004, text004);
}

void MessageWriter::Run(const RunMessage &run) const
{
   Put(kRun, BytesOf(run));
}

void MessageWriter::End(uint64_t dropped) const
{
   Put(kEnd, BytesOf(dropped));
}

bool MessageParser::Take(std::string_view bytes, Reading *reading)
{
   pending += bytes;
   std::string_view rest = pending;
   Head head;
   while (rest.size() >= sizeof head && ReadValue(rest.substr(0, sizeof head), &head) &&
          rest.size() - sizeof head >= head.size) {
      if (!TakeMessage(head.kind, rest.substr(sizeof head, head.size), reading)) {
         return false;
      }
      rest.remove_prefix(sizeof head + head.size);
   }
   pending.erase(0, pending.size() - rest.size());
   return true;
}

bool MessageParser::TakeMessage(uint32_t kind, std::string_view content, Reading *reading)
{
   RunMessage run;
   switch (kind) {
   case kHost:
      reading->host = content;
      return true;
   case kProblem:
      reading->problem = content;
      return true;
   case kOpenMetrics:
      reading->openMetrics += content;
      return true;
   case kText004:
      reading->text004 += content;
      return true;
   case kRun:
      if (!ReadValue(content, &run)) {
         return false;
      }
      reading->runs.push_back(run);
      return true;
   case kEnd:
      reading->isComplete = true;
      return ReadValue(content, &reading->dropped);
   default:
      return false;
   }
}

} // namespace exporter
