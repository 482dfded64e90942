// Floor for the group report: the same values, formatted from memory with std::to_chars into the same bytes.
//
// Reads a report's output (as CSV or as a table), takes it apart into values and field widths, and then,
// timed, formats and writes it again. Prints the nanoseconds of the timed part, wall and CPU time,
// to standard error.
#include <charconv>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include <unistd.h>

namespace {

struct Cell {
   int64_t number;
   const char *text; // null for a number
   uint32_t length;  // of the text
   uint32_t width;   // of the field, right-aligned; 0 in CSV
   char separator;   // after the cell
};

bool IsNumber(const std::string &text)
{
   const size_t digits = text[0] == '-' ? 1 : 0;
   return text.size() > digits && text.size() < 19 && (text[digits] != '0' || text.size() == digits + 1) &&
          text.find_first_not_of("0123456789", digits) == std::string::npos;
}

std::vector<Cell> TakeApart(const std::string &output, std::vector<std::string> &texts)
{
   texts.reserve(output.size() / 4);
   std::vector<Cell> cells;
   for (size_t at = 0; at < output.size();) {
      const size_t start = output.find_first_not_of(' ', at);
      const size_t end = std::min(output.find_first_of(", \n", start), output.size());
      const std::string text = output.substr(start, end - start);
      Cell cell = {0, nullptr, 0, static_cast<uint32_t>(end - at), '\0'};
      if (IsNumber(text)) {
         cell.number = std::stoll(text);
      } else {
         texts.push_back(text);
         cell.text = texts.back().c_str();
         cell.length = static_cast<uint32_t>(text.size());
      }
      at = end;
      if (at < output.size() && output[at] != ' ') {
         cell.separator = output[at++];
      }
      cells.push_back(cell);
   }
   return cells;
}

size_t Format(const std::vector<Cell> &cells, char *out)
{
   char *const begin = out;
   for (const Cell &cell : cells) {
      char digits[20];
      const char *text = cell.text;
      size_t length = cell.length;
      if (text == nullptr) {
         length =
            static_cast<size_t>(std::to_chars(digits, digits + sizeof digits, cell.number).ptr - digits);
         text = digits;
      }
      const size_t padding = cell.width > length ? cell.width - length : 0;
      std::memset(out, ' ', padding);
      std::memcpy(out + padding, text, length);
      out += padding + length;
      if (cell.separator != '\0') {
         *out++ = cell.separator;
      }
   }
   return static_cast<size_t>(out - begin);
}

// Of this process.
long long CpuNanoseconds()
{
   timespec time;
   clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
   return static_cast<long long>(time.tv_sec) * 1000000000 + time.tv_nsec;
}

} // namespace

int main(int argc, char **argv)
{
   if (argc != 2) {
      std::fprintf(stderr, "usage: %s OUTPUT\n", argv[0]);
      return 2;
   }
   std::ifstream file(argv[1], std::ios::binary);
   const std::string output((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
   std::vector<std::string> texts;
   const std::vector<Cell> cells = TakeApart(output, texts);
   std::vector<char> buffer(output.size() + 1024);
   std::memset(buffer.data(), 1, buffer.size()); // page it in: the floor formats, it does not fault

   const auto start = std::chrono::steady_clock::now();
   const long long cpuStart = CpuNanoseconds();
   const size_t length = Format(cells, buffer.data());
   for (size_t written = 0; written < length;) {
      const ssize_t count = write(STDOUT_FILENO, buffer.data() + written, length - written);
      if (count < 0) {
         std::perror("write");
         return 1;
      }
      written += static_cast<size_t>(count);
   }
   const long long cpu = CpuNanoseconds() - cpuStart;
   const auto time = std::chrono::steady_clock::now() - start;
   if (length != output.size() || std::memcmp(buffer.data(), output.data(), length) != 0) {
      std::fprintf(stderr, "the floor's bytes are not the report's\n");
      return 1;
   }
   std::fprintf(stderr, "%lld %lld\n",
                static_cast<long long>(std::chrono::duration_cast<std::chrono::nanoseconds>(time).count()),
                cpu);
   return 0;
}
