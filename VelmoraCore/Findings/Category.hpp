// The twelve groups findings are shown in, and how a scanner identifier is filed under one.
#pragma once

#include "Findings/AppTab.hpp"

#include <array>
#include <optional>
#include <string_view>

namespace velmora {

enum class Category {
    system,
    aiLeftovers,
    appCaches,
    personalData,
    apps,
    xcode,
    simulators,
    homebrew,
    languages,
    toolchains,
    systemData,
    services
};

inline constexpr std::array<Category, 12> allCategories{
    Category::system,    Category::aiLeftovers, Category::appCaches,  Category::personalData,
    Category::apps,      Category::xcode,       Category::simulators, Category::homebrew,
    Category::languages, Category::toolchains,  Category::systemData, Category::services};

constexpr std::string_view rawValue(Category c) {
    switch (c) {
    case Category::system:
        return "system";
    case Category::aiLeftovers:
        return "aiLeftovers";
    case Category::appCaches:
        return "appCaches";
    case Category::personalData:
        return "personalData";
    case Category::apps:
        return "apps";
    case Category::xcode:
        return "xcode";
    case Category::simulators:
        return "simulators";
    case Category::homebrew:
        return "homebrew";
    case Category::languages:
        return "languages";
    case Category::toolchains:
        return "toolchains";
    case Category::systemData:
        return "systemData";
    case Category::services:
        return "services";
    }
    return {};
}

constexpr std::string_view title(Category c) {
    switch (c) {
    case Category::system:
        return "System";
    case Category::aiLeftovers:
        return "KI-Reste";
    case Category::appCaches:
        return "App-Caches";
    case Category::personalData:
        return "Persönliche Daten";
    case Category::apps:
        return "Apps";
    case Category::xcode:
        return "Xcode";
    case Category::simulators:
        return "Simulatoren";
    case Category::homebrew:
        return "Homebrew";
    case Category::languages:
        return "Sprachen & Paketmanager";
    case Category::toolchains:
        return "Toolchains & SDKs";
    case Category::systemData:
        return "Systemdaten";
    case Category::services:
        return "Hintergrunddienste";
    }
    return {};
}

constexpr std::string_view symbol(Category c) {
    switch (c) {
    case Category::system:
        return "macwindow";
    case Category::aiLeftovers:
        return "sparkles";
    case Category::appCaches:
        return "archivebox";
    case Category::personalData:
        return "person.crop.circle";
    case Category::apps:
        return "app.dashed";
    case Category::xcode:
        return "hammer";
    case Category::simulators:
        return "iphone";
    case Category::homebrew:
        return "mug";
    case Category::languages:
        return "shippingbox";
    case Category::toolchains:
        return "wrench.and.screwdriver";
    case Category::systemData:
        return "chart.pie";
    case Category::services:
        return "gearshape.2";
    }
    return {};
}

constexpr AppTab tab(Category c) {
    switch (c) {
    case Category::system:
    case Category::aiLeftovers:
    case Category::appCaches:
    case Category::personalData:
    case Category::apps:
        return AppTab::storage;
    case Category::xcode:
    case Category::simulators:
    case Category::homebrew:
    case Category::languages:
    case Category::toolchains:
        return AppTab::developer;
    case Category::systemData:
        return AppTab::systemData;
    case Category::services:
        return AppTab::services;
    }
    return AppTab::storage;
}

constexpr std::optional<Category> categoryFromRawValue(std::string_view raw) {
    for (Category c : allCategories)
        if (rawValue(c) == raw)
            return c;
    return std::nullopt;
}

// Identifiers use short family names on purpose ("ai", "personal", "sim", "brew", "sysdata"),
// so this is a lookup of its own and not the raw values.
constexpr std::optional<Category> categoryForScannerID(std::string_view scannerID) {
    const auto dot = scannerID.find('.');
    const std::string_view prefix = dot == std::string_view::npos ? scannerID : scannerID.substr(0, dot);
    if (prefix == "system")
        return Category::system;
    if (prefix == "ai")
        return Category::aiLeftovers;
    if (prefix == "appCaches")
        return Category::appCaches;
    if (prefix == "personal")
        return Category::personalData;
    if (prefix == "apps")
        return Category::apps;
    if (prefix == "xcode")
        return Category::xcode;
    if (prefix == "sim" || prefix == "simulators")
        return Category::simulators;
    if (prefix == "brew")
        return Category::homebrew;
    if (prefix == "languages")
        return Category::languages;
    if (prefix == "toolchains")
        return Category::toolchains;
    if (prefix == "sysdata" || prefix == "systemdata")
        return Category::systemData;
    if (prefix == "services")
        return Category::services;
    return std::nullopt;
}

} // namespace velmora
