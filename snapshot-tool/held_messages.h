// Standard error, held back while a platform library is at work: what it says there of what it cannot read
// belongs into the snapshot too. What nobody took is said there after all.
#ifndef SNAPSHOT_TOOL_HELD_MESSAGES_H
#define SNAPSHOT_TOOL_HELD_MESSAGES_H

#include <cstdio>
#include <string>
#include <vector>

class HeldMessages {
 public:
   // `name` is the program's, which comes before what nobody took. Holds nothing where the system has
   // no memory for it.
   explicit HeldMessages(const char *name);
   ~HeldMessages();
   HeldMessages(const HeldMessages &) = delete;
   HeldMessages &operator=(const HeldMessages &) = delete;

   // Standard error as it was, for what is not to be held.
   FILE *Stream() const { return stream; }

   // What was held so far, line by line, without newlines. It is the caller's to say then.
   std::vector<std::string> Take();

 private:
   std::vector<std::string> Lines() const;
   void Say() const noexcept;

   const char *program;
   bool isTaken = false;
   int memory;
   FILE *stream;
};

#endif
