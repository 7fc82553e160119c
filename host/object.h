#pragma once

namespace orvix {

/// Common base of every registered class. A host gets an object as this type, asks it for interfaces with dynamic_cast
/// and deletes it when it is done with it.
class Object {
public:
    virtual ~Object() = default;
};

}  // namespace orvix
