#include "missions/cOrvixNB1DMMission.h"

#include "host/error.h"

namespace orvix {

void cOrvixNB1DMMission::TakeStatusValue(const std::string& Status) {
    if (Status.empty()) throw Error(errors::TypeMismatch, "The status text of the digital inputs is empty");
    const auto inputs = static_cast<std::uint8_t>(Status.front());
    for (std::size_t bit = 0; bit < 8; ++bit)
        m_DigitalStatus.Input[bit + 1] = ((inputs >> bit) & 1) != 0;
    m_DigitalStatus.StatusValue = inputs;
}

std::int16_t cOrvixNB1DMMission::iOrvixNB1DMMission_InputByte() const {
    const Variant value = ParentValue(ORVIXCNB1_VAR_INPUTBYTE);
    const auto* text = value.As<std::string>();
    if (text != nullptr && text->size() == 1) return static_cast<std::uint8_t>(text->front());
    return value.ToInteger();
}

}  // namespace orvix
