#pragma once

namespace orvix {

/// What a temperature sensor has besides.
class iOrvixNB1TP {
public:
    virtual ~iOrvixNB1TP() = default;

    /// Value of the temperature variable in degrees Celsius; 0 when there is no number in it. A write is ignored when
    /// the device has no such variable.
    float Temperature() const { return iOrvixNB1TP_Temperature(); }
    void Temperature(float rhs) { iOrvixNB1TP_Temperature(rhs); }

private:
    virtual float iOrvixNB1TP_Temperature() const = 0;
    virtual void iOrvixNB1TP_Temperature(float rhs) = 0;
};

}  // namespace orvix
