// Measures the system areas of a machine against deadlines: every area under its own limit, several at
// once, all within one overall limit. What was cut short is reported as a lower bound, never dropped.
#pragma once

#include "Platform/SizeMeasurer.hpp"
#include "Support/StopToken.hpp"
#include "SystemData/AreaMeasurement.hpp"
#include "SystemData/SystemArea.hpp"

#include <chrono>
#include <filesystem>
#include <functional>
#include <memory>
#include <vector>

namespace velmora {

class SystemDataMeasurer {
public:
    struct Options {
        // From the moment the area's measuring starts.
        std::chrono::milliseconds perArea = std::chrono::seconds(30);
        // From the call; areas not started by then count as lower bounds of 0.
        std::chrono::milliseconds overall = std::chrono::seconds(60);
        // Areas measured at the same time.
        unsigned parallel = 4;
    };

    // How long a measurement told to stop may take to hand back its partial count before it is
    // abandoned (its thread then finishes on its own, holding nothing the caller still uses).
    static constexpr std::chrono::milliseconds stopGrace{500};

    explicit SystemDataMeasurer(std::shared_ptr<const SizeMeasurer> sizer);
    SystemDataMeasurer(std::shared_ptr<const SizeMeasurer> sizer, Options options);

    // One result per area, in the order of `areas`. Every location is measured without leaving its
    // own file system; `reference` names the file system whose used space the areas explain (usually
    // "/"). `progress` gets a rising share from 0 to 1 on the calling thread. A stop ends the
    // measuring within `stopGrace`; whatever was counted is returned as lower bounds.
    std::vector<AreaMeasurement> measure(const std::vector<SystemArea>& areas,
                                         const std::filesystem::path& reference, StopToken stop,
                                         std::function<void(double)> progress = {}) const;

private:
    std::shared_ptr<const SizeMeasurer> sizer_;
    Options options_;
};

} // namespace velmora
