#pragma once

#include <string>

#include "host/variant.h"

namespace orvix {

/// A value as text for a person to read; "(unprintable value)" for one that has no text.
std::string PrintableText(const Variant& value);

}  // namespace orvix
