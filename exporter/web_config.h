// The file of --web.config.file: TLS and passwords, in the form that exporters for Prometheus share.
#ifndef EXPORTER_WEB_CONFIG_H
#define EXPORTER_WEB_CONFIG_H

#include <map>
#include <string>

namespace exporter {

struct WebConfig {
   std::string certificate;                  // PEM; empty: no TLS
   std::string key;                          // PEM
   std::map<std::string, std::string> users; // name and bcrypt hash; empty: no password is asked for
};

// Reads the text of such a file. Relative paths in it are below `folder`. A key that is not known is an
// error, as is one that another exporter knows and this one does not: nobody is to believe himself protected
// by it.
bool ReadWebConfig(const std::string &text, const std::string &folder, WebConfig *config,
                   std::string *problem);
bool ReadWebConfigFile(const std::string &path, WebConfig *config, std::string *problem);

} // namespace exporter

#endif
