// The kernel's process table on macOS and what proc_pidpath and proc_name tell about one process, for
// the running-apps list and the process sampler.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include <sys/param.h>
#include <sys/sysctl.h>
#include <sys/types.h>

namespace velmora {

// Every entry of the table (pid 0, the kernel, included); empty when the table cannot be read.
std::vector<kinfo_proc> kernelProcessTable();
// The process's executable; empty when it ended or is not ours to ask about.
std::filesystem::path executablePathOf(pid_t pid);
// The process's name as proc_name tells it; empty when it cannot tell.
std::string processNameOf(pid_t pid);

} // namespace velmora
