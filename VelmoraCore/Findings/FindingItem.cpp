#include "Findings/FindingItem.hpp"

#include "Support/Hash.hpp"
#include "Support/IsoDate.hpp"
#include "Support/JsonHelpers.hpp"

#include <nlohmann/json.hpp>

namespace velmora {

void to_json(nlohmann::json& j, const FindingItem& item) {
    j = nlohmann::json::object();
    j["id"] = item.id;
    if (item.url)
        j["url"] = item.url->string();
    j["name"] = item.name;
    putOptional(j, "size", item.size);
    if (item.date)
        j["date"] = isoDateText(*item.date);
    putOptional(j, "detail", item.detail);
    putOptional(j, "blockingApp", item.blockingApp);
    putOptional(j, "watchedApp", item.watchedApp);
}

void from_json(const nlohmann::json& j, FindingItem& item) {
    j.at("id").get_to(item.id);
    std::optional<std::string> url;
    getOptional(j, "url", url);
    item.url = url ? std::optional<std::filesystem::path>(*url) : std::nullopt;
    j.at("name").get_to(item.name);
    getOptional(j, "size", item.size);
    std::optional<std::string> date;
    getOptional(j, "date", date);
    item.date.reset();
    if (date) {
        item.date = parseIsoDate(*date);
        if (!item.date)
            throw nlohmann::json::other_error::create(501, "date is not ISO 8601: " + *date, &j);
    }
    getOptional(j, "detail", item.detail);
    getOptional(j, "blockingApp", item.blockingApp);
    getOptional(j, "watchedApp", item.watchedApp);
}

} // namespace velmora

std::size_t std::hash<velmora::FindingItem>::operator()(const velmora::FindingItem& item) const noexcept {
    std::size_t seed = 0;
    velmora::hashField(seed, item.id);
    velmora::hashCombine(seed, item.url ? 1 : 0);
    if (item.url)
        velmora::hashCombine(seed, std::filesystem::hash_value(*item.url));
    velmora::hashField(seed, item.name);
    velmora::hashField(seed, item.size);
    velmora::hashCombine(seed, item.date ? 1 : 0);
    if (item.date)
        velmora::hashField(seed, item.date->time_since_epoch().count());
    velmora::hashField(seed, item.detail);
    velmora::hashField(seed, item.blockingApp);
    velmora::hashField(seed, item.watchedApp);
    return seed;
}
