// SPDX-License-Identifier: MIT
#include "platform/dispatch/virtual/VirtualRealm.h"
#include "platform/foundation/FileWatcher.h"
#include "platform/foundation/JsonFile.h"
#include "platform/foundation/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <memory>

namespace foundation {
namespace {

namespace fs = std::filesystem;

class FileWatcherTest : public testing::Test {
  protected:
    /// Calls that an action brings.
    int callsFor(const std::function<void()>& action) {
        realm.settle();
        const int before = calls;
        action();
        realm.settle();
        return calls - before;
    }

    const TemporaryDirectory root;
    const fs::path file = root / "watched";
    dispatch::VirtualRealm realm;
    int calls = 0;
};

TEST_F(FileWatcherTest, everyWayToChangeTheFileBringsOneCallAndItsNeighboursNone) {
    const FileWatcher watcher(realm.mainQueue(), file, [&] {
        EXPECT_TRUE(realm.mainQueue().isCurrent());
        ++calls;
    });
    EXPECT_EQ(callsFor([&] { writeFile(file, "created"); }), 1);
    EXPECT_EQ(callsFor([&] { JsonFile(file).replace("replaced"); }), 1);
    EXPECT_EQ(callsFor([&] { std::ofstream(file, std::ios::app) << "longer"; }), 1);
    EXPECT_EQ(callsFor([&] { fs::rename(file, root / "elsewhere"); }), 1);
    EXPECT_EQ(callsFor([&] { fs::create_hard_link(root / "elsewhere", file); }), 1);
    EXPECT_EQ(callsFor([&] { fs::remove(file); }), 1);
    EXPECT_EQ(callsFor([&] { fs::create_symlink("elsewhere", file); }), 1);
    EXPECT_EQ(callsFor([&] { writeFile(root / "watched2", "x"), fs::remove(root / "elsewhere"); }), 0);
    EXPECT_EQ(callsFor([&] {
                  for (int round = 0; round < 20; ++round) {
                      JsonFile(file).replace(round);
                  }
              }),
              1);
}

TEST_F(FileWatcherTest, aFileBeingWrittenForTheFirstTimeIsNotShownHalf) {
    const FileWatcher watcher(realm.mainQueue(), file, [&] { ++calls; });
    std::ofstream stream;
    EXPECT_EQ(callsFor([&] { (stream.open(file), stream << "half").flush(); }), 0);
    EXPECT_EQ(callsFor([&] { stream.close(); }), 1);
}

TEST_F(FileWatcherTest, aWatcherThatIsGoneCallsNoMoreNotEvenForWhatHadHappened) {
    auto watcher = std::make_unique<FileWatcher>(realm.mainQueue(), file, [&] { ++calls; });
    EXPECT_EQ(callsFor([&] {
                  writeFile(file, "x");
                  realm.mainQueue().async([&] { watcher.reset(); });
              }),
              0);
    watcher = std::make_unique<FileWatcher>(realm.mainQueue(), file, [&] {
        ++calls;
        watcher.reset();
    });
    EXPECT_EQ(callsFor([&] { writeFile(file, "y"); }), 1);
    EXPECT_EQ(callsFor([&] { writeFile(file, "z"); }), 0);
}

// Interleaves: both have been woken by the same change when the first to be called destroys the other.
TEST_F(FileWatcherTest, ofTwoWatchersThatDestroyEachOtherOnlyOneIsCalled) {
    std::unique_ptr<FileWatcher> one, two;
    one = std::make_unique<FileWatcher>(realm.mainQueue(), file, [&] { ++calls, two.reset(); });
    two = std::make_unique<FileWatcher>(realm.mainQueue(), file, [&] { ++calls, one.reset(); });
    EXPECT_EQ(callsFor([&] { writeFile(file, "x"); }), 1);
}

} // namespace
} // namespace foundation
