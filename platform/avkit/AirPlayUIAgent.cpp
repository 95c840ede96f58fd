// SPDX-License-Identifier: MIT
#include "platform/avkit/AirPlayUIAgent.h"

#include <fmt/format.h>

#include <utility>

namespace avkit {

using namespace accessibility;
using airplay::Secret;

namespace {

std::string messageOf(const airplay::UserAlerts::SecretRequest& request) {
    return fmt::format("{}Enter the AirPlay {} for “{}”.", request.wasWrong ? "The answer was wrong. " : "",
                       request.kind == airplay::SecretKind::code ? "code" : "password", request.name);
}

void addButton(AXTreeElement& window, const std::string& title, std::function<void()> press) {
    AXTreeElement& button = window.add(AXButtonRole);
    button.set(AXTitle, title);
    button.onPress(std::move(press));
}

} // namespace

/// An alert's window, from its appearance on. It is told once that it is to go, and then tells so in a later
/// turn, unless it was destroyed before. Owned by its ShownAlert. Main queue.
class AirPlayUIAgent::Window : public std::enable_shared_from_this<Window> {
  public:
    using Closed = std::function<void(std::optional<Secret> answer)>;

    Window(AirPlayUIAgent& agent, std::string_view message, Closed closed)
        : agent_(agent), element_(&agent.show(message)), closed_(std::move(closed)) {}

    ~Window() { takeAway(); }
    Window(const Window&) = delete;
    Window& operator=(const Window&) = delete;

    AXTreeElement& element() { return *element_; }

    void close(std::optional<Secret> answer) {
        if (element_ != nullptr) {
            takeAway();
            answer_ = std::move(answer);
            agent_.parts_.mainQueue.async([weak = weak_from_this()] {
                if (const auto window = weak.lock()) {
                    window->closed_(std::exchange(window->answer_, std::nullopt));
                }
            });
        }
    }

  private:
    void takeAway() {
        if (const AXTreeElement* element = std::exchange(element_, nullptr)) {
            agent_.takeAway(*element);
        }
    }

    AirPlayUIAgent& agent_;
    AXTreeElement* element_; // nullptr: it has gone from the screen
    const Closed closed_;
    std::optional<Secret> answer_; // on its way
};

class AirPlayUIAgent::ShownAlert final : public Alert {
  public:
    explicit ShownAlert(std::shared_ptr<Window> window) : window_(std::move(window)) {}

  private:
    const std::shared_ptr<Window> window_;
};

std::unique_ptr<AirPlayUIAgent::Alert> AirPlayUIAgent::askForSecret(
    SecretRequest request, std::function<void(std::optional<Secret> answer)> answered) {
    parts_.mainQueue.assertCurrent();
    const auto window = std::make_shared<Window>(*this, messageOf(request), std::move(answered));
    window->element().add(AXTextFieldRole);
    const auto close = [weak = std::weak_ptr(window)](std::optional<Secret> answer) {
        if (const auto alive = weak.lock()) {
            alive->close(std::move(answer));
        }
    };
    addButton(window->element(), "Cancel", [close] { close(std::nullopt); });
    addButton(window->element(), "OK", {});
    if (parts_.user != nullptr) {
        parts_.user->asked(request, close);
    }
    return std::make_unique<ShownAlert>(window);
}

std::unique_ptr<AirPlayUIAgent::Alert> AirPlayUIAgent::tellFailure(std::string name,
                                                                   std::function<void()> acknowledged) {
    parts_.mainQueue.assertCurrent();
    const auto window = std::make_shared<Window>(
        *this, fmt::format("Could not connect to “{}”.", name),
        [acknowledged = std::move(acknowledged)](const std::optional<Secret>&) { acknowledged(); });
    addButton(window->element(), "OK", [raw = window.get()] { raw->close(std::nullopt); });
    return std::make_unique<ShownAlert>(window);
}

AXTreeElement& AirPlayUIAgent::show(std::string_view message) {
    if (parts_.element.children().empty()) {
        parts_.workspace.launched({std::string(bundleIdentifier), processIdentifier});
    }
    AXTreeElement& window = parts_.element.addFirst(std::make_unique<AXTreeElement>(AXWindowRole));
    window.add(AXImageRole);
    window.add(AXStaticTextRole).set(AXValueAttribute, std::string(message));
    return window;
}

void AirPlayUIAgent::takeAway(const AXTreeElement& window) {
    parts_.element.remove(window);
    if (parts_.element.children().empty()) {
        parts_.workspace.terminated(processIdentifier);
    }
}

} // namespace avkit
