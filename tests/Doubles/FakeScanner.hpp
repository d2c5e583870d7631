// A scanner whose behaviour a test sets with a function: return findings, fail, hang, throw.
#pragma once

#include "Scanning/ScanContext.hpp"
#include "Scanning/Scanner.hpp"
#include "Support/StopToken.hpp"

#include <functional>
#include <memory>

namespace velmora::testing {

class FakeScanner : public Scanner {
public:
    using Body = std::function<std::expected<std::vector<Finding>, ScanError>(const ScanContext&, StopToken)>;

    FakeScanner(std::string id, ScannerPhase phase, Body body)
        : id_(std::move(id)), phase_(phase), body_(std::move(body)) {}

    static std::shared_ptr<FakeScanner> returning(std::string id, std::vector<Finding> findings,
                                                  ScannerPhase phase = ScannerPhase::specific) {
        return std::make_shared<FakeScanner>(std::move(id), phase,
                                             [findings](const ScanContext&, StopToken) { return findings; });
    }

    std::string id() const override { return id_; }
    ScannerPhase phase() const override { return phase_; }
    std::expected<std::vector<Finding>, ScanError> scan(const ScanContext& context, StopToken stop) override {
        return body_(context, stop);
    }

private:
    std::string id_;
    ScannerPhase phase_;
    Body body_;
};

// A finding with one item per given path (each of the given size), for engine and claim tests.
inline Finding makeFinding(const std::string& scannerID, std::vector<std::filesystem::path> paths,
                           std::int64_t itemSize = 1000, Risk risk = Risk::safe) {
    Finding finding;
    finding.id = FindingID{scannerID, ""};
    finding.category = categoryForScannerID(scannerID).value_or(Category::system);
    finding.title = scannerID;
    finding.risk = risk;
    std::int64_t total = 0;
    for (const auto& path : paths) {
        finding.items.push_back(
            FindingItem{path.string(), path, path.filename().string(), itemSize, {}, {}, {}, {}});
        total += itemSize;
    }
    finding.size = total;
    return finding;
}

} // namespace velmora::testing
