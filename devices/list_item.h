#pragma once

#include <string>

#include "host/error.h"
#include "host/variant.h"

namespace orvix {

/// Item 1 of a task's list. Raises MissingItem, naming the list, when it is empty.
inline const Variant& FirstItem(const VariantList& list, const char* name) {
    if (list.empty()) throw Error(errors::MissingItem, std::string(name) + " has no item 1");
    return list.front();
}

}  // namespace orvix
