// SPDX-License-Identifier: MIT
#pragma once

#include "platform/airplay/Discovery.h"
#include "platform/appkit/NSViewController.h"
#include "platform/avfoundation/AVOutputContext.h"
#include "platform/avkit/RoutePickerTable.h"
#include "platform/dispatch/Queue.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

namespace avkit {

/// The system's route picker: the receivers that an output context is, or can be, connected to, with a check
/// box for each group of them. It is operated through the tree that it publishes, see RoutePickerTable:
/// pressing a box that is 0 connects its group, instead of all others where the context takes one only;
/// pressing one that is 1 disconnects it.
///
/// First come groups that the context has but the search does not see, then those in sight, each once, under
/// the name of its leader; last the rows that several receivers share, each receiver with a box of its own.
///
/// Shared between the window that shows it and whoever operates it. Main queue, destruction included.
class AVRoutePickerRemoteViewController final : public appkit::NSViewController {
  public:
    /// Both outlive this.
    AVRoutePickerRemoteViewController(dispatch::Queue& mainQueue, airplay::Discovery& discovery);

    /// Gives up what was begun here and is not connected: whoever closes a picker expects no more from it.
    ~AVRoutePickerRemoteViewController() override;

    /// What was begun for the context before is given up. nullptr: none.
    void setOutputContext(std::shared_ptr<avfoundation::AVOutputContext> context);

    /// Searches for receivers; idempotent.
    void startDiscoveringAudioRoutes();
    /// Nothing is in sight any more; idempotent.
    void stopDiscoveringAudioRoutes();
    bool isDiscovering() const { return search_ != nullptr; }

    /// false, as at the start: only groups that are connected or being connected are shown.
    void setRevealsAllRoutes(bool reveals);
    bool revealsAllRoutes() const { return revealsAllRoutes_; }

    /// These have no effect here and are kept for whoever asks.
    void setInhibitFirstResponder(bool inhibits) { inhibitsFirstResponder_ = inhibits; }
    bool inhibitsFirstResponder() const { return inhibitsFirstResponder_; }
    void setPrioritizesVideoDevices(bool prioritizes) { prioritizesVideoDevices_ = prioritizes; }
    bool prioritizesVideoDevices() const { return prioritizesVideoDevices_; }
    void setRoutingMethod(std::int64_t method) { routingMethod_ = method; }
    std::int64_t routingMethod() const { return routingMethod_; }

    void loadView(accessibility::AXTreeElement& view) override;
    void unloadView() override;

  private:
    void update();
    std::vector<airplay::ReceiverGroup> groups() const;
    std::vector<airplay::ReceiverGroup> groupsInSight() const;
    airplay::RouteControl::State state(const airplay::ReceiverGroup& group) const;
    RoutePickerTable::CheckBox checkBox(const airplay::ReceiverGroup& group);
    void connect(const airplay::ReceiverGroup& group);
    void disconnect(const airplay::ReceiverGroup& group);

    dispatch::Queue& mainQueue_;
    airplay::Discovery& discovery_;
    bool inhibitsFirstResponder_ = false;
    bool revealsAllRoutes_ = false;
    bool prioritizesVideoDevices_ = false;
    std::int64_t routingMethod_ = 0;
    std::shared_ptr<avfoundation::AVOutputContext> context_;
    airplay::Discovery::Receivers inSight_;
    std::optional<RoutePickerTable> table_; // while the view is loaded
    std::unique_ptr<airplay::Discovery::Search> search_;
    foundation::Subscription controlChanges_;
};

} // namespace avkit
