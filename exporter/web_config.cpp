#include "exporter/web_config.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <initializer_list>
#include <memory>
#include <string_view>

#include <yaml-cpp/yaml.h>

#include "exporter/password_check.h"

namespace exporter {

namespace {

constexpr size_t kLargestFile = size_t{1} << 20;

bool ReadFile(const std::string &path, std::string *text, std::string *problem)
{
   const std::unique_ptr<FILE, decltype(&std::fclose)> file(std::fopen(path.c_str(), "re"), &std::fclose);
   if (file == nullptr) {
      *problem = path + ": " + std::strerror(errno);
      return false;
   }
   text->resize(kLargestFile + 1);
   text->resize(std::fread(text->data(), 1, text->size(), file.get()));
   if (std::ferror(file.get()) || text->size() > kLargestFile) {
      *problem = path + ": " + (std::ferror(file.get()) ? std::strerror(errno) : "is too large");
      return false;
   }
   return true;
}

// False, with a problem, for a map with another key, or with one twice; an empty `what` is the whole file.
// No value is an empty map.
bool HasOnly(const YAML::Node &map, const std::string &what, std::initializer_list<std::string_view> keys,
             std::string *problem)
{
   if (map.IsNull()) {
      return true;
   }
   if (!map.IsMap()) {
      *problem = (what.empty() ? "" : what + " ") + "is not a map";
      return false;
   }
   std::map<std::string, int> seen;
   for (const auto &entry : map) {
      const std::string key = entry.first.as<std::string>();
      if (keys.size() > 0 && std::find(keys.begin(), keys.end(), key) == keys.end()) {
         *problem = (what.empty() ? "" : what + ": ") + key + " is not supported";
         return false;
      }
      if (seen[key]++ > 0) {
         *problem = (what.empty() ? "" : what + ": ") + key + " is there twice";
         return false;
      }
   }
   return true;
}

bool ReadNamedFile(const YAML::Node &tls, const char *key, const std::string &folder, std::string *text,
                   std::string *problem)
{
   if (!tls[key] || tls[key].as<std::string>().empty()) {
      *problem = std::string("tls_server_config: ") + key + " is missing";
      return false;
   }
   return ReadFile(std::filesystem::path(folder) / tls[key].as<std::string>(), text, problem);
}

bool ReadTls(const YAML::Node &tls, const std::string &folder, WebConfig *config, std::string *problem)
{
   return HasOnly(tls, "tls_server_config", {"cert_file", "key_file"}, problem) &&
          ReadNamedFile(tls, "cert_file", folder, &config->certificate, problem) &&
          ReadNamedFile(tls, "key_file", folder, &config->key, problem);
}

bool ReadUsers(const YAML::Node &users, WebConfig *config, std::string *problem)
{
   if (!HasOnly(users, "basic_auth_users", {}, problem)) {
      return false;
   }
   for (const auto &entry : users) {
      const std::string name = entry.first.as<std::string>();
      const std::string hash = entry.second.as<std::string>();
      if (name.empty() || name.find(':') != std::string::npos) {
         *problem = "basic_auth_users: a name is empty or has a colon";
         return false;
      }
      if (!IsPasswordHash(hash)) {
         *problem = "basic_auth_users: the password of " + name + " is not a bcrypt hash";
         return false;
      }
      if (CostOf(hash) > kHighestCost) {
         *problem = "basic_auth_users: the hash of " + name + " has a cost above " +
                    std::to_string(kHighestCost) + ": each check would take seconds";
         return false;
      }
      config->users[name] = hash;
   }
   if (config->users.empty()) {
      *problem = "basic_auth_users has no user";
      return false;
   }
   return true;
}

} // namespace

bool ReadWebConfig(const std::string &text, const std::string &folder, WebConfig *config,
                   std::string *problem)
try {
   const YAML::Node file = YAML::Load(text);
   if (!HasOnly(file, "", {"tls_server_config", "basic_auth_users"}, problem)) {
      return false;
   }
   return (!file["tls_server_config"] || ReadTls(file["tls_server_config"], folder, config, problem)) &&
          (!file["basic_auth_users"] || ReadUsers(file["basic_auth_users"], config, problem));
} catch (const YAML::Exception &error) {
   *problem = error.what();
   return false;
}

bool ReadWebConfigFile(const std::string &path, WebConfig *config, std::string *problem)
{
   std::string text;
   return ReadFile(path, &text, problem) &&
          ReadWebConfig(text, std::filesystem::path(path).parent_path(), config, problem);
}

} // namespace exporter
