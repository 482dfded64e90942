#include "nevra/linux/kernel_text.h"

#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "nevra/linux/group_ids.h"
#include "nevra/linux/vm_process.h"
#include "nevra/shown_text.h"

namespace {

using namespace nevra;

TEST(KernelText, NumbersStopAtTheirBounds)
{
   EXPECT_EQ(ParseNumber(" \t12 kB"), 12u);
   EXPECT_EQ(ParseNumber("18446744073709551616"), kUnlimited);
   EXPECT_EQ(ParseNumber("max"), std::nullopt);
   EXPECT_EQ(ParseNumber(""), std::nullopt);
   EXPECT_EQ(ParseNumber("-3"), std::nullopt);
   EXPECT_EQ(ParseSignedNumber("-1000\n"), -1000);
   EXPECT_EQ(ParseHexNumber("0xdead"), 0xdeadu);
   EXPECT_EQ(ParseHexNumber("5b\n"), 0x5bu);
   EXPECT_EQ(ParsePid("4194303"), kMaxPid);
   EXPECT_EQ(ParsePid("4194304"), std::nullopt);
   EXPECT_EQ(ParsePid("0"), std::nullopt);
   EXPECT_EQ(ParsePid("12x"), std::nullopt);
   EXPECT_EQ(AddClamped(kUnlimited - 1, 2), kUnlimited);
   EXPECT_EQ(MultiplyClamped(uint64_t{1} << 63, 2), kUnlimited);
   EXPECT_EQ(SubtractClamped(1, 2), 0u);
}

TEST(KernelText, KeyedFiguresAreFoundInAnyOrderAndForm)
{
   uint64_t a = 7;
   uint64_t b = 7;
   uint64_t c = 7;
   const KeyedFigure figures[] = {{"a", &a}, {"Active(anon)", &b}, {"c", &c}};
   EXPECT_EQ(ReadKeyedFigures("x 1\nActive(anon):   5 kB\n\nab 3\n  a\t2\nc\n", figures), 2u);
   EXPECT_EQ(a, 2u);
   EXPECT_EQ(b, 5u);
   EXPECT_EQ(c, 7u);
}

TEST(GroupIds, CgroupsAreNeverTakenForProcesses)
{
   EXPECT_EQ(CgroupIdOfInode(35), 35u);
   EXPECT_EQ(CgroupIdOfInode(0x40000000u), 0x40000000u) << "no process has the ID 0";
   EXPECT_EQ(CgroupIdOfInode(0x40000001u), 0x140000001u);
   EXPECT_EQ(CgroupIdOfInode(0x20000005u), 0x120000005u);
   EXPECT_EQ(CgroupIdOfInode(0x60000005u), 0x160000005u);
   EXPECT_EQ(CgroupIdOfInode(0x40400000u), 0x40400000u);
   EXPECT_EQ(CgroupIdOfInode(0xffffffffffffffffu), 0x7fffffffffffffffu);
   EXPECT_EQ(CgroupIdOfInode(0x8000000000000000u), 0x100000000u) << "never the root's";
}

TEST(ShownText, FillsTheFieldAndTerminatesIt)
{
   char field[8];
   std::fill(std::begin(field), std::end(field), 'x');
   StoreShownText(field, sizeof field, "12345678");
   EXPECT_STREQ(field, "1234567");
   StoreShownText(field, sizeof field, "");
   EXPECT_EQ(std::string(field, 8), std::string(8, '\0'));
   StoreShownText(field, sizeof field, std::string("a\0b", 3));
   EXPECT_STREQ(field, "a?b");
   StoreShownText(field, sizeof field, "\xed\xa0\x80");
   EXPECT_STREQ(field, "???");
   StoreShownText(field, sizeof field, "\xf0\x9f\x90\xa7");
   EXPECT_STREQ(field, "\xf0\x9f\x90\xa7");
   StoreShownText(field, sizeof field, "12345\xf0\x9f\x90\xa7");
   EXPECT_STREQ(field, "12345");
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
      EXPECT_EQ(Shown(shown), shown);
   }
   EXPECT_EQ(Shown("\x7f"), "?");
   EXPECT_EQ(Shown("\xc2\x80"), "??") << "a control character";
   EXPECT_EQ(Shown("\xc2\x9f"), "??");
   EXPECT_EQ(Shown("\xc1\xbf"), "??") << "longer than need be";
   EXPECT_EQ(Shown("\xe0\x9f\xbf"), "???");
   EXPECT_EQ(Shown("\xf0\x8f\xbf\xbf"), "????");
   EXPECT_EQ(Shown("\xed\xbf\xbf"), "???") << "half a pair";
   EXPECT_EQ(Shown("\xf4\x90\x80\x80"), "????") << "beyond the last character";
   EXPECT_EQ(Shown("\xf5\x80\x80\x80"), "????");
   EXPECT_EQ(Shown("\xe2\x82"), "??") << "cut short";
   EXPECT_EQ(Shown("\xe2\x82"
                   "a"),
             "??a");
   EXPECT_EQ(Shown("\xbf\xc3\xa9"), "?\xc3\xa9");
}

TEST(ShownText, NothingTurnsTheDirectionOrBreaksTheLine)
{
   for (const char *steering : {"\u2028", "\u2029", "\u202a", "\u202b", "\u202c", "\u202d", "\u202e",
                                "\u2066", "\u2067", "\u2068", "\u2069"}) {
      EXPECT_EQ(Shown(std::string("a") + steering + "b"), "a???b") << steering;
      EXPECT_FALSE(IsShownText(steering)) << steering;
   }
   for (const char *plain : {"\u2027", "\u202f", "\u2065", "\u206a", "\u00a0", "\u05d0"}) {
      EXPECT_EQ(Shown(plain), plain);
      EXPECT_TRUE(IsShownText(plain)) << plain;
   }
}

TEST(ShownText, ACopyIsAsLongAsTheText)
{
   EXPECT_EQ(nevra::ShownText("a\x1b[31m\n\u00e9\u0085\xff"), "a?[31m?\u00e9???");
   EXPECT_EQ(nevra::ShownText(std::string(5000, '\x7f')), std::string(5000, '?'));
   EXPECT_EQ(nevra::ShownText(""), "");
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
   EXPECT_EQ(Parse({"qemu", "-name", "web"}).name, "web");
   EXPECT_EQ(Parse({"qemu", "--name", "web,process=x"}).name, "web");
   EXPECT_EQ(Parse({"qemu", "-name", "debug-threads=on,guest=a,,b"}).name, "a,b");
   EXPECT_EQ(Parse({"qemu", "-name"}).name, "");
   EXPECT_EQ(Parse({"qemu", "-m", "512"}).memoryKB, 512u << 10);
   EXPECT_EQ(Parse({"qemu", "-m", "4G"}).memoryKB, 4u << 20);
   EXPECT_EQ(Parse({"qemu", "-m", "size=2048k"}).memoryKB, 2048u);
   EXPECT_EQ(Parse({"qemu", "-m", "1G,slots=2,maxmem=8g"}).largestMemoryKB, 8u << 20);
   EXPECT_EQ(Parse({"qemu", "-m", "3T"}).memoryKB, 3u << 30);
   EXPECT_EQ(Parse({"qemu", "-m", "4096b"}).memoryKB, 4u);
   EXPECT_EQ(Parse({"qemu", "-m", "4096T"}).memoryKB, uint64_t{1} << 42);
   for (const char *unbelievable :
        {"4097T", "99999999999T", "18446744073709551615T", "18446744073709551615K"}) {
      EXPECT_EQ(Parse({"qemu", "-m", unbelievable}).memoryKB, std::nullopt) << "sums must not overflow";
   }
   EXPECT_EQ(Parse({"qemu", "-m", "0.125G"}).memoryKB, 131072u);
   EXPECT_EQ(Parse({"qemu", "-m", "1.5"}).memoryKB, 1536u);
   EXPECT_EQ(Parse({"qemu", "-m", "2.G"}).memoryKB, 2u << 20);
   EXPECT_EQ(Parse({"qemu", "-m", "0.00000000000000000001T"}).memoryKB, 0u);
   EXPECT_EQ(Parse({"qemu", "-m", "slots=2,size=2G"}).memoryKB, 2u << 20);
   EXPECT_EQ(Parse({"qemu", "-m", "slots=2,4G"}).memoryKB, std::nullopt)
      << "only the first goes without its key";
   EXPECT_EQ(Parse({"qemu", "-m", "lots"}).memoryKB, std::nullopt);
   EXPECT_EQ(Parse({"qemu", "-m", "5X"}).memoryKB, std::nullopt);
   EXPECT_EQ(Parse({"qemu", "-readconfig", "/etc/vm.cfg"}).configPath, "/etc/vm.cfg");
}

TEST(VmCommand, MemoryIsMadeOfBackendsOrOfOnePiece)
{
   using testing::ElementsAre;
   EXPECT_THAT(Parse({"qemu", "-m", "512"}).piecesKB, ElementsAre(512u << 10));
   EXPECT_THAT(Parse({"qemu"}).piecesKB, ElementsAre());
   EXPECT_THAT(Parse({"qemu", "-m", "3G", "-object", "memory-backend-memfd,id=a,size=1G", "-object",
                      R"({"qom-type":"memory-backend-file","id":"b","size":2147483648,"share":true})",
                      "-numa", "node,memdev=a", "-numa", "node,memdev=b"})
                  .piecesKB,
               ElementsAre(1u << 20, 2u << 20));
   EXPECT_THAT(Parse({"qemu", "-m", "1G", "-M", "q35,memory-backend=a", "-object",
                      "memory-backend-ram,id=a,size=1073741824"})
                  .piecesKB,
               ElementsAre(1u << 20));
   EXPECT_THAT(Parse({"qemu", "-m", "1G", "-object", "memory-backend-ram,id=d,size=256M", "-device",
                      "pc-dimm,memdev=d", "-object", "iothread,id=t"})
                  .piecesKB,
               ElementsAre(256u << 10, 1u << 20))
      << "a DIMM beside the memory of -m";
   EXPECT_THAT(Parse({"qemu", "-m", "1G", "-object", "memory-backend-file,id=p,size=4G", "-device",
                      R"({"driver":"nvdimm","memdev":"p"})", "-object", "memory-backend-file,id=q,size=4G",
                      "-device", "nvdimm,memdev=q"})
                  .piecesKB,
               ElementsAre(1u << 20))
      << "persistent memory is none of the guest's RAM";
   EXPECT_THAT(Parse({"qemu", "-object", "memory-backend-ram,id=a", "-object", "", "-object", "{", "-device",
                      "{\"driver\":"})
                  .piecesKB,
               ElementsAre());
}

} // namespace
