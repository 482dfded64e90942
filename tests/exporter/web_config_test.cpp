// The web configuration, and passwords.
#include <map>
#include <string>

#include <gtest/gtest.h>

#include "exporter/listen_sockets.h"
#include "exporter/password_check.h"
#include "exporter/web_config.h"

namespace {

using exporter::PasswordCheck;
using exporter::ReadWebConfig;
using exporter::WebConfig;

// Of "tea", with the least work.
constexpr char kTeaHash[] = "$2b$04$p/oB3eJFleJ73j9TjiybT.mfLvvCL1ev3UpxHNubAJnG6rtqXHcye";
// Of no password, with 256 times that.
constexpr char kCostlyHash[] = "$2b$12$p/oB3eJFleJ73j9TjiybT.mfLvvCL1ev3UpxHNubAJnG6rtqXHcye";

std::string ProblemOf(const std::string &text)
{
   WebConfig config;
   std::string problem;
   return ReadWebConfig(text, "/nowhere", &config, &problem) ? "" : problem;
}

TEST(WebConfig, HasUsers)
{
   WebConfig config;
   std::string problem;
   const std::string text =
      std::string("basic_auth_users:\n  ann: ") + kTeaHash + "\n  bob: " + kTeaHash + "\n";
   ASSERT_TRUE(ReadWebConfig(text, "", &config, &problem)) << problem;
   EXPECT_EQ(config.users, (std::map<std::string, std::string>{{"ann", kTeaHash}, {"bob", kTeaHash}}));
   EXPECT_EQ(config.certificate, "");
}

TEST(WebConfig, MayBeEmpty)
{
   EXPECT_EQ(ProblemOf(""), "");
   EXPECT_EQ(ProblemOf("# nothing\n"), "");
}

TEST(WebConfig, RefusesWhatItDoesNotDo)
{
   EXPECT_EQ(ProblemOf("http_server_config:\n  http2: true\n"), "http_server_config is not supported");
   EXPECT_EQ(
      ProblemOf("tls_server_config:\n  cert_file: a\n  client_auth_type: RequireAndVerifyClientCert\n"),
      "tls_server_config: client_auth_type is not supported");
   EXPECT_EQ(ProblemOf("basic_auth_users:\n  ann: tea\n"),
             "basic_auth_users: the password of ann is not a bcrypt hash");
   EXPECT_EQ(ProblemOf(std::string("basic_auth_users:\n  ann: $2b$15") + (kTeaHash + 6)),
             "basic_auth_users: the hash of ann has a cost above 14: each check would take seconds");
   EXPECT_EQ(ProblemOf("basic_auth_users: {}\n"), "basic_auth_users has no user");
   EXPECT_EQ(ProblemOf("basic_auth_users:\n"), "basic_auth_users has no user");
   EXPECT_EQ(ProblemOf(std::string("basic_auth_users:\n  ann: ") + kTeaHash + "\n  ann: " + kTeaHash + "\n"),
             "basic_auth_users: ann is there twice");
   EXPECT_EQ(ProblemOf("tls_server_config:\n  key_file: k\n"), "tls_server_config: cert_file is missing");
   EXPECT_EQ(ProblemOf("tls_server_config:\n  cert_file: c\n  key_file: k\n"),
             "/nowhere/c: No such file or directory");
   EXPECT_EQ(ProblemOf("tls_server_config:\n"), "tls_server_config: cert_file is missing");
   EXPECT_EQ(ProblemOf("- a\n"), "is not a map");
   EXPECT_NE(ProblemOf("a: [\n"), "");
   EXPECT_NE(ProblemOf("? [a]\n: b\n"), "");
}

TEST(PasswordCheck, KnowsRightFromWrong)
{
   PasswordCheck check(std::map<std::string, std::string>{{"ann", kTeaHash}});
   auto now = PasswordCheck::Clock::now();
   const auto later = [&now] { return now += std::chrono::seconds(1); };
   EXPECT_EQ(check.Check("ann", "coffee", later()), PasswordCheck::Answer::Wrong);
   EXPECT_EQ(check.Check("bob", "tea", later()), PasswordCheck::Answer::Wrong);
   EXPECT_EQ(check.Check("ann", "tea", later()), PasswordCheck::Answer::Right);
   EXPECT_EQ(check.Check("ann", "", later()), PasswordCheck::Answer::Wrong);
   EXPECT_EQ(check.Check("ann", std::string("tea\0x", 5), later()), PasswordCheck::Answer::Wrong);
}

TEST(PasswordCheck, ChecksTenASecondAndThoseItKnowsAtAnyTime)
{
   PasswordCheck check(std::map<std::string, std::string>{{"ann", kTeaHash}});
   const auto now = PasswordCheck::Clock::now();
   EXPECT_EQ(check.Check("ann", "tea", now), PasswordCheck::Answer::Right);
   EXPECT_EQ(check.Check("ann", "coffee", now), PasswordCheck::Answer::TooSoon);
   EXPECT_EQ(check.Check("ann", "coffee", now + std::chrono::milliseconds(99)),
             PasswordCheck::Answer::TooSoon);
   EXPECT_EQ(check.Check("ann", "tea", now), PasswordCheck::Answer::Right);
   EXPECT_EQ(check.Check("ann", "coffee", now + std::chrono::minutes(1)), PasswordCheck::Answer::Wrong);
}

TEST(PasswordCheck, RestsAfterACostlyHashAndDoesSoForANameThatDoesNotExist)
{
   for (const char *name : {"ann", "eve"}) {
      PasswordCheck check({{"ann", kCostlyHash}, {"bob", kTeaHash}});
      const auto now = PasswordCheck::Clock::now();
      EXPECT_EQ(check.Check(name, "tea", now), PasswordCheck::Answer::Wrong) << name;
      EXPECT_EQ(check.Check("bob", "tea", now + std::chrono::milliseconds(200)),
                PasswordCheck::Answer::TooSoon)
         << name;
      EXPECT_EQ(check.Check("bob", "tea", now + std::chrono::minutes(1)), PasswordCheck::Answer::Right)
         << name;
   }
}

TEST(ListenOn, TakesAHostAndAPort)
{
   std::vector<nevra::FileDescriptor> sockets;
   std::string problem;
   for (const char *address :
        {"9947", "127.0.0.1", "127.0.0.1:", "127.0.0.1:x", "::1:9947", "127.0.0.1:70000", ":", ""}) {
      EXPECT_FALSE(exporter::ListenOn(address, &sockets, &problem)) << address;
      EXPECT_EQ(problem, "is not HOST:PORT") << address;
   }
   EXPECT_TRUE(sockets.empty());
   ASSERT_TRUE(exporter::ListenOn("127.0.0.1:0", &sockets, &problem)) << problem;
   EXPECT_TRUE(exporter::AddressOf(sockets.front().Get()).starts_with("127.0.0.1:"));
   ASSERT_TRUE(exporter::ListenOn(":0", &sockets, &problem)) << problem;
}

} // namespace
