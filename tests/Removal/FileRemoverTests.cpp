#include "Doubles/FakeTrash.hpp"
#include "Doubles/TempTree.hpp"
#include "Platform/ParentDirectory.hpp"
#include "Removal/DeleteRemover.hpp"
#include "Removal/RemovalPlan.hpp"
#include "Removal/RemovalRunner.hpp"
#include "Removal/RemovalTestSupport.hpp"
#include "Removal/TrashRemover.hpp"
#include "Safety/KeepList.hpp"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include <fcntl.h>
#include <stdio.h>

using namespace velmora;
using namespace velmora::removaltest;
using velmora::testing::contentOf;

namespace {

class FileRemoval : public ::testing::TestWithParam<PlatformLayout> {
protected:
    RemovalRunner runner(std::shared_ptr<const KeepList> keep = nullptr) const {
        return RemovalRunner::live(h.trash, h.guard, nullptr, ToolLocator{}, nullptr, nullptr,
                                   std::move(keep));
    }

    Home h{GetParam()};
};

INSTANTIATE_TEST_SUITE_P(Layouts, FileRemoval, ::testing::ValuesIn(allPlatformLayouts), layoutName);

#ifdef __linux__
// Exchanges two entries as fast as it can on a thread of its own, as an attacker racing the remover
// would; on destruction it stops and leaves both as they were.
class Swapper {
public:
    Swapper(fs::path a, fs::path b)
        : a_(std::move(a)), b_(std::move(b)), thread_([this] {
              while (!stop_)
                  if (::renameat2(AT_FDCWD, a_.c_str(), AT_FDCWD, b_.c_str(), RENAME_EXCHANGE) == 0)
                      ++swaps_;
          }) {}
    ~Swapper() {
        stop_ = true;
        thread_.join();
        if (swaps_ % 2 != 0)
            ::renameat2(AT_FDCWD, a_.c_str(), AT_FDCWD, b_.c_str(), RENAME_EXCHANGE);
    }
    long swaps() const { return swaps_; }

private:
    fs::path a_, b_;
    std::atomic<bool> stop_ = false;
    std::atomic<long> swaps_ = 0;
    std::thread thread_;
};
#endif

} // namespace

TEST_P(FileRemoval, ExactlyTheChosenItemsGoAndLinksInsideThemAreNotFollowed) {
    const auto& t = h.tree;
    const auto c = h.cache;
    const fs::path secret = t.file(h.documents / "secret.txt", "geheim");
    t.file(c / "app.one/a.bin", "a");
    t.file(c / "app.one/sub/b.bin", "b");
    t.file(c / "app.one/.hidden", "h");
    t.link(c / "app.one/toDocuments", h.documents);
    t.link(c / "app.one/toSecret", secret);
    t.file(c / "app.one.keep/x", "x"); // a sibling whose name starts the same
    t.file(c / "app.two/deep/er/and/deeper/f", "f");
    t.link(c / "app.two/toThree", c / "app.three");
    t.file(c / "app.three/y", "y");
    t.link(c / "linkItem", c / "app.three");
    t.file(c / "file.log", "log");
    t.file(c / "app.four/z", "z");

    const Finding trashFinding =
        findingOf("appCaches.one", RemovalMethod::trash(),
                  {itemAt(c / "app.one", 300), itemAt(c / "linkItem", 0), itemAt(c / "app.one.keep", 5)});
    const Finding deleteFinding = findingOf("appCaches.two", RemovalMethod::deleteDirectly(),
                                            {itemAt(c / "app.two", 4000), itemAt(c / "file.log", 70)});
    // Not every item of a finding is chosen: app.one.keep stays.
    const auto plan =
        RemovalPlan::build({FindingSelection{trashFinding, {trashFinding.items[0], trashFinding.items[1]}},
                            allOf(deleteFinding)},
                           {});
    const auto before = without(snapshot(t.root()), t.root(), {h.trashFolder});

    const auto report = runner().run(plan);

    const std::vector<fs::path> chosen = {c / "app.one", c / "linkItem", c / "app.two", c / "file.log"};
    EXPECT_EQ(without(snapshot(t.root()), t.root(), {h.trashFolder}), without(before, t.root(), chosen));

    // The Trash holds the Trash items exactly as they were, the link as a link.
    const auto trashed = snapshot(h.trashFiles());
    EXPECT_EQ(trashed.at("app.one/sub/b.bin"), "file:b");
    EXPECT_EQ(trashed.at("app.one/toSecret"), "link:" + secret.string());
    EXPECT_EQ(trashed.at("linkItem"), "link:" + (c / "app.three").string());

    // Every item reported removed with its size: nothing failed or was skipped.
    EXPECT_EQ(report.freedBytes, 4000 + 70);
    EXPECT_EQ(report.trashedBytes, 300 + 0);
    EXPECT_TRUE(report.failures.empty());
    EXPECT_FALSE(report.summary());
}

TEST_P(FileRemoval, AFolderAboveTheItemsSwappedForALinkIntoDocumentsCostsNothingThere) {
#ifndef __linux__
    GTEST_SKIP() << "needs renameat2 with RENAME_EXCHANGE";
#else
    const auto& t = h.tree;
    // The macOS layout takes the walk a Mac has (one component at a time), the Linux one the kernel's.
    struct KernelWalk {
        explicit KernelWalk(bool allowed) { ParentDirectory::allowKernelWalk(allowed); }
        ~KernelWalk() { ParentDirectory::allowKernelWalk(true); }
    } kernelWalk(GetParam() == PlatformLayout::linux);
    constexpr int itemCount = 200;
    for (const auto& method : {RemovalMethod::trash(), RemovalMethod::deleteDirectly()}) {
        const std::string tag = method.kind() == RemovalKind::trash ? "trash" : "delete";
        SCOPED_TRACE(tag);
        // The items lie two levels below the swapped folder; Documents holds the same names.
        const fs::path app = h.cache / tag;
        std::vector<FindingItem> items;
        std::vector<fs::path> paths;
        for (int i = 0; i < itemCount; ++i) {
            const std::string name = "item" + std::to_string(i);
            t.file(app / "data" / name / "f", "cache");
            t.file(h.documents / tag / "data" / name / "f", "document");
            paths.push_back(app / "data" / name);
            items.push_back(itemAt(paths.back()));
        }
        t.link(h.cache / (tag + ".decoy"), h.documents / tag);
        const auto plan = RemovalPlan::build({allOf(findingOf("appCaches.race", method, items, tag))}, {});
        const auto before = snapshot(t.root());

        RemovalReport report;
        {
            const Swapper swapper(app, h.cache / (tag + ".decoy"));
            report = runner().run(plan);
            EXPECT_GT(swapper.swaps(), 0);
        }

        // Outside the items nothing changed; each item is gone exactly when it is reported removed.
        auto itemsAndTrash = paths;
        itemsAndTrash.push_back(h.trashFolder);
        EXPECT_TRUE(without(snapshot(t.root()), t.root(), itemsAndTrash) ==
                    without(before, t.root(), itemsAndTrash))
            << "entries outside the items changed";
        const auto outcomes = outcomesByItem(report.results);
        int misreported = 0;
        for (const auto& path : paths)
            misreported += !present(path) != (outcomes.at(path.string()) == "entfernt");
        EXPECT_EQ(misreported, 0);
    }
#endif
}

TEST_P(FileRemoval, CredentialsInAToolFolderStayWhenTheirFolderGoesAndNowhereElse) {
    const auto& t = h.tree;
    for (const auto& method : {RemovalMethod::trash(), RemovalMethod::deleteDirectly()}) {
        const bool toTrash = method.kind() == RemovalKind::trash;
        SCOPED_TRACE(toTrash ? "trash" : "delete");
        const fs::path tmp = h.home / (toTrash ? ".codex/tmp" : ".gemini/tmp");
        const fs::path other = h.cache / (toTrash ? "trash" : "delete");
        for (const char* name : {"auth.json", "run.log", "Config.yaml", "session/token.txt",
                                 "session/chunk.bin", "cache/a.bin", "cache/b/c.bin"})
            t.file(tmp / name, name);
        t.file(other / "auth.json", "not in a tool folder");
        const auto finding = findingOf("ai.cliCaches", method, {itemAt(tmp, 1'000'000), itemAt(other, 500)},
                                       toTrash ? "t" : "d");
        const auto plan = RemovalPlan::build({allOf(finding)}, {});
        std::int64_t keptBytes = 0;
        for (const char* name : {"auth.json", "Config.yaml", "session/token.txt"})
            keptBytes += velmora::testing::occupiedBytes(tmp / name);

        const auto report = runner().run(plan);

        EXPECT_EQ(snapshot(tmp),
                  (std::map<std::string, std::string>{{"Config.yaml", "file:Config.yaml"},
                                                      {"auth.json", "file:auth.json"},
                                                      {"session", "folder"},
                                                      {"session/token.txt", "file:session/token.txt"}}));
        EXPECT_FALSE(present(other));
        EXPECT_EQ(outcomesByItem(report.results),
                  (std::map<std::string, std::string>{
                      {tmp.string(), "entfernt – geblieben: Config.yaml, auth.json, session/token.txt "
                                     "(Zugangsdaten werden nie angefasst)"},
                      {other.string(), "entfernt"}}));
        EXPECT_EQ(toTrash ? report.trashedBytes : report.freedBytes, 1'000'000 - keptBytes + 500);
        // In the Trash: run.log, cache with its three entries, chunk.bin, the other folder with auth.json.
        if (toTrash) {
            EXPECT_EQ(snapshot(h.trashFiles()).size(), 8u);
        }
    }
}

TEST_P(FileRemoval, WhatChangedAfterPlanningOrLiesBehindALinkIsLeftAloneAndTheRestGoes) {
    const auto& t = h.tree;
    t.file(h.documents / "secret.txt", "geheim");
    auto keep = std::make_shared<KeepList>(t / "keep.json");
    const std::string changedText = "übersprungen: Hat sich seit dem Scan verändert – nicht angefasst";
    const std::string outOfBounds = "fehlgeschlagen: Gesperrt: Symlink zeigt aus dem erlaubten Ordner heraus";

    for (const auto& method : {RemovalMethod::trash(), RemovalMethod::deleteDirectly()}) {
        const std::string tag = method.kind() == RemovalKind::trash ? "trash" : "delete";
        SCOPED_TRACE(tag);
        const fs::path base = h.cache / tag;
        for (const auto* name : {"replaced", "swapped", "intoDocuments", "gone", "fine", "kept", "real"})
            t.file(base / name / "old", "old");
        t.file(base / "plainFile", "plain");
        t.link(base / "viaDocuments", fs::path("..") / h.documents.lexically_relative(h.cache));
        t.link(base / "viaCache", base / "real");
        // Each item with the outcome it must get; what happens to it between planning and removal below.
        const std::map<std::string, std::string> expected = {
            {"replaced", changedText},
            {"appeared", changedText}, // empty when planned: never confirmed, whatever turns up there
            {"swapped", changedText},
            {"intoDocuments", outOfBounds},
            {"gone", "übersprungen: Existiert nicht mehr"},
            {"fine", "entfernt"},
            {"plainFile", changedText},
            {"kept", "übersprungen: Steht auf der Behalten-Liste – nicht angefasst"},
            {"viaDocuments/secret.txt", outOfBounds},
            // The guard allows where the link leads, but the item's folder is a link: refused.
            {"viaCache/old",
             "fehlgeschlagen: " +
                 std::string(method.kind() == RemovalKind::trash ? unsafeTrashText : unsafeFolderText)},
        };
        std::vector<FindingItem> items;
        for (const auto& [name, outcome] : expected)
            if (name != "kept")
                items.push_back(itemAt(base / name, name == "fine" ? 111 : 1000));
        const Finding kept = findingOf("appCaches.kept", method, {itemAt(base / "kept")}, tag);
        const auto plan =
            RemovalPlan::build({allOf(findingOf("appCaches.changes", method, items, tag)), allOf(kept)}, {});

        // A new folder of the same name (the old one still exists elsewhere, so it cannot hand its inode
        // on), a folder swapped for a link to itself and one for a link into Documents, a folder gone, a
        // file turned into a folder, a file where
        // nothing was, and a finding marked to keep.
        fs::rename(base / "replaced", base / "replaced.moved");
        t.file(base / "replaced/new", "new");
        fs::rename(base / "swapped", base / "swapped.old");
        fs::create_symlink(base / "swapped.old", base / "swapped");
        fs::rename(base / "intoDocuments", base / "intoDocuments.old");
        fs::create_symlink(fs::path("..") / h.documents.lexically_relative(h.cache), base / "intoDocuments");
        fs::remove_all(base / "gone");
        fs::remove(base / "plainFile");
        t.file(base / "plainFile/inside", "inside");
        t.file(base / "appeared", "new");
        ASSERT_TRUE(keep->add(kept.id));
        const auto before = snapshot(t.root());

        const auto report = runner(keep).run(plan);

        std::map<std::string, std::string> outcomes;
        for (const auto& [item, outcome] : outcomesByItem(report.results))
            outcomes[fs::path(item).lexically_relative(base).string()] = outcome;
        EXPECT_EQ(outcomes, expected);
        EXPECT_EQ(without(snapshot(t.root()), t.root(), {h.trashFolder}),
                  without(before, t.root(), {h.trashFolder, base / "fine"}));
        EXPECT_EQ(report.freedBytes + report.trashedBytes, 111);
        EXPECT_EQ(report.failures.size(), 9u);
    }
}

TEST(TrashRemover, CallsBackWithTheOriginalPathAndRemoversWithoutAGuardTouchNothing) {
    Home h(PlatformLayout::linux);
    const fs::path file = h.tree.file(h.cache / "f", "f");
    const Finding finding = findingOf("appCaches.f", RemovalMethod::trash(), {itemAt(file)});
    const auto step = RemovalStep::capture(finding, finding.items);

    // A runner without a guard refuses every file, also in a dry run; without an executor no admin
    // step runs.
    const std::string noGuard =
        "fehlgeschlagen: Gesperrt: Ungültige Sicherheitskonfiguration – es wird nichts angefasst";
    const fs::path other = h.tree.file(h.cache / "g", "g");
    const auto del = findingOf("appCaches.g", RemovalMethod::deleteDirectly(), {itemAt(other)});
    const auto admin = findingOf(
        "system.caches", RemovalMethod::admin({AdminStep{"/usr/bin/log", {"erase", "--all"}, {}, false}}),
        {itemWithoutPath("log")});
    const auto unguarded =
        RemovalRunner::live(h.trash, nullptr, nullptr, ToolLocator{}, nullptr, nullptr, nullptr);
    for (const bool dryRun : {true, false}) {
        const auto outcomes = outcomesByItem(
            unguarded.run(RemovalPlan::build({allOf(finding), allOf(del), allOf(admin)}, {.dryRun = dryRun}))
                .results);
        EXPECT_EQ(outcomes.at(file.string()), noGuard);
        EXPECT_EQ(outcomes.at(other.string()), noGuard);
        if (!dryRun) {
            EXPECT_EQ(outcomes.at("log"), "fehlgeschlagen: Nicht ausgeführt");
        }
    }
    EXPECT_TRUE(present(other));
    EXPECT_TRUE(present(file));

    // A failed move is no move: no call back.
    std::vector<fs::path> trashed;
    const auto failing = std::make_shared<FakeTrash>();
    failing->failWith(TrashError::make(TrashError::Kind::otherVolume));
    const auto record = [&](const fs::path& p) { trashed.push_back(p); };
    EXPECT_EQ(TrashRemover(failing, h.guard, record).remove({step}, false)[0].outcome,
              ItemOutcome::failed(std::string(otherVolumeText)));
    EXPECT_TRUE(trashed.empty());
    TrashRemover remover(h.trash, h.guard, record);
    const TrashPlacement placed{h.trashFiles() / "f", h.trashFolder / "info/f.trashinfo",
                                *step.items[0].identity};
    EXPECT_EQ(remover.remove({step}, false)[0].outcome, ItemOutcome::removed(1000, std::nullopt, placed));
    EXPECT_EQ(trashed, std::vector<fs::path>{file});
    EXPECT_FALSE(present(file));
    EXPECT_EQ(contentOf(h.trashFiles() / "f"), "f");
}
