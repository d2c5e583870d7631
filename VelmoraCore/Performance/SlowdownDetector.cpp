#include "Performance/SlowdownDetector.hpp"

namespace velmora {

namespace {

SlowdownHint processorHint(const ActivityEntry& entry) {
    const std::string busy = entry.name + " beansprucht den Prozessor seit einigen Minuten stark. ";
    if (entry.isSystem)
        return {"cpu." + entry.id, entry.name + " arbeitet seit Minuten viel",
                "Ein Systemdienst ist gerade sehr beschäftigt – das ist meist vorübergehend (zum Beispiel "
                "Fotos-Analyse oder Spotlight). Am besten abwarten."};
    if (entry.canQuit)
        return {"cpu." + entry.id, entry.name + " rechnet seit Minuten stark",
                busy + "Wenn du das Programm gerade nicht brauchst, kannst du es in Ruhe beenden."};
    return {"cpu." + entry.id, entry.name + " arbeitet seit Minuten viel",
            busy + "Oft ist das nach einer Weile vorbei – falls nicht, lohnt ein Blick, was das Programm "
                   "gerade tut."};
}

} // namespace

std::vector<SlowdownHint> SlowdownDetector::update(const std::vector<ActivityEntry>& entries,
                                                   const SystemSample& system, TimePoint now) {
    // After a pause (tab hidden, machine asleep) nothing is known about the time in between.
    if (lastUpdate_ && now - *lastUpdate_ > maxGap) {
        cpuSince_.clear();
        pressureSince_.reset();
        swapSamples_.clear();
    }
    lastUpdate_ = now;

    std::vector<SlowdownHint> hints;

    // Rebuilt from the busy entries alone, so an entry that dips once starts again from zero.
    std::map<std::string, TimePoint> busySince;
    for (const auto& entry : entries) {
        if (!(entry.cpuPercent > cpuThreshold))
            continue;
        const auto known = cpuSince_.find(entry.id);
        const TimePoint start = known != cpuSince_.end() ? known->second : now;
        busySince.emplace(entry.id, start);
        if (now - start >= sustained)
            hints.push_back(processorHint(entry));
    }
    cpuSince_ = std::move(busySince);

    if (system.pressureLevel < raisedPressure) {
        pressureSince_.reset();
    } else {
        if (!pressureSince_)
            pressureSince_ = now;
        if (now - *pressureSince_ >= sustained)
            hints.push_back({memoryHintID,
                             std::string("Der Arbeitsspeicher ist seit Minuten ") +
                                 (system.pressureLevel > 3 ? "knapp" : "angespannt"),
                             "Dein Mac hat seit einigen Minuten wenig freien Arbeitsspeicher. Das Beenden "
                             "großer Programme, die du gerade nicht brauchst, schafft wieder Luft."});
    }

    // The oldest reading kept is the newest one at or before the border, so that with readings every
    // few seconds the window can span the full time at all.
    swapSamples_.push_back({now, system.swapUsed});
    const TimePoint border = now - sustained;
    while (swapSamples_.size() > 1 && swapSamples_[1].at <= border)
        swapSamples_.pop_front();
    const auto& oldest = swapSamples_.front();
    const auto& newest = swapSamples_.back();
    if (newest.at - oldest.at >= sustained && newest.bytes - oldest.bytes >= swapGrowth)
        hints.push_back({swapHintID, "Dein Mac lagert gerade viel Speicher aus",
                         "In den letzten Minuten ist die Auslagerung auf die Festplatte deutlich gewachsen. "
                         "Das macht den Mac träge – weniger offene Programme helfen."});
    return hints;
}

} // namespace velmora
