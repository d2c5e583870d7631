// Fuzzes the safety guard: each input builds a tree of folders and symbolic links below a temporary
// root and asks the guard about paths in it. Whatever the links, an allowed path must not lead to a
// protected place, judged by a resolver and a list of protected places written separately here.
#include "Safety/SafetyGuard.hpp"
#include "Support/Text.hpp"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fnmatch.h>
#include <fstream>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

using namespace velmora;

namespace {

using Parts = std::vector<std::string>;

class Input {
public:
    Input(const uint8_t* data, std::size_t size) : data_(data), size_(size) {}
    uint8_t byte() { return position_ < size_ ? data_[position_++] : 0; }
    std::size_t below(std::size_t bound) { return bound == 0 ? 0 : byte() % bound; }
    bool exhausted() const { return position_ >= size_; }

private:
    const uint8_t* data_;
    std::size_t size_;
    std::size_t position_ = 0;
};

// clang-format off
const std::vector<std::string> vocabulary = {
    "..", "..", ".", "L0", "L1", "L2", "L3", "L4", "L5", "Users", "anna", "ANNA", "other", "home", "Library",
    "Caches", "Logs", "Keychains", "Documents", "DOCUMENTS", "Desktop", "Pictures", "P.photoslibrary", ".ssh",
    ".config", ".codex", "log", "auth.json", "au\u0301th.json", "config.toml", "x", "private", "var", "tmp",
    "etc", "folders", "ab", "xyz", "C", "T", "clang", "opt", "homebrew", "Cellar", "Applications", "Foo.app",
    "usr", "local", "texlive", "bin", "System", "Dokumente", ".cache", "root", "",
    std::string("Documents\0", 10)};
// clang-format on

struct Shape {
    PlatformLayout layout;
    std::string home;
    std::vector<std::string> folders;
    std::vector<std::pair<std::string, std::string>> files;
    std::vector<std::pair<std::string, std::string>> links;
};

const Shape macShape = {
    PlatformLayout::macOS,
    "/Users/anna",
    {"/Users/anna/Library/Caches/app",
     "/Users/anna/Library/Logs",
     "/Users/anna/Library/Keychains",
     "/Users/anna/Documents/sub",
     "/Users/anna/Desktop",
     "/Users/anna/Pictures/P.photoslibrary",
     "/Users/anna/.ssh",
     "/Users/anna/.codex/log",
     "/Users/anna/.config",
     "/Users/other",
     "/Library/Caches/sys",
     "/Library/LaunchAgents",
     "/Applications/Foo.app/Contents",
     "/opt/homebrew/Cellar/wget",
     "/usr/local/texlive",
     "/usr/bin",
     "/System/Library",
     "/private/var/folders/ab/xyz/C/clang",
     "/private/var/folders/ab/xyz/T",
     "/private/tmp",
     "/private/etc"},
    {{"/Users/anna/Documents/sub/secret", "x"},
     {"/Users/anna/.ssh/id", "x"},
     {"/Users/anna/.codex/auth.json", "x"},
     {"/Users/anna/Library/Keychains/login", "x"},
     {"/usr/bin/tool", "x"},
     {"/private/etc/hosts", "x"}},
    // As on a real Mac.
    {{"/var", "private/var"}, {"/tmp", "private/tmp"}, {"/etc", "private/etc"}},
};

const Shape linuxShape = {
    PlatformLayout::linux,
    "/home/anna",
    {"/home/anna/.cache/app", "/home/anna/Documents", "/home/anna/Dokumente/sub", "/home/anna/Desktop",
     "/home/anna/Pictures", "/home/anna/.ssh", "/home/anna/.codex/log", "/home/bob", "/etc", "/usr/bin",
     "/tmp", "/root"},
    {{"/home/anna/.config/user-dirs.dirs", "XDG_DOCUMENTS_DIR=\"$HOME/Dokumente\"\n"},
     {"/home/anna/Dokumente/sub/secret", "x"},
     {"/home/anna/.ssh/id", "x"},
     {"/home/anna/.codex/auth.json", "x"},
     {"/etc/passwd", "x"}},
    {},
};

Parts split(const std::string& text) {
    Parts parts;
    std::string part;
    for (const char c : text + "/") {
        if (c != '/') {
            part += c;
        } else if (!part.empty()) {
            parts.push_back(part);
            part.clear();
        }
    }
    return parts;
}

std::string lower(const std::string& text) {
    std::string out = Text::isValidUTF8(text) ? Text::lowercased(text) : text;
    if (!Text::isValidUTF8(text))
        for (auto& c : out)
            c = static_cast<char>(c >= 'A' && c <= 'Z' ? c - 'A' + 'a' : c);
    return out;
}

// ---- The reference resolver: recursive, with std::filesystem, root taken as "/".

struct Walk {
    const std::string& root;
    int hops = 0;

    std::string real(const Parts& parts) const {
        std::string text = root;
        for (const auto& part : parts)
            text += "/" + part;
        return text;
    }

    // Follows `rest` from `at`; 0 or an errno value.
    int follow(Parts& at, const Parts& rest) {
        for (std::size_t i = 0; i < rest.size(); ++i) {
            const auto& part = rest[i];
            if (part == ".")
                continue;
            if (part == "..") {
                if (!at.empty())
                    at.pop_back();
                continue;
            }
            auto next = at;
            next.push_back(part);
            std::error_code error;
            const auto status = std::filesystem::symlink_status(real(next), error);
            if (error)
                return error.value();
            if (std::filesystem::is_symlink(status)) {
                if (++hops > 40)
                    return ELOOP;
                const auto target = std::filesystem::read_symlink(real(next), error).string();
                if (error)
                    return error.value();
                if (target.empty())
                    return ENOENT;
                if (target.front() == '/')
                    at.clear();
                if (const int failed = follow(at, split(target)))
                    return failed;
            } else {
                at = next;
            }
            const bool more = i + 1 < rest.size();
            if (more && !std::filesystem::is_directory(real(at), error))
                return ENOTDIR;
        }
        return 0;
    }
};

Parts collapse(const Parts& parts) {
    Parts out;
    for (const auto& part : parts) {
        if (part == "." || part.empty())
            continue;
        if (part == "..") {
            if (!out.empty())
                out.pop_back();
        } else {
            out.push_back(part);
        }
    }
    return out;
}

// Where the system ends up for `parts`; a tail that does not exist yet is appended as written.
std::optional<Parts> referenceResolve(const std::string& root, Parts parts) {
    Parts tail;
    while (true) {
        Walk walk{root};
        Parts at;
        const int failed = walk.follow(at, parts);
        if (failed == 0) {
            at.insert(at.end(), tail.begin(), tail.end());
            return collapse(at);
        }
        if ((failed != ENOENT && failed != ENOTDIR) || parts.size() <= 1)
            return std::nullopt;
        tail.insert(tail.begin(), parts.back());
        parts.pop_back();
    }
}

// ---- The places that must never be touched, on lower-cased components.

bool startsWith(const Parts& parts, const Parts& prefix) {
    return parts.size() >= prefix.size() && std::equal(prefix.begin(), prefix.end(), parts.begin());
}

bool isCredentialName(const std::string& name) {
    for (const char* pattern : {"auth*.json", "credentials*", "config*", "*.toml", ".env", ".env.*", "oauth*",
                                "token*", "keychain*"})
        if (fnmatch(pattern, name.c_str(), 0) == 0 ||
            fnmatch(pattern, Text::removingMarks(name).c_str(), 0) == 0)
            return true;
    return false;
}

bool isProtectedInHome(const Parts& rest, bool linux) {
    if (rest.empty())
        return true;
    const auto& first = rest.front();
    for (const char* name : {"documents", "desktop", ".ssh", ".gnupg", ".aws", ".kube", ".config"})
        if (first == name)
            return true;
    if (linux && first == "dokumente")
        return true;
    if (startsWith(rest, {"library", "keychains"}) || startsWith(rest, {".docker", "config.json"}))
        return true;
    if (rest == Parts{"library"} || rest == Parts{"pictures"})
        return true;
    for (const auto& part : rest)
        if (part.size() >= 14 && part.ends_with(".photoslibrary"))
            return true;
    if (first == ".codex" || first == ".gemini" || first == ".copilot") {
        if (rest.size() == 1)
            return true;
        for (std::size_t i = 1; i < rest.size(); ++i)
            if (isCredentialName(rest[i]))
                return true;
    }
    return false;
}

bool isProtected(Parts parts, const Shape& shape) {
    for (auto& part : parts)
        part = lower(part);
    if (std::find(parts.begin(), parts.end(), "cellar") != parts.end())
        return true;
    const bool linux = shape.layout == PlatformLayout::linux;
    if (!linux && !parts.empty() && (parts[0] == "var" || parts[0] == "tmp" || parts[0] == "etc"))
        parts.insert(parts.begin(), "private");
    const auto home = split(lower(shape.home));
    if (startsWith(parts, home))
        return isProtectedInHome(Parts(parts.begin() + static_cast<std::ptrdiff_t>(home.size()), parts.end()),
                                 linux);
    if (linux || parts.size() <= 1)
        return true;
    const auto& first = parts[0];
    if (first == "users" || first == "system" || first == "bin" || first == "sbin")
        return true;
    if (first == "usr" && !startsWith(parts, {"usr", "local", "texlive"}))
        return true;
    if (startsWith(parts, {"private", "etc"}))
        return true;
    if (first == "library" && parts.size() == 2)
        return true;
    if (first == "private" && parts.size() <= 5)
        return true;
    if (parts == Parts{"private", "var", "folders", "ab", "xyz", "c"} ||
        parts == Parts{"private", "var", "folders", "ab", "xyz", "t"})
        return true;
    return false;
}

// One folder per process, removed at exit; the text is never destroyed, so the exit handler can use it.
const std::string& scratchFolder() {
    static const std::string* folder = [] {
        std::string pattern = (std::filesystem::temp_directory_path() / "velmora-guard-fuzz-XXXXXX").string();
        if (::mkdtemp(pattern.data()) == nullptr)
            std::abort();
        return new std::string(pattern);
    }();
    static const bool cleanupRegistered = [] {
        std::atexit([] {
            std::error_code ignored;
            std::filesystem::remove_all(*folder, ignored);
        });
        return true;
    }();
    (void)cleanupRegistered;
    return *folder;
}

[[noreturn]] void fail(const std::string& what, const std::string& path,
                       const std::optional<std::string>& reason) {
    std::fprintf(stderr, "\nINVARIANT BROKEN: %s\n  path: %s\n  guard: %s\n", what.c_str(), path.c_str(),
                 reason ? reason->c_str() : "(allowed)");
    std::error_code ignored;
    std::filesystem::remove_all(scratchFolder(), ignored);
    std::abort();
}

void build(const std::string& root, const Shape& shape, Input& input, std::vector<std::string>& folders,
           std::vector<std::string>& links) {
    for (const auto& folder : shape.folders)
        std::filesystem::create_directories(root + folder);
    for (const auto& [file, contents] : shape.files) {
        std::filesystem::create_directories(std::filesystem::path(root + file).parent_path());
        std::ofstream(root + file) << contents;
    }
    for (const auto& [link, target] : shape.links)
        ::symlink(target.c_str(), (root + link).c_str());
    folders = shape.folders;
    folders.push_back("");

    const auto operations = input.below(24);
    for (std::size_t i = 0; i < operations && !input.exhausted(); ++i) {
        const auto kind = input.below(3);
        const auto& parent = folders[input.below(folders.size())];
        const auto& name = vocabulary[input.below(vocabulary.size())];
        if (name.empty() || name == "." || name == ".." || name.find('\0') != std::string::npos)
            continue;
        const auto logical = parent + "/" + name;
        struct stat status {};
        if (::lstat((root + logical).c_str(), &status) == 0)
            continue;
        if (kind == 0) {
            if (::mkdir((root + logical).c_str(), 0755) == 0)
                folders.push_back(logical);
            continue;
        }
        // Half of the links lead to a real folder (perhaps a bit beyond it), the rest anywhere.
        const auto form = input.byte();
        std::string target = form & 1 ? folders[input.below(folders.size())] : (form & 2 ? "/" : "");
        const auto length = (form & 1 ? 0 : 1) + input.below(4);
        for (std::size_t j = 0; j < length; ++j)
            target += (target.empty() || target.back() == '/' ? "" : "/") +
                      vocabulary[input.below(vocabulary.size())];
        if (target.empty())
            target = ".";
        if (::symlink(target.c_str(), (root + logical).c_str()) == 0)
            links.push_back(logical);
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
    Input input(data, size);
    const auto& shape = input.byte() & 1 ? linuxShape : macShape;
    const auto root = scratchFolder() + "/t";
    std::error_code ignored;
    std::filesystem::remove_all(root, ignored);
    std::filesystem::create_directory(root);

    std::vector<std::string> folders;
    std::vector<std::string> links;
    build(root, shape, input, folders, links);

    SafetyGuard::Setup setup;
    setup.layout = shape.layout;
    setup.rootPrefix = root;
    setup.home = shape.home;
    setup.cache = "/var/folders/ab/xyz/C";
    setup.temp = "/var/folders/ab/xyz/T";
    if (shape.layout == PlatformLayout::linux)
        setup.userDirs = XdgUserDirs::read(root, shape.home);
    const SafetyGuard guard(setup);

    const auto queries = 1 + input.below(16);
    const auto rootParts = split(root);
    for (std::size_t q = 0; q < queries; ++q) {
        // Start at the home, a folder, the root, the caches or (most often) one of the new links.
        const auto start = input.below(6);
        std::string logical =
            start == 0   ? shape.home
            : start == 1 ? folders[input.below(folders.size())]
            : start == 2 ? std::string()
            : start == 3 || links.empty()
                ? shape.home + (shape.layout == PlatformLayout::macOS ? "/Library/Caches" : "/.cache")
                : links[input.below(links.size())];
        const auto length = input.below(7);
        for (std::size_t j = 0; j < length; ++j)
            logical += "/" + vocabulary[input.below(vocabulary.size())];
        if (logical.empty())
            logical = "/";
        const auto real = (input.below(32) == 0 ? "/.." : "") + root + logical;

        const auto reason = guard.check(real);
        if (guard.check(real) != reason)
            fail("two different answers", real, reason);
        if (reason)
            continue;

        if (real.find('\0') != std::string::npos)
            fail("allowed a path with a NUL", real, reason);
        // Allowed: the path as written and the place the system reaches through it must be harmless.
        const auto given = split(real);
        if (!startsWith(collapse(given), rootParts) || !startsWith(given, rootParts))
            fail("allowed outside the root", real, reason);
        const Parts logicalParts(given.begin() + static_cast<std::ptrdiff_t>(rootParts.size()), given.end());
        if (isProtected(collapse(logicalParts), shape))
            fail("allowed a protected path", real, reason);
        const auto target = referenceResolve(root, logicalParts);
        if (!target)
            fail("allowed a path the reference cannot resolve", real, reason);
        if (isProtected(*target, shape)) {
            std::string shown;
            for (const auto& part : *target)
                shown += "/" + part;
            fail("allowed a path that leads to " + shown, real, reason);
        }
    }
    return 0;
}
