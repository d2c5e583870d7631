// Local language models of Ollama, one finding per model, since `ollama rm` removes one model at a
// time. Models share their layers, so the size is the one Ollama reports for the model.
#pragma once

#include "Scanning/Scanner.hpp"

#include <chrono>
#include <cstdint>
#include <string_view>

namespace velmora {

class OllamaScanner : public Scanner {
public:
    std::string id() const override { return "ai.ollama"; }
    std::expected<std::vector<Finding>, ScanError> scan(const ScanContext& context, StopToken stop) override;

    struct Model {
        std::string name;
        std::string digest;
        std::int64_t bytes = 0;
        std::chrono::seconds age{0};
    };
    // The rows of the `ollama list` table (NAME ID SIZE MODIFIED); nothing when it is not that table.
    static std::optional<std::vector<Model>> models(std::string_view output);
    // "4.7 GB" (decimal units, as Ollama prints them) in bytes.
    static std::optional<std::int64_t> bytes(std::string_view number, std::string_view unit);
    // "3 weeks ago", "About an hour ago", "Less than a second ago" as a duration.
    static std::optional<std::chrono::seconds> age(std::string_view text);
};

} // namespace velmora
