// Rust toolchains installed through rustup that nothing selects: neither the default nor the
// override of any project folder. One finding per toolchain, as rustup uninstalls them one by one.
#pragma once

#include "Scanning/Scanner.hpp"

#include <string_view>

namespace velmora {

class RustupScanner : public Scanner {
public:
    std::string id() const override { return "toolchains.rustup"; }
    std::expected<std::vector<Finding>, ScanError> scan(const ScanContext& context, StopToken stop) override;

    struct Toolchain {
        std::string name;
        bool inUse = false; // marked "(default)" or "(active…)"
    };
    // The lines of `rustup toolchain list`; nothing when a line is not a toolchain.
    static std::optional<std::vector<Toolchain>> toolchains(std::string_view output);
    // The toolchains named by `rustup override list` ("<folder>   <toolchain>" lines).
    static std::optional<std::vector<std::string>> overrides(std::string_view output);
    // Whether the override `selected` ("stable", or a full name) picks the installed toolchain `name`.
    static bool selects(std::string_view selected, std::string_view name);
};

} // namespace velmora
