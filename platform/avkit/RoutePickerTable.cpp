// SPDX-License-Identifier: MIT
#include "platform/avkit/RoutePickerTable.h"

#include <utility>

namespace avkit {

using namespace accessibility;

RoutePickerTable::RoutePickerTable(AXTreeElement& view) : view_(view), table_(view.add(AXTableRole)) {
    show({});
}

RoutePickerTable::~RoutePickerTable() { view_.remove(table_); }

void RoutePickerTable::show(const std::vector<Row>& rows) {
    std::map<std::string, RowElements> before = std::exchange(rows_, {});
    std::vector<const AXTreeElement*> order;
    for (const Row& row : rows) {
        const auto kept = before.find(row.key);
        RowElements elements = kept != before.end() ? std::move(kept->second) : addRow();
        fill(elements, row);
        order.push_back(elements.row);
        rows_.emplace(row.key, std::move(elements));
    }
    table_.arrange(order);
    table_.setList(AXRows, order);
}

RoutePickerTable::RowElements RoutePickerTable::addRow() {
    AXTreeElement& row = table_.add(AXRowRole);
    AXTreeElement& cell = row.add(AXCellRole);
    return {&row, &cell, &cell.add(AXImageRole), &cell.add(AXStaticTextRole), {}};
}

void RoutePickerTable::fill(RowElements& elements, const Row& row) {
    elements.label->set(AXValueAttribute, row.label);
    const auto before = std::exchange(elements.checkBoxes, {});
    std::vector<const AXTreeElement*> order{elements.image, elements.label};
    for (const CheckBox& checkBox : row.checkBoxes) {
        const auto kept = before.find(checkBox.key);
        AXTreeElement& element = kept != before.end() ? *kept->second : elements.cell->add(AXCheckBoxRole);
        element.set(AXValueAttribute, std::int64_t{checkBox.isOn ? 1 : 0});
        element.onPress(checkBox.press);
        order.push_back(&element);
        elements.checkBoxes.emplace(checkBox.key, &element);
    }
    elements.cell->arrange(order);
}

} // namespace avkit
