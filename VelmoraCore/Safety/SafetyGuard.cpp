#include "Safety/SafetyGuard.hpp"

#include "Support/Text.hpp"

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <deque>
#include <fnmatch.h>
#include <sys/stat.h>
#include <unistd.h>

namespace velmora {

namespace {

using Components = SafetyGuard::Components;

// glibc gives up after this many links in one resolution, and so do we.
constexpr int maximumLinkHops = 40;

constexpr std::array<std::string_view, 6> simulatorAssetPrefix = {"system", "volumes", "data",
                                                                  "system", "library", "assetsv2"};
constexpr std::array<std::string_view, 10> macOSTopLevelFolders = {
    "system", "usr", "bin", "sbin", "private", "var", "etc", "tmp", "library", "applications"};
// Outside the home nothing may go with the Linux layout; these merely get the sterner text.
constexpr std::array<std::string_view, 19> linuxTopLevelFolders = {
    "bin", "boot", "dev",  "etc", "lib", "lib32", "lib64", "libx32", "opt",       "proc",
    "run", "sbin", "snap", "srv", "sys", "tmp",   "usr",   "var",    "lost+found"};
constexpr std::array<std::string_view, 3> toolFoldersWithCredentials = {".codex", ".gemini", ".copilot"};
constexpr std::array<const char*, 9> credentialPatterns = {
    "auth*.json", "credentials*", "config*", "*.toml", ".env", ".env.*", "oauth*", "token*", "keychain*"};

struct ProtectedHomePrefix {
    std::array<std::string_view, 2> parts;
    std::size_t count;
    std::string_view reason;
};
constexpr std::array<ProtectedHomePrefix, 9> protectedHomePrefixes = {{
    {{".ssh"}, 1, SafetyReason::credentials},
    {{".gnupg"}, 1, SafetyReason::credentials},
    {{".aws"}, 1, SafetyReason::credentials},
    {{".kube"}, 1, SafetyReason::credentials},
    {{".config"}, 1, SafetyReason::credentials},
    {{".docker", "config.json"}, 2, SafetyReason::credentials},
    {{"library", "keychains"}, 2, SafetyReason::credentials},
    {{"documents"}, 1, SafetyReason::personalFolder},
    {{"desktop"}, 1, SafetyReason::personalFolder},
}};

struct AllowedSystemPrefix {
    std::array<std::string_view, 3> parts;
    std::size_t count;
};
constexpr std::array<AllowedSystemPrefix, 6> allowedSystemPrefixes = {{
    {{"usr", "local", "texlive"}, 3},
    {{"library", "tex"}, 2},
    {{"applications", "tex"}, 2},
    {{"opt", "anaconda3"}, 2},
    {{"opt", "miniconda3"}, 2},
    {{"library", "developer", "xcode"}, 3},
}};

template <typename Range> bool contains(const Range& range, std::string_view value) {
    return std::find(std::begin(range), std::end(range), value) != std::end(range);
}

// True when `parts` begins with the `count` components of `prefix`.
template <typename Prefix>
bool startsWith(const Components& parts, std::size_t first, const Prefix& prefix, std::size_t count) {
    if (parts.size() - first < count)
        return false;
    for (std::size_t i = 0; i < count; ++i)
        if (parts[first + i] != prefix[i])
            return false;
    return true;
}

bool startsWith(const Components& parts, const Components& prefix) {
    return startsWith(parts, 0, prefix, prefix.size());
}

// Invalid UTF-8 is lower-cased byte by byte in ASCII only: two different broken names must not
// become the same text (ICU would turn both into U+FFFD).
std::string lowerComponent(std::string_view component) {
    const bool isASCII = std::all_of(component.begin(), component.end(),
                                     [](char c) { return static_cast<unsigned char>(c) < 0x80; });
    if (isASCII || !Text::isValidUTF8(component)) {
        std::string out(component);
        for (auto& c : out)
            if (c >= 'A' && c <= 'Z')
                c = static_cast<char>(c - 'A' + 'a');
        return out;
    }
    return Text::lowercased(component);
}

Components lowered(const Components& parts) {
    Components out;
    out.reserve(parts.size());
    for (const auto& part : parts)
        out.push_back(lowerComponent(part));
    return out;
}

Components splitPath(std::string_view path) {
    Components parts;
    std::size_t start = 0;
    while (start <= path.size()) {
        const auto end = std::min(path.find('/', start), path.size());
        if (end > start)
            parts.emplace_back(path.substr(start, end - start));
        start = end + 1;
    }
    return parts;
}

// Drops empty and "." components and applies ".." lexically; no other change.
Components collapsed(const Components& parts) {
    Components out;
    out.reserve(parts.size());
    for (const auto& part : parts) {
        if (part.empty() || part == ".")
            continue;
        if (part == "..") {
            if (!out.empty())
                out.pop_back();
            continue;
        }
        out.push_back(part);
    }
    return out;
}

// On a Mac /var, /tmp and /etc are links into /private; a Mac-shaped test tree need not have them.
Components belowPrivate(Components parts, PlatformLayout layout) {
    if (layout == PlatformLayout::macOS && !parts.empty()) {
        const auto first = lowerComponent(parts.front());
        if (first == "var" || first == "tmp" || first == "etc")
            parts.insert(parts.begin(), "private");
    }
    return parts;
}

Components normalisedComponents(const Components& parts, PlatformLayout layout) {
    return belowPrivate(collapsed(parts), layout);
}

std::string joined(const Components& parts, std::size_t count) {
    std::string text;
    for (std::size_t i = 0; i < count; ++i) {
        text += '/';
        text += parts[i];
    }
    return text.empty() ? "/" : text;
}

bool matchesCredentialPattern(const std::string& component) {
    return std::any_of(credentialPatterns.begin(), credentialPatterns.end(),
                       [&](const char* pattern) { return fnmatch(pattern, component.c_str(), 0) == 0; });
}

// For a component that is lower-cased already.
bool isCredentialComponent(const std::string& component) {
    return matchesCredentialPattern(component) || matchesCredentialPattern(Text::removingMarks(component));
}

bool keepsItsReasonWhenResolved(std::string_view reason) {
    return reason == SafetyReason::credentials || reason == SafetyReason::homebrewOnly;
}

struct RealpathResult {
    Components parts;
    int error = 0;
};

// realpath(3) of `parts` with `rootText` standing for "/". Links are read with lstat/readlink one
// component at a time, so the system never follows a link on its own below the root.
RealpathResult realpathBelow(const std::string& rootText, const Components& parts) {
    Components resolved;
    std::deque<std::string> pending(parts.begin(), parts.end());
    int hops = 0;
    std::string current;
    while (!pending.empty()) {
        auto part = std::move(pending.front());
        pending.pop_front();
        if (part.empty() || part == ".")
            continue;
        if (part == "..") {
            if (!resolved.empty())
                resolved.pop_back();
            continue;
        }
        // The system would stop reading the name at a NUL and look at another file.
        if (part.find('\0') != std::string::npos)
            return {{}, EINVAL};
        current = rootText;
        for (const auto& done : resolved) {
            current += '/';
            current += done;
        }
        current += '/';
        current += part;
        struct stat status {};
        if (::lstat(current.c_str(), &status) != 0)
            return {{}, errno};
        if (S_ISLNK(status.st_mode)) {
            if (++hops > maximumLinkHops)
                return {{}, ELOOP};
            std::string target(PATH_MAX, '\0');
            const auto length = ::readlink(current.c_str(), target.data(), target.size());
            if (length < 0)
                return {{}, errno};
            if (static_cast<std::size_t>(length) >= target.size())
                return {{}, ENAMETOOLONG};
            target.resize(static_cast<std::size_t>(length));
            if (target.empty())
                return {{}, ENOENT};
            if (target.front() == '/')
                resolved.clear();
            auto targetParts = splitPath(target);
            pending.insert(pending.begin(), std::make_move_iterator(targetParts.begin()),
                           std::make_move_iterator(targetParts.end()));
            continue;
        }
        resolved.push_back(std::move(part));
        // Like realpath: a file followed by more components (even "." or "..") is an error.
        if (!S_ISDIR(status.st_mode) && !pending.empty())
            return {{}, ENOTDIR};
    }
    return {std::move(resolved), 0};
}

} // namespace

std::vector<std::string> SafetyGuard::defaultAllowedCache() {
    return {"com.apple.dt.Instruments", "com.apple.dt.InstrumentsCLI", "clang", "org.llvm.clang",
            "org.llvm.clang.ModuleCache"};
}

SafetyGuard::Components SafetyGuard::normalise(std::string_view path, PlatformLayout layout) {
    return normalisedComponents(splitPath(path), layout);
}

SafetyGuard::SafetyGuard(const Setup& setup) : layout_(setup.layout), rootPrefix_(setup.rootPrefix) {
    for (const auto& name : setup.allowedCache)
        allowedCache_.insert(lowerComponent(name));

    const auto rootText = rootPrefix_.string();
    rootParts_ = collapsed(splitPath(rootText));
    rootText_ = rootParts_.empty() ? std::string() : joined(rootParts_, rootParts_.size());
    if (rootText.empty() || rootText.front() != '/')
        return;

    const auto resolvedLower = [&](const std::filesystem::path& path) -> std::optional<Components> {
        const auto text = path.string();
        if (text.empty() || text.front() != '/')
            return std::nullopt;
        auto parts = resolve(text);
        if (!parts)
            return std::nullopt;
        return lowered(*parts);
    };

    realHome_ = rootParts_;
    for (auto& part : collapsed(splitPath(setup.home.string())))
        realHome_.push_back(std::move(part));
    const auto home = resolvedLower(setup.home);
    if (!home)
        return;
    homeParts_ = *home;
    const auto& h = homeParts_;
    if (layout_ == PlatformLayout::macOS) {
        const bool usersHome = h.size() >= 2 && h[0] == "users";
        const bool privateVarHome = h.size() >= 3 && h[0] == "private" && h[1] == "var" && h[2] != "folders";
        const bool folderHome = h.size() >= 5 && h[0] == "private" && h[1] == "var" && h[2] == "folders";
        isValid_ = usersHome || privateVarHome || folderHome;

        const auto cache = resolvedLower(setup.cache);
        if (cache && cache->size() > 5 && (*cache)[0] == "private" && (*cache)[1] == "var" &&
            (*cache)[2] == "folders")
            cacheParts_ = cache;
        const auto temp = resolvedLower(setup.temp);
        if (temp && temp->size() == 6 && (*temp)[0] == "private" && (*temp)[1] == "var" &&
            (*temp)[2] == "folders" && (*temp)[5] == "t")
            tempParts_ = temp;
    } else {
        isValid_ = (h.size() >= 2 && h[0] == "home") || (h.size() == 1 && h[0] == "root");
        if (!isValid_)
            return;
        const auto homeText = setup.home.string();
        // The English folders are in the fixed table already; their link targets and the localised
        // folders are not.
        for (const char* name : {"Documents", "Desktop"})
            addPersonalFolder(homeText + "/" + name, personalFolders_);
        addPersonalFolder(homeText + "/Pictures", personalFolderRoots_);
        for (const auto& folder : {setup.userDirs.documents, setup.userDirs.desktop})
            if (folder)
                addPersonalFolder(*folder, personalFolders_);
        if (setup.userDirs.pictures)
            addPersonalFolder(*setup.userDirs.pictures, personalFolderRoots_);
    }
}

// Adds the folder as written and as resolved, each relative to the home; a folder that is the home
// itself or lies outside it adds nothing ("$HOME/" is how user-dirs.dirs switches a folder off).
void SafetyGuard::addPersonalFolder(const std::filesystem::path& folder,
                                    std::vector<Components>& list) const {
    const auto text = folder.string();
    if (text.empty() || text.front() != '/')
        return;
    std::vector<Components> candidates = {lowered(normalise(text, layout_))};
    if (auto resolved = resolve(text))
        candidates.push_back(lowered(*resolved));
    for (const auto& candidate : candidates) {
        if (candidate.size() <= homeParts_.size() || !startsWith(candidate, homeParts_))
            continue;
        Components relative(candidate.begin() + static_cast<std::ptrdiff_t>(homeParts_.size()),
                            candidate.end());
        if (std::find(list.begin(), list.end(), relative) == list.end())
            list.push_back(std::move(relative));
    }
}

SafetyGuard SafetyGuard::live(PlatformLayout layout, const std::filesystem::path& rootPrefix,
                              const std::filesystem::path& home) {
    Setup setup;
    setup.layout = layout;
    setup.rootPrefix = rootPrefix;
    setup.home = home;
#ifdef __APPLE__
    const auto systemFolder = [](int name) -> std::optional<std::filesystem::path> {
        std::string buffer(PATH_MAX, '\0');
        const auto length = ::confstr(name, buffer.data(), buffer.size());
        if (length == 0 || length > buffer.size())
            return std::nullopt;
        buffer.resize(length - 1);
        return std::filesystem::path(buffer);
    };
    if (auto cache = systemFolder(_CS_DARWIN_USER_CACHE_DIR))
        setup.cache = *cache;
    if (auto temp = systemFolder(_CS_DARWIN_USER_TEMP_DIR))
        setup.temp = *temp;
#endif
    if (layout == PlatformLayout::linux)
        setup.userDirs = XdgUserDirs::read(rootPrefix, home);
    return SafetyGuard(setup);
}

std::optional<SafetyGuard::Components> SafetyGuard::resolve(std::string_view logicalPath) const {
    auto parts = splitPath(logicalPath);
    std::erase(parts, ".");
    return resolveComponents(belowPrivate(std::move(parts), layout_));
}

// realpath, and on ENOENT or ENOTDIR the same for the parent, the cut-off tail appended afterwards.
std::optional<SafetyGuard::Components> SafetyGuard::resolveComponents(Components parts) const {
    std::vector<std::string> cut;
    while (true) {
        auto result = realpathBelow(rootText_, parts);
        if (result.error == 0) {
            result.parts.insert(result.parts.end(), std::make_move_iterator(cut.rbegin()),
                                std::make_move_iterator(cut.rend()));
            return normalisedComponents(result.parts, layout_);
        }
        if (result.error != ENOENT && result.error != ENOTDIR)
            return std::nullopt;
        cut.push_back(std::move(parts.back()));
        parts.pop_back();
        if (parts.empty())
            return std::nullopt;
    }
}

std::optional<std::string> SafetyGuard::check(const std::filesystem::path& path) const {
    if (!isValid_)
        return std::string(SafetyReason::invalidConfiguration);
    const auto text = path.string();
    if (text.empty() || text.front() != '/')
        return std::string(SafetyReason::outsideAllowedFolders);
    // A remover handing this to the system would act on the part before the NUL, which is not the
    // path judged here.
    if (text.find('\0') != std::string::npos)
        return std::string(SafetyReason::unresolvable);

    // Lexically first: the real path must stay below the root, even after its "..".
    const auto logical = logicalComponents(text);
    if (!logical)
        return std::string(SafetyReason::outsideAllowedFolders);
    const auto& lexical = *logical;
    const auto lexicalLower = lowered(lexical);
    if (auto reason = rulesCheck(lexicalLower))
        return std::string(*reason);

    // The path as passed in keeps its ".." so that a link followed by ".." is judged where the
    // system would really land. Its root part must be literally the root prefix.
    auto given = splitPath(text);
    std::erase(given, ".");
    if (!startsWith(given, rootParts_))
        return std::string(SafetyReason::unresolvable);
    const auto givenParts = belowPrivate(
        Components(given.begin() + static_cast<std::ptrdiff_t>(rootParts_.size()), given.end()), layout_);

    const auto resolvedNormalised = resolveComponents(lexical);
    if (!resolvedNormalised)
        return std::string(SafetyReason::unresolvable);
    const auto resolvedGiven = givenParts == lexical ? resolvedNormalised : resolveComponents(givenParts);
    if (!resolvedGiven)
        return std::string(SafetyReason::unresolvable);

    for (const auto* resolved : {&*resolvedNormalised, &*resolvedGiven}) {
        const auto resolvedLower = lowered(*resolved);
        if (resolvedLower == lexicalLower)
            continue;
        if (auto reason = rulesCheck(resolvedLower))
            return std::string(keepsItsReasonWhenResolved(*reason) ? *reason : SafetyReason::symlinkLeadsOut);
    }
    return std::nullopt;
}

std::optional<SafetyGuard::Components> SafetyGuard::logicalComponents(const std::string& text) const {
    const auto real = collapsed(splitPath(text));
    if (!startsWith(real, rootParts_))
        return std::nullopt;
    const Components logicalRaw(real.begin() + static_cast<std::ptrdiff_t>(rootParts_.size()), real.end());
    return normalisedComponents(logicalRaw, layout_);
}

std::filesystem::path SafetyGuard::anchorFor(const std::filesystem::path& path) const {
    const auto parts = collapsed(splitPath(path.string()));
    if (realHome_.size() > rootParts_.size() && parts.size() > realHome_.size() &&
        startsWith(parts, realHome_))
        return joined(realHome_, realHome_.size());
    if (layout_ == PlatformLayout::macOS && parts.size() > rootParts_.size() + 1 &&
        startsWith(parts, rootParts_)) {
        const auto& top = parts[rootParts_.size()];
        if (top == "var" || top == "tmp" || top == "etc")
            return joined(parts, rootParts_.size() + 1);
    }
    return joined(rootParts_, rootParts_.size());
}

bool SafetyGuard::liesInCredentialToolFolder(const std::filesystem::path& path) const {
    const auto logical = logicalComponents(path.string());
    if (!isValid_ || !logical)
        return false;
    const auto parts = lowered(*logical);
    return parts.size() > homeParts_.size() + 1 && startsWith(parts, homeParts_) &&
           contains(toolFoldersWithCredentials, parts[homeParts_.size()]);
}

bool SafetyGuard::isCredentialName(std::string_view name) {
    return isCredentialComponent(lowerComponent(name));
}

SafetyVerdict SafetyGuard::verdict(const std::filesystem::path& path) const {
    return SafetyVerdict::fromReason(check(path));
}

std::optional<std::string> SafetyGuard::checkLogical(const std::filesystem::path& logicalPath) const {
    const auto text = logicalPath.string();
    if (text.empty() || text.front() != '/')
        return check(logicalPath);
    return check(rootText_ + text);
}

std::optional<std::string_view> SafetyGuard::rulesCheck(const Components& parts) const {
    if (contains(parts, "caskroom") || contains(parts, "cellar"))
        return SafetyReason::homebrewOnly;
    if (layout_ == PlatformLayout::macOS &&
        startsWith(parts, 0, simulatorAssetPrefix, simulatorAssetPrefix.size()))
        return SafetyReason::simctlOnly;
    if (startsWith(parts, homeParts_))
        return homeRules(parts, homeParts_.size());
    if (layout_ == PlatformLayout::macOS)
        return macOSRules(parts);
    if (parts.empty() || contains(linuxTopLevelFolders, parts.front()))
        return SafetyReason::systemFolder;
    return SafetyReason::outsideAllowedFolders;
}

std::optional<std::string_view> SafetyGuard::macOSRules(const Components& parts) const {
    if (cacheParts_ && startsWith(parts, *cacheParts_)) {
        if (parts.size() > cacheParts_->size() && allowedCache_.contains(parts[cacheParts_->size()]))
            return std::nullopt;
        return SafetyReason::systemFolder;
    }
    if (tempParts_ && startsWith(parts, *tempParts_)) {
        if (parts.size() > tempParts_->size())
            return std::nullopt;
        return SafetyReason::systemFolder;
    }
    if (parts.size() >= 3 && parts[0] == "library" && (parts[1] == "caches" || parts[1] == "logs"))
        return std::nullopt;
    if (parts.size() == 3 && parts[0] == "library" &&
        (parts[1] == "launchagents" || parts[1] == "launchdaemons") &&
        parts[2].size() > std::string_view(".plist").size() && parts[2].ends_with(".plist"))
        return std::nullopt;
    for (const auto& prefix : allowedSystemPrefixes)
        if (startsWith(parts, 0, prefix.parts, prefix.count))
            return std::nullopt;
    if (parts.size() >= 2 && parts[0] == "applications" && parts[1].size() >= 5 && parts[1].ends_with(".app"))
        return std::nullopt;
    if (parts.empty() || contains(macOSTopLevelFolders, parts.front()))
        return SafetyReason::systemFolder;
    return SafetyReason::outsideAllowedFolders;
}

std::optional<std::string_view> SafetyGuard::homeRules(const Components& parts, std::size_t first) const {
    if (parts.size() == first)
        return SafetyReason::personalFolder;
    for (const auto& prefix : protectedHomePrefixes)
        if (startsWith(parts, first, prefix.parts, prefix.count))
            return prefix.reason;
    for (const auto& folder : personalFolders_)
        if (startsWith(parts, first, folder, folder.size()))
            return SafetyReason::personalFolder;

    const auto remaining = parts.size() - first;
    if (remaining == 1 && (parts[first] == "pictures" || parts[first] == "library"))
        return SafetyReason::personalFolder;
    for (const auto& folder : personalFolderRoots_)
        if (remaining == folder.size() && startsWith(parts, first, folder, folder.size()))
            return SafetyReason::personalFolder;

    for (std::size_t i = first; i < parts.size(); ++i)
        if (parts[i].ends_with(".photoslibrary"))
            return SafetyReason::photoLibrary;
    if (!contains(toolFoldersWithCredentials, parts[first]))
        return std::nullopt;
    if (remaining == 1)
        return SafetyReason::credentials;
    for (std::size_t i = first + 1; i < parts.size(); ++i)
        if (isCredentialComponent(parts[i]))
            return SafetyReason::credentials;
    return std::nullopt;
}

} // namespace velmora
