// Values of a JSON document by where they are.
#ifndef TESTS_OVERVIEW_PAGE_JSON_AT_H
#define TESTS_OVERVIEW_PAGE_JSON_AT_H

#include <string>

#include <gtest/gtest.h>
#include <rapidjson/document.h>
#include <rapidjson/pointer.h>

// JsonAt(data, "/tables/0/report"); null, and a failure, where there is nothing.
inline const rapidjson::Value &JsonAt(const rapidjson::Value &whole, const std::string &path)
{
   static const rapidjson::Value nothing;
   const rapidjson::Value *found = rapidjson::Pointer(path.c_str()).Get(whole);
   EXPECT_NE(found, nullptr) << path;
   return found != nullptr ? *found : nothing;
}

#endif
