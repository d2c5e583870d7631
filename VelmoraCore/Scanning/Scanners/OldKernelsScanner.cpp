#include "Scanning/Scanners/OldKernelsScanner.hpp"

#include "Platform/SmallFile.hpp"
#include "Scanning/ScanContext.hpp"
#include "Scanning/Scanners/PersonalFinding.hpp"
#include "Scanning/Scanners/ToolOutput.hpp"
#include "SystemData/Scanners/CleanupFinding.hpp"

#include <algorithm>

namespace velmora {

namespace {

constexpr personal::Texts texts{
    "system.oldKernels", "Alte Linux-Kernel",
    "Ältere Kernel mit ihren Modulen, die nach Updates installiert bleiben. Der laufende und der "
    "neueste Kernel sind nicht dabei. Entfernen solltest du sie nur über die Paketverwaltung, etwa mit "
    "„sudo apt autoremove --purge“ – die kennt auch den Bootloader.",
    Risk::hintOnly};

constexpr std::size_t maximumKernels = 256;

std::string_view digitRun(std::string_view text, std::size_t at) {
    std::size_t end = at;
    while (end < text.size() && text[end] >= '0' && text[end] <= '9')
        ++end;
    return text.substr(at, end - at);
}

// Where the modules lie: /usr/lib/modules on systems whose /lib is a link into /usr.
std::filesystem::path modulesFolder(const ScanContext& context) {
    const auto merged = context.underRoot("/usr/lib/modules");
    if (personal::folderAccess(merged) != personal::FolderAccess::missing)
        return merged;
    return context.underRoot("/lib/modules");
}

// The running kernel's release as the kernel itself tells it.
std::optional<std::string> runningRelease(const ScanContext& context) {
    const auto text = readSmallFile(context.underRoot("/proc/sys/kernel/osrelease"), 256);
    if (!text)
        return std::nullopt;
    const std::string_view first = std::string_view(*text).substr(0, text->find('\n'));
    const auto release = toolscan::trimmed(first);
    if (release.empty() || release.find('/') != std::string_view::npos)
        return std::nullopt;
    return std::string(release);
}

// The boot files of one release: vmlinuz-<r>, initrd.img-<r>, System.map-<r>, config-<r>, and
// initramfs-<r>.img as Fedora names it.
bool bootFileOf(std::string_view name, std::string_view release) {
    const auto dash = name.find('-');
    if (dash == std::string_view::npos || dash == 0)
        return false;
    auto rest = name.substr(dash + 1);
    if (rest.ends_with(".img") && rest.size() == release.size() + 4)
        rest.remove_suffix(4);
    return rest == release;
}

} // namespace

bool OldKernelsScanner::olderRelease(std::string_view a, std::string_view b) {
    std::size_t i = 0, j = 0;
    while (i < a.size() && j < b.size()) {
        const auto x = digitRun(a, i);
        const auto y = digitRun(b, j);
        if (!x.empty() && !y.empty()) {
            const auto xs = x.substr(std::min(x.find_first_not_of('0'), x.size()));
            const auto ys = y.substr(std::min(y.find_first_not_of('0'), y.size()));
            if (xs.size() != ys.size())
                return xs.size() < ys.size();
            if (xs != ys)
                return xs < ys;
            i += x.size();
            j += y.size();
            continue;
        }
        if (a[i] != b[j])
            return static_cast<unsigned char>(a[i]) < static_cast<unsigned char>(b[j]);
        ++i;
        ++j;
    }
    return a.size() - i < b.size() - j;
}

std::expected<std::vector<Finding>, ScanError> OldKernelsScanner::scan(const ScanContext& context,
                                                                       StopToken stop) {
    if (context.layout != PlatformLayout::linux)
        return std::vector<Finding>{};
    // Without knowing which kernel runs, none can be called old.
    const auto running = runningRelease(context);
    if (!running)
        return std::vector<Finding>{};
    std::vector<cleanup::Entry> kernels;
    for (auto& entry : cleanup::entriesIn(modulesFolder(context)))
        if (S_ISDIR(entry.info.st_mode))
            kernels.push_back(std::move(entry));
    if (kernels.size() > maximumKernels)
        kernels.resize(maximumKernels);
    if (kernels.size() < 2)
        return std::vector<Finding>{};
    std::ranges::sort(kernels, [](const cleanup::Entry& a, const cleanup::Entry& b) {
        return olderRelease(a.path.filename().string(), b.path.filename().string());
    });
    kernels.pop_back(); // the newest stays

    const auto boot = cleanup::entriesIn(context.underRoot("/boot"));
    std::vector<FindingItem> items;
    for (auto it = kernels.rbegin(); it != kernels.rend(); ++it) {
        if (stop.stop_requested())
            return std::unexpected(ScanError{"Abgebrochen"});
        const auto release = it->path.filename().string();
        if (release == *running)
            continue;
        auto item = cleanup::item(it->path, release, context, stop);
        int bootFiles = 0;
        for (const auto& file : boot) {
            if (S_ISREG(file.info.st_mode) && bootFileOf(file.path.filename().string(), release)) {
                *item.size += context.sizer ? context.sizer->size(file.path, stop) : 0;
                ++bootFiles;
            }
        }
        item.detail = bootFiles == 0
                          ? "Module"
                          : "Module und " + cleanup::count(bootFiles, "Startdatei", "Startdateien");
        items.push_back(std::move(item));
    }
    if (items.empty())
        return std::vector<Finding>{};
    return std::vector<Finding>{personal::finding(
        texts, RemovalMethod::hint(HintAction{HintAction::RevealInFinder{context.underRoot("/boot")}}),
        std::move(items))};
}

} // namespace velmora
