#include "Check/CheckAlert.hpp"

#include "Support/JsonHelpers.hpp"

#include <nlohmann/json.hpp>

namespace velmora {

void to_json(nlohmann::json& j, const CheckAlert& alert) {
    std::visit(
        [&](const auto& a) {
            using T = std::decay_t<decltype(a)>;
            if constexpr (std::is_same_v<T, CheckAlert::Growth>)
                j = {{"growth", {{"id", a.id}, {"title", a.title}, {"from", a.from}, {"to", a.to}}}};
            else if constexpr (std::is_same_v<T, CheckAlert::Cleanable>)
                j = {{"cleanable", {{"total", a.total}}}};
            else if constexpr (std::is_same_v<T, CheckAlert::LowSpace>)
                j = {{"lowSpace", {{"free", a.free}, {"total", a.total}}}};
            else
                j = {{"orphanedServices", {{"labels", a.labels}}}};
        },
        alert.value);
}

void from_json(const nlohmann::json& j, CheckAlert& alert) {
    const auto& [name, payload] = *singleCaseObject(j).begin();
    if (name == "growth")
        alert.value =
            CheckAlert::Growth{payload.at("id").get<std::string>(), payload.at("title").get<std::string>(),
                               payload.at("from").get<std::int64_t>(), payload.at("to").get<std::int64_t>()};
    else if (name == "cleanable")
        alert.value = CheckAlert::Cleanable{payload.at("total").get<std::int64_t>()};
    else if (name == "lowSpace")
        alert.value = CheckAlert::LowSpace{payload.at("free").get<std::int64_t>(),
                                           payload.at("total").get<std::int64_t>()};
    else if (name == "orphanedServices")
        alert.value = CheckAlert::OrphanedServices{payload.at("labels").get<std::vector<std::string>>()};
    else
        throw JsonDecodingError("Cannot initialize CheckAlert from invalid String value " + name);
}

} // namespace velmora
