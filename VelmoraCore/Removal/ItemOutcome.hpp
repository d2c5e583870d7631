// How the removal of one item ended, and the per-item result every remover hands back to the runner.
#pragma once

#include "Findings/FindingID.hpp"
#include "Removal/TrashPlacement.hpp"

#include <cstdint>
#include <optional>
#include <string>
#include <variant>

namespace velmora {

struct ItemOutcome {
    struct Removed {
        std::optional<std::int64_t> size; // the item's recorded size, when it was known
        // What the user should know although the item went, e.g. which entries in it had to stay.
        std::optional<std::string> note;
        // Where the item now lies when it was moved to the Trash as a whole; nothing when it was
        // deleted, or when only parts of it went.
        std::optional<TrashPlacement> trash;
        bool operator==(const Removed&) const = default;
    };
    struct Skipped {
        std::string reason;
        bool operator==(const Skipped&) const = default;
    };
    struct Failed {
        std::string reason;
        bool operator==(const Failed&) const = default;
    };
    struct Cancelled {
        bool operator==(const Cancelled&) const = default;
    };

    std::variant<Removed, Skipped, Failed, Cancelled> value;

    bool operator==(const ItemOutcome&) const = default;

    static ItemOutcome removed(std::optional<std::int64_t> size = std::nullopt,
                               std::optional<std::string> note = std::nullopt,
                               std::optional<TrashPlacement> trash = std::nullopt) {
        return {Removed{size, std::move(note), std::move(trash)}};
    }
    static ItemOutcome skipped(std::string reason) { return {Skipped{std::move(reason)}}; }
    static ItemOutcome failed(std::string reason) { return {Failed{std::move(reason)}}; }
    static ItemOutcome cancelled() { return {Cancelled{}}; }

    bool isRemoved() const { return std::holds_alternative<Removed>(value); }
    bool isSkipped() const { return std::holds_alternative<Skipped>(value); }
    bool isFailed() const { return std::holds_alternative<Failed>(value); }
    bool isCancelled() const { return std::holds_alternative<Cancelled>(value); }

    // The reason of a skipped or failed item; nothing for the other two cases.
    std::optional<std::string> reason() const;

    // A short German line for lists and the command line: "entfernt" (with a note "entfernt – <note>"),
    // "übersprungen: Trockenlauf", "fehlgeschlagen: Exit 5", "abgebrochen".
    std::string text() const;
};

struct ItemResult {
    FindingID findingID;
    std::string itemID;
    ItemOutcome outcome;

    bool operator==(const ItemResult&) const = default;
};

} // namespace velmora
