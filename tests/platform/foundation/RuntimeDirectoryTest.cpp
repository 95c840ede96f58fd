// SPDX-License-Identifier: MIT
#include "platform/foundation/PathName.h"
#include "platform/foundation/RuntimeDirectory.h"
#include "platform/foundation/StandardPaths.h"
#include "platform/foundation/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <sys/stat.h>

#include <array>
#include <cstdlib>
#include <functional>
#include <map>
#include <set>

namespace foundation {
namespace {

namespace fs = std::filesystem;

TEST(RuntimeDirectoryTest, aMissingDirectoryIsMadeForThisUserAloneAndFoundAgain) {
    const TemporaryDirectory root;
    const RuntimeDirectory made(root / "run");
    const RuntimeDirectory inner = made.subdirectory("../a/b");
    EXPECT_EQ(inner.path().parent_path(), made.path()) << "a name leads out of its directory";
    for (const auto* directory : {&made, &inner}) {
        EXPECT_EQ(fs::status(directory->path()).permissions(), fs::perms::owner_all);
    }
    writeFile(made.path() / "x", "");
    EXPECT_TRUE(RuntimeDirectory(root.path() / "run" / "").remove("x"));
    EXPECT_FALSE(made.remove("x"));
}

TEST(RuntimeDirectoryTest, whatOthersCouldHavePlantedIsRefusedWithPathAndReason) {
    const TemporaryDirectory root;
    const RuntimeDirectory parent(root.path());
    const std::map<std::string, std::function<void(const fs::path&)>> plants{
        {"is a symbolic link",
         [&](const fs::path& path) { fs::create_directory_symlink(root.path(), path); }},
        {"is not a directory", [](const fs::path& path) { writeFile(path, ""); }},
        {"is open to others (mode 0710, must be 0700)",
         [](const fs::path& path) { mkdir(path.c_str(), 0700), chmod(path.c_str(), 0710); }},
    };
    int number = 0;
    for (const auto& [reason, plant] : plants) {
        const std::string name = "planted" + std::to_string(number++);
        plant(root / name);
        try {
            const RuntimeDirectory directory(root / (name + "/"));
            ADD_FAILURE() << "accepted: " << reason;
        } catch (const RuntimeDirectoryError& error) {
            EXPECT_EQ(error.what(), (root / name).string() + ": " + reason);
        }
        EXPECT_THROW(parent.subdirectory(name), RuntimeDirectoryError) << reason;
    }
    EXPECT_THROW(RuntimeDirectory(root / "missing/run"), RuntimeDirectoryError);
}

TEST(RuntimeDirectoryTest, aDirectoryOfAnotherUserIsRefused) {
    if (geteuid() != 0) {
        GTEST_SKIP() << "only root can give a directory away";
    }
    const TemporaryDirectory root;
    mkdir((root / "foreign").c_str(), 0700);
    ASSERT_EQ(chown((root / "foreign").c_str(), 65534, 65534), 0);
    EXPECT_THROW(RuntimeDirectory(root / "foreign"), RuntimeDirectoryError);
}

TEST(PathNameTest, namesThatAreTooLongStayDistinctAndFitASocketAddress) {
    std::set<std::string> components;
    for (const std::string& name : {std::string(81, 'x'), std::string(300, 'x'), std::string(301, 'x'),
                                    std::string(30, '/'), std::string(45, 'y') + std::string(40, '/')}) {
        const std::string component = pathComponentOf(name);
        EXPECT_LE(component.size(), maximumPathComponent);
        EXPECT_EQ(nameOfPathComponent(component), std::nullopt);
        components.insert(component);
    }
    EXPECT_EQ(components.size(), 5U);
    const TemporaryDirectory root;
    EXPECT_LE(RuntimeDirectory(root.path()).socketPath(std::string(500, '/')).size(), 107U);
}

/// The variables are those of the test's own process.
TEST(StandardPathsTest, variablesRankAndAreIgnoredWhenEmptyOrOutOfPlace) {
    const std::string fallback = "/tmp/orbroute-" + std::to_string(geteuid());
    struct Row {
        const char* own;
        const char* xdg;
        std::string runtime;
        std::string config;
    };
    setenv("HOME", "/home/x", 1);
    for (const Row& row :
         {Row{"/own", "/xdg", "/own", "/own"}, Row{"", "/xdg", "/xdg/orbroute", "/xdg/orbroute"},
          Row{"", "relative", fallback, "/home/x/.config/orbroute"},
          Row{"", "", fallback, "/home/x/.config/orbroute"}}) {
        for (const char* const name : {"ORB_RUNTIME_DIR", "ORB_CONFIG_DIR"})
            setenv(name, row.own, 1);
        for (const char* const name : {"XDG_RUNTIME_DIR", "XDG_CONFIG_HOME"})
            setenv(name, row.xdg, 1);
        EXPECT_EQ(standardRuntimePath(), row.runtime);
        EXPECT_EQ(standardConfigPath(), row.config);
    }
}

} // namespace
} // namespace foundation
