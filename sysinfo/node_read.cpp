#include "sysinfo/node_read.h"

#include "sysinfo/status.h"

NevraStatus Fail(const FailureMessage &message, NevraStatus status)
{
   if (message.text == nullptr) {
      return status;
   }
   switch (message.ending) {
   case FailureMessage::Plain:
      Warning("%s%s\n", message.text, message.rest);
      break;
   case FailureMessage::Number:
      Warning("%s%s%u\n", message.text, message.rest, status);
      break;
   case FailureMessage::Reason:
      Warning("%s%s%s\n", message.text, message.rest, ORSKA_ReturnStatusToString(status));
      break;
   }
   return status;
}
