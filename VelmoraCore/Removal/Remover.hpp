// What the Trash, delete and tool removers have in common: they take the chosen items of a list of
// findings and hand back one result per item, in item order.
#pragma once

#include "Removal/ItemOutcome.hpp"
#include "Removal/RemovalStep.hpp"
#include "Support/StopToken.hpp"

#include <string_view>
#include <vector>

namespace velmora {

namespace RemovalText {
inline constexpr std::string_view noPath = "Kein Pfad";
inline constexpr std::string_view blockedPrefix = "Gesperrt: ";
inline constexpr std::string_view dryRun = "Trockenlauf";
inline constexpr std::string_view wrongMethod = "Falsche Methode";
inline constexpr std::string_view toolNotFoundPrefix = "Werkzeug nicht gefunden: ";
inline constexpr std::string_view appRunningSuffix = " läuft – vorher beenden";
inline constexpr std::string_view timeout = "Zeitüberschreitung";
inline constexpr std::string_view kept = "Steht auf der Behalten-Liste – nicht angefasst";
inline constexpr std::string_view keepListDamaged =
    "Die Behalten-Liste ist beschädigt – es wird nichts entfernt";
inline constexpr std::string_view cancelled = "Abgebrochen";
} // namespace RemovalText

class Remover {
public:
    virtual ~Remover() = default;

    // One result per item of `steps`, in their order; a failing item never stops the others. In a
    // dry run nothing changes. Once `stop` is requested, the items not yet started are `cancelled`.
    // Called by one thread at a time.
    virtual std::vector<ItemResult> remove(const std::vector<RemovalStep>& steps, bool dryRun,
                                           StopToken stop = {}) = 0;
};

} // namespace velmora
