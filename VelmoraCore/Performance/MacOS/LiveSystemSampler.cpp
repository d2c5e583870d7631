// The system sampler on macOS, from the host's processor and memory statistics and sysctl.
#include "Performance/LiveSystemSampler.hpp"

#include <algorithm>
#include <cstdint>

#include <mach/mach.h>
#include <mach/mach_host.h>
#include <sys/sysctl.h>
#include <sys/types.h>

namespace velmora {

struct LiveSystemSampler::State {
    // The busy and total ticks of the previous sample; the first sample measures since boot.
    std::uint64_t busy = 0;
    std::uint64_t total = 0;
};

namespace {

template <typename T> bool sysctlValue(const char* name, T& value) {
    std::size_t length = sizeof value;
    return ::sysctlbyname(name, &value, &length, nullptr, 0) == 0 && length == sizeof value;
}

// mach_host_self() hands out a send right each time; it is given back when the sample is done.
class HostPort {
public:
    HostPort() : port_(::mach_host_self()) {}
    ~HostPort() { ::mach_port_deallocate(::mach_task_self(), port_); }
    HostPort(const HostPort&) = delete;
    HostPort& operator=(const HostPort&) = delete;
    host_t get() const { return port_; }

private:
    host_t port_;
};

} // namespace

LiveSystemSampler::LiveSystemSampler() : state_(std::make_unique<State>()) {}

LiveSystemSampler::LiveSystemSampler(std::filesystem::path) : LiveSystemSampler() {}

LiveSystemSampler::~LiveSystemSampler() = default;

std::expected<SystemSample, std::string> LiveSystemSampler::sample() {
    const HostPort host;
    host_cpu_load_info_data_t load{};
    mach_msg_type_number_t count = HOST_CPU_LOAD_INFO_COUNT;
    if (::host_statistics(host.get(), HOST_CPU_LOAD_INFO, reinterpret_cast<host_info_t>(&load), &count) !=
        KERN_SUCCESS)
        return std::unexpected("Die Prozessorauslastung lässt sich nicht lesen.");
    vm_statistics64_data_t vm{};
    count = HOST_VM_INFO64_COUNT;
    vm_size_t pageSize = 0;
    std::uint64_t memoryTotal = 0;
    if (::host_statistics64(host.get(), HOST_VM_INFO64, reinterpret_cast<host_info64_t>(&vm), &count) !=
            KERN_SUCCESS ||
        ::host_page_size(host.get(), &pageSize) != KERN_SUCCESS || !sysctlValue("hw.memsize", memoryTotal))
        return std::unexpected("Der Arbeitsspeicher lässt sich nicht lesen.");

    SystemSample sample;
    const std::uint64_t busy = std::uint64_t{load.cpu_ticks[CPU_STATE_USER]} +
                               load.cpu_ticks[CPU_STATE_SYSTEM] + load.cpu_ticks[CPU_STATE_NICE];
    const std::uint64_t total = busy + load.cpu_ticks[CPU_STATE_IDLE];
    // The counters are 32 bits wide and wrap after some months of uptime: a step back measures nothing.
    if (total > state_->total && busy >= state_->busy)
        sample.cpuPercent = std::min(100.0, static_cast<double>(busy - state_->busy) /
                                                static_cast<double>(total - state_->total) * 100.0);
    state_->busy = busy;
    state_->total = total;
    int cores = 0;
    sample.cpuCount = sysctlValue("hw.logicalcpu", cores) && cores > 0 ? static_cast<unsigned>(cores) : 1;

    // What Activity Monitor calls "Memory Used": app memory (anonymous pages that cannot be purged),
    // wired memory and what the compressor holds.
    const std::uint64_t appPages =
        vm.internal_page_count > vm.purgeable_count ? vm.internal_page_count - vm.purgeable_count : 0;
    const std::uint64_t usedPages = appPages + vm.wire_count + vm.compressor_page_count;
    sample.memoryTotal = static_cast<std::int64_t>(memoryTotal);
    sample.memoryUsed =
        std::min<std::int64_t>(sample.memoryTotal, static_cast<std::int64_t>(usedPages * pageSize));

    int level = 1;
    sample.pressureLevel =
        sysctlValue("kern.memorystatus_vm_pressure_level", level) && (level == 1 || level == 2 || level == 4)
            ? level
            : 1;
    xsw_usage swap{};
    if (sysctlValue("vm.swapusage", swap)) {
        sample.swapUsed = static_cast<std::int64_t>(swap.xsu_used);
        sample.swapTotal = static_cast<std::int64_t>(swap.xsu_total);
    }
    return sample;
}

} // namespace velmora
