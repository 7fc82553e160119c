#pragma once

namespace orvix {

/// The task's own interface.
class iOrvixNB1Task {
public:
    virtual ~iOrvixNB1Task() = default;

    /// The same as Executed of the host's interface.
    bool iOrvixTaskNB1_Executed() const { return iOrvixNB1Task_Executed(); }

private:
    virtual bool iOrvixNB1Task_Executed() const = 0;
};

}  // namespace orvix
