#include "Check/CheckSnapshot.hpp"

#include "Support/JsonHelpers.hpp"

#include <nlohmann/json.hpp>

#include <cmath>

namespace velmora {

namespace {

constexpr std::chrono::seconds referenceDate{978'307'200}; // 2001-01-01 00:00:00 UTC

} // namespace

double referenceDateSeconds(std::chrono::system_clock::time_point date) {
    const auto sinceReference = date.time_since_epoch() - referenceDate;
    return std::chrono::duration<double>(sinceReference).count();
}

std::chrono::system_clock::time_point fromReferenceDateSeconds(double seconds) {
    // Microseconds are all a double of this size carries reliably.
    const auto micros = std::chrono::microseconds{static_cast<std::int64_t>(std::llround(seconds * 1e6))};
    return std::chrono::system_clock::time_point{
        std::chrono::duration_cast<std::chrono::system_clock::duration>(referenceDate + micros)};
}

void to_json(nlohmann::json& j, const CheckSnapshot& snapshot) {
    j = nlohmann::json::object();
    j["date"] = referenceDateSeconds(snapshot.date);
    j["cleanableTotal"] = snapshot.cleanableTotal;
    j["freeBytes"] = snapshot.freeBytes;
    j["totalBytes"] = snapshot.totalBytes;
    j["sizes"] = snapshot.sizes;
    j["titles"] = snapshot.titles;
    j["alerts"] = snapshot.alerts;
    j["lowerBoundIDs"] = snapshot.lowerBoundIDs;
    putOptional(j, "orphanedServiceLabels", snapshot.orphanedServiceLabels);
}

void from_json(const nlohmann::json& j, CheckSnapshot& snapshot) {
    const auto& date = j.at("date");
    if (!date.is_number())
        throw JsonDecodingError("Expected to decode Double but found another type.");
    snapshot.date = fromReferenceDateSeconds(date.get<double>());
    j.at("cleanableTotal").get_to(snapshot.cleanableTotal);
    j.at("freeBytes").get_to(snapshot.freeBytes);
    j.at("totalBytes").get_to(snapshot.totalBytes);
    j.at("sizes").get_to(snapshot.sizes);
    j.at("titles").get_to(snapshot.titles);
    j.at("alerts").get_to(snapshot.alerts);
    snapshot.lowerBoundIDs.clear();
    if (const auto it = j.find("lowerBoundIDs"); it != j.end() && !it->is_null())
        it->get_to(snapshot.lowerBoundIDs);
    getOptional(j, "orphanedServiceLabels", snapshot.orphanedServiceLabels);
}

} // namespace velmora
