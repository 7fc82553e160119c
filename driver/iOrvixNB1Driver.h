#pragma once

namespace orvix {

/// The driver's own interface.
class iOrvixNB1Driver {
public:
    virtual ~iOrvixNB1Driver() = default;

    /// The same as Simulation of the host's interface.
    void iOrvixDriver_Simulation(bool rhs) { iOrvixNB1Driver_Simulation(rhs); }

private:
    virtual void iOrvixNB1Driver_Simulation(bool rhs) = 0;
};

}  // namespace orvix
