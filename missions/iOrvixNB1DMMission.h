#pragma once

#include <cstdint>

namespace orvix {

/// What a digital mission has besides.
class iOrvixNB1DMMission {
public:
    virtual ~iOrvixNB1DMMission() = default;

    /// The device's input byte: the code of a one-character value, otherwise its number. Raises MissingItem when there
    /// is none.
    std::int16_t InputByte() const { return iOrvixNB1DMMission_InputByte(); }

private:
    virtual std::int16_t iOrvixNB1DMMission_InputByte() const = 0;
};

}  // namespace orvix
