#pragma once

#include <functional>
#include <memory>
#include <utility>

namespace orvix {

/// A listener's hold on an event: its handler is called as long as this is kept.
using EventConnection = std::shared_ptr<void>;

/// The device collection's own interface.
class iOrvixNB1Devices {
public:
    virtual ~iOrvixNB1Devices() = default;

    /// Has a handler called after a device has been added or restored, beside the handlers of other listeners. Who
    /// removes a device knows that it did. What a handler raises is reported. The collection may be changed in it.
    [[nodiscard]] EventConnection ItemsChanged(std::function<void()> handler) {
        return iOrvixNB1Devices_ItemsChanged(std::move(handler));
    }

private:
    virtual EventConnection iOrvixNB1Devices_ItemsChanged(std::function<void()> handler) = 0;
};

}  // namespace orvix
