// Reports as JSON documents. Only what makes one includes this: nlohmann-json is most of the compile time. For the same
// reason its members are compiled once, in json.cpp.
#pragma once

#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "exit_status.h"

extern template class nlohmann::basic_json<nlohmann::ordered_map>;

namespace tarn::tool {

// One document on stdout; bytes that are no UTF-8 appear as U+FFFD.
void printJson(const Json &document);

// Names of files and members: one that is no UTF-8 also comes as hexadecimal digits, in "<key>_hex".
void putName(Json &json, const std::string &key, const std::string &name);
void putNames(Json &json, const std::string &key, const std::vector<std::string> &names);

// What could be found out before the command failed.
void setReport(Failure &failure, Json report);

} // namespace tarn::tool
