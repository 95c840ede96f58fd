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
        for (const auto& suffix : {"", "/"}) {
            try {
                const RuntimeDirectory directory(root / (name + suffix));
                ADD_FAILURE() << "accepted: " << reason;
            } catch (const RuntimeDirectoryError& error) {
                EXPECT_EQ(error.reason(), reason);
                EXPECT_EQ(error.what(), (root / name).string() + ": " + reason);
            }
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

TEST(PathNameTest, anyNameComesBackFromOneSafeComponent) {
    std::string allBytes;
    for (int byte = 0; byte < 20; ++byte)
        allBytes += static_cast<char>(byte * 13);
    const std::vector<std::string> names{"com.fernwick.Orbweaver::A1:B2",
                                         "",
                                         ".",
                                         "..",
                                         "../x",
                                         "a/b",
                                         ".hidden",
                                         "%",
                                         "%41",
                                         "%~",
                                         "a%",
                                         "Küche \xF0\x9F\x8E\xB5",
                                         std::string("\0", 1),
                                         allBytes,
                                         std::string(maximumPathComponent, 'x')};
    std::set<std::string> components;
    for (const std::string& name : names) {
        const std::string component = pathComponentOf(name);
        EXPECT_EQ(nameOfPathComponent(component), name) << component;
        EXPECT_EQ(component.find_first_of(std::string("/\0", 2)), std::string::npos);
        EXPECT_FALSE(component.starts_with('.'));
        EXPECT_LE(component.size(), maximumPathComponent);
        components.insert(component);
    }
    EXPECT_EQ(components.size(), names.size()) << "two names share a component";
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

TEST(StandardPathsTest, variablesRankAndAreIgnoredWhenEmptyOrOutOfPlace) {
    const std::array names{"HOME", "ORB_RUNTIME_DIR", "ORB_CONFIG_DIR", "XDG_RUNTIME_DIR", "XDG_CONFIG_HOME"};
    const auto set = [](const char* name, const char* value) {
        value != nullptr ? setenv(name, value, 1) : unsetenv(name);
    };
    std::vector<std::optional<std::string>> saved;
    for (const auto* name : names) {
        const char* value = std::getenv(name);
        saved.push_back(value != nullptr ? std::optional<std::string>(value) : std::nullopt);
    }
    const std::string fallback = "/tmp/orbroute-" + std::to_string(geteuid());
    struct Row {
        const char* own;
        const char* xdg;
        std::string runtime;
        std::string config;
    };
    for (const Row& row :
         {Row{"/own", "/xdg", "/own", "/own"}, Row{"", "/xdg", "/xdg/orbroute", "/xdg/orbroute"},
          Row{nullptr, "relative", fallback, "/home/x/.config/orbroute"},
          Row{nullptr, "", fallback, "/home/x/.config/orbroute"}}) {
        set("HOME", "/home/x");
        for (const std::size_t index : {1U, 2U}) {
            set(names[index], row.own);
            set(names[index + 2], row.xdg);
        }
        EXPECT_EQ(standardRuntimePath(), row.runtime);
        EXPECT_EQ(standardConfigPath(), row.config);
    }
    for (std::size_t index = 0; index < names.size(); ++index)
        set(names[index], saved[index] ? saved[index]->c_str() : nullptr);
}

} // namespace
} // namespace foundation
