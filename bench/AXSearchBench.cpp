// SPDX-License-Identifier: MIT
#include "ORBRouteService/picker/toolkit/AXSearch.h"

#include "platform/accessibility/AXTree.h"

#include <benchmark/benchmark.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

/// Searches of the accessibility toolkit, per element of the tree, at growing sizes: flat cost is the aim.
/// The floor is one read of role and children of each element, without a search. A real tree adds a call to
/// another process to every read; how many there are is what the tests hold.
namespace orb {
namespace {

using accessibility::AXTreeElement;

/// A picker's window: a table of rows, each with a cell of image, name and check box.
std::unique_ptr<AXTreeElement> makePicker(std::int64_t elements) {
    constexpr std::int64_t elementsPerRow = 5;
    auto window = std::make_unique<AXTreeElement>("AXWindow");
    AXTreeElement& table = window->add("AXTable");
    std::vector<const AXTreeElement*> rows;
    for (std::int64_t row = 0; row < elements / elementsPerRow; ++row) {
        rows.push_back(&table.add("AXRow"));
        AXTreeElement& cell = table.children().back()->add("AXCell");
        cell.add("AXImage");
        cell.add("AXStaticText").set(accessibility::AXValueAttribute, "Receiver " + std::to_string(row));
        cell.add("AXCheckBox").set(accessibility::AXValueAttribute, std::int64_t{0});
    }
    table.setList(accessibility::AXRows, rows);
    return window;
}

std::int64_t readAll(const AXUIElement& root) {
    std::int64_t count = 0;
    AXElements stack{root};
    while (!stack.empty()) {
        const AXUIElement element = stack.back();
        stack.pop_back();
        benchmark::DoNotOptimize(role(element));
        for (const AXUIElement& child : children(element))
            stack.push_back(child);
        ++count;
    }
    return count;
}

template <typename Search>
void measure(benchmark::State& state, Search search) {
    const std::unique_ptr<AXTreeElement> picker = makePicker(state.range(0));
    const AXUIElement root = picker->handle();
    for (auto _ : state)
        benchmark::DoNotOptimize(search(root));
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

void floorReadAll(benchmark::State& state) { measure(state, readAll); }
void searchTableRows(benchmark::State& state) { measure(state, tableRows); }
void searchFindElement(benchmark::State& state) {
    measure(state, [](const AXUIElement& root) { return findElement(root, "nowhere"); });
}
void searchFindElements(benchmark::State& state) {
    measure(state, [](const AXUIElement& root) {
        return findElements(root, accessibility::AXCheckBoxRole, MatchedSubtrees::search);
    });
}

#define SIZES Arg(10)->Arg(1000)->Arg(100'000)->Unit(benchmark::kMicrosecond)
BENCHMARK(floorReadAll)->SIZES;
BENCHMARK(searchTableRows)->SIZES;
BENCHMARK(searchFindElement)->SIZES;
BENCHMARK(searchFindElements)->SIZES;

} // namespace
} // namespace orb
