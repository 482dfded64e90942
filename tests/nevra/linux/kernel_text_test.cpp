#include "nevra/linux/kernel_text.h"

#include <string>

#include <gtest/gtest.h>

#include "nevra/linux/group_ids.h"
#include "nevra/linux/vm_process.h"
#include "nevra/shown_text.h"

namespace {

using namespace nevra;

TEST(KernelText, NumbersStopAtTheirBounds)
{
   EXPECT_EQ(12u, ParseNumber(" \t12 kB"));
   EXPECT_EQ(kUnlimited, ParseNumber("18446744073709551616"));
   EXPECT_EQ(std::nullopt, ParseNumber("max"));
   EXPECT_EQ(std::nullopt, ParseNumber(""));
   EXPECT_EQ(std::nullopt, ParseNumber("-3"));
   EXPECT_EQ(-1000, ParseSignedNumber("-1000\n"));
   EXPECT_EQ(0xdeadu, ParseHexNumber("0xdead"));
   EXPECT_EQ(0x5bu, ParseHexNumber("5b\n"));
   EXPECT_EQ(kMaxPid, ParsePid("4194303"));
   EXPECT_EQ(std::nullopt, ParsePid("4194304"));
   EXPECT_EQ(std::nullopt, ParsePid("0"));
   EXPECT_EQ(std::nullopt, ParsePid("12x"));
   EXPECT_EQ(kUnlimited, AddClamped(kUnlimited - 1, 2));
   EXPECT_EQ(kUnlimited, MultiplyClamped(uint64_t{1} << 63, 2));
   EXPECT_EQ(0u, SubtractClamped(1, 2));
}

TEST(KernelText, KeyedFiguresAreFoundInAnyOrderAndForm)
{
   uint64_t a = 7;
   uint64_t b = 7;
   uint64_t c = 7;
   const KeyedFigure figures[] = {{"a", &a}, {"Active(anon)", &b}, {"c", &c}};
   EXPECT_EQ(2u, ReadKeyedFigures("x 1\nActive(anon):   5 kB\n\nab 3\n  a\t2\nc\n", figures));
   EXPECT_EQ(2u, a);
   EXPECT_EQ(5u, b);
   EXPECT_EQ(7u, c);
}

TEST(GroupIds, CgroupsAreNeverTakenForProcesses)
{
   EXPECT_EQ(35u, CgroupIdOfInode(35));
   EXPECT_EQ(0x40000000u, CgroupIdOfInode(0x40000000u)) << "no process has the ID 0";
   EXPECT_EQ(0x140000001u, CgroupIdOfInode(0x40000001u));
   EXPECT_EQ(0x120000005u, CgroupIdOfInode(0x20000005u));
   EXPECT_EQ(0x160000005u, CgroupIdOfInode(0x60000005u));
   EXPECT_EQ(0x40400000u, CgroupIdOfInode(0x40400000u));
   EXPECT_EQ(0x7fffffffffffffffu, CgroupIdOfInode(0xffffffffffffffffu));
   EXPECT_EQ(0x100000000u, CgroupIdOfInode(0x8000000000000000u)) << "never the root's";
}

TEST(ShownText, FillsTheFieldAndTerminatesIt)
{
   char field[8];
   std::fill(std::begin(field), std::end(field), 'x');
   StoreShownText(field, sizeof field, "12345678");
   EXPECT_STREQ("1234567", field);
   StoreShownText(field, sizeof field, "");
   EXPECT_EQ(std::string(8, '\0'), std::string(field, 8));
   StoreShownText(field, sizeof field, std::string("a\0b", 3));
   EXPECT_STREQ("a?b", field);
   StoreShownText(field, sizeof field, "\xed\xa0\x80");
   EXPECT_STREQ("???", field);
   StoreShownText(field, sizeof field, "\xf0\x9f\x90\xa7");
   EXPECT_STREQ("\xf0\x9f\x90\xa7", field);
   StoreShownText(field, sizeof field, "12345\xf0\x9f\x90\xa7");
   EXPECT_STREQ("12345", field);
}

TEST(ShownText, IsWhatStaysAsItIs)
{
   for (const char *text : {"", "plain", "caf\xc3\xa9 \xf0\x9f\x90\xa7 ~"}) {
      EXPECT_TRUE(IsShownText(text)) << text;
   }
   for (const char *text : {"\n", "a\x1b[2J", "a\x7f", "\xff", "plain \xc2\x9b", "cut \xf0\x9f\x90"}) {
      EXPECT_FALSE(IsShownText(text)) << text;
   }
   EXPECT_FALSE(IsShownText(std::string("a\0b", 3)));
}

// What is shown of the text in a field with room.
std::string Shown(std::string_view text)
{
   char field[64];
   StoreShownText(field, sizeof field, text);
   return field;
}

TEST(ShownText, OnlyWholeAndProperCharactersAreShown)
{
   // The first and the last of each length, and those around what is left out.
   for (const char *shown :
        {" ", "~", "\xc2\xa0", "\xc3\x80", "\xdf\xbf", "\xe0\xa0\x80", "\xec\x80\x80", "\xed\x9f\xbf",
         "\xee\x80\x80", "\xef\xbf\xbf", "\xf0\x90\x80\x80", "\xf1\x80\x80\x80", "\xf4\x8f\xbf\xbf"}) {
      EXPECT_EQ(shown, Shown(shown));
   }
   EXPECT_EQ("?", Shown("\x7f"));
   EXPECT_EQ("??", Shown("\xc2\x80")) << "a control character";
   EXPECT_EQ("??", Shown("\xc2\x9f"));
   EXPECT_EQ("??", Shown("\xc1\xbf")) << "longer than need be";
   EXPECT_EQ("???", Shown("\xe0\x9f\xbf"));
   EXPECT_EQ("????", Shown("\xf0\x8f\xbf\xbf"));
   EXPECT_EQ("???", Shown("\xed\xbf\xbf")) << "half a pair";
   EXPECT_EQ("????", Shown("\xf4\x90\x80\x80")) << "beyond the last character";
   EXPECT_EQ("????", Shown("\xf5\x80\x80\x80"));
   EXPECT_EQ("??", Shown("\xe2\x82")) << "cut short";
   EXPECT_EQ("??a", Shown("\xe2\x82"
                          "a"));
   EXPECT_EQ("?\xc3\xa9", Shown("\xbf\xc3\xa9"));
}

VmCommand Parse(std::initializer_list<const char *> words)
{
   std::string line;
   for (const char *word : words) {
      line += word;
      line += '\0';
   }
   return ParseVmCommand(line);
}

TEST(VmCommand, NameAndMemoryInEveryForm)
{
   EXPECT_EQ("web", Parse({"qemu", "-name", "web"}).name);
   EXPECT_EQ("web", Parse({"qemu", "--name", "web,process=x"}).name);
   EXPECT_EQ("a,b", Parse({"qemu", "-name", "debug-threads=on,guest=a,,b"}).name);
   EXPECT_EQ("", Parse({"qemu", "-name"}).name);
   EXPECT_EQ(512u << 10, Parse({"qemu", "-m", "512"}).memoryKB);
   EXPECT_EQ(4u << 20, Parse({"qemu", "-m", "4G"}).memoryKB);
   EXPECT_EQ(2048u, Parse({"qemu", "-m", "size=2048k"}).memoryKB);
   EXPECT_EQ(8u << 20, Parse({"qemu", "-m", "1G,slots=2,maxmem=8g"}).largestMemoryKB);
   EXPECT_EQ(3u << 30, Parse({"qemu", "-m", "3T"}).memoryKB);
   EXPECT_EQ(4u, Parse({"qemu", "-m", "4096b"}).memoryKB);
   EXPECT_EQ(kUnlimited, Parse({"qemu", "-m", "99999999999T"}).memoryKB);
   EXPECT_EQ(2u << 20, Parse({"qemu", "-m", "slots=2,size=2G"}).memoryKB);
   EXPECT_EQ(std::nullopt, Parse({"qemu", "-m", "slots=2,4G"}).memoryKB)
      << "only the first goes without its key";
   EXPECT_EQ(std::nullopt, Parse({"qemu", "-m", "lots"}).memoryKB);
   EXPECT_EQ(std::nullopt, Parse({"qemu", "-m", "5X"}).memoryKB);
   EXPECT_EQ("/etc/vm.cfg", Parse({"qemu", "-readconfig", "/etc/vm.cfg"}).configPath);
}

} // namespace
