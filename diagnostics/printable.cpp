#include "diagnostics/printable.h"

#include "host/error.h"

namespace orvix {

std::string PrintableText(const Variant& value) {
    std::string text = "(unprintable value)";
    Attempt([&] { text = value.ToText(); });
    return text;
}

}  // namespace orvix
