#include "Platform/MacOS/ProcessTable.hpp"

#include <cerrno>
#include <cstring>

#include <libproc.h>
#include <sys/param.h>
#include <sys/proc_info.h>

namespace velmora {

std::vector<kinfo_proc> kernelProcessTable() {
    int mib[3] = {CTL_KERN, KERN_PROC, KERN_PROC_ALL};
    // The table can grow between asking for its size and reading it: ask again a few times.
    for (int attempt = 0; attempt < 5; ++attempt) {
        std::size_t length = 0;
        if (::sysctl(mib, 3, nullptr, &length, nullptr, 0) != 0)
            return {};
        std::vector<kinfo_proc> table(length / sizeof(kinfo_proc) + 32);
        length = table.size() * sizeof(kinfo_proc);
        if (::sysctl(mib, 3, table.data(), &length, nullptr, 0) != 0) {
            if (errno == ENOMEM)
                continue;
            return {};
        }
        table.resize(length / sizeof(kinfo_proc));
        return table;
    }
    return {};
}

std::filesystem::path executablePathOf(pid_t pid) {
    char buffer[PROC_PIDPATHINFO_MAXSIZE];
    if (::proc_pidpath(pid, buffer, sizeof buffer) <= 0)
        return {};
    return std::string(buffer, ::strnlen(buffer, sizeof buffer));
}

std::string processNameOf(pid_t pid) {
    char buffer[2 * MAXCOMLEN + 1];
    if (::proc_name(pid, buffer, sizeof buffer) <= 0)
        return {};
    return std::string(buffer, ::strnlen(buffer, sizeof buffer));
}

} // namespace velmora
