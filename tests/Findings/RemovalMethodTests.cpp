#include "Findings/RemovalMethod.hpp"
#include "Support/JsonHelpers.hpp"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

using namespace velmora;
using namespace std::chrono_literals;

namespace {

RemovalMethod decode(const char* text) {
    return nlohmann::json::parse(text).get<RemovalMethod>();
}

std::string decodeError(const char* text) {
    try {
        (void)decode(text);
    } catch (const std::exception& e) {
        return e.what();
    }
    return "decoded";
}

} // namespace

TEST(RemovalMethod, CaseObjectsCodeAsOneMemberEachAndAdminStepsDefaultTheirFlagAndItem) {
    EXPECT_EQ(nlohmann::json(RemovalMethod::trash()).dump(), R"({"trash":{}})");
    EXPECT_EQ(nlohmann::json(RemovalMethod::deleteDirectly()).dump(), R"({"delete":{}})");
    EXPECT_EQ(decode(R"({"delete":{}})"), RemovalMethod::deleteDirectly());

    const auto hint = RemovalMethod::hint(HintAction{HintAction::RevealInFinder{"/Users/anna/a b"}});
    EXPECT_EQ(nlohmann::json(hint).dump(),
              R"({"hint":{"_0":{"revealInFinder":{"_0":"file:///Users/anna/a%20b"}}}})");
    EXPECT_EQ(nlohmann::json(hint).get<RemovalMethod>(), hint);
    const auto open = RemovalMethod::hint(HintAction{HintAction::OpenURL{"https://example.org/x?y=1"}});
    EXPECT_EQ(nlohmann::json(open).get<RemovalMethod>(), open);

    EXPECT_EQ(decodeError(R"({"trash":{},"delete":{}})"), "Invalid number of keys found, expected one.");
    EXPECT_EQ(decodeError(R"({})"), "Invalid number of keys found, expected one.");
    EXPECT_NE(decodeError(R"({"shred":{}})"), "decoded");
    EXPECT_NE(decodeError(R"([])"), "decoded");
    EXPECT_NE(decodeError(R"({"tool":{"_0":{"tool":"npm","arguments":[]}}})"), "decoded"); // no timeout

    // Admin steps default their flag and item when missing.
    const auto m =
        decode(R"({"admin":{"_0":[{"executable":"/bin/rm","arguments":["-rf","/Library/Caches/x"]}]}})");
    const auto& steps = std::get<RemovalMethod::Admin>(m.value).steps;
    ASSERT_EQ(steps.size(), 1u);
    EXPECT_FALSE(steps[0].runsIfPreviousSucceeded);
    EXPECT_EQ(steps[0].itemID, std::nullopt);
    const auto again = nlohmann::json(m);
    EXPECT_EQ(again["admin"]["_0"][0]["runsIfPreviousSucceeded"], false);
    EXPECT_FALSE(again["admin"]["_0"][0].contains("itemID"));
    EXPECT_EQ(again.get<RemovalMethod>(), m);
}

TEST(RemovalMethod, ToolCommandTimeoutUsesTheTwoIntegerAttosecondForm) {
    const ToolCommand npm{"npm", {"cache", "clean", "--force"}, 120s};
    const auto j = nlohmann::json(RemovalMethod::tool(npm));
    // 120 s = 1.2e20 as, which needs the high word: 6 * 2^64 + 9_223_372_036_854_775_808 … computed below.
    const unsigned __int128 atto = static_cast<unsigned __int128>(120) * 1'000'000'000'000'000'000ULL;
    EXPECT_EQ(j["tool"]["_0"]["timeout"][0].get<std::int64_t>(), static_cast<std::int64_t>(atto >> 64));
    EXPECT_EQ(j["tool"]["_0"]["timeout"][1].get<std::uint64_t>(), static_cast<std::uint64_t>(atto));
    EXPECT_FALSE(j["tool"].contains("fallback"));
    EXPECT_EQ(j.get<RemovalMethod>(), RemovalMethod::tool(npm));

    const auto small = nlohmann::json(ToolCommand{"go", {}, 1500ms});
    EXPECT_EQ(small["timeout"].dump(), "[0,1500000000000000000]");

    const auto withFallback = RemovalMethod::tool(npm, Fallback::delete_);
    const auto jf = nlohmann::json(withFallback);
    EXPECT_EQ(jf["tool"]["fallback"].dump(), R"({"delete":{}})");
    EXPECT_EQ(jf.get<RemovalMethod>(), withFallback);
    EXPECT_NE(withFallback, RemovalMethod::tool(npm, Fallback::trash));
}

TEST(RemovalMethod, RowTextsAndCommandLines) {
    EXPECT_EQ(RemovalMethod::trash().rowText(), "In den Papierkorb");
    EXPECT_EQ(RemovalMethod::deleteDirectly().rowSymbol(), "exclamationmark.octagon");
    EXPECT_EQ(RemovalMethod::admin({}).rowText(), "Braucht dein Admin-Passwort (eine Abfrage)");
    EXPECT_EQ(RemovalMethod::hint(HintAction{HintAction::OpenURL{"x"}}).rowText(), std::nullopt);
    const ToolCommand brew{"brew", {"uninstall", "--cask", "Visual Studio Code", "it's"}, 60s};
    EXPECT_EQ(RemovalMethod::tool(brew).rowText(), "brew uninstall --cask 'Visual Studio Code' 'it'\\''s'");
    EXPECT_EQ(RemovalMethod::tool(brew).rowSymbol(), "wrench.and.screwdriver");
}

TEST(AdminStep, ServiceStopIsExactlyLaunchctlBootout) {
    EXPECT_TRUE((AdminStep{"/bin/launchctl", {"bootout", "system/x"}, {}, false}.isServiceStop()));
    EXPECT_FALSE((AdminStep{"/bin/launchctl", {}, {}, false}.isServiceStop()));
    EXPECT_FALSE((AdminStep{"/bin/launchctl", {"bootstrap", "x"}, {}, false}.isServiceStop()));
    EXPECT_FALSE((AdminStep{"/usr/bin/launchctl", {"bootout"}, {}, false}.isServiceStop()));
}

namespace {

FindingItem item(const std::string& id) {
    return FindingItem{id, {}, id, {}, {}, {}, {}, {}};
}
AdminStep step(const std::string& arg, std::optional<std::string> itemID = {}) {
    return AdminStep{"/bin/rm", {arg}, std::move(itemID), false};
}

} // namespace

// Mixed lists and steps serving the whole finding show in the admin remover's outcomes; matching one
// step per item by position and an item without a named step do not.
TEST(AdminStep, UnitsMatchStepsByPositionAndSayWhenNothingIsToRun) {
    const std::vector<FindingItem> all{item("a"), item("b")};
    auto units = AdminStep::units({item("b"), item("zz")}, all, {step("1"), step("2")});
    ASSERT_TRUE(units);
    ASSERT_EQ(units->size(), 2u);
    EXPECT_EQ((*units)[0].items, std::vector<FindingItem>{item("b")});
    EXPECT_EQ((*units)[0].steps, std::vector<AdminStep>{step("2")});
    EXPECT_EQ((*units)[1].failure, "Unbekanntes Item");
    // An item no named step serves has nothing to run, said at the unit itself.
    EXPECT_EQ(AdminStep::units({item("b")}, all, {step("1", "a")})->at(0).failure, "Nichts auszuführen");
}
