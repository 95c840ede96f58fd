// SPDX-License-Identifier: MIT
#include "ORBRouteService/picker/toolkit/AXPermissions.h"
#include "ORBRouteService/picker/toolkit/AXSearch.h"
#include "ORBRouteService/picker/toolkit/AXValueMatching.h"

#include "platform/accessibility/embedded/EmbeddedAccessibility.h"
#include "platform/dispatch/TaskGroup.h"
#include "platform/dispatch/virtual/VirtualRealm.h"

#include <gmock/gmock.h>
#include <unistd.h>

#include <cmath>

namespace orb {
namespace {

using namespace accessibility;
using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

AXTreeElement& addText(AXTreeElement& parent, const std::string& value) {
    AXTreeElement& element = parent.add("AXStaticText");
    element.set(AXValueAttribute, value);
    return element;
}

/// A table with a row for each name: an image, the name, a check box.
AXTreeElement& addTable(AXTreeElement& parent, const std::vector<std::string>& names) {
    AXTreeElement& table = parent.add("AXTable");
    std::vector<const AXTreeElement*> rows;
    for (const std::string& name : names) {
        AXTreeElement& row = table.add("AXRow");
        AXTreeElement& cell = row.add("AXCell");
        cell.add("AXImage");
        addText(cell, name);
        cell.add("AXCheckBox").set(AXValueAttribute, std::int64_t{0});
        rows.push_back(&row);
    }
    table.setList(AXRows, rows);
    return table;
}

std::vector<std::string> labels(const std::vector<PickerRow>& rows) {
    std::vector<std::string> names;
    for (const PickerRow& row : rows)
        names.push_back(row.label);
    return names;
}

TEST(AXSearchTest, anElementIsFoundByTitleDescriptionOrTextDownToTheTwentiethLevel) {
    for (const int level : {0, 1, 20, 21}) {
        AXTreeElement root("AXWindow");
        AXTreeElement* element = &root;
        for (int i = 0; i < level; ++i)
            element = &element->add("AXGroup");
        for (const std::string_view attribute : {AXTitle, AXDescription, AXValueAttribute}) {
            element->set(attribute, std::string("OK"));
            const auto found = findElement(root.handle(), "OK");
            EXPECT_EQ(found.has_value(), level <= 20) << level;
            EXPECT_TRUE(!found || *found == element->handle());
            element->set(attribute, std::int64_t{1});
            EXPECT_FALSE(findElement(root.handle(), "1")) << "a number is no text";
            element->clear(attribute);
        }
    }
    AXTreeElement root("AXWindow");
    AXTreeElement& group = root.add("AXGroup");
    group.add("AXButton").set(AXTitle, std::string("OK"));
    EXPECT_FALSE(findElement(root.handle(), "OK", 0, {group.handle()}));
    const AXUIElement later = addText(root, "OK").handle();
    EXPECT_EQ(findElement(root.handle(), "OK", 0, {group.handle()}), later);
}

TEST(AXSearchTest, rowsThatAreNoDevicesAreLeftOutAndOnlyTheFirstTableCounts) {
    AXTreeElement root("AXWindow");
    EXPECT_THAT(tableRows(root.handle()), IsEmpty());
    addTable(root, {"of the other table"});
    AXTreeElement& table = addTable(root, {"Kitchen", "", "Bath", "Hall", "Attic"});
    const auto& rows = table.children();
    rows[2]->children()[0]->remove(*rows[2]->children()[0]->children()[2]);
    rows[3]->children()[0]->children()[1]->set(AXValueAttribute, std::int64_t{3});
    rows[4]->removeAll();
    EXPECT_THAT(labels(tableRows(root.handle())), ElementsAre("Kitchen", ""));
    EXPECT_THAT(tableRows(root.handle())[0].cellElements, SizeIs(3));
    table.clear(AXRows);
    EXPECT_THAT(tableRows(root.handle()), IsEmpty());
}

TEST(AXSearchTest, readsPerElementStayBoundedOnWideAndDeepTrees) {
    constexpr std::uint64_t size = 100'000;
    for (const bool isChain : {false, true}) {
        AXReadCounts counts;
        AXTreeElement root("AXWindow");
        root.countReads(&counts);
        AXTreeElement* parent = &root;
        for (std::uint64_t i = 1; i < size; ++i) {
            AXTreeElement& added = parent->add("AXGroup");
            parent = isChain ? &added : parent;
        }
        findElements(root.handle(), "AXCheckBox", MatchedSubtrees::search);
        EXPECT_EQ(counts.of(AXRole), size);
        EXPECT_EQ(counts.total(), 2 * size);
        counts.reset();
        findElement(root.handle(), "nothing");
        EXPECT_LE(counts.total(), 4 * (isChain ? 21 : size));
    }
}

class OwnProcessTest : public testing::Test {
  public:
    dispatch::Task<> getPermissions() {
        try {
            co_await permissions.AXProcessGetPermissions();
            outcome = "granted";
        } catch (const std::exception& error) {
            outcome = error.what();
        }
    }
    void run(dispatch::Task<> task) {
        realm.mainQueue().sync([&] { tasks.spawn(std::move(task)); });
        realm.settle();
    }

    dispatch::VirtualRealm realm;
    dispatch::TaskGroup tasks{realm.mainQueue()};
    EmbeddedAccessibility platform;
    AXPermissions permissions{platform};
    std::string outcome = "waiting";
};

TEST_F(OwnProcessTest, permissionIsAskedForUntilGrantedAndThenWaitedForWithoutAsking) {
    platform.setTrusted(false);
    for (int asked = 1; asked <= 2; ++asked) {
        run(getPermissions());
        EXPECT_EQ(outcome, "accessibilityProcessNotTrusted");
        EXPECT_EQ(platform.prompts(), asked);
    }
    platform.setTrusted(true);
    run(getPermissions());
    EXPECT_EQ(outcome, "granted");

    platform.setTrusted(false);
    outcome = "waiting";
    run(getPermissions());
    realm.advanceBy(1h);
    EXPECT_EQ(outcome, "waiting");
    platform.setTrusted(true);
    realm.advanceBy(1s);
    EXPECT_EQ(outcome, "granted");
    EXPECT_EQ(platform.prompts(), 3);
}

TEST(AXValueMatchingTest, comparesOnlyValuesOfItsOwnType) {
    const AXValueMatching one(std::int64_t{1});
    EXPECT_TRUE(one.isEqualToOtherValue(AXValue(std::int64_t{1})));
    EXPECT_TRUE(one.isEqualToOtherValue(AXValue(1.0)));
    EXPECT_TRUE(one.isEqualToOtherValue(AXValue(true)));
    for (const AXValue& other : {AXValue(1.5), AXValue(std::nan("")), AXValue(1e300),
                                 AXValue(std::string("1")), AXValue(AXElements{})}) {
        EXPECT_FALSE(one.isEqualToOtherValue(other));
    }
    EXPECT_FALSE(one.isEqualToOtherValue(std::nullopt));
    const AXValueMatching text(std::string("1"));
    EXPECT_TRUE(text.isEqualToOtherValue(AXValue(std::string("1"))));
    EXPECT_FALSE(text.isEqualToOtherValue(AXValue(std::int64_t{1})));
}

} // namespace
} // namespace orb
