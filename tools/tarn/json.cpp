// Reports as JSON documents.
#include "json.h"

#include <algorithm>
#include <iterator>

#include "terminal.h"
#include "text.h"

template class nlohmann::basic_json<nlohmann::ordered_map>;

namespace tarn::tool {

void putName(Json &json, const std::string &key, const std::string &name)
{
    json[key] = name;
    if (!isUtf8(name)) {
        json[key + "_hex"] = hex(name);
    }
}

void putNames(Json &json, const std::string &key, const std::vector<std::string> &names)
{
    json[key] = names;
    if (!std::all_of(names.begin(), names.end(), isUtf8)) {
        Json digits = Json::array();
        std::transform(names.begin(), names.end(), std::back_inserter(digits), hex);
        json[key + "_hex"] = digits;
    }
}

void printJson(const Json &document)
{
    printOut(document.dump(2, ' ', false, Json::error_handler_t::replace) + "\n");
}

void setReport(Failure &failure, Json report)
{
    failure.report = std::make_shared<const Json>(std::move(report));
}

} // namespace tarn::tool
