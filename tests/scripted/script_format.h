// The file by which a test tells the scripted platform how to answer: one statement per line, words
// separated by one space. A text is percent-encoded, a key is "i<decimal>" or "s<text>", a record is
// hexadecimal or "-".
//
//    record NODE STATUS BYTES KEY...            an answer to Nevra_Get; a further one for the same instance
//    is
//                                               given to the next read, and the last one to all that follow
//    list NODE STATUS KEY... = INSTANCE...      an answer to the listings, repeated in the same way
//    fail OPERATION N STATUS                    the N-th call of OPERATION (from 1) fails; with STATUS 0 a
//                                               read, listing or getter says success and gives nothing
//    checksig STATUS KERNEL-BUILD APP-BUILD     the answer to Nevra_CheckSig; 0 without this
//    usecache STATUS                            the answer to Nevra_UseCache; 0 without this
//    random SEED                                instances that no statement mentions answer at random
//    time SECONDS                               what time() returns
//
// NODE is the identifier after NEVRA_NODE_; STATUS is decimal.
#ifndef TESTS_SCRIPTED_SCRIPT_FORMAT_H
#define TESTS_SCRIPTED_SCRIPT_FORMAT_H

#include <cstdlib>
#include <string>
#include <string_view>

namespace scripted {

// Names the script file; the trace goes to a file of the same name plus ".trace".
inline constexpr char kScriptVariable[] = "NEVRA_SCRIPT";

// The prefix of a trace line that reports a misuse of the platform, and of a list that was never destroyed.
inline constexpr char kMisusePrefix[] = "!! ";
inline constexpr char kLeakPrefix[] = "!! leaked ";

// The last line of a trace whose process ran to its end.
inline constexpr char kEndOfTrace[] = "end";

inline std::string EncodeText(std::string_view text)
{
   static constexpr char kDigits[] = "0123456789abcdef";
   std::string encoded;
   for (const char c : text) {
      const unsigned char byte = static_cast<unsigned char>(c);
      if (byte > ' ' && byte < 0x7f && c != '%') {
         encoded += c;
      } else {
         encoded += {'%', kDigits[byte >> 4], kDigits[byte & 15]};
      }
   }
   return encoded;
}

inline std::string DecodeText(std::string_view encoded)
{
   std::string text;
   for (size_t i = 0; i < encoded.size(); i++) {
      if (encoded[i] == '%' && i + 2 < encoded.size()) {
         text += static_cast<char>(std::strtol(std::string(encoded.substr(i + 1, 2)).c_str(), nullptr, 16));
         i += 2;
      } else {
         text += encoded[i];
      }
   }
   return text;
}

} // namespace scripted

#endif
