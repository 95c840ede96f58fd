// SPDX-License-Identifier: MIT
#pragma once

#include "platform/accessibility/AXTree.h"

#include <functional>
#include <map>
#include <string>
#include <vector>

namespace avkit {

/// What a route picker shows, as the tree that it publishes:
///
///     AXTable (AXRows) > AXRow > AXCell > AXImage, AXStaticText (AXValue: the label), AXCheckBox (AXValue:
///     0, 1)...
///
/// An element stays the same as long as its row, or check box, is shown: handles of it remain valid. Owned by
/// its picker; main thread.
class RoutePickerTable {
  public:
    struct CheckBox {
        std::string key; ///< unique within its row
        bool isOn = false;
        std::function<void()> press;
    };

    struct Row {
        std::string key; ///< unique
        std::string label;
        std::vector<CheckBox> checkBoxes;
    };

    /// Published below `view` until destroyed.
    explicit RoutePickerTable(accessibility::AXTreeElement& view);
    ~RoutePickerTable();
    RoutePickerTable(const RoutePickerTable&) = delete;
    RoutePickerTable& operator=(const RoutePickerTable&) = delete;

    /// Shows these rows, in this order, and no others. Also from within a press.
    void show(const std::vector<Row>& rows);

  private:
    struct RowElements {
        accessibility::AXTreeElement* row;
        accessibility::AXTreeElement* cell;
        accessibility::AXTreeElement* image;
        accessibility::AXTreeElement* label;
        std::map<std::string, accessibility::AXTreeElement*> checkBoxes; // by key
    };

    RowElements addRow();
    static void fill(RowElements& elements, const Row& row);

    accessibility::AXTreeElement& view_;
    accessibility::AXTreeElement& table_;
    std::map<std::string, RowElements> rows_; // by key
};

} // namespace avkit
