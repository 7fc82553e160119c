#pragma once

#include "host/variant.h"

namespace orvix {

class iOrvixNB1Mission;

/// What both devices of this library have besides the host's device interface.
class iOrvixNB1Device {
public:
    virtual ~iOrvixNB1Device() = default;

    /// The device's recording mission; it lives until the device is destroyed. Raises MissingItem after that.
    iOrvixNB1Mission& Mission() { return iOrvixNB1Device_Mission(); }
    /// The same as those of the host's interface.
    ByteArray GetSuperState() { return iOrvixNB1Device_GetSuperState(); }
    void SetSuperState(ByteView arState) { iOrvixNB1Device_SetSuperState(arState); }

private:
    virtual iOrvixNB1Mission& iOrvixNB1Device_Mission() = 0;
    virtual ByteArray iOrvixNB1Device_GetSuperState() = 0;
    virtual void iOrvixNB1Device_SetSuperState(ByteView arState) = 0;
};

}  // namespace orvix
