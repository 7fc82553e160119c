#pragma once

namespace orvix {

/// The adapter's own interface.
class iOrvixNB1Adapter {
public:
    virtual ~iOrvixNB1Adapter() = default;
    /// There was work left at the end of the last step of the connection loop.
    bool Busy() const { return iOrvixNB1Adapter_Busy(); }

private:
    virtual bool iOrvixNB1Adapter_Busy() const = 0;
};

}  // namespace orvix
