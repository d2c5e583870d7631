#include "Scanning/ScanEngine.hpp"

#include "Scanning/Gate.hpp"
#include "Support/StopToken.hpp"

#include <algorithm>
#include <condition_variable>
#include <exception>
#include <mutex>
#include <thread>

namespace velmora {

namespace {

// Wakes the engine whenever any gate of the scan settles.
struct Wakeup {
    std::mutex mutex;
    std::condition_variable_any changed;
    std::size_t settled = 0;

    void notify() {
        {
            std::lock_guard lock(mutex);
            ++settled;
        }
        changed.notify_all();
    }
};

struct Running {
    std::shared_ptr<Scanner> scanner;
    std::shared_ptr<Gate> gate;
    std::chrono::steady_clock::time_point deadline;
};

bool keeps(const Finding& finding) {
    // A hint explains even when there is nothing to measure; an unmeasured finding may still be big.
    if (finding.risk == Risk::hintOnly)
        return true;
    return !(finding.size && *finding.size == 0 && finding.items.empty());
}

Running start(const std::shared_ptr<Scanner>& scanner, const ScanContext& context,
              const std::shared_ptr<Wakeup>& wakeup, std::chrono::nanoseconds timeout) {
    auto gate = std::make_shared<Gate>([wakeup] { wakeup->notify(); });
    auto ownContext = std::make_shared<const ScanContext>(context);
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    // Detached on purpose: a scanner past its limit is abandoned. Everything it touches is owned by
    // this thread through shared pointers, so it can finish safely whenever it does.
    std::thread([scanner, gate, ownContext] {
        ScanOutcome outcome;
        try {
            outcome = scanner->scan(*ownContext, gate->scannerStopToken());
        } catch (const std::exception& e) {
            outcome = std::unexpected(ScanError{e.what()});
        } catch (...) {
            outcome = std::unexpected(ScanError{"Unbekannter Fehler"});
        }
        gate->settle(std::move(outcome));
    }).detach();
    return Running{scanner, std::move(gate), deadline};
}

} // namespace

std::string ScanEngine::timeoutMessage(std::chrono::nanoseconds timeout) {
    const auto seconds = std::max<std::int64_t>(1, std::chrono::ceil<std::chrono::seconds>(timeout).count());
    return "Zeitüberschreitung nach " + std::to_string(seconds) + " s";
}

ScanReport ScanEngine::run(const ScanContext& context, StopToken stop, const Progress& progress) const {
    ScanReport report;
    auto wakeup = std::make_shared<Wakeup>();
    const std::size_t total = scanners_.size();
    std::size_t settledBefore = 0;
    double lastProgress = 0;
    const auto tell = [&](std::size_t settled) {
        const double share = total == 0 ? 1.0 : static_cast<double>(settled) / static_cast<double>(total);
        if (progress && share > lastProgress) {
            lastProgress = share;
            progress(share);
        }
    };

    ScanContext phaseContext = context;
    for (ScannerPhase phase : allScannerPhases) {
        if (stop.stop_requested())
            break;
        phaseContext.earlierFindings = std::make_shared<const std::vector<Finding>>(report.findings);
        std::vector<Running> running;
        for (const auto& scanner : scanners_)
            if (scanner->phase() == phase)
                running.push_back(start(scanner, phaseContext, wakeup, perScannerTimeout_));

        while (true) {
            // Taken before looking, so that a gate settled meanwhile (by us or a scanner) ends the wait.
            std::size_t seen = 0;
            {
                std::lock_guard lock(wakeup->mutex);
                seen = wakeup->settled;
            }
            const auto open =
                std::ranges::count_if(running, [](const Running& r) { return !r.gate->isDone(); });
            tell(settledBefore + running.size() - static_cast<std::size_t>(open));
            if (open == 0)
                break;
            if (stop.stop_requested()) {
                for (auto& r : running)
                    r.gate->settle(std::unexpected(ScanError{cancelledMessage}));
                continue;
            }
            const auto now = std::chrono::steady_clock::now();
            auto nextDeadline = std::chrono::steady_clock::time_point::max();
            for (auto& r : running) {
                if (r.gate->isDone())
                    continue;
                if (r.deadline <= now)
                    r.gate->settle(std::unexpected(ScanError{timeoutMessage(perScannerTimeout_)}));
                else
                    nextDeadline = std::min(nextDeadline, r.deadline);
            }
            std::unique_lock lock(wakeup->mutex);
            const auto changed = [&] { return wakeup->settled != seen; };
            if (nextDeadline == std::chrono::steady_clock::time_point::max())
                wait(wakeup->changed, lock, stop, changed);
            else
                waitUntil(wakeup->changed, lock, stop, nextDeadline, changed);
        }
        settledBefore += running.size();

        std::vector<std::filesystem::path> locations;
        for (const auto& r : running) {
            auto outcome = *r.gate->result();
            if (!outcome) {
                report.failures.push_back(ScanFailure{r.scanner->id(), outcome.error().message});
                continue;
            }
            for (auto& finding : *outcome) {
                if (!keeps(finding))
                    continue;
                for (const auto& item : finding.items)
                    if (item.url)
                        locations.push_back(*item.url);
                report.findings.push_back(std::move(finding));
            }
        }
        context.claims->claim(locations);
    }
    summarise(report);
    return report;
}

void ScanEngine::summarise(ScanReport& report) {
    report.bigChunks.clear();
    report.photos.reset();
    for (const auto& finding : report.findings) {
        if (finding.id.scannerID == bigChunksScannerID) {
            for (const auto& item : finding.items)
                if (item.url)
                    report.bigChunks.push_back(BigChunk{*item.url, item.size.value_or(0)});
        } else if (finding.id.scannerID == photosScannerID && !report.photos && !finding.items.empty() &&
                   finding.items.front().url) {
            report.photos = PhotosInfo{*finding.items.front().url, finding.items.front().size};
        }
    }
}

} // namespace velmora
