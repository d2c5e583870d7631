#include "Doubles/TempTree.hpp"
#include "Platform/FileIdentity.hpp"
#include "Platform/FreedesktopTrash.hpp"
#include "Platform/HomeTrash.hpp"
#include "Support/FileURL.hpp"
#include "Support/StopToken.hpp"
#include "Support/Text.hpp"

#include <gtest/gtest.h>

#include <set>
#include <thread>

using namespace velmora;
using namespace velmora::testing;
namespace fs = std::filesystem;

namespace {

using namespace std::chrono;

// 2024-03-05 12:34:56 UTC.
const system_clock::time_point fixedNow = sys_days{2024y / March / 5} + 12h + 34min + 56s;

FreedesktopTrash desktopTrash(const TempTree& tree) {
    return FreedesktopTrash(tree / "home/.local/share", [] { return fixedNow; });
}

// Sets the time zone for one test; the deletion date is written in local time.
struct TimeZone {
    explicit TimeZone(const char* zone) { ::setenv("TZ", zone, 1), ::tzset(); }
    ~TimeZone() { old ? ::setenv("TZ", old->c_str(), 1) : ::unsetenv("TZ"), ::tzset(); }
    std::optional<std::string> old =
        std::getenv("TZ") ? std::optional<std::string>(std::getenv("TZ")) : std::nullopt;
};

std::string infoPathValue(const fs::path& infoFile) {
    const std::string text = contentOf(infoFile);
    const auto start = text.find("\nPath=");
    return start == std::string::npos ? "" : text.substr(start + 6, text.find('\n', start + 1) - start - 6);
}

} // namespace

TEST(TrashCandidateName, NumbersBeforeTheLastExtensionAndFitsTheByteLimit) {
    for (const auto& [name, number, candidate] :
         std::initializer_list<std::tuple<std::string, int, std::string>>{
             {"a.txt", 1, "a.txt"},
             {"a.txt", 2, "a 2.txt"},
             {"Ordner", 13, "Ordner 13"},
             {".profile", 2, ".profile 2"},
             {"x.tar.gz", 2, "x.tar 2.gz"},
             {"Bild\xff.jpg", 3, "Bild\xff 3.jpg"}})
        EXPECT_EQ(trashCandidateName(name, number), candidate);
    // 130 × "ä" is 260 bytes: shortened to whole characters, the extension and the number kept.
    std::string umlauts;
    while (umlauts.size() < 260)
        umlauts += "ä";
    const std::string shortened = trashCandidateName(umlauts + ".txt", 2, 245);
    EXPECT_LE(shortened.size(), 245u);
    EXPECT_TRUE(shortened.ends_with("ä 2.txt"));
    EXPECT_EQ(Text::repairUTF8(shortened), shortened);
}

TEST(HomeTrash, MovesFilesAndLinksAsThemselvesAndNumbersClashingNames) {
    TempTree tree;
    tree.folder("home");
    HomeTrash trash(tree / "home");

    std::vector<fs::path> places;
    for (const char* folder : {"one", "two", "three"}) {
        const fs::path item = tree.file(fs::path(folder) / "a.txt", folder);
        auto moved = trash.moveToTrash(item);
        ASSERT_TRUE(moved) << moved.error().message;
        EXPECT_FALSE(present(item));
        EXPECT_EQ(contentOf(*moved), folder);
        places.push_back(*moved);
    }
    EXPECT_EQ(places, (std::vector<fs::path>{tree / "home/.Trash/a.txt", tree / "home/.Trash/a 2.txt",
                                             tree / "home/.Trash/a 3.txt"}));
    EXPECT_EQ(fs::status(tree / "home/.Trash").permissions() & fs::perms::all, fs::perms::owner_all);

    // A link (with or without a trailing slash) moves as the link, its target stays.
    tree.file("precious/letter.txt", "keep");
    for (const char* suffix : {"", "/"}) {
        const fs::path link = tree.link("caches/shortcut", tree / "precious");
        auto moved = trash.moveToTrash(fs::path(link.string() + suffix));
        ASSERT_TRUE(moved) << suffix;
        EXPECT_EQ(fs::read_symlink(*moved), tree / "precious");
        EXPECT_FALSE(present(link));
    }
    EXPECT_EQ(snapshot(tree / "precious"), (std::map<std::string, std::string>{{"letter.txt", "file:keep"}}));
}

TEST(HomeTrash, RefusesPlantedLinksAndReportsWhatIsWrong) {
    using Kind = TrashError::Kind;
    TempTree tree;
    tree.folder("home");
    tree.folder("elsewhere");
    tree.link("home/.Trash", tree / "elsewhere");
    tree.file("home4/.Trash", "not a folder");
    tree.folder("home3");
    const fs::path item = tree.file("caches/x.log");
    tree.file("real/sub/z.log");
    tree.link("linked", tree / "real");
    const auto otherObject = FileIdentity::of(tree.file("real/y.log"));
    const auto before = snapshot(tree.root());

    const std::vector<std::tuple<const char*, RemovalTarget, Kind, std::string>> cases = {
        {"home", item, Kind::unsafeLocation, ""}, // the Trash itself a link
        // The item's folder as a link, and one further up: the path was vetted, not where links lead.
        {"home3", tree / "linked/y.log", Kind::unsafeLocation, ""},
        {"home3", tree / "linked/sub/z.log", Kind::unsafeLocation, ""},
        {"home3",
         {tree / "real/sub/z.log", tree.root(), otherObject},
         Kind::changed,
         "Hat sich seit dem Scan verändert – nicht angefasst"},
        {"home3", tree / "caches/missing", Kind::notFound, "Objekt existiert nicht mehr"},
        {"home3", fs::path("relative/x"), Kind::invalidPath, ""},
        {"home3", fs::path("/"), Kind::invalidPath, ""},
        {"home4", item, Kind::noTrash, "Kein Papierkorb vorhanden"},
    };
    for (const auto& [home, target, kind, message] : cases) {
        const auto refused = HomeTrash(tree / home).moveToTrash(target);
        ASSERT_FALSE(refused) << target.path;
        EXPECT_EQ(refused.error().kind, kind) << target.path;
        EXPECT_TRUE(message.empty() || refused.error().message == message) << refused.error().message;
    }
    EXPECT_EQ(snapshot(tree.root()), before);
}

TEST(HomeTrash, ConcurrentMovesNeverShareAName) {
    TempTree tree;
    tree.folder("home");
    HomeTrash trash(tree / "home");
    constexpr int perThread = 40;
    for (int i = 0; i < 2 * perThread; ++i)
        tree.file(fs::path(std::to_string(i)) / "same.txt", std::to_string(i));
    {
        std::vector<JoiningThread> threads;
        for (int t = 0; t < 2; ++t)
            threads.emplace_back([&, t] {
                for (int i = t; i < 2 * perThread; i += 2)
                    EXPECT_TRUE(trash.moveToTrash(tree / std::to_string(i) / "same.txt"));
            });
    }
    std::set<std::string> contents;
    for (const auto& entry : fs::directory_iterator(tree / "home/.Trash"))
        contents.insert(contentOf(entry.path()));
    EXPECT_EQ(contents.size(), 2u * perThread);
}

TEST(FreedesktopTrash, WritesARestorableTrashInfoAndReservesNamesThroughIt) {
    const TimeZone zone("CET-1");
    TempTree tree;
    const fs::path item = tree.file("Ordner mit Leerzeichen/Grüße\xff.txt", "hallo");
    auto trash = desktopTrash(tree);

    auto moved = trash.moveToTrash(item);
    ASSERT_TRUE(moved) << moved.error().message;
    const fs::path trashFolder = tree / "home/.local/share/Trash";
    EXPECT_EQ(*moved, trashFolder / "files/Grüße\xff.txt");
    EXPECT_EQ(contentOf(*moved), "hallo");
    EXPECT_FALSE(present(item));

    const fs::path info = trashFolder / "info/Grüße\xff.txt.trashinfo";
    const std::string text = contentOf(info);
    EXPECT_TRUE(text.starts_with("[Trash Info]\nPath=/"));
    EXPECT_TRUE(text.ends_with("/Ordner%20mit%20Leerzeichen/Gr%C3%BC%C3%9Fe%FF.txt\n"
                               "DeletionDate=2024-03-05T13:34:56\n"))
        << text;
    // What a desktop decodes from the entry is exactly where the item was.
    EXPECT_EQ(pathFromFileURL("file://" + infoPathValue(info)), item);
    for (const char* folder : {"", "/files", "/info"})
        EXPECT_EQ(fs::status(trashFolder.string() + folder).permissions() & fs::perms::all,
                  fs::perms::owner_all);

    // Names are reserved through the info file: "a 2.txt" in files without its info (left by a crashed
    // program) is not replaced.
    ASSERT_TRUE(trash.moveToTrash(tree.file("one/a.txt", "1")));
    tree.file("home/.local/share/Trash/files/a 2.txt", "orphan");

    auto second = trash.moveToTrash(tree.file("two/a.txt", "2"));
    ASSERT_TRUE(second);
    EXPECT_EQ(*second, trashFolder / "files/a 3.txt");
    EXPECT_EQ(contentOf(trashFolder / "files/a 2.txt"), "orphan");
    EXPECT_FALSE(present(trashFolder / "info/a 2.txt.trashinfo"));
    EXPECT_EQ(infoPathValue(trashFolder / "info/a.txt.trashinfo"), percentEncodedPath(tree / "one/a.txt"));
    EXPECT_EQ(infoPathValue(trashFolder / "info/a 3.txt.trashinfo"), percentEncodedPath(tree / "two/a.txt"));

    // A 250-byte name is shortened so that its info file still fits the name limit.
    const std::string longName(246, 'n');
    auto longOne = trash.moveToTrash(tree.file(fs::path("three") / (longName + ".bin")));
    ASSERT_TRUE(longOne) << longOne.error().message;
    EXPECT_LE(longOne->filename().string().size() + 10, 255u);
    EXPECT_TRUE(present(trashFolder / "info" / (longOne->filename().string() + ".trashinfo")));
}

TEST(FreedesktopTrash, AFailedMoveTakesItsInfoBackAndLeavesTheItem) {
    TempTree tree;
    auto trash = desktopTrash(tree);
    const fs::path item = tree.file("locked/a.txt", "stay");
    FrozenFolder frozen(tree / "locked");
    if (!frozen.active())
        GTEST_SKIP() << "cannot make a folder unchangeable on this file system";

    auto failed = trash.moveToTrash(item);
    frozen.thaw();
    ASSERT_FALSE(failed);
    EXPECT_EQ(failed.error().message, "Keine Berechtigung");
    EXPECT_EQ(contentOf(item), "stay");
    EXPECT_TRUE(fs::is_empty(tree / "home/.local/share/Trash/info"));
    EXPECT_TRUE(fs::is_empty(tree / "home/.local/share/Trash/files"));
}

TEST(FreedesktopTrash, RefusesLinkedTrashFolders) {
    for (const char* planted :
         {".local", ".local/share/Trash", ".local/share/Trash/files", ".local/share/Trash/info"}) {
        TempTree tree;
        tree.folder((fs::path("home") / planted).parent_path());
        tree.folder("elsewhere");
        tree.link(fs::path("home") / planted, tree / "elsewhere");
        const fs::path item = tree.file("caches/x.log");

        auto refused = desktopTrash(tree).moveToTrash(item);
        ASSERT_FALSE(refused) << planted;
        EXPECT_EQ(refused.error().kind, TrashError::Kind::unsafeLocation) << planted;
        EXPECT_TRUE(present(item));
        EXPECT_TRUE(fs::is_empty(tree / "elsewhere"));
    }
}

TEST(Trash, AnItemOnAnotherVolumeIsNeverMovedNorDeleted) {
    struct stat shm {
    }, tmp{};
    if (::stat("/dev/shm", &shm) != 0 || ::stat(fs::temp_directory_path().c_str(), &tmp) != 0 ||
        shm.st_dev == tmp.st_dev)
        GTEST_SKIP() << "no second file system (/dev/shm) here";
    TempTree other("/dev/shm");
    TempTree tree;
    tree.folder("home");
    const fs::path item = other.file("big/blob", "on another volume");

    auto home = HomeTrash(tree / "home").moveToTrash(item);
    auto desktop = desktopTrash(tree).moveToTrash(item);
    for (const auto* result : {&home, &desktop}) {
        ASSERT_FALSE(*result);
        EXPECT_EQ(result->error().kind, TrashError::Kind::otherVolume);
        EXPECT_EQ(result->error().message,
                  "Liegt auf einem anderen Volume – der Papierkorb ist dort nicht erreichbar");
    }
    EXPECT_EQ(contentOf(item), "on another volume");
    EXPECT_TRUE(fs::is_empty(tree / "home/.local/share/Trash/info"));
}

TEST(Trash, DataHomeFollowsTheXdgVariableOnlyWhenAbsolute) {
    EXPECT_EQ(FreedesktopTrash::dataHomeFor("/home/anna", nullptr), "/home/anna/.local/share");
    EXPECT_EQ(FreedesktopTrash::dataHomeFor("/home/anna", ""), "/home/anna/.local/share");
    EXPECT_EQ(FreedesktopTrash::dataHomeFor("/home/anna", "relative/data"), "/home/anna/.local/share");
    EXPECT_EQ(FreedesktopTrash::dataHomeFor("/home/anna", "/data/anna"), "/data/anna");
}
