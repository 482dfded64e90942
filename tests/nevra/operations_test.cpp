// The exported operations of the library: parameter lists, the checks before a source is asked, and
// diagnostics.
#include <climits>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "nevra/definitions.h"
#include "nevra/nevra.h"
#include "nevra/records.h"

namespace {

struct Destroyer {
   void operator()(Nevra_ParamList *list) const { Nevra_ParamListDestroy(list); }
};
using ListPtr = std::unique_ptr<Nevra_ParamList, Destroyer>;

ListPtr MakeList(int kind = NEVRA_LIST_INSTANCE, uint32_t capacity = 2)
{
   return ListPtr(Nevra_ParamListCreate(kind, capacity));
}

// ---- parameter lists

TEST(ParamList, IsMadeForTheTwoKindsOnly)
{
   EXPECT_NE(MakeList(NEVRA_LIST_VALUES, 1), nullptr);
   EXPECT_NE(MakeList(NEVRA_LIST_INSTANCE, 1), nullptr);
   for (const int kind : {NEVRA_LIST_VALUES, NEVRA_LIST_INSTANCE}) {
      EXPECT_NE(ListPtr(Nevra_ParamListCreateAndAllocateParams(kind, 1, 1)), nullptr);
   }
   for (const int kind : {-1, 2, INT_MAX, INT_MIN}) {
      EXPECT_EQ(MakeList(kind, 1), nullptr);
      EXPECT_EQ(Nevra_ParamListCreateAndAllocateParams(kind, 1, 1), nullptr);
   }
}

TEST(ParamList, KeepsItsEntriesInOrder)
{
   const ListPtr list = MakeList();
   EXPECT_EQ(Nevra_ParamListUsedCount(list.get()), 0U);
   EXPECT_EQ(Nevra_ParamListAddInt(list.get(), INT64_MIN), 0U);
   EXPECT_EQ(Nevra_ParamListAddString(list.get(), "text"), 0U);
   EXPECT_EQ(Nevra_ParamListUsedCount(list.get()), 2U);
   int64_t number = 0;
   const char *text = nullptr;
   EXPECT_EQ(Nevra_ParamListGetInt64(list.get(), 0, &number), 0U);
   EXPECT_EQ(number, INT64_MIN);
   EXPECT_EQ(Nevra_ParamListGetString(list.get(), 1, &text), 0U);
   EXPECT_STREQ(text, "text");
}

TEST(ParamList, GrowsPastItsCapacity)
{
   const ListPtr list = MakeList(NEVRA_LIST_INSTANCE, 1);
   for (int64_t i = 0; i < 1000; i++) {
      ASSERT_EQ(Nevra_ParamListAddInt(list.get(), i), 0U);
   }
   int64_t number = 0;
   EXPECT_EQ(Nevra_ParamListGetInt64(list.get(), 999, &number), 0U);
   EXPECT_EQ(number, 999);
}

TEST(ParamList, IsBoundedWhenItsStorageIsAllocatedAtOnce)
{
   const ListPtr list(Nevra_ParamListCreateAndAllocateParams(NEVRA_LIST_INSTANCE, 99, 12672));
   for (int i = 0; i < 99; i++) {
      ASSERT_EQ(Nevra_ParamListAddString(list.get(), std::string(200, 'x').c_str()), 0U);
   }
   EXPECT_EQ(Nevra_ParamListAddInt(list.get(), 1), NEVRA_LIMIT_EXCEEDED);
   EXPECT_EQ(Nevra_ParamListAddString(list.get(), "x"), NEVRA_LIMIT_EXCEEDED);
   EXPECT_EQ(Nevra_ParamListUsedCount(list.get()), 99U);
   EXPECT_EQ(Nevra_ParamListRemoveLastParam(list.get()), 0U);
   EXPECT_EQ(Nevra_ParamListAddInt(list.get(), 1), 0U);
}

TEST(ParamList, CopiesItsTexts)
{
   const ListPtr list = MakeList();
   std::string text = "before";
   EXPECT_EQ(Nevra_ParamListAddString(list.get(), text.c_str()), 0U);
   text.assign("behind");
   const char *kept = nullptr;
   EXPECT_EQ(Nevra_ParamListGetString(list.get(), 0, &kept), 0U);
   EXPECT_STREQ(kept, "before");
   // It stays where it is, whatever is added.
   for (int i = 0; i < 5000; i++) {
      ASSERT_EQ(Nevra_ParamListAddString(list.get(), ("text " + std::to_string(i)).c_str()), 0U);
   }
   EXPECT_STREQ(kept, "before");
   EXPECT_EQ(Nevra_ParamListGetString(list.get(), 5000, &kept), 0U);
   EXPECT_STREQ(kept, "text 4999");
}

TEST(ParamList, TakesEmptyAndLongTexts)
{
   const ListPtr list = MakeList();
   const std::string longText(100000, 'l');
   EXPECT_EQ(Nevra_ParamListAddString(list.get(), ""), 0U);
   EXPECT_EQ(Nevra_ParamListAddString(list.get(), longText.c_str()), 0U);
   const char *text = nullptr;
   EXPECT_EQ(Nevra_ParamListGetString(list.get(), 0, &text), 0U);
   EXPECT_STREQ(text, "");
   EXPECT_EQ(Nevra_ParamListGetString(list.get(), 1, &text), 0U);
   EXPECT_EQ(text, longText);
}

TEST(ParamList, RemovesTheLastEntry)
{
   const ListPtr list = MakeList();
   EXPECT_EQ(Nevra_ParamListRemoveLastParam(list.get()), NEVRA_NOT_FOUND);
   Nevra_ParamListAddInt(list.get(), 1);
   Nevra_ParamListAddString(list.get(), "two");
   EXPECT_EQ(Nevra_ParamListRemoveLastParam(list.get()), 0U);
   EXPECT_EQ(Nevra_ParamListUsedCount(list.get()), 1U);
   const char *text = nullptr;
   EXPECT_EQ(Nevra_ParamListGetString(list.get(), 1, &text), NEVRA_NOT_FOUND);
   EXPECT_EQ(text, nullptr);
   EXPECT_EQ(Nevra_ParamListRemoveLastParam(list.get()), 0U);
   EXPECT_EQ(Nevra_ParamListRemoveLastParam(list.get()), NEVRA_NOT_FOUND);
}

TEST(ParamList, AnyNumberOfThemLiveAtOnce)
{
   std::vector<ListPtr> lists;
   for (int64_t i = 0; i < 200; i++) {
      lists.push_back(MakeList());
      ASSERT_EQ(Nevra_ParamListAddInt(lists.back().get(), i), 0U);
   }
   for (int64_t i = 0; i < 200; i++) {
      int64_t number = -1;
      EXPECT_EQ(Nevra_ParamListGetInt64(lists[static_cast<size_t>(i)].get(), 0, &number), 0U);
      EXPECT_EQ(number, i);
   }
}

TEST(ParamList, ChecksTheTypeOfAnEntry)
{
   const ListPtr list = MakeList();
   Nevra_ParamListAddInt(list.get(), 5);
   Nevra_ParamListAddString(list.get(), "5");
   int64_t wide = 77;
   int32_t narrow = 77;
   uint32_t natural = 77;
   const char *text = nullptr;
   EXPECT_EQ(Nevra_ParamListGetString(list.get(), 0, &text), NEVRA_BAD_PARAMETER);
   EXPECT_EQ(Nevra_ParamListGetInt64(list.get(), 1, &wide), NEVRA_BAD_PARAMETER);
   EXPECT_EQ(Nevra_ParamListGetInt32(list.get(), 1, &narrow), NEVRA_BAD_PARAMETER);
   EXPECT_EQ(Nevra_ParamListGetUInt32(list.get(), 1, &natural), NEVRA_BAD_PARAMETER);
   EXPECT_EQ(wide, 77);
   EXPECT_EQ(narrow, 77);
   EXPECT_EQ(natural, 77U);
   EXPECT_EQ(text, nullptr);
}

TEST(ParamList, ChecksTheWidthOfANumber)
{
   const ListPtr list = MakeList();
   const int64_t kNumbers[] = {
      0,         -1,       INT32_MAX, INT32_MIN, int64_t{INT32_MAX} + 1, UINT32_MAX, int64_t{UINT32_MAX} + 1,
      INT64_MIN, INT64_MAX};
   uint32_t index = 0;
   for (const int64_t number : kNumbers) {
      Nevra_ParamListAddInt(list.get(), number);
      int64_t wide;
      int32_t narrow;
      uint32_t natural;
      EXPECT_EQ(Nevra_ParamListGetInt64(list.get(), index, &wide), 0U);
      EXPECT_EQ(wide, number);
      const bool isNarrow = number >= INT32_MIN && number <= INT32_MAX;
      EXPECT_EQ(Nevra_ParamListGetInt32(list.get(), index, &narrow), isNarrow ? 0U : NEVRA_BAD_PARAMETER);
      const bool isNatural = number >= 0 && number <= UINT32_MAX;
      EXPECT_EQ(Nevra_ParamListGetUInt32(list.get(), index, &natural), isNatural ? 0U : NEVRA_BAD_PARAMETER);
      if (isNarrow) {
         EXPECT_EQ(narrow, number);
      }
      if (isNatural) {
         EXPECT_EQ(natural, number);
      }
      index++;
   }
}

TEST(ParamList, HasNothingPastItsEnd)
{
   const ListPtr list = MakeList(NEVRA_LIST_INSTANCE, 10);
   Nevra_ParamListAddInt(list.get(), 5);
   for (const uint32_t index : {1U, 2U, 9U, 10U, UINT32_MAX}) {
      int64_t wide;
      int32_t narrow;
      uint32_t natural;
      const char *text;
      EXPECT_EQ(Nevra_ParamListGetInt64(list.get(), index, &wide), NEVRA_NOT_FOUND);
      EXPECT_EQ(Nevra_ParamListGetInt32(list.get(), index, &narrow), NEVRA_NOT_FOUND);
      EXPECT_EQ(Nevra_ParamListGetUInt32(list.get(), index, &natural), NEVRA_NOT_FOUND);
      EXPECT_EQ(Nevra_ParamListGetString(list.get(), index, &text), NEVRA_NOT_FOUND);
      EXPECT_EQ(Nevra_ParamListGetParam(list.get(), index), nullptr);
   }
}

TEST(ParamList, GivesItsEntriesThemselves)
{
   const ListPtr list = MakeList();
   Nevra_ParamListAddInt(list.get(), -5);
   Nevra_ParamListAddString(list.get(), "text");
   EXPECT_EQ(Nevra_ParamGetInt(Nevra_ParamListGetParam(list.get(), 0)), -5);
   EXPECT_EQ(Nevra_ParamGetInt(Nevra_ParamListGetParam(list.get(), 1)), 0);
}

TEST(ParamList, RefusesNull)
{
   const ListPtr list = MakeList();
   Nevra_ParamListAddInt(list.get(), 1);
   int64_t wide;
   int32_t narrow;
   uint32_t natural;
   const char *text;
   EXPECT_EQ(Nevra_ParamListAddInt(nullptr, 1), NEVRA_BAD_PARAMETER);
   EXPECT_EQ(Nevra_ParamListAddString(nullptr, "x"), NEVRA_BAD_PARAMETER);
   EXPECT_EQ(Nevra_ParamListAddString(list.get(), nullptr), NEVRA_BAD_PARAMETER);
   EXPECT_EQ(Nevra_ParamListRemoveLastParam(nullptr), NEVRA_BAD_PARAMETER);
   EXPECT_EQ(Nevra_ParamListGetInt64(nullptr, 0, &wide), NEVRA_BAD_PARAMETER);
   EXPECT_EQ(Nevra_ParamListGetInt32(nullptr, 0, &narrow), NEVRA_BAD_PARAMETER);
   EXPECT_EQ(Nevra_ParamListGetUInt32(nullptr, 0, &natural), NEVRA_BAD_PARAMETER);
   EXPECT_EQ(Nevra_ParamListGetString(nullptr, 0, &text), NEVRA_BAD_PARAMETER);
   EXPECT_EQ(Nevra_ParamListGetInt64(list.get(), 0, nullptr), NEVRA_BAD_PARAMETER);
   EXPECT_EQ(Nevra_ParamListGetString(list.get(), 0, nullptr), NEVRA_BAD_PARAMETER);
   EXPECT_EQ(Nevra_ParamListUsedCount(nullptr), 0U);
   EXPECT_EQ(Nevra_ParamListGetParam(nullptr, 0), nullptr);
   EXPECT_EQ(Nevra_ParamGetInt(nullptr), 0);
   Nevra_ParamListDestroy(nullptr);
}

TEST(ParamList, StartsEmptyWhenItIsMadeAgain)
{
   for (int round = 0; round < 200; round++) {
      const ListPtr one = MakeList(round % 2, 3);
      const ListPtr other = MakeList(NEVRA_LIST_INSTANCE, 3);
      ASSERT_NE(one, other);
      EXPECT_EQ(Nevra_ParamListUsedCount(one.get()), 0U);
      for (int i = 0; i < round; i++) {
         Nevra_ParamListAddString(one.get(), "text");
         Nevra_ParamListAddInt(other.get(), i);
      }
      EXPECT_EQ(Nevra_ParamListUsedCount(one.get()), static_cast<uint32_t>(round));
   }
}

// ---- the checks before a source is asked

// A list of these types of key, 'i' or 's'.
ListPtr MakeKeys(const std::string &types, int kind = NEVRA_LIST_INSTANCE)
{
   ListPtr list = MakeList(kind);
   for (const char type : types) {
      if (type == 's') {
         Nevra_ParamListAddString(list.get(), "no such key");
      } else {
         Nevra_ParamListAddInt(list.get(), -987654321);
      }
   }
   return list;
}

std::string KeyTypes(std::span<const nevra::KeyDomain> keys)
{
   std::string types;
   for (const nevra::KeyDomain key : keys) {
      types += nevra::IsTextKey(key) ? 's' : 'i';
   }
   return types;
}

// What has the wrong number of keys, or one of the wrong type.
std::vector<std::string> WrongKeys(const std::string &right)
{
   std::vector<std::string> wrong = {right + 'i', right + 's'};
   if (!right.empty()) {
      wrong.push_back(right.substr(1));
   }
   for (size_t i = 0; i < right.size(); i++) {
      std::string other = right;
      other[i] = right[i] == 'i' ? 's' : 'i';
      wrong.push_back(other);
   }
   return wrong;
}

const NevraNode kIdentifiers[] = {
#define IDENTIFIER(node, ...) NEVRA_NODE_##node,
   NEVRA_NODES(IDENTIFIER)
#undef IDENTIFIER
};

TEST(Operations, GiveEachNodeAnIdentifierOfItsOwn)
{
   size_t index = 0;
   for (const NevraNode node : kIdentifiers) {
      ASSERT_NE(node, nullptr);
      EXPECT_STREQ(node->path, nevra::Definitions()[index].path);
      index++;
   }
}

TEST(Operations, RefuseKeysThatAreNotTheNodes)
{
   char record[4096];
   for (const NevraNode node : kIdentifiers) {
      for (const std::string &wrong : WrongKeys(KeyTypes(node->recordKeys))) {
         const ListPtr keys = MakeKeys(wrong);
         EXPECT_EQ(Nevra_Get(node, keys.get(), record, node->record != nullptr ? node->record->size : 8),
                   NEVRA_BAD_PARAMETER)
            << node->path << ' ' << wrong;
      }
      for (const std::string &wrong : WrongKeys(KeyTypes(node->listKeys))) {
         const ListPtr keys = MakeKeys(wrong);
         const ListPtr into = MakeList();
         Nevra_ParamList *made = into.get();
         EXPECT_EQ(Nevra_GetInstanceList(node, keys.get(), into.get()), NEVRA_BAD_PARAMETER);
         EXPECT_EQ(Nevra_GetInstanceListAlloc(node, keys.get(), &made), NEVRA_BAD_PARAMETER);
         EXPECT_EQ(Nevra_GetInstanceListAllocHint(node, keys.get(), 5, &made), NEVRA_BAD_PARAMETER);
         EXPECT_EQ(made, into.get()) << "left as it was";
         EXPECT_EQ(Nevra_ParamListUsedCount(into.get()), 0U);
      }
   }
}

TEST(Operations, RefuseARecordOfAnotherSize)
{
   char record[4096];
   for (const NevraNode node : kIdentifiers) {
      const ListPtr keys = MakeKeys(KeyTypes(node->recordKeys));
      const size_t size = node->record != nullptr ? node->record->size : 8;
      EXPECT_EQ(Nevra_Get(node, keys.get(), record, size + 1), NEVRA_BAD_PARAMETER) << node->path;
      EXPECT_EQ(Nevra_Get(node, keys.get(), record, size - 1), NEVRA_BAD_PARAMETER) << node->path;
      EXPECT_EQ(Nevra_Get(node, keys.get(), record, 0), NEVRA_BAD_PARAMETER) << node->path;
   }
}

TEST(Operations, RefuseListsOfAnotherKind)
{
   char record[4096];
   for (const NevraNode node : kIdentifiers) {
      const ListPtr keys = MakeKeys(KeyTypes(node->recordKeys), NEVRA_LIST_VALUES);
      const size_t size = node->record != nullptr ? node->record->size : 8;
      EXPECT_EQ(Nevra_Get(node, keys.get(), record, size), NEVRA_BAD_PARAMETER) << node->path;
   }
   const NevraNode reg = NEVRA_NODE_hardware_pci_seg_bus_slot_func_pciConfigReg_size_addr;
   const ListPtr keys = MakeKeys("iiiiii");
   EXPECT_EQ(Nevra_Set(reg, keys.get(), keys.get(), 0, 0), NEVRA_BAD_PARAMETER);
   EXPECT_EQ(Nevra_Set(reg, keys.get(), nullptr, 0, 0), NEVRA_BAD_PARAMETER);
}

TEST(Operations, SetNothingButARegister)
{
   const ListPtr values = MakeKeys("i", NEVRA_LIST_VALUES);
   for (const NevraNode node : kIdentifiers) {
      if (!node->settable) {
         const ListPtr keys = MakeKeys(KeyTypes(node->recordKeys));
         EXPECT_EQ(Nevra_Set(node, keys.get(), values.get(), 0, 0), NEVRA_BAD_PARAMETER) << node->path;
      }
   }
}

TEST(Operations, RefuseNull)
{
   const ListPtr keys = MakeKeys("i");
   Nevra_ParamList *made = nullptr;
   char record[64];
   EXPECT_EQ(Nevra_Get(nullptr, keys.get(), record, sizeof record), NEVRA_BAD_PARAMETER);
   EXPECT_EQ(Nevra_Get(NEVRA_NODE_sched_groups_groupName, keys.get(), nullptr, 64), NEVRA_BAD_PARAMETER);
   EXPECT_EQ(Nevra_Get(NEVRA_NODE_sched_groups_groupName, nullptr, record, 64), NEVRA_BAD_PARAMETER);
   EXPECT_EQ(Nevra_Set(nullptr, keys.get(), keys.get(), 0, 0), NEVRA_BAD_PARAMETER);
   EXPECT_EQ(Nevra_GetInstanceList(nullptr, keys.get(), keys.get()), NEVRA_BAD_PARAMETER);
   EXPECT_EQ(Nevra_GetInstanceList(NEVRA_NODE_sched_groups_members_groups, keys.get(), nullptr),
             NEVRA_BAD_PARAMETER);
   EXPECT_EQ(Nevra_GetInstanceListAlloc(nullptr, keys.get(), &made), NEVRA_BAD_PARAMETER);
   EXPECT_EQ(Nevra_GetInstanceListAlloc(NEVRA_NODE_sched_groups_members_groups, keys.get(), nullptr),
             NEVRA_BAD_PARAMETER);
   EXPECT_EQ(Nevra_GetInstanceListAlloc(NEVRA_NODE_sched_groups_members_groups, nullptr, &made),
             NEVRA_BAD_PARAMETER);
   EXPECT_EQ(Nevra_UseCache(nullptr, 0), NEVRA_BAD_PARAMETER);
   EXPECT_EQ(Nevra_UseCache("file", 1), NEVRA_BAD_PARAMETER);
   char build[21];
   const char *appBuild;
   EXPECT_EQ(Nevra_CheckSig(nullptr, 21, &appBuild), NEVRA_BAD_PARAMETER);
   EXPECT_EQ(Nevra_CheckSig(build, 0, &appBuild), NEVRA_BAD_PARAMETER);
   EXPECT_EQ(Nevra_CheckSig(build, 21, nullptr), NEVRA_BAD_PARAMETER);
   EXPECT_EQ(made, nullptr);
}

TEST(Operations, MatchTheRunningKernelsDefinitions)
{
   char build[21] = "untouched";
   const char *appBuild = nullptr;
   EXPECT_EQ(Nevra_CheckSig(build, sizeof build, &appBuild), 0U);
   EXPECT_STREQ(build, "untouched");
   EXPECT_EQ(appBuild, nullptr);
}

// ---- diagnostics and text

// Standard error as a socket that keeps each write apart.
class WarningTest : public testing::Test {
 protected:
   void SetUp() override
   {
      ASSERT_EQ(socketpair(AF_UNIX, SOCK_SEQPACKET, 0, ends), 0);
      const int room = 1 << 20;
      setsockopt(ends[0], SOL_SOCKET, SO_SNDBUF, &room, sizeof room);
      saved = dup(STDERR_FILENO);
      dup2(ends[0], STDERR_FILENO);
   }
   void TearDown() override
   {
      Restore();
      close(ends[0]);
      close(ends[1]);
   }
   void Restore()
   {
      if (saved >= 0) {
         dup2(saved, STDERR_FILENO);
         close(saved);
         saved = -1;
      }
   }
   std::vector<std::string> Writes()
   {
      Restore();
      std::vector<std::string> writes;
      std::string buffer(1 << 20, '\0');
      ssize_t length;
      while ((length = recv(ends[1], buffer.data(), buffer.size(), MSG_DONTWAIT)) >= 0) {
         writes.push_back(buffer.substr(0, static_cast<size_t>(length)));
      }
      return writes;
   }

   int ends[2];
   int saved = -1;
};

TEST_F(WarningTest, WritesOneMessageInOneWrite)
{
   Warning("%s() failure, error code: %u\n", "Operation", 0xbad0003U);
   Warning("no newline");
   EXPECT_EQ(Writes(),
             (std::vector<std::string>{"Operation() failure, error code: 195887107\n", "no newline"}));
}

TEST_F(WarningTest, WritesALongMessageWhole)
{
   std::vector<std::string> expected;
   for (const size_t length : {1022U, 1023U, 1024U, 1025U, 20000U}) {
      expected.emplace_back(length, 'w');
      Warning("%s", expected.back().c_str());
   }
   EXPECT_EQ(Writes(), expected);
}

TEST_F(WarningTest, ShowsNothingThatSteersATerminal)
{
   Warning("\nInvalid %s\n", "\x1b[2J a\nb\t\u009b\u202e\xff\u00e9");
   Warning("%s\n", (std::string(2000, 'w') + '\x7f').c_str());
   Warning("\n");
   Warning("%s", "a\n");
   EXPECT_EQ(Writes(), (std::vector<std::string>{"\nInvalid ?[2J a?b???????\u00e9\n",
                                                 std::string(2000, 'w') + "?\n", "\n", "a?"}));
}

TEST_F(WarningTest, DropsWhatCannotBeWritten)
{
   const int full = open("/dev/full", O_WRONLY | O_CLOEXEC);
   dup2(full, STDERR_FILENO);
   close(full);
   Warning("lost\n");
   dup2(ends[0], STDERR_FILENO);
   Warning("next\n");
   EXPECT_EQ(Writes(), std::vector<std::string>{"next\n"});
}

// Standard error that blocks, until a signal has come a few times.
int blockedPipe[2];
int alarms;

void ReadAtTheThirdAlarm(int)
{
   char bytes[8192];
   if (++alarms >= 3 && read(blockedPipe[0], bytes, sizeof bytes) < 0) {
      alarms = 0;
   }
}

TEST_F(WarningTest, IsWrittenWholeWhenSignalsComeBetween)
{
   ASSERT_EQ(pipe2(blockedPipe, O_CLOEXEC), 0);
   const int room = fcntl(blockedPipe[1], F_SETPIPE_SZ, 4096);
   ASSERT_GT(room, 0);
   fcntl(blockedPipe[0], F_SETFL, O_NONBLOCK);
   const std::string full(static_cast<size_t>(room), 'f');
   ASSERT_EQ(write(blockedPipe[1], full.data(), full.size()), room);
   dup2(blockedPipe[1], STDERR_FILENO);
   struct sigaction action = {};
   struct sigaction former = {};
   action.sa_handler = ReadAtTheThirdAlarm; // no SA_RESTART: the write is interrupted
   ASSERT_EQ(sigaction(SIGALRM, &action, &former), 0);
   const itimerval often = {{0, 20000}, {0, 20000}};
   ASSERT_EQ(setitimer(ITIMER_REAL, &often, nullptr), 0);
   Warning("%s\n", std::string(3 * full.size(), 'w').c_str());
   const itimerval never = {};
   setitimer(ITIMER_REAL, &never, nullptr);
   sigaction(SIGALRM, &former, nullptr);
   Restore();
   EXPECT_GE(alarms, 3);
   char last[8192] = {};
   const ssize_t length = read(blockedPipe[0], last, sizeof last - 1);
   ASSERT_GT(length, 0);
   EXPECT_EQ(last[length - 1], '\n') << "the end of the message";
   close(blockedPipe[0]);
   close(blockedPipe[1]);
}

TEST(StrStrcpy, CopiesWhatFitsAndEndsIt)
{
   char text[8];
   for (size_t size = 1; size <= sizeof text; size++) {
      std::memset(text, 'z', sizeof text);
      EXPECT_EQ(Str_Strcpy(text, "abcdefghij", size), text);
      EXPECT_EQ(std::string(text), std::string("abcdefghij").substr(0, size - 1));
      if (size < sizeof text) {
         EXPECT_EQ(text[size], 'z') << "beyond the destination";
      }
   }
   EXPECT_STREQ(Str_Strcpy(text, "", sizeof text), "");
   EXPECT_STREQ(Str_Strcpy(text, "abc", sizeof text), "abc");
   EXPECT_EQ(Str_Strcpy(text, "xyz", 0), text);
   EXPECT_STREQ(text, "abc");
}

// ---- cache files; each stays for all that follows

TEST(UseCache, RefusesWhatItDoesNotKnow)
{
   EXPECT_EQ(Nevra_UseCache(nullptr, 0), NEVRA_BAD_PARAMETER);
   EXPECT_EQ(Nevra_UseCache(SAMPLE_SNAPSHOT, 1), NEVRA_BAD_PARAMETER);
}

TEST(UseCache, TextsOfAListOutliveTheCacheTheyCameFrom)
{
   const auto heaps = [] {
      Nevra_ParamList *list = nullptr;
      EXPECT_EQ(Nevra_GetInstanceListAlloc(NEVRA_NODE_system_heaps, nullptr, &list), 0U);
      return ListPtr(list);
   };
   const auto first = [](const ListPtr &list) {
      const char *text = "";
      EXPECT_EQ(Nevra_ParamListGetString(list.get(), 0, &text), 0U);
      return std::string(text);
   };
   ASSERT_EQ(Nevra_UseCache(SAMPLE_SNAPSHOT, 0), 0U);
   const ListPtr list = heaps();
   const std::string name = first(list);
   EXPECT_NE(name, "");
   ASSERT_EQ(Nevra_UseCache(SAMPLE_SNAPSHOT, 0), 0U);
   EXPECT_EQ(first(list), name);
   EXPECT_EQ(first(heaps()), name);
   EXPECT_EQ(Nevra_UseCache("/nonexistent/snapshot", 0), NEVRA_NOT_FOUND);
   EXPECT_EQ(first(heaps()), name) << "a cache that cannot be opened leaves the one before";
}

// ---- the live kernel

void ListGroupsWithoutDescriptors()
{
   const rlimit none = {3, 3};
   const bool isSet = setrlimit(RLIMIT_NOFILE, &none) == 0;
   const ListPtr root = MakeList();
   Nevra_ParamListAddInt(root.get(), 0);
   Nevra_ParamList *members = nullptr;
   const NevraStatus status =
      Nevra_GetInstanceListAlloc(NEVRA_NODE_sched_groups_members_groups, root.get(), &members);
   _exit(isSet && status == NEVRA_TOO_MANY_OPEN_FILES && members == nullptr ? 0 : 1);
}

TEST(LiveKernelDeathTest, WithoutDescriptorsThereAreNoGroupsButAnError)
{
   GTEST_FLAG_SET(death_test_style, "threadsafe"); // a process that has read nothing yet
   EXPECT_EXIT(ListGroupsWithoutDescriptors(), testing::ExitedWithCode(0), "");
}

void ListHeapsTwiceAsNobody()
{
   bool isRefused = setgid(65534) == 0 && setuid(65534) == 0;
   for (int time = 0; time < 2; time++) {
      Nevra_ParamList *heaps = nullptr;
      isRefused &= Nevra_GetInstanceListAlloc(NEVRA_NODE_system_heaps, nullptr, &heaps) == NEVRA_NOT_FOUND;
   }
   _exit(isRefused ? 0 : 1);
}

TEST(LiveKernelDeathTest, WhatTheKernelRefusesIsSaidOnce)
{
   if (geteuid() != 0) {
      GTEST_SKIP() << "becomes another user, which only root can";
   }
   GTEST_FLAG_SET(death_test_style, "threadsafe");
   EXPECT_EXIT(ListHeapsTwiceAsNobody(), testing::ExitedWithCode(0),
               "^/proc/slabinfo: Permission denied; heaps are not shown\n$");
}

} // namespace
