#include "Removal/ItemOutcome.hpp"

#include <gtest/gtest.h>

using namespace velmora;

TEST(ItemOutcome, ShortGermanTextsAndReasons) {
    EXPECT_EQ(ItemOutcome::removed(1234).text(), "entfernt");
    EXPECT_EQ(ItemOutcome::skipped("Trockenlauf").text(), "übersprungen: Trockenlauf");
    EXPECT_EQ(ItemOutcome::failed("Exit 5").text(), "fehlgeschlagen: Exit 5");
    EXPECT_EQ(ItemOutcome::cancelled().text(), "abgebrochen");
    EXPECT_EQ(ItemOutcome::skipped("Trockenlauf").reason(), "Trockenlauf");
    EXPECT_EQ(ItemOutcome::failed("Exit 5").reason(), "Exit 5");
    EXPECT_EQ(ItemOutcome::removed().reason(), std::nullopt);
    EXPECT_EQ(ItemOutcome::cancelled().reason(), std::nullopt);
}

TEST(ItemOutcome, EqualityTakesCaseAndPayloadIntoAccount) {
    EXPECT_EQ(ItemOutcome::removed(5), ItemOutcome::removed(5));
    EXPECT_NE(ItemOutcome::removed(5), ItemOutcome::removed());
    // Same text, different case: a skip is not a failure.
    EXPECT_NE(ItemOutcome::skipped("x"), ItemOutcome::failed("x"));
    EXPECT_TRUE(ItemOutcome::failed("x").isFailed());
    EXPECT_FALSE(ItemOutcome::failed("x").isSkipped());
    const ItemResult a{FindingID{"system.logs", "k"}, "i", ItemOutcome::cancelled()};
    EXPECT_EQ(a, (ItemResult{FindingID{"system.logs", "k"}, "i", ItemOutcome::cancelled()}));
    EXPECT_NE(a, (ItemResult{FindingID{"system.logs", "k2"}, "i", ItemOutcome::cancelled()}));
}
