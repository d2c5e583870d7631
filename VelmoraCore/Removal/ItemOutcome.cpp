#include "Removal/ItemOutcome.hpp"

namespace velmora {

namespace {

template <class... Ts> struct Overloaded : Ts... { using Ts::operator()...; };

} // namespace

std::optional<std::string> ItemOutcome::reason() const {
    if (const auto* skipped = std::get_if<Skipped>(&value))
        return skipped->reason;
    if (const auto* failed = std::get_if<Failed>(&value))
        return failed->reason;
    return std::nullopt;
}

std::string ItemOutcome::text() const {
    return std::visit(Overloaded{
                          [](const Removed& r) -> std::string {
                              return r.note ? "entfernt – " + *r.note : std::string("entfernt");
                          },
                          [](const Skipped& s) -> std::string { return "übersprungen: " + s.reason; },
                          [](const Failed& f) -> std::string { return "fehlgeschlagen: " + f.reason; },
                          [](const Cancelled&) -> std::string { return "abgebrochen"; },
                      },
                      value);
}

} // namespace velmora
