// Language versions installed through a version manager (nvm, pyenv, rbenv) beside the one the
// manager starts by default. One finding per manager, one item per version; the default and what a
// version file in the home itself names are never offered. When a name cannot be matched to an
// installed version, nothing of that manager is offered: which one is in use would be a guess.
#pragma once

#include "Scanning/Scanner.hpp"

#include <string_view>

namespace velmora {

class VersionManagerScanner : public Scanner {
public:
    enum class Manager { nvm, pyenv, rbenv };

    explicit VersionManagerScanner(Manager manager) : manager_(manager) {}

    std::string id() const override;
    std::expected<std::vector<Finding>, ScanError> scan(const ScanContext& context, StopToken stop) override;

    // The version names of a pyenv or rbenv version file: its words, "#" comments left out.
    static std::vector<std::string> namesIn(std::string_view text);
    // Whether `wanted` ("3.12", "3.12.1", "ruby-3.3.0") picks the installed version `version`. A
    // shortened name picks every installed match: keeping one too many is the safe side.
    static bool selects(std::string_view wanted, std::string_view version);

private:
    Manager manager_;
};

} // namespace velmora
